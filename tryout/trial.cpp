#include "tryout/trial.h"

#include <algorithm>

#include "control/split_message.h"
#include "engine/event_fate.h"
#include "frame/text.h"
#include "variables/change_values.h"

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
    return "dropped: an event that has not run within " + std::to_string(check::kEventLifeS) +
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
  if (step.sender.sends == check::Sends::kNothing) {
    outcome.why = "sends nothing: its protocol names no sender";
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
    reaction.notes.emplace_back("no change of a variable: only e_param_set is tried out here");
  } else {
    return true;
  }
  return false;
}

/// Each part of a serial format raises its own event; the first format only stands for what was.
void take_serial(TrialDevice& device, const std::string& value, Reaction& reaction) {
  MappingRow* row = find_row_by_status(device.rows, "serialBaud");
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
  if (equals_nocase(yuv, device.yuv_out)) return;
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
  }
  device.p8021_status = status;
  device.wpa_eap_mode = value;
}

void take_mapping(TrialDevice& device, const std::string& name, std::int64_t now,
                  Reaction& reaction) {
  MappingRow* row = find_row_by_variable(device.rows, name);
  if (row == nullptr) {
    reaction.notes.push_back(check::shown(name) + " raises nothing on this product");
    return;
  }
  const std::int64_t since_last = now - row->last_time;
  row->last_time = now;
  if (!pause_lasts(since_last, kQuietPeriodS)) {
    reaction.triggers.push_back(row->status);
    return;
  }
  reaction.notes.push_back(row->status + " is skipped: the last message of " + row->variable +
                           " came " + std::to_string(since_last) + " s ago; wait " +
                           std::to_string(kQuietPeriodS + 1) + " s between two");
}

}  // namespace

TrialDevice started_device(Variant variant, std::int64_t booted_ms) {
  TrialDevice device;
  device.rows = mapping_rows(variant);
  device.booted_ms = booted_ms;
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
  const Message message = split_message(strip_newline(cut_text(text, kMaxMessage)));
  if (!is_set_command(message, reaction)) return reaction;
  const std::string& name = message.arg1;
  const std::string value = decode_value(message.arg2);
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

}  // namespace kovo::tryout
