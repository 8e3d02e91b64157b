// Part of the program: reads the logs of a device, plain or compressed, and shows their timeline.
#pragma once

#include <string>
#include <vector>

namespace kovo::check {

struct LogOptions {
  std::vector<std::string> paths;  // directories and files
  bool has_definitions = false;
  std::string definitions;  // the text of the file
  std::string event;
  std::string trigger;
  std::string since;
  std::string until;
  bool only_failed = false;
  bool json = false;
};

enum class LogResult { kFine, kFailed, kCannotRead };

/// Prints the timeline of logs; complaints go to stderr. Returns whether a block that was asked for
/// has failed.
LogResult show_logs(const LogOptions& options);

}  // namespace kovo::check
