// Reads the logs of a device, plain or compressed, and prints their timeline.
#pragma once

#include <string>
#include <vector>

namespace kovo::check {

struct LogOptions {
  std::vector<std::string> paths;  // directories and files
  bool has_definitions = false;
  std::string definitions;  // the text of the file
  std::string trigger;
  std::string since;
  bool only_failed = false;
  bool json = false;
};

enum class LogResult { kFine, kFailed, kCannotRead };

/// Prints the timeline of logs; errors go to stderr. With only_failed, returns kFailed if it has a
/// block.
LogResult show_logs(const LogOptions& options);

}  // namespace kovo::check
