// Finds records that are not: lines of a payload or of a received text that look like records of
// the event log.
//
// The main log has the length of received texts, so those are known. The line of a step is compared
// with the steps that may come next. Otherwise only times decide: a time out of order, followed by
// one in order, is part of a text, since no clock jumps there and back. A text that imitates a
// later record of an unknown event is not noticed.
#include <algorithm>

#include "check/log_parts.h"
#include "core/text.h"

namespace kovo::check {
namespace {

constexpr std::size_t kMaxJoined = 8;  // records in one text

/// Remembers a text of the event log in which a line looks like a record.
void note_long_text(Timeline& timeline, const std::string& text) {
  if (!contains(text, "\n")) return;
  EventLogReader reader;
  std::deque<EventRecord> records;
  read_event_log(reader, logged_line({0, text}) + "\n", records);
  end_event_log(reader, records);
  if (records.size() > 1) timeline.long_texts[records.front().text] = text;
}

/// Returns whether a text is that of a step that may come next and whose payload holds a newline.
bool is_expected_step(Timeline& timeline, const std::string& text) {
  const EventLineParts parts = parse_event_line(text);
  if (!is_step_line(parts.kind)) return false;
  ExecutedLine line{parts.kind, std::string(parts.step), parts.number, timeline.now,
                    timeline.record};
  const auto fits = [&](LogEvent& event, std::size_t step) {
    const std::vector<StepPattern>& steps = steps_of(event);
    return step < steps.size() && has_newline(steps[step]) && fits_line(steps[step], line);
  };
  for (const ExecutionCandidate& candidate : timeline.execution.candidates) {
    if (fits(*candidate.event, timeline.execution.lines.size())) return true;
  }
  const bool is_queued = std::any_of(
      timeline.queue.begin(), timeline.queue.end(),
      [&](const QueuedEvent& queued) { return queued.event != nullptr && fits(*queued.event, 0); });
  if (is_queued) return true;
  const auto [begin, end] = timeline.definitions->by_head.equal_range(head_of(line.step));
  return std::any_of(begin, end, [&](const auto& event) { return fits(*event.second, 0); });
}

bool carries_text(EventLine kind) {
  return is_step_line(kind) || kind == EventLine::kCommand || kind == EventLine::kStatusLine ||
         kind == EventLine::kPush || kind == EventLine::kSettingChanged;
}

/// Returns how many records after the first one are out of order while the next one is in order.
std::size_t count_out_of_order(const std::deque<EventRecord>& records) {
  const LogTime time = records.front().time;
  const std::size_t most = std::min(records.size(), kMaxJoined);
  for (std::size_t next = 1; next < most; ++next) {
    const LogTime other = records[next].time;
    if (parse_event_line(records[next].text).kind == EventLine::kStart) return 0;
    if (other < time || next + 1 >= most) continue;
    const bool all_out_of_order =
        std::none_of(records.begin() + 1, records.begin() + static_cast<std::ptrdiff_t>(next),
                     [&](const EventRecord& one) { return one.time >= time && one.time <= other; });
    return all_out_of_order ? next - 1 : 0;
  }
  return 0;
}

}  // namespace

void note_received(Timeline& timeline, const MainRecord& record) {
  if (record.kind == MainLine::kStatusLine) {
    note_long_text(timeline, "get udp:2728 event " + record.name);
  }
  if (record.kind != MainLine::kCommand) return;
  const KeyValue pair = split_key_value(truncated(strip_newline(record.name), kMaxCommand));
  const std::string key(pair.key);
  note_long_text(timeline, "get tcp:2700 event: key=" + key + ",value=" + std::string(pair.value));
  note_long_text(timeline, "push event: " + std::string(strip_newline(key)));
}

std::size_t count_embedded(Timeline& timeline, const std::deque<EventRecord>& records,
                           std::string& text) {
  const bool has_newlines = timeline.definitions != nullptr && timeline.definitions->has_newlines;
  const bool in_order = records.size() < 2 || records[1].time >= records[0].time;
  if (in_order && !has_newlines && timeline.long_texts.empty()) return 0;
  const EventLine kind = parse_event_line(text).kind;
  if (!carries_text(kind)) return 0;
  const auto known = timeline.long_texts.find(text);
  const bool is_known = known != timeline.long_texts.end();
  const bool is_step = timeline.definitions != nullptr && is_step_line(kind);
  if (is_step && is_expected_step(timeline, text)) return 0;
  std::string whole = text;
  const std::size_t most = is_known || is_step ? std::min(records.size(), kMaxJoined) : 0;
  for (std::size_t taken = 1; taken < most; ++taken) {
    whole += "\n" + logged_line(records[taken]);
    if (is_known ? whole != known->second : !is_expected_step(timeline, whole)) continue;
    text = whole;
    return taken;
  }
  const std::size_t count = count_out_of_order(records);
  for (std::size_t taken = 1; taken <= count; ++taken) text += "\n" + logged_line(records[taken]);
  return count;
}

}  // namespace kovo::check
