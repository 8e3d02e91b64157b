// The parts into which rotation divides the two logs, in their order. No input or output.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "check/log/records.h"

namespace kovo::check {

struct LogPart {
  LogKind kind = LogKind::kNone;
  std::string text;
  std::int64_t age = 0;  // 0 for the current file, larger for older ones
};
using LogParts = std::vector<LogPart>;

/// Adds a file, plain text under the name that rotation gave it: "kovo.log.1",
/// "kovoevent.log.2.gz" or "kovoevent.log-20261124". Returns which log it is.
LogKind add_log_part(LogParts& parts, std::string_view path, std::string text);

/// Sorts the parts, the oldest first, and appends their records; these point into the parts.
void read_log_parts(LogParts& parts, EventLog& events, MainLog& main_log);

}  // namespace kovo::check
