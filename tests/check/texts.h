// Definition files for the tests of the checker.
#pragma once

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "check/rule_sections.h"
#include "check/rules.h"
#include "core/text.h"

namespace kovo::check {

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
