// What the parts of the timeline share while it is made.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "check/log/pairing.h"
#include "check/log/steps.h"
#include "check/log/timeline.h"

namespace kovo::check {

constexpr LogTime kLifeMs = kEventLifeS * LogTime{1000};  // of a push that waits
constexpr LogTime kPassMs = 2000;                         // from due to executed, with some load

/// A name that was pushed, until its steps are executed or it is certain that they are not.
struct Push {
  std::size_t block = 0;
  std::size_t record = 0;
  LogTime at = 0;  // as LogRecord::elapsed
  LogTime due = 0;
  LogEvent* event = nullptr;
  std::size_t names_before = 0;
  bool is_done = false;
  std::optional<LogTime> maybe;  // of steps that it or another push executed
};

struct TimelineMaker {
  const LogRecords& records;
  const LogRecords& main;
  LogDefinitions* definitions;  // null: not given
  Pairing pairing;
  Timeline timeline = {};
  std::size_t renewed_until = 0;       // the definition file was read again before this record
  std::vector<std::size_t> ends = {};  // starts, set-backs of the clock, and the end of the log
  std::vector<std::size_t> no_sender = {};            // records of the main log
  std::unordered_set<std::string_view> expired = {};  // triggers, by the main log
  std::vector<Push> queue = {};                       // in the order of the daemon's queue
  LogTime certain_from = 0;   // the log has every push that may be executed from then on
  std::size_t names = 0;      // pushed so far
  std::size_t last_pass = 0;  // the first record of the last pass that executed something
};

/// Returns what switched events off, for a record of the main log before `position`.
std::string disabled_by(const LogRecords& records, std::size_t position);

/// Divides the step lines of a pass among the pushes in their order, from the end: of equal pushes,
/// the last ones count. Returns the record of the last line.
std::size_t run_pass(TimelineMaker& maker, std::size_t first);

/// Returns how long after it is due a push may still be executed.
LogTime patience(const TimelineMaker& maker, const Push& push);

/// Returns why the main log may lack records of a time; "" if it has them.
std::string missing_records(const TimelineMaker& maker, LogTime from, LogTime to);

/// Gives all executed steps their verdicts.
void settle_steps(TimelineMaker& maker);

}  // namespace kovo::check
