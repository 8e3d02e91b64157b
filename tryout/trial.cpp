#include "tryout/trial.h"

#include <algorithm>
#include <numeric>

#include "check/words.h"
#include "core/event_rules.h"
#include "core/message.h"
#include "core/text.h"
#include "core/trigger_text.h"

namespace kovo::tryout {
namespace {

constexpr std::int64_t kMillisecondsPerSecond = 1000;

bool plug_enabled(const TrialDevice& device, std::int64_t ms) {
  return ms - device.booted_ms > kPowerOnPeriodS * kMillisecondsPerSecond;
}

/// Reserves one of the daemon's senders. Returns false when all are busy.
bool reserve_sender(TrialDevice& device, std::int64_t from_ms, std::int64_t until_ms) {
  const auto busy = std::count_if(device.busy_senders.begin(), device.busy_senders.end(),
                                  [&](const BusySender& sender) {
                                    return sender.from_ms <= from_ms && from_ms < sender.until_ms;
                                  });
  if (busy >= kSenderSlots) return false;
  device.busy_senders.push_back({from_ms, until_ms});
  return true;
}

/// Returns why an event does not run, "" when it does; remembers that PowerOn has run.
std::string start_event(TrialDevice& device, const check::ExplainedEvent& event, RaisedBy by) {
  if (by == RaisedBy::kName && !device.events_enabled) return "dropped: events are disabled";
  if (event.never_runs) {
    return "dropped: its delay is not below " + std::to_string(kEventLifeS) + " s";
  }
  if (!event.once_per_boot) return {};
  if (device.power_on_done) return "skipped: it runs only once per boot";
  device.power_on_done = true;
  return {};
}

/// Returns why a step is not sent, "" when it is; reserves its sender.
std::string start_step(TrialDevice& device, const check::ExplainedEvent& event,
                       const check::ExplainedStep& step, std::int64_t starts_ms,
                       std::int64_t leaves_ms) {
  EventDefinition definition;
  definition.name = event.name;
  switch (step_fate(definition, plug_enabled(device, starts_ms), device.events_enabled)) {
    case StepFate::kPowerOnSkip:
      return "skipped: display events are not sent in the first " +
             std::to_string(kPowerOnPeriodS) + " s after boot";
    case StepFate::kDisabled:
      return "skipped: events are disabled";
    case StepFate::kSend:
      break;
  }
  if (!step.why_not.empty()) return "not sent: " + step.why_not;
  if (reserve_sender(device, starts_ms, leaves_ms + kSenderPauseMs)) return {};
  return "dropped: all " + std::to_string(kSenderSlots) + " senders are busy";
}

/// Returns the positions of the steps by their indexes: the order in which senders are reserved.
std::vector<std::size_t> by_index(const check::ExplainedEvent& event) {
  std::vector<std::size_t> order(event.steps.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    return event.steps[a].index < event.steps[b].index;
  });
  return order;
}

void change_setting(TrialDevice& device, const KeyValue& line, Reaction& reaction) {
  const std::string no_trigger = check::shown(line.key) + " raises no trigger: ";
  switch (exchange_setting(device.settings, line.key, line.value).result) {
    case kSettingChanged:
      reaction.triggers.emplace_back(line.key);
      break;
    case kSettingSame:
      reaction.notes.push_back(no_trigger + "its value is unchanged");
      break;
    default:
      reaction.notes.push_back(no_trigger + (line.value.empty()
                                                 ? "its value is empty"
                                                 : "no setting has exactly this name"));
  }
}

/// Stores the value of a variable. Returns whether it is new or differs in more than case.
bool set_variable(TrialDevice& device, std::string_view name, std::string_view value) {
  const auto [variable, is_new] = device.variables.try_emplace(lower_ascii(name), value);
  if (!is_new && equals_nocase(variable->second, value)) return false;
  variable->second = value;
  return true;
}

/// Adds the trigger that an action raises, or a note why it is not raised.
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
      reaction.notes.emplace_back("the first serial format raises no trigger: send another one");
      break;
    case ActionKind::kUnchanged:
      reaction.notes.push_back(name + " is not raised: its value is still " +
                               check::shown(action.value));
      break;
    case ActionKind::kInPause:
      reaction.notes.push_back(name + " is not raised: it was raised within the last " +
                               std::to_string(kEventPauseS) + " s");
      break;
    case ActionKind::kHoldOff:
      reaction.notes.push_back(name + " is held off: the previous message of " + action.value +
                               " arrived " + std::to_string(action.since_last_s) + " s ago; wait " +
                               std::to_string(kHoldOffS + 1) + " s between messages");
      break;
    default:
      break;
  }
}

