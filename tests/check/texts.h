// Definition files for the tests of the checker.
#pragma once

#include <fstream>
#include <iterator>
#include <string>

#include "check/rules.h"
#include "frame/text.h"

namespace kovo::check {

/// An event without findings; lines of the same key replace its own, others are added.
inline std::string good_event(const std::string& lines) {
  std::string text =
      "\nACount=1\nAXMLfield=name\nAProtocol0=UDP\nAIP0=10.0.0.7\nAPort0=6000\nAData0=41\n"
      "ADelay0=0\n";
  for (const std::string_view line : split_lines(lines)) {
    const std::string key = "\n" + std::string(line.substr(0, line.find('=') + 1));
    const std::size_t at = key.size() > 1 ? text.find(key) : std::string::npos;
    if (at == std::string::npos)
      text.append(line).append("\n");
    else
      text.replace(at + 1, text.find('\n', at + 1) - at - 1, line);
  }
  return text.substr(1);
}

inline Findings found_in(const std::string& text, const CheckOptions& options = {}) {
  const Source source = read_source(text);
  return check_source(source, options);
}

inline Findings found_in(const std::string& text, Rule rule, CheckOptions options = {}) {
  options.disabled.set();
  options.disabled.reset(static_cast<std::size_t>(rule));
  return found_in(text, options);
}

inline std::string read_example(const char* name) {
  std::ifstream file(std::string(KOVO_EXAMPLES "/") + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace kovo::check
