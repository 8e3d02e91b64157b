// The timeline for people and for programs.
#pragma once

#include <optional>
#include <string>

#include "check/log_timeline.h"

namespace kovo::check {

struct LogFilter {
  std::string event;  // "" for all; so for the next
  std::string trigger;
  std::optional<LogTime> since;
  std::optional<LogTime> until;  // not included
  bool only_failed = false;
};

/// Returns whether a block is asked for. One whose time is not known is within all times.
bool passes(const LogFilter& filter, const TimelineBlock& block);

/// Returns a block as lines of text, with the date before it if it is not that of `day`,
/// in days since 1970.
std::string block_text(const TimelineBlock& block, std::optional<std::int64_t>& day);

/// Returns a block as a JSON object on one line.
std::string block_json(const TimelineBlock& block);

/// What was read, for the end of a report.
struct LogCounts {
  std::uint64_t event_records = 0;
  std::uint64_t main_records = 0;
  std::uint64_t skipped = 0;   // lines that belong to no record
  std::uint64_t unknown = 0;   // records of the event log that are not understood
  std::uint64_t embedded = 0;  // lines like records that are part of another one
  std::uint64_t files_skipped = 0;
  std::optional<LogTime> main_since;  // kovo.log reaches back to here
  bool is_renewed = false;            // the definitions were read again within the logs
};

/// Returns the counts as lines of text, or as the fields of a JSON object without braces.
std::string counts_text(const LogCounts& counts);
std::string counts_json(const LogCounts& counts);

}  // namespace kovo::check
