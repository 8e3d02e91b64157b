// What happened, by the logs: one block for each name that was raised, dropped or skipped. It never
// says more than the logs do. Pure records in, blocks out.
//
// The daemon logs a push before it looks the name up, and executes the events that are due in the
// order in which they were queued, each with all its steps at once. So a step's line belongs to the
// first queued event that is due and fits it.
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

namespace kovo::check {

enum class StepVerdict { kExecuted, kNoError, kNoErrorYet, kNotKnown, kNotSent, kSkipped };

/// Returns the word of JSON, such as "not_sent".
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
  kNotExecuted,  // and why is not known
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

/// Returns the word of JSON, such as "hold_off".
const char* verdict_name(BlockVerdict verdict);

struct TimelineBlock {
  bool time_known = true;
  bool is_about = false;  // the time is that of a neighbour
  LogTime time = 0;
  std::string trigger;
  std::string source;  // "on tcp:2700"
  bool is_test = false;
  std::string event;  // of the definitions given; empty when none is known
  bool is_probable = false;
  bool has_step_count = false;
  std::size_t step_count = 0;
  bool was_executed = false;
  LogTime executed_at = 0;
  BlockVerdict verdict = BlockVerdict::kNotKnown;
  std::string text;  // the verdict in words
  bool has_failed = false;
  bool is_renewed = false;  // the definitions were read again later
  std::vector<TimelineStep> steps;

  bool is_done = false;
  const PlacedRecord* error = nullptr;  // shown only if it is not that of a step
  std::int64_t hold_until = 0;  // of Timeline::elapsed: equal steps may still compete for an error
};

using BlockSink = std::function<void(const TimelineBlock&)>;

/// An event that may still be executed.
struct QueuedEvent {
  TimelineBlock* block;
  LogEvent* event;  // null: not in the definitions given, or none are
  LogTime pushed_at;
  std::int64_t elapsed_at_push;  // as Timeline::elapsed
  std::size_t names_before;      // in the same push
};

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

/// An execution whose lines are being read, and the events that fit them all.
struct Execution {
  std::vector<ExecutionCandidate> candidates;  // the likeliest one first
  std::vector<ExecutedLine> lines;
};

/// A step whose error, if there is one, is in the main log.
struct OpenStep {
  std::uint64_t record;
  LogTime due;
  bool offset_known;
  const TimelineBlock* block;
};

struct Timeline {
  // What it is made of: set before begin_timeline.
  LogDefinitions* definitions = nullptr;  // null: not given
  const LogIndex* index = nullptr;
  PlacedLog main_log;
  BlockSink sink;

  std::deque<std::unique_ptr<TimelineBlock>> blocks;  // not shown yet, in their order
  std::deque<QueuedEvent> queue;
  std::deque<PushSource> sources;  // a push of the name follows
  Execution execution;
  std::unordered_map<std::string, std::deque<std::size_t>> errors;    // of the main log, by target
  std::unordered_map<std::string, std::vector<OpenStep>> open_steps;  // likewise
  std::unordered_map<std::string, std::string> long_texts;  // by what comes before a line in them
                                                            // that looks like a record
  std::vector<std::size_t> expiries;                        // records of the main log
  std::uint64_t renewed_until = 0;  // of the event log: the definitions were read again after it
  std::size_t next_placed = 0;      // record of the main log
  std::uint64_t record = 0;         // of the event log
  LogTime now = 0;                  // of the last record
  std::int64_t elapsed = 0;  // milliseconds; of a long pause a part: the clock may have been set
  bool marker_created = false;
  std::uint64_t unknown_records = 0;
  std::vector<std::uint64_t> embedded;  // lines like records that are part of the one before
};

/// Prepares a timeline: its definitions, index, main log and sink are set.
void begin_timeline(Timeline& timeline);

/// Takes the first of `records` and, if it turns out to go on in lines that look like records,
/// those too; the records after it are only looked at. Returns how many were taken.
std::size_t add_record(Timeline& timeline, const std::deque<EventRecord>& records);

/// Notes that a part of the event log is missing here.
void add_gap(Timeline& timeline);

/// Ends the timeline: everything that is open gets its verdict.
void end_timeline(Timeline& timeline);

}  // namespace kovo::check
