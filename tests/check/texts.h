// Definition files for the tests of the checker.
#pragma once

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "check/rules.h"
#include "core/text.h"

namespace kovo::check {

/// Returns an event with some lines: each replaces the event's line of the same key, or is added.
inline std::string with_lines(std::string_view event, std::string_view lines) {
  const auto key_of = [](std::string_view line) { return line.substr(0, line.find('=')); };
  std::vector<std::string_view> left = split_lines(lines);
  std::string text;
  for (const std::string_view line : split_lines(event)) {
    const auto same = std::find_if(left.begin(), left.end(), [=](std::string_view other) {
      return contains(other, "=") && key_of(other) == key_of(line);
    });
    text.append(same == left.end() ? line : *same).append("\n");
    if (same != left.end()) left.erase(same);
  }
  for (const std::string_view line : left) text.append(line).append("\n");
  return text;
}

/// An event without findings; lines of the same key replace its own, others are added.
inline std::string good_event(const std::string& lines) {
  return with_lines(
      "ACount=1\nAXMLfield=name\nAProtocol0=UDP\nAIP0=1.1.1.1\nAPort0=1\nAData0=41\nADelay0=0",
      lines);
}

/// What all rules find, or only one of them.
inline Findings found_in(const std::string& text, std::string_view only = {},
                         CheckOptions options = {}) {
  if (!only.empty()) options.disabled.set().reset(find_rule(only));
  const Source source = read_source(text);
  return check_source(source, options);
}

inline std::string read_example(const char* name) {
  std::ifstream file(std::string(KOVO_EXAMPLES "/") + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace kovo::check
