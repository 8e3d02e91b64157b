#include "tryout/trial.h"

#include <algorithm>

#include "check/words.h"
#include "engine/event_rules.h"
#include "frame/text.h"
#include "variables/change_values.h"
#include "variables/triggers.h"

namespace kovo::tryout {
namespace {

constexpr std::int64_t kMillisecondsPerSecond = 1000;
constexpr std::int64_t kPauseMs = 10;  // of a sender behind its message

bool plug_enabled(const TrialDevice& device, std::int64_t ms) {
  return ms - device.booted_ms > kPowerOnPeriodS * kMillisecondsPerSecond;
}

/// Takes a sender from the start of an event until its message has left.
bool take_sender(TrialDevice& device, std::int64_t from_ms, std::int64_t until_ms) {
  const auto busy = std::count_if(
      device.flights.begin(), device.flights.end(),
      [&](const Flight& flight) { return flight.from_ms <= from_ms && from_ms < flight.until_ms; });
  if (busy >= kSenderSlots) return false;
  device.flights.push_back({from_ms, until_ms});
  return true;
}

/// Why an event is not run at all; "" when it is.
std::string why_dropped(TrialDevice& device, const check::ExplainedEvent& event, RaisedBy by) {
  if (by == RaisedBy::kName && !device.events_enabled) {
    return "dropped: events are switched off";
  }
  if (event.never_runs) {
    return "dropped: an event that has not run within " + std::to_string(kEventLifeS) +
           " s never does";
  }
  if (!event.once_per_boot) return {};
  if (device.power_on_done) return "skipped: PowerOn has run since the start of the device";
  device.power_on_done = true;
  return {};
}

StepOutcome step_outcome(TrialDevice& device, const check::ExplainedEvent& event,
                         const check::ExplainedStep& step, std::int64_t starts_ms) {
  StepOutcome outcome;
  outcome.leaves_ms = starts_ms + std::max<std::int64_t>(step.offset_ms, 0);
  EventDefinition definition;
  definition.name = event.name;
  switch (step_fate(definition, plug_enabled(device, starts_ms), device.events_enabled)) {
    case StepFate::kPowerOnSkip:
      outcome.why = "skipped: in the first " + std::to_string(kPowerOnPeriodS) +
                    " s after the start display events are not sent";
      return outcome;
    case StepFate::kDisabled:
      outcome.why = "skipped: events are switched off";
      return outcome;
    case StepFate::kSend:
      break;
  }
  if (!step.sender) {
    outcome.why = "not sent: " + check::quoted(step.protocol) + " is not a supported protocol";
  } else if (!take_sender(device, starts_ms, outcome.leaves_ms + kPauseMs)) {
    outcome.why = "dropped: " + std::to_string(kSenderSlots) + " messages are under way";
  } else {
    outcome.sent = true;
  }
  return outcome;
}

/// The daemon takes the steps by their indexes, whenever they leave.
std::vector<std::size_t> by_index(const check::ExplainedEvent& event) {
  std::vector<std::size_t> order(event.steps.size());
  for (std::size_t at = 0; at < order.size(); ++at) order[at] = at;
  std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    return event.steps[a].index < event.steps[b].index;
  });
  return order;
}

bool is_set_command(const Message& message, Reaction& reaction) {
  if (message.splitting != Splitting::kOk) {
    reaction.notes.emplace_back("not understood: a change is e_param_set::NAME::VALUE");
  } else if (!equals_nocase(message.command, "e_param_set")) {
    reaction.notes.emplace_back("not a change of a variable: only e_param_set is tried out here");
  } else {
    return true;
  }
  return false;
}

bool names_setting(std::string_view text) {
  return std::any_of(std::begin(kSettingNames), std::end(kSettingNames),
                     [&](const char* name) { return starts_with_nocase(text, name); });
}

void take_setting(TrialDevice& device, std::string_view text, Reaction& reaction) {
  const KeyValue pair = split_key_value(cut_text(strip_newline(text), kMaxStatusLine));
  const auto setting = std::find_if(device.settings.begin(), device.settings.end(),
                                    [&](const auto& each) { return each.first == pair.key; });
  if (!pair.found || pair.value.empty()) {
    reaction.notes.push_back(check::shown(pair.key) + " raises nothing: a setting needs a value");
  } else if (setting == device.settings.end()) {
    reaction.notes.push_back(check::shown(pair.key) +
                             " raises nothing: no setting has exactly this name");
  } else if (equals_nocase(setting->second, pair.value)) {
    reaction.notes.push_back(setting->first + " raises nothing: it has this value already");
  } else {
    setting->second = pair.value;
    reaction.triggers.push_back(setting->first);
  }
}

