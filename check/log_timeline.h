// The timeline: one block for each name that was raised, dropped or skipped. It never says more
// than the logs do. Records in, blocks out; no input or output.
//
// The daemon logs a push before it searches an event for it, and executes the events that are due
// in the order in which they were queued, each with all its steps at once. So the line of a step
// belongs to the first queued event that is due and fits it.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "check/log_align.h"
#include "check/log_records.h"
#include "check/log_steps.h"
#include "core/event_rules.h"

namespace kovo::check {

enum class StepVerdict { kExecuted, kNoError, kNoErrorYet, kNotKnown, kNotSent, kSkipped };

/// Returns the name of a verdict in JSON, such as "not_sent".
const char* verdict_name(StepVerdict verdict);

struct TimelineStep {
  std::string address;
  std::string port;
  std::string protocol;
  std::string payload;
  std::optional<Sender> sender = {};
  bool offset_known = false;
  std::int64_t offset_ms = 0;
  StepVerdict verdict = StepVerdict::kNotKnown;
  std::string text;  // the verdict in words
};

inline bool is_tcp(const TimelineStep& step) {
  return step.sender && step.sender->transport == Transport::kTcp;
}
inline bool is_status(const TimelineStep& step) {
  return step.sender && step.sender->status;
}

enum class BlockVerdict {
  kExecuted,
  kNoEvent,
  kNotExecuted,  // for an unknown reason
  kNotKnown,
  kHoldOff,
  kSameValue,
  kOncePerBoot,
  kDisabled,
  kExpired,
  kRestart,
  kLogEnd,
  kDropped,
  kNote,
};

/// Returns the name of a verdict in JSON, such as "hold_off".
const char* verdict_name(BlockVerdict verdict);

struct TimelineBlock {
  bool time_known = true;
  bool is_about = false;  // the time is that of the nearest anchor
  LogTime time = 0;
  std::string trigger;
  std::string source;  // "on tcp:2700"
  bool is_test = false;
  std::string event;  // of the definitions; empty if unknown
  bool is_probable = false;
  std::optional<std::size_t> step_count;  // of the event
  bool was_executed = false;
  LogTime executed_at = 0;
  BlockVerdict verdict = BlockVerdict::kNotKnown;
  std::string text;  // the verdict in words
  bool has_failed = false;
  bool is_renewed = false;  // the daemon read its definitions again later
  std::vector<TimelineStep> steps;

  bool is_done = false;
  const PlacedRecord* error = nullptr;  // the block is not shown if a step has it
  std::int64_t hold_until = 0;  // as Timeline::elapsed: until then equal steps compete for an error
};

using BlockSink = std::function<void(const TimelineBlock&)>;

/// An event that may still be executed.
struct QueuedEvent {
  TimelineBlock* block;
  LogEvent* event;  // null: not in the definitions, or none are given
  LogTime pushed_at;
  std::int64_t elapsed_at_push;  // as Timeline::elapsed
  LogTime lookup_ms;             // at most, to find the events of the names pushed so far
};

/// Why a name will be pushed.
struct PushSource {
  std::string name;
  std::string text;
};

struct ExecutedLine {
  EventLine kind;
  std::string step;     // "address:port protocol payload"
  std::int64_t uptime;  // of a disabled step
  LogTime time;
  std::uint64_t record;
};

struct ExecutionCandidate {
  TimelineBlock* block;  // null: its push is not known
  LogEvent* event;
};

/// An execution whose lines are being read, and the events that all of them fit.
struct Execution {
  std::vector<ExecutionCandidate> candidates;  // the likeliest one first; none for an unknown event
  std::vector<ExecutedLine> lines;
};

/// An executed step whose error, if it has one, has not been searched yet.
struct OpenStep {
  std::uint64_t record;
  LogTime due;
  bool offset_known;
  const TimelineBlock* block;
};

struct Timeline {
  // Set before begin_timeline.
  LogDefinitions* definitions = nullptr;  // null: not given
  const LogIndex* index = nullptr;
  PlacedLog main_log;
  BlockSink sink;

  std::deque<std::unique_ptr<TimelineBlock>> blocks;  // not shown yet, in order
  std::deque<QueuedEvent> queue;
  std::deque<PushSource> sources;
  Execution execution;
  // By target_key: errors as positions in the main log, and the steps that may have caused them.
  std::unordered_map<std::string, std::deque<std::size_t>> errors;
  std::unordered_map<std::string, std::vector<OpenStep>> open_steps;
  std::unordered_map<std::string, std::string> long_texts;  // by their beginnings
  std::vector<std::size_t> expiries;                        // positions in the main log
  std::uint64_t renewed_until = 0;  // the daemon read its definitions again before this record
  std::size_t next_placed = 0;      // position in the main log
  std::uint64_t record = 0;         // position in the event log
  LogTime now = 0;                  // of the last record
  std::int64_t elapsed = 0;         // milliseconds; long pauses are shortened, the clock may be set
  bool marker_created = false;
  std::uint64_t unknown_records = 0;
  std::vector<std::uint64_t> embedded;  // records that are part of the text of the one before
};

/// Prepares a timeline whose first four members are set.
void begin_timeline(Timeline& timeline);

/// Adds the first of `records`, with the following ones that turn out to be part of its text.
/// Returns how many were added.
std::size_t add_record(Timeline& timeline, const std::deque<EventRecord>& records);

/// Notes that a part of the event log is missing here.
void add_gap(Timeline& timeline);

/// Ends the timeline: gives every open block its verdict.
void end_timeline(Timeline& timeline);

}  // namespace kovo::check
