#include "tryout/trial.h"

#include <algorithm>

#include "check/words.h"
#include "engine/event_rules.h"
#include "frame/text.h"
#include "variables/message.h"

namespace kovo::tryout {
namespace {

constexpr std::int64_t kMillisecondsPerSecond = 1000;

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
  } else if (!take_sender(device, starts_ms, outcome.leaves_ms + kSenderPauseMs)) {
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

void apply_setting(TrialDevice& device, const KeyValue& line, Reaction& reaction) {
  std::string value(line.value);
  switch (exchange_setting(device.settings, line.key, value)) {
    case kSettingChanged:
      reaction.triggers.emplace_back(line.key);
      break;
    case kSettingSame:
      reaction.notes.push_back(std::string(line.key) +
                               " raises nothing: it has this value already");
      break;
    default:
      reaction.notes.push_back(
          check::shown(line.key) + " raises nothing: " +
          (value.empty() ? "a setting needs a value" : "no setting has exactly this name"));
  }
}

/// Stores the value of a variable. Returns whether it is new or differs in more than letter case.
bool set_variable(TrialDevice& device, std::string_view name, std::string_view value) {
  const auto [variable, is_new] = device.variables.try_emplace(lower_ascii(name), value);
  if (!is_new && equals_nocase(variable->second, value)) return false;
  variable->second = value;
  return true;
}

/// Takes over what an action raises, or says why it raises nothing.
void add_action(const ChangeAction& action, Reaction& reaction) {
  const std::string name = check::shown(action.name);
  switch (action.kind) {
    case ActionKind::kPushSerial:
    case ActionKind::kPushDedicated:
    case ActionKind::kPushMapped:
    case ActionKind::kPushPlayback:
      reaction.triggers.push_back(action.name);
      break;
    case ActionKind::kFirstFormat:
      reaction.notes.emplace_back("the first serial format raises nothing: change it again");
      break;
    case ActionKind::kUnchanged:
      reaction.notes.push_back(name + " is not raised: its value stays " +
                               check::shown(action.value));
      break;
    case ActionKind::kInPause:
      reaction.notes.push_back(name + " is skipped: it was raised within the last " +
                               std::to_string(kEventPauseS) + " s");
      break;
    case ActionKind::kHoldOff:
      reaction.notes.push_back(name + " is skipped: the last message of " + action.value +
                               " came " + std::to_string(action.since_last_s) + " s ago; wait " +
                               std::to_string(kHoldOffS + 1) + " s between two");
      break;
    default:
      break;
  }
}

/// Says which rows a status line counts for: it raises nothing, but restarts their hold-off times.
void note_counting_rows(std::string_view name, const ChangeActions& actions, Reaction& reaction) {
  std::string rows;
  for (const ChangeAction& action : actions) {
    if (action.kind != ActionKind::kUnmapped) rows += (rows.empty() ? "" : ", ") + action.value;
  }
  const std::string note = check::shown(name) + " raises nothing";
  reaction.notes.push_back(rows.empty() ? note + ": no status line of this product begins so"
                                        : note + "; it restarts the hold-off time of " + rows);
}

}  // namespace

TrialDevice started_device(Variant variant, std::int64_t booted_ms) {
  TrialDevice device;
  device.changes.mapping_table = mapping_rows(variant);
  store_wpa_mode(device.changes, "off");
  device.booted_ms = booted_ms;
  device.settings = empty_settings();
  if (MappingRow* row = find_row(device.changes.mapping_table, &MappingRow::setting, "local:x")) {
    row->last_value = "local";
  }
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
    apply_setting(device, split_setting_line(text).value_or(split_key_value(text)), reaction);
    return reaction;
  }
  const Message message = split_message(strip_newline(cut_text(text, kMaxMessage)));
  if (message.splitting != Splitting::kOk) {
    reaction.notes.emplace_back("not understood: a change is e_param_set::NAME::VALUE");
    return reaction;
  }
  if (!equals_nocase(message.command, "e_param_set")) {
    reaction.notes.emplace_back("not a change of a variable: only e_param_set is tried out here");
    return reaction;
  }
  const std::string value = decode_value(message.arg2);
  set_variable(device, message.arg1, value);
  for (const ChangeRule rule : change_rules(message.arg1)) {
    for (const ChangeAction& action : rule(device.changes, {message.arg1, value}, now.local_s)) {
      add_action(action, reaction);
    }
  }
  if (reaction.triggers.empty() && reaction.notes.empty()) {
    reaction.notes.push_back(check::shown(message.arg1) + " raises nothing on this product");
  }
  return reaction;
}

Reaction take_status_line(TrialDevice& device, std::string_view text, const Moment& now) {
  Reaction reaction;
  if (const auto line = split_setting_line(text)) apply_setting(device, *line, reaction);
  const KeyValue pair = split_key_value(strip_newline(cut_text(text, kMaxStatusLine)));
  const std::string name(pair.key);
  if (is_playback(name)) {
    for (const ChangeAction& action : playback_rule(device.changes, name, now.local_s)) {
      add_action(action, reaction);
    }
  } else if (is_hdcp_state(name) && !set_variable(device, name, pair.value)) {
    reaction.notes.push_back(name + " raises nothing: it has this value already");
  } else {
    const ChangeActions actions = status_rule(device.changes, name, now.local_s);
    if (reaction.triggers.empty() && reaction.notes.empty()) {
      note_counting_rows(name, actions, reaction);
    }
  }
  return reaction;
}

}  // namespace kovo::tryout
