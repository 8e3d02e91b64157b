// The timeline: one block for each name that was pushed, dropped or skipped. It never says more
// than the logs do. Records in, blocks out; no input or output.
//
// The daemon logs a push before it searches an event for it, and executes the events that are due
// in the order in which they were queued, each with all its steps at once. So the lines of a pass
// are divided among the pushes that are due, from its end: each time, the last push counts whose
// event has left the lines. An earlier equal one found no event, before an edit of the definition
// file.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "check/log/records.h"
#include "core/event_rules.h"

namespace kovo::check {

/// A step that was executed. Its texts point into the logs.
struct TimelineStep {
  std::string_view address;
  std::string_view port;
  std::string_view protocol;
  std::string_view payload;
  std::optional<Sender> sender;
  bool offset_known = false;
  std::int64_t offset_ms = 0;
  std::size_t record = 0;                  // of its line in the event log
  std::string_view verdict = "not_known";  // in JSON
  std::string text;                        // the verdict in words
  std::string note;                        // what else is known of it
};

inline bool is_tcp(const TimelineStep& step) {
  return step.sender && step.sender->transport == Transport::kTcp;
}
inline bool is_status(const TimelineStep& step) {
  return step.sender && step.sender->status;
}

inline void add_note(TimelineStep& step, const std::string& note) {
  step.note += (step.note.empty() ? "" : "; ") + note;
}

struct TimelineBlock {
  LogTime time = 0;
  bool is_about = false;  // only the main log has it: the time is that of an adjacent record
  std::string trigger;
  std::string source;  // "on tcp:2700"
  bool is_test = false;
  std::string event;                      // of the definitions; empty if unknown
  bool is_probable = false;               // another push may have executed these steps
  std::optional<std::size_t> step_count;  // of the event
  std::optional<LogTime> executed;
  std::string_view verdict = "not_known";  // in JSON
  std::string text;                        // the verdict in words
  bool has_failed = false;
  bool is_renewed = false;  // the daemon read its definitions again later
  std::vector<TimelineStep> steps;
  std::size_t record = 0;  // of the event log, which orders the blocks
};

struct Timeline {
  std::vector<TimelineBlock> blocks;
  std::size_t event_records = 0;
  std::size_t main_records = 0;
  std::uint64_t skipped = 0;                // lines outside of records
  std::uint64_t unknown = 0;                // records of the event log that are not understood
  std::optional<LogTime> main_since;        // how far back the main log reaches
  std::optional<LogTime> renewed;           // about when the definition file was last read again
  std::vector<std::string> without_effect;  // variables whose messages raised nothing
};

/// Makes the timeline of both logs. `definitions` is the text of the definition file; null: not
/// given. The logs must outlive the result.
Timeline make_timeline(const EventLog& events, const MainLog& main_log,
                       const std::string_view* definitions);

/// Returns the message for a trigger without a block: what the logs have, and a near name; "" for
/// "" or a trigger with a block.
std::string no_trigger_text(const Timeline& timeline, std::string_view trigger);

}  // namespace kovo::check
