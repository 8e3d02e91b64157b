// The files that the routines under test write, each test in a simulated device of its own.
#pragma once

#include <cstdio>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>

#include "core/text.h"

namespace kovo {

constexpr char kEventLog[] = "/var/tmp/log/kovoevent.log";

/// Returns the bytes of a file, "" when it cannot be read.
inline std::string read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// Returns the text with "[routine:123]" as "[routine]", and without the stamps of event lines.
inline std::string plain(const std::string& text) {
  const std::string stable = std::regex_replace(text, std::regex("\\[(\\w+)[:;]\\d+\\]"), "[$1]");
  return std::regex_replace(stable,
                            std::regex("\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}  "), "");
}

inline std::string event_log() {
  return plain(read_file(kEventLog));
}

/// Returns the events pushed since the last call, each followed by a blank.
inline std::string pushed_events() {
  const std::string log = event_log();
  std::string names;
  for (const std::string_view line : split_lines(log)) {
    if (starts_with_nocase(line, "push event: ")) names.append(line.substr(12)).append(" ");
  }
  std::remove(kEventLog);
  return names;
}

}  // namespace kovo