/// The remembered state of an HDCP variable; null for another name.
std::optional<std::string>* hdcp_of(TrialDevice& device, std::string_view name) {
  if (equals_nocase(name, "CUR_HDCP")) return &device.hdcp[0];
  return equals_nocase(name, "HDMI2_CUR_HDCP") ? &device.hdcp[1] : nullptr;
}

void take_playback(TrialDevice& device, std::string_view name, std::int64_t now,
                   Reaction& reaction) {
  MappingRow* row = find_row(device.rows, &MappingRow::setting, "local:x");
  if (row == nullptr) return;
  if (equals_nocase(name, row->last_value)) {
    reaction.notes.emplace_back("nothing is raised: the playback selection is the same");
    return;
  }
  for (const char* trigger : playback_triggers(row->last_value, name)) {
    reaction.triggers.emplace_back(trigger);
  }
  if (reaction.triggers.empty()) {
    reaction.notes.emplace_back(
        "nothing is raised: neither the old nor the new selection begins with \"local:\"");
  }
  row->last_value = name;
  row->last_time = now;
}

/// Every row whose setting word the name begins with counts: that only restarts hold-off times.
void count_rows(TrialDevice& device, const std::string& name, std::int64_t now,
                Reaction& reaction) {
  std::string counting;
  for (MappingRow& row : device.rows) {
    if (row.setting.empty() || !starts_with_nocase(name, row.setting)) continue;
    row.last_time = now;
    counting += (counting.empty() ? "" : ", ") + row.status;
  }
  if (!reaction.triggers.empty() || names_setting(name)) return;
  const std::string note = check::shown(name) + " raises nothing";
  if (counting.empty()) {
    reaction.notes.push_back(note + ": no status line of this product begins so");
  } else {
    reaction.notes.push_back(note + "; it restarts the hold-off time of " + counting);
  }
}

/// Each part of a serial format raises its own event; the first format only stands for what was.
void take_serial(TrialDevice& device, const std::string& value, Reaction& reaction) {
  MappingRow* row = find_row(device.rows, &MappingRow::status, "serialBaud");
  if (row == nullptr) return;
  const std::string old(cut_text(row->last_value, kMaxShortText));
  row->last_value = value;
  const std::optional<SerialFormat> before = split_serial(old);
  const std::optional<SerialFormat> after = split_serial(value);
  if (old.empty()) {
    reaction.notes.emplace_back("the first serial format raises nothing: change it again");
  } else if (equals_nocase(old, value) || !before || !after) {
    reaction.notes.emplace_back("no part of the serial format differs");
  } else {
    for (const SerialField& field : kSerialFields) {
      if ((*before).*field.part != (*after).*field.part)
        reaction.triggers.emplace_back(field.event);
    }
  }
}

void raise_after_pause(const char* trigger, std::int64_t& last_time, std::int64_t now,
                       Reaction& reaction) {
  if (pause_lasts(now - last_time, kEventPauseS)) {
    reaction.notes.push_back(std::string(trigger) + " is skipped: it was raised within the last " +
                             std::to_string(kEventPauseS) + " s");
    return;
  }
  last_time = now;
  reaction.triggers.emplace_back(trigger);
}

void take_timing(TrialDevice& device, const std::string& value, std::int64_t now,
                 Reaction& reaction) {
  const std::string yuv = yuv_of(decode_timing(value));
  if (equals_nocase(yuv, device.yuv_out)) {
    reaction.notes.push_back("YCbCrOutput is not raised: the output stays " + yuv);
    return;
  }
  device.yuv_out = yuv;
  raise_after_pause("YCbCrOutput", device.yuv_event_time, now, reaction);
}

void take_wpa_mode(TrialDevice& device, const std::string& value, std::int64_t now,
                   Reaction& reaction) {
  const std::string status = p8021_status_of(value);
  if (!equals_nocase(status, device.p8021_status)) {
    raise_after_pause("p8021enable", device.p8021enable_time, now, reaction);
  }
  if (!equals_nocase(value, device.wpa_eap_mode)) {
    raise_after_pause("p8021status", device.p8021status_time, now, reaction);
  } else {
    reaction.notes.emplace_back("nothing is raised: the mode is the same");
  }
  device.p8021_status = status;
  device.wpa_eap_mode = value;
}

