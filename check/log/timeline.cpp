#include "check/log/timeline.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <unordered_set>

#include "check/log/maker.h"
#include "check/source.h"
#include "check/triggers.h"
#include "core/change_rules.h"
#include "core/message.h"
#include "core/setting_rules.h"
#include "core/text.h"

namespace kovo::check {
namespace {

constexpr std::size_t kMostBetween = 16;  // records between a source and its push
constexpr LogTime kSecondMs = 1000;

const Triggers& all_triggers() {
  static const Triggers triggers = make_triggers(kAnyProduct);
  return triggers;
}

/// Returns what raises a trigger by the daemon's tables.
std::string usual_source(std::string_view trigger) {
  std::string result;
  const auto found = all_triggers().sources.find(std::string(trigger));
  if (found == all_triggers().sources.end()) return "by what is not in the log";
  for (const TriggerSource& source : found->second) {
    result += (result.empty() ? "by " : " or ") + description(source);
  }
  return result;
}

TimelineBlock& add_block(TimelineMaker& maker, std::size_t record, std::string_view trigger,
                         std::string source) {
  TimelineBlock& block = maker.timeline.blocks.emplace_back();
  block.record = record;
  block.time = maker.records[record].time;
  block.trigger = trigger;
  block.source = std::move(source);
  return block;
}

void settle(TimelineBlock& block, std::string_view verdict, std::string text, bool failed = false) {
  block.verdict = verdict;
  block.text = std::move(text);
  block.has_failed = failed;
}

std::string no_event_text(const LogDefinitions& definitions, const TimelineBlock& block) {
  std::string text =
      block.is_test ? "no event is named " + quoted(block.trigger) : "no event has this trigger";
  std::string near =
      nearest_name(block.is_test ? definitions.names : definitions.triggers, block.trigger);
  const auto by_trigger = definitions.by_trigger.find(block.trigger);
  if (block.is_test && by_trigger != definitions.by_trigger.end()) {
    near = by_trigger->second->compiled->name;
  }
  return near.empty() ? text : text + "; did you mean " + quoted(near) + "?";
}

/// Gives a push without steps its verdict; `end` is the record of a start or a set-back of the
/// clock, or the end of the log, if the push may still have been executed after it.
void settle_unexecuted(TimelineMaker& maker, const Push& push, std::optional<std::size_t> end) {
  TimelineBlock& block = maker.timeline.blocks[push.block];
  const LogRecords& records = maker.records;
  const auto unknown = [&](const std::string& text) {
    settle(block, "not_known", "unknown: " + text);
  };
  const std::int32_t delay_s = push.event == nullptr ? 0 : push.event->compiled->delay_s;
  if (delay_s >= kEventLifeS && !block.is_test) {
    return settle(block, "expired",
                  "never runs: a Delay of " + std::to_string(delay_s) + " s is not below 60 s",
                  true);
  }
  if (maker.expired.count(block.trigger) > 0) return unknown("an event of this trigger expired");
  const bool is_cut = end && *end < records.size();
  if (is_cut && records[*end].clock_set_back) return unknown(kClockSetBack);
  if (maker.definitions == nullptr) return unknown("no steps in the log");
  if (block.is_renewed) return unknown("the definition file was edited after this push");
  if (push.maybe) return unknown("the steps of " + clock_text(*push.maybe) + " may be its own");
  if (push.event == nullptr) {
    return settle(block, "no_event", no_event_text(*maker.definitions, block),
                  block.is_test || block.source == "on tcp:2700");
  }
  if (end == records.size() && records.back().elapsed <= push.due + kPassMs) {
    return unknown("the log ends before it is executed");
  }
  if (!is_cut) return unknown("no steps in the log");
  const std::string missing = missing_records(maker, push.at, records.back().elapsed);
  if (!missing.empty()) return unknown(missing);
  settle(block, "restart", "lost: the daemon was restarted at " + clock_text(records[*end].time),
         true);
}

void settle_all(TimelineMaker& maker, std::size_t end) {
  for (const Push& push : maker.queue) {
    if (!push.is_done) settle_unexecuted(maker, push, end);
  }
  maker.queue.clear();
}

/// Settles the pushes that would have been executed by now.
void settle_old(TimelineMaker& maker, LogTime now) {
  const auto is_old = [&](const Push& push) {
    const bool is_over = push.is_done || now > push.due + patience(maker, push);
    if (is_over && !push.is_done) settle_unexecuted(maker, push, {});
    return is_over;
  };
  maker.queue.erase(std::remove_if(maker.queue.begin(), maker.queue.end(), is_old),
                    maker.queue.end());
}

LogEvent* pushed_event(const TimelineMaker& maker, std::string_view name, bool is_test) {
  if (maker.definitions == nullptr) return nullptr;
  const auto& events = is_test ? maker.definitions->by_name : maker.definitions->by_trigger;
  const auto found = events.find(name);
  return found == events.end() ? nullptr : found->second;
}

void queue_push(TimelineMaker& maker, std::size_t record, std::string_view name, bool is_test,
                const std::string& source) {
  TimelineBlock& block = add_block(maker, record, name, source);
  block.is_test = is_test;
  block.is_renewed = maker.renewed_until > record;
  Push push;
  push.block = maker.timeline.blocks.size() - 1;
  push.record = record;
  push.at = push.due = maker.records[record].elapsed;
  push.event = pushed_event(maker, name, is_test);
  push.names_before = maker.names++;
  if (push.event != nullptr) {
    block.event = push.event->compiled->name;
    block.step_count = static_cast<std::size_t>(push.event->compiled->step_count);
    if (!is_test) push.due += std::max(0, push.event->compiled->delay_s) * kSecondMs;
  }
  maker.queue.push_back(push);
}

/// Returns why a text is pushed: its source is logged closely before it, or not at all.
std::string source_of(const TimelineMaker& maker, std::size_t record) {
  const std::string_view text = maker.records[record].name;
  for (std::size_t at = record; at-- > 0 && record - at <= kMostBetween;) {
    const LogRecord& before = maker.records[at];
    if (before.kind == RecordKind::kStart) break;
    if (before.name != text) continue;
    if (before.kind == RecordKind::kPush) break;
    if (before.kind == RecordKind::kCommand) return "on tcp:2700";
    if (before.kind == RecordKind::kSettingChanged) return "by setting " + shown(text);
  }
  return usual_source(text);
}

void on_push(TimelineMaker& maker, std::size_t record, bool is_test) {
  const std::string_view text = maker.records[record].name;
  const std::string source = is_test ? "as a test" : source_of(maker, record);
  for (const std::string_view name : split_lines(text)) {
    queue_push(maker, record, name, is_test, source);
  }
}

void on_power_on_skip(TimelineMaker& maker, std::size_t record) {
  const LogTime now = maker.records[record].elapsed;
  for (Push& push : maker.queue) {
    TimelineBlock& block = maker.timeline.blocks[push.block];
    if (push.is_done || push.due > now || !equals_nocase(block.trigger, kPowerOn)) continue;
    push.is_done = true;
    return settle(block, "once_per_boot", "skipped: it runs once per boot");
  }
}

void on_start(TimelineMaker& maker, std::size_t record) {
  settle_all(maker, record);
  maker.certain_from = maker.records[record].elapsed;
  settle(add_block(maker, record, "", ""), "note", "the daemon starts");
}

void on_record(TimelineMaker& maker, std::size_t at) {
  const LogRecord& record = maker.records[at];
  switch (record.kind) {
    case RecordKind::kStart:
      return on_start(maker, at);
    case RecordKind::kFirstStart:
      return queue_push(maker, at, kPowerOn, false, "by the first start after boot");
    case RecordKind::kPush:
    case RecordKind::kTestPush:
      return on_push(maker, at, record.kind == RecordKind::kTestPush);
    case RecordKind::kVariableSkip:
    case RecordKind::kStatusSkip:
      return settle(
          add_block(
              maker, at, record.name,
              record.kind == RecordKind::kStatusSkip ? "on udp:2728" : usual_source(record.name)),
          "hold_off",
          "skipped: hold-off time, " + std::to_string(record.number) + " s after the last one");
    case RecordKind::kSettingSame:
      return settle(add_block(maker, at, record.name, "by setting " + shown(record.name)),
                    "same_value", "skipped: the setting has this value already");
    case RecordKind::kPowerOnSkip:
      return on_power_on_skip(maker, at);
    case RecordKind::kUnknown:
      ++maker.timeline.unknown;
      return;
    default:
      return;
  }
}

void walk(TimelineMaker& maker) {
  std::size_t pass_end = 0;
  for (std::size_t at = 0; at < maker.records.size(); ++at) {
    const LogRecord& record = maker.records[at];
    if (at == 0 || record.clock_set_back) maker.certain_from = record.elapsed + kLifeMs;
    if (record.clock_set_back || record.kind == RecordKind::kStart) maker.ends.push_back(at);
    if (record.clock_set_back) {
      settle_all(maker, at);
      settle(add_block(maker, at, "", ""), "note", kClockSetBack);
    }
    if (!is_step(record.kind)) {
      on_record(maker, at);
    } else if (at > pass_end || at == 0) {
      settle_old(maker, record.elapsed);
      pass_end = run_pass(maker, at);
    }
  }
  maker.ends.push_back(maker.records.size());
  if (maker.records.empty()) return;
  settle_old(maker, maker.records.back().elapsed);
  settle_all(maker, maker.records.size());
}

/// Finds the records by which the daemon says that it read its definition file again. At a start it
/// reads it in any case.
void find_renewals(TimelineMaker& maker) {
  bool is_started = false;
  for (std::size_t at = 0; at < maker.main.size(); ++at) {
    const LogRecord& record = maker.main[at];
    if (record.kind == RecordKind::kStart) is_started = true;
    if (record.kind == RecordKind::kNoSender) maker.no_sender.push_back(at);
    if (record.kind == RecordKind::kExpired) maker.expired.insert(record.name);
    if (record.kind != RecordKind::kRenewed || contains(record.name, "kovotest")) continue;
    if (!is_started || at == 0) maker.renewed_until = maker.pairing.spans[at].next;
    is_started = false;
  }
  if (maker.renewed_until == 0 || maker.records.empty()) return;
  const std::size_t next = std::min(maker.renewed_until, maker.records.size() - 1);
  maker.timeline.renewed = maker.records[next].time;
}

/// Returns the verdict on a record that only the main log has; "" for other records.
std::string main_text(const TimelineMaker& maker, std::size_t at) {
  const LogRecord& record = maker.main[at];
  switch (record.kind) {
    case RecordKind::kFull:
      return "dropped: " + shown(record.name) + " is full" + shown(record.error);
    case RecordKind::kNoSender:
      return "NOT SENT: no sender for " + counted(static_cast<std::size_t>(record.number), "step") +
             ", the last one of " + quoted(record.name);
    case RecordKind::kSenderError:
      return "NOT SENT: a step of " + quoted(record.name) + ": " + shown(record.error);
    case RecordKind::kTooMany:
      return "dropped: too many events are queued";
    case RecordKind::kExpired:
      return "dropped: " + quoted(record.value) + " was not executed within 60 s";
    case RecordKind::kDisabled:
      return "dropped: events are off" + disabled_by(maker.main, at);
    default:
      return "";
  }
}

void add_main_blocks(TimelineMaker& maker) {
  for (std::size_t at = 0; at < maker.main.size(); ++at) {
    const RecordKind kind = maker.main[at].kind;
    std::string text = main_text(maker, at);
    if (text.empty()) continue;
    TimelineBlock& block = maker.timeline.blocks.emplace_back();
    block.is_about = true;
    block.record = maker.pairing.spans[at].next;
    const std::size_t next = std::min(block.record + 1, maker.records.size());
    if (next > 0) block.time = maker.records[next - 1].time;
    const bool is_disabled = kind == RecordKind::kDisabled;
    const bool is_expired = kind == RecordKind::kExpired;
    if (is_disabled || is_expired || kind == RecordKind::kTooMany) {
      block.trigger = maker.main[at].name;
    }
    settle(block,
           is_disabled  ? "disabled"
           : is_expired ? "expired"
                        : "dropped",
           std::move(text), true);
  }
}

/// Finds the variables whose messages raised nothing: no product has a row for them, or this one
/// does not seem to.
void find_without_effect(TimelineMaker& maker) {
  std::unordered_set<std::string_view> raised;
  std::set<std::string> found;
  for (const LogRecord& record : maker.main) {
    if (record.kind == RecordKind::kVariable) raised.insert(record.name);
  }
  for (const LogRecord& record : maker.records) {
    if (record.kind == RecordKind::kVariable || record.kind == RecordKind::kVariableSkip ||
        record.kind == RecordKind::kBareName) {
      raised.insert(record.name);
    }
    const std::string_view line = split_key_value(strip_newline(record.name)).key;
    const bool may_raise = is_playback(line) || names_setting(line);
    if (record.kind == RecordKind::kStatusLine && !may_raise) found.insert(shown(line));
  }
  for (std::size_t at = 0; at < maker.main.size(); ++at) {
    const LogRecord& record = maker.main[at];
    if (record.kind != RecordKind::kMessage) continue;
    const Message message = split_message(strip_newline(record.name));
    const bool is_set = equals_nocase(message.command, "e_param_set");
    if (!is_set || maker.pairing.spans[at].next >= maker.records.size()) continue;
    const std::vector<std::string> triggers = triggers_of_variable(all_triggers(), message.arg1);
    const bool has_raised = std::any_of(triggers.begin(), triggers.end(), [&](const auto& trigger) {
      return raised.count(trigger) > 0;
    });
    if (!has_raised) found.insert(shown(message.arg1));
  }
  maker.timeline.without_effect = {found.begin(), found.end()};
}

}  // namespace

Timeline make_timeline(const EventLog& events, const MainLog& main_log,
                       const std::string_view* definitions) {
  const Source source = read_source(definitions == nullptr ? "" : *definitions);
  LogDefinitions compiled;
  make_log_definitions(daemon_entries(source), compiled);
  TimelineMaker maker{events.records, main_log.records,
                      definitions == nullptr ? nullptr : &compiled,
                      pair_logs(events.records, main_log.records)};
  maker.timeline.event_records = events.records.size();
  maker.timeline.main_records = main_log.records.size();
  maker.timeline.skipped = events.skipped + main_log.skipped;
  find_renewals(maker);
  walk(maker);
  settle_steps(maker);
  add_main_blocks(maker);
  find_without_effect(maker);
  std::stable_sort(
      maker.timeline.blocks.begin(), maker.timeline.blocks.end(),
      [](const TimelineBlock& a, const TimelineBlock& b) { return a.record < b.record; });
  if (maker.pairing.has_pairs) {
    const auto first = std::find_if(
        events.records.begin(), events.records.end(),
        [&](const LogRecord& record) { return record.elapsed >= maker.pairing.since; });
    maker.timeline.main_since = first->time;
  }
  return std::move(maker.timeline);
}

std::string no_trigger_text(const Timeline& timeline, std::string_view trigger) {
  std::vector<std::string> names;
  for (const TimelineBlock& block : timeline.blocks) {
    if (trigger.empty() || block.trigger == trigger) return "";
    if (!block.trigger.empty()) names.push_back(block.trigger);
  }
  std::sort(names.begin(), names.end());
  names.erase(std::unique(names.begin(), names.end()), names.end());
  std::string text = "nothing in the logs caused " + quoted(trigger);
  const std::vector<std::string> of_variable = triggers_of_variable(all_triggers(), trigger);
  if (!of_variable.empty()) {
    return text + "; this is a variable: its trigger is " + quoted(of_variable.front());
  }
  const std::string near = nearest_name(make_suggester(names), trigger);
  if (!near.empty()) text += "; did you mean " + quoted(near) + "?";
  for (const std::string& name : names) {
    text += (&name == &names.front() ? "\nThe logs have " : ", ") + quoted(name);
  }
  return text;
}

}  // namespace kovo::check
