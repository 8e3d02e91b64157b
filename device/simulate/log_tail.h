// Follows a log of the daemon, record by record.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "device/device.h"

namespace kovo::device {

struct LogTail {
  std::string path;
  std::string label;
  bool stamped = false;   // records begin with the time, otherwise with "[routine:line] "
  std::size_t taken = 0;  // bytes of the file
  std::string held;       // a last record that may not be whole yet
};

struct LogRecord {
  Clock::time_point at;  // when it was written or, without a stamp, found
  std::string text;      // without its beginning and its line end; may hold line feeds
};

/// What was written since the last call. A record ends where the next one begins: some have no line
/// end, others hold one. The last one is held back once unless it ends its line.
std::vector<LogRecord> new_records(LogTail& tail);

}  // namespace kovo::device
