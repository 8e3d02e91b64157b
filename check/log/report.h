// Prints a timeline as text or as JSON.
#pragma once

#include <optional>
#include <string>

#include "check/log/timeline.h"

namespace kovo::check {

struct LogFilter {
  std::string trigger;  // "" for all
  std::optional<LogTime> since;
  bool only_failed = false;
};

/// Returns whether a block passes a filter; one without a known time passes every time.
bool passes(const LogFilter& filter, const TimelineBlock& block);

/// Returns a block as lines of at most `width` columns, if its texts allow that, after its date if
/// that is not `day`; updates `day`.
std::string block_text(const TimelineBlock& block, std::size_t width, std::string& day);

/// Returns a block as a JSON object on one line.
std::string block_json(const TimelineBlock& block);

/// Returns what a reader has to know of the whole, as lines of text or as the fields of a JSON
/// object without braces.
std::string summary_text(const Timeline& timeline, std::size_t width, bool has_definitions);
std::string summary_json(const Timeline& timeline);

}  // namespace kovo::check