void take_mapping(TrialDevice& device, const std::string& name, std::int64_t now,
                  Reaction& reaction) {
  MappingRow* row = find_row(device.rows, &MappingRow::variable, name);
  if (row == nullptr) {
    if (!reaction.triggers.empty() || !reaction.notes.empty()) return;  // of its decoded value
    reaction.notes.push_back(check::shown(name) + " raises nothing on this product");
    return;
  }
  const std::int64_t since_last = now - row->last_time;
  row->last_time = now;
  if (!pause_lasts(since_last, kHoldOffS)) {
    reaction.triggers.push_back(row->status);
    return;
  }
  reaction.notes.push_back(row->status + " is skipped: the last message of " + row->variable +
                           " came " + std::to_string(since_last) + " s ago; wait " +
                           std::to_string(kHoldOffS + 1) + " s between two");
}

}  // namespace

TrialDevice started_device(Variant variant, std::int64_t booted_ms) {
  TrialDevice device;
  device.rows = mapping_rows(variant);
  device.booted_ms = booted_ms;
  if (MappingRow* row = find_row(device.rows, &MappingRow::setting, "local:x"))
    row->last_value = "local";
  for (const char* name : kSettingNames) device.settings.emplace_back(name, "");
  return device;
}

std::int32_t uptime_s(const TrialDevice& device, const Moment& now) {
  return static_cast<std::int32_t>((now.ms - device.booted_ms) / kMillisecondsPerSecond);
}

Run raise_event(TrialDevice& device, const check::ExplainedEvent& event, RaisedBy by,
                const Moment& now) {
  Run run;
  run.raised_ms = now.ms;
  run.starts_ms = now.ms + std::max(event.delay_s, 0) * kMillisecondsPerSecond;
  run.why = why_dropped(device, event, by);
  run.runs = run.why.empty();
  run.steps.resize(event.steps.size());
  const auto over = [&](const Flight& flight) { return flight.until_ms <= now.ms; };
  device.flights.erase(std::remove_if(device.flights.begin(), device.flights.end(), over),
                       device.flights.end());
  for (const std::size_t at : by_index(event)) {
    const check::ExplainedStep& step = event.steps[at];
    if (run.runs) {
      run.steps[at] = step_outcome(device, event, step, run.starts_ms);
    } else {
      run.steps[at] = {run.starts_ms + std::max<std::int64_t>(step.offset_ms, 0), false, run.why};
    }
  }
  return run;
}

Reaction take_message(TrialDevice& device, std::string_view text, const Moment& now) {
  Reaction reaction;
  if (names_setting(text)) {
    take_setting(device, text, reaction);
    return reaction;
  }
  const Message message = split_message(strip_newline(cut_text(text, kMaxMessage)));
  if (!is_set_command(message, reaction)) return reaction;
  const std::string& name = message.arg1;
  const std::string value = decode_value(message.arg2);
  if (std::optional<std::string>* hdcp = hdcp_of(device, name)) *hdcp = value;
  if (starts_with_nocase(name, "S0_BAUDRATE")) {
    take_serial(device, value, reaction);
    return reaction;
  }
  if (starts_with_nocase(name, "V_OUTPUT_TIMING_CONVERT")) {
    take_timing(device, value, now.local_s, reaction);
  } else if (starts_with_nocase(name, "WPA_EAP_MODE")) {
    take_wpa_mode(device, value, now.local_s, reaction);
  }
  take_mapping(device, name, now.local_s, reaction);
  return reaction;
}

Reaction take_status_line(TrialDevice& device, std::string_view text, const Moment& now) {
  Reaction reaction;
  const bool may_set = text.find_first_of("=:") != std::string_view::npos;
  if (may_set && (starts_with_nocase(text, "port") || starts_with_nocase(text, "sys"))) {
    take_setting(device, text, reaction);
  }
  const KeyValue pair = split_key_value(strip_newline(cut_text(text, kMaxStatusLine)));
  const std::string name(pair.key);
  if (starts_with_nocase(name, "local")) {
    take_playback(device, name, now.local_s, reaction);
    return reaction;
  }
  if (std::optional<std::string>* hdcp = hdcp_of(device, name)) {
    if (*hdcp && equals_nocase(**hdcp, pair.value)) {
      reaction.notes.push_back(name + " raises nothing: it has this value already");
      return reaction;
    }
    *hdcp = pair.value;
  }
  count_rows(device, name, now.local_s, reaction);
  return reaction;
}

}  // namespace kovo::tryout
