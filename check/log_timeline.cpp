// Follows the event log record by record. A block is shown when it is done and no equal step can
// still compete for the error of one of its steps; blocks are shown in order. Records of the main
// log that no record of the event log explains become blocks at the time of the nearest anchor.
#include "check/log_timeline.h"

#include <algorithm>
#include <utility>

#include "check/log_parts.h"
#include "core/text.h"

namespace kovo::check {
namespace {

constexpr LogTime kLongPauseMs = 15'000;    // a longer one counts as this: see Timeline::elapsed
constexpr std::size_t kMaxBlocks = 10'000;  // waiting for others; bounds the memory

void show_done(Timeline& timeline) {
  while (!timeline.blocks.empty()) {
    TimelineBlock& block = *timeline.blocks.front();
    const bool crowded = timeline.blocks.size() > kMaxBlocks;
    if (!block.is_done || (timeline.elapsed < block.hold_until && !crowded)) return;
    settle_errors(timeline, block);
    const PlacedRecord* error = block.error;
    if (error == nullptr || !(error->is_taken || error->is_explained)) timeline.sink(block);
    timeline.blocks.pop_front();
  }
}

/// Shows a record of the main log that nothing in the event log explains.
void show_main_record(Timeline& timeline, const PlacedRecord& placed) {
  const MainRecord& record = *placed.record;
  const auto add = [&](BlockVerdict verdict, std::string_view trigger, const char* source,
                       const std::string& text) {
    TimelineBlock& block =
        add_settled(timeline, trigger, source, verdict, text, verdict != BlockVerdict::kNote);
    const std::optional<Anchor>& near = placed.after ? placed.after : placed.before;
    block.time_known = near.has_value();
    block.is_about = true;
    if (near) block.time = near->time;
    return &block;
  };
  switch (record.kind) {
    case MainLine::kDisabled:
      add(BlockVerdict::kDisabled, record.name, "on tcp:2700", "dropped: events are disabled");
      break;
    case MainLine::kExpired:
      add(BlockVerdict::kExpired, record.name, "",
          "dropped: " + shown(record.value) + " was " + expired_text());
      break;
    case MainLine::kConnectError:
    case MainLine::kSendError:
      add(BlockVerdict::kDropped, "", "",
          "NOT SENT: TCP " + shown(record.name) + ":" + std::to_string(record.number) + " " +
              quoted(record.value) + ": " + reason_of(record) +
              " (its step is not in the event log)")
          ->error = &placed;
      break;
    case MainLine::kSenderError:
      add(BlockVerdict::kDropped, "", "",
          "NOT SENT: a step of " + shown(record.name) + ": " + record.error);
      break;
    case MainLine::kDropped:
      add(BlockVerdict::kDropped, record.name, "",
          "dropped: " + (record.name.empty() ? record.error : "too many events are queued"));
      break;
    case MainLine::kRefused:
      add(BlockVerdict::kDropped, record.name, "on port 2727", "refused: no command, or malformed");
      break;
    case MainLine::kSettingRefused:
      add(BlockVerdict::kNote, record.name, "by setting",
          "a setting needs a value: nothing is raised");
      break;
    default:
      break;
  }
}

/// Settles the first queued event that an expiry may belong to; returns whether there is one.
bool expires_queued(Timeline& timeline, const PlacedRecord& placed) {
  for (const QueuedEvent& queued : timeline.queue) {
    if (!settle_expired(timeline, queued)) continue;
    remove_queued(timeline, queued.block);
    return placed.is_taken;
  }
  return false;
}

/// Shows what only the main log has, up to a record of the event log.
void show_main_log(Timeline& timeline, std::uint64_t record) {
  const std::vector<PlacedRecord>& records = timeline.main_log.records;
  if (!timeline.execution.lines.empty()) return;  // these may explain an error
  for (; timeline.next_placed < records.size(); ++timeline.next_placed) {
    const PlacedRecord& placed = records[timeline.next_placed];
    if (record != UINT64_MAX && (!placed.before || placed.before->record > record)) return;
    if (placed.record->kind == MainLine::kExpired && expires_queued(timeline, placed)) continue;
    show_main_record(timeline, placed);
  }
}

void on_status_line(Timeline& timeline, std::string_view text) {
  if (starts_with_nocase(text, "port") || starts_with_nocase(text, "sys")) return;
  const char* result = starts_with_nocase(text, "local")
                           ? "the playback selection: a change raises what follows"
                           : "a status line raises no event";
  add_settled(timeline, text, "on udp:2728", BlockVerdict::kNote, result, false);
}

void on_skip(Timeline& timeline, const EventLineParts& parts, std::string source,
             const std::string& what) {
  add_settled(timeline, parts.name, std::move(source), BlockVerdict::kHoldOff,
              "skipped: hold-off time, the last " + what + " came " + std::to_string(parts.number) +
                  " s before",
              false);
}

void on_clock(Timeline& timeline, LogTime time) {
  constexpr LogTime kSecond = 1000;
  if (timeline.record > 0 && timeline.now - time >= kSecond) {
    const LogTime back = (timeline.now - time) / kSecond;
    timeline.now = time;
    add_settled(timeline, "", "", BlockVerdict::kNote,
                "the clock was set back by " + std::to_string(back) + " s", false);
  }
  const LogTime pause = timeline.record == 0 ? 0 : time - timeline.now;
  timeline.elapsed += std::clamp<LogTime>(pause, 0, kLongPauseMs);
  timeline.now = time;
}

void on_record(Timeline& timeline, const EventRecord& record) {
  on_clock(timeline, record.time);
  const EventLineParts parts = parse_event_line(record.text);
  if (is_step_line(parts.kind)) {
    on_step(timeline,
            {parts.kind, std::string(parts.step), parts.number, record.time, timeline.record});
    return;
  }
  switch (parts.kind) {
    case EventLine::kStart:
      return on_start(timeline);
    case EventLine::kMarkerCreated:
      push_power_on(timeline);
      timeline.marker_created = true;
      break;
    case EventLine::kAutoPush:
      if (!std::exchange(timeline.marker_created, false)) push_power_on(timeline);
      break;
    case EventLine::kPush:
      return on_push(timeline, parts);
    case EventLine::kCommand:
      close_execution(timeline);
      add_source(timeline, std::string(strip_newline(parts.name)), "on tcp:2700");
      break;
    case EventLine::kStatusLine:
      return on_status_line(timeline, parts.name);
    case EventLine::kVariable:
    case EventLine::kBareName:
      return add_source(timeline, std::string(parts.name), variable_source(parts.name));
    case EventLine::kVariableSkip:
      return on_skip(timeline, parts, variable_source(parts.name), "message of its row");
    case EventLine::kStatusSkip:
      return on_skip(timeline, parts, "on udp:2728", "line of its row");
    case EventLine::kSettingChanged:
      return add_source(timeline, std::string(parts.name), "by setting " + shown(parts.name));
    case EventLine::kSettingSame:
      add_settled(timeline, parts.name, "by setting " + shown(parts.name), BlockVerdict::kSameValue,
                  "skipped: the setting has this value already", false);
      break;
    case EventLine::kPowerOnSkip:
      return on_power_on_skip(timeline);
    case EventLine::kMilestone:
      return;
    default:
      ++timeline.unknown_records;
  }
}

}  // namespace

TimelineBlock& add_block(Timeline& timeline) {
  TimelineBlock& block = *timeline.blocks.emplace_back(std::make_unique<TimelineBlock>());
  block.time = timeline.now;
  return block;
}

std::string expired_text() {
  return "not executed within " + std::to_string(kEventLifeS) + " s";
}

void settle(TimelineBlock& block, BlockVerdict verdict, std::string text, bool failed) {
  block.verdict = verdict;
  block.text = std::move(text);
  block.has_failed = failed;
  block.is_done = true;
}

TimelineBlock& add_settled(Timeline& timeline, std::string_view trigger, std::string source,
                           BlockVerdict verdict, std::string text, bool failed) {
  TimelineBlock& block = add_block(timeline);
  block.trigger = trigger;
  block.source = std::move(source);
  settle(block, verdict, std::move(text), failed);
  return block;
}

const char* verdict_name(StepVerdict verdict) {
  constexpr const char* kNames[] = {"executed",  "no_error", "no_error_yet",
                                    "not_known", "not_sent", "skipped"};
  return kNames[static_cast<std::size_t>(verdict)];
}

const char* verdict_name(BlockVerdict verdict) {
  constexpr const char* kNames[] = {"executed", "no_event",   "not_executed",  "not_known",
                                    "hold_off", "same_value", "once_per_boot", "disabled",
                                    "expired",  "restart",    "log_end",       "dropped",
                                    "note"};
  return kNames[static_cast<std::size_t>(verdict)];
}

void begin_timeline(Timeline& timeline) {
  bool is_started = false;  // at its start, the daemon reads its definitions in any case
  for (std::size_t at = 0; at < timeline.main_log.records.size(); ++at) {
    const PlacedRecord& placed = timeline.main_log.records[at];
    const MainRecord& record = *placed.record;
    note_received(timeline, record);
    if (record.kind == MainLine::kBanner) is_started = true;
    if (record.kind == MainLine::kExpired) timeline.expiries.push_back(at);
    if (record.kind == MainLine::kRenewed && !contains(record.name, "kovotest")) {
      const std::uint64_t next = placed.before ? placed.before->record : UINT64_MAX;
      if (!std::exchange(is_started, false) && timeline.main_log.first)
        timeline.renewed_until = next;
    }
    if (record.kind != MainLine::kConnectError && record.kind != MainLine::kSendError) continue;
    timeline.errors[target_key(record.name, record.number, record.value)].push_back(at);
    timeline.errors[target_key(record.name, record.number, {})].push_back(at);
  }
}

std::size_t add_record(Timeline& timeline, const std::deque<EventRecord>& records) {
  show_main_log(timeline, timeline.record);
  EventRecord record = records.front();
  const std::size_t embedded = count_embedded(timeline, records, record.text);
  for (std::size_t at = 1; at <= embedded; ++at) {
    timeline.embedded.push_back(timeline.record + at);
  }
  on_record(timeline, record);
  timeline.record += 1 + embedded;
  settle_old(timeline);
  show_done(timeline);
  return 1 + embedded;
}

void add_gap(Timeline& timeline) {
  settle_all(timeline, BlockVerdict::kNotKnown, "not known: a part of the log is missing", false);
  add_settled(timeline, "", "", BlockVerdict::kNote, "a part of the event log is missing", false);
}

void end_timeline(Timeline& timeline) {
  close_execution(timeline);
  show_main_log(timeline, UINT64_MAX);
  settle_all(timeline, BlockVerdict::kLogEnd, "not known: the log ends before its steps", false);
  timeline.elapsed = INT64_MAX;
  show_done(timeline);
}

}  // namespace kovo::check