/// Adds a note for a status line that raises no trigger but may restart hold-off times.
void note_counting_rows(std::string_view name, const ChangeActions& actions, Reaction& reaction) {
  std::string rows;
  for (const ChangeAction& action : actions) {
    if (action.kind != ActionKind::kUnmapped) rows += (rows.empty() ? "" : ", ") + action.row_event;
  }
  reaction.notes.push_back(check::shown(name) + " raises no trigger" +
                           (rows.empty() ? ": this product has no such status line"
                                         : "; it restarts the hold-off time of " + rows));
}

}  // namespace

TrialDevice started_device(Variant variant, std::int64_t booted_ms) {
  TrialDevice device;
  device.changes.mapping_table = mapping_rows(variant);
  store_wpa_mode(device.changes, "off");
  device.booted_ms = booted_ms;
  device.settings = empty_settings();
  device.changes.playback = "local";
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
  run.why_not = start_event(device, event, by);
  if (!run.why_not.empty()) return run;
  const auto is_idle = [&](const BusySender& sender) { return sender.until_ms <= now.ms; };
  std::vector<BusySender>& busy = device.busy_senders;
  busy.erase(std::remove_if(busy.begin(), busy.end(), is_idle), busy.end());
  run.steps.resize(event.steps.size());
  for (const std::size_t at : by_index(event)) {
    const check::ExplainedStep& step = event.steps[at];
    const std::int64_t leaves_ms = run.starts_ms + std::max<std::int64_t>(step.offset_ms, 0);
    run.steps[at] = {leaves_ms, start_step(device, event, step, run.starts_ms, leaves_ms)};
  }
  return run;
}

Reaction process_trigger_text(TrialDevice& device, std::string_view text) {
  const KeyValue line = split_command_line(text);
  if (!is_command(line.key)) {
    Reaction reaction;
    for (const std::string_view name : split_lines(strip_newline(line.key))) {
      reaction.triggers.emplace_back(name);
    }
    return reaction;
  }
  if (tested_names(line.key)) {
    return {{}, {"tests are not simulated: Fire in the tab Events shows what an event sends"}};
  }
  const std::optional<bool> enables = enables_events(line);
  if (!enables) return {{}, {check::shown(line.key) + " is not a command: it is ignored"}};
  device.events_enabled = *enables;
  return {{}, {*enables ? "events are enabled" : "events are disabled"}};
}

Reaction process_message(TrialDevice& device, std::string_view text, const Moment& now) {
  Reaction reaction;
  if (names_setting(text)) {
    change_setting(device, split_setting_line(text).value_or(split_key_value(text)), reaction);
    return reaction;
  }
  const Message message = split_message(strip_newline(truncated(text, kMaxMessage)));
  if (message.splitting == Splitting::kMalformed) {
    return {{}, {check::shown(message.command) + " is a command without its arguments"}};
  }
  if (message.splitting != Splitting::kOk) {
    return {{}, {"not a valid message: a variable is changed by e_param_set::NAME::VALUE"}};
  }
  if (!equals_nocase(message.command, "e_param_set")) {
    return {{}, {"only e_param_set is simulated, which changes a variable"}};
  }
  const std::string value = decode_value(message.arg2);
  set_variable(device, message.arg1, value);
  for (const ChangeRule rule : change_rules(message.arg1)) {
    for (const ChangeAction& action :
         run_rule(rule, device.changes, {message.arg1, value}, now.local_s)) {
      add_action(action, reaction);
    }
  }
  if (reaction.triggers.empty() && reaction.notes.empty()) {
    reaction.notes.push_back(check::shown(message.arg1) + " raises no trigger on this product");
  }
  return reaction;
}

Reaction process_status_line(TrialDevice& device, std::string_view text, const Moment& now) {
  Reaction reaction;
  if (const auto line = split_setting_line(text)) change_setting(device, *line, reaction);
  const KeyValue pair = split_key_value(strip_newline(truncated(text, kMaxStatusLine)));
  const std::string name(pair.key);
  if (is_playback(name)) {
    for (const ChangeAction& action :
         run_rule(playback_rule, device.changes, {name}, now.local_s)) {
      add_action(action, reaction);
    }
  } else if (is_hdcp_state(name) && !set_variable(device, name, pair.value)) {
    reaction.notes.push_back(name + " raises no trigger: its value is unchanged");
  } else {
    const ChangeActions actions = run_rule(status_rule, device.changes, {name}, now.local_s);
    if (reaction.triggers.empty() && reaction.notes.empty()) {
      note_counting_rows(name, actions, reaction);
    }
  }
  return reaction;
}

}  // namespace kovo::tryout
