// Prints a timeline as text or as JSON.
#pragma once

#include <optional>
#include <string>

#include "check/log_timeline.h"

namespace kovo::check {

struct LogFilter {
  std::string event;    // "" for all
  std::string trigger;  // "" for all
  std::optional<LogTime> since;
  std::optional<LogTime> until;  // the first moment after it
  bool only_failed = false;
};

/// Returns whether a block passes a filter; one without a known time passes every time.
bool passes(const LogFilter& filter, const TimelineBlock& block);

/// Returns a block as lines of text, after its date if that is not `day`; updates `day`.
std::string block_text(const TimelineBlock& block, std::string& day);

/// Returns a block as a JSON object on one line.
std::string block_json(const TimelineBlock& block);

/// Figures for the end of a report.
struct LogCounts {
  std::uint64_t event_records = 0;
  std::uint64_t main_records = 0;
  std::uint64_t skipped = 0;   // lines outside of records
  std::uint64_t unknown = 0;   // records of the event log that are not understood
  std::uint64_t embedded = 0;  // lines within records that look like records
  std::uint64_t files_skipped = 0;
  std::optional<LogTime> main_since;  // of the first record that both logs have
  bool is_renewed = false;            // the daemon read its definitions again within the logs
};

/// Returns the counts as lines of text, or as the fields of a JSON object without braces.
std::string counts_text(const LogCounts& counts);
std::string counts_json(const LogCounts& counts);

}  // namespace kovo::check
