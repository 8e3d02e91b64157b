// Definition files for the tests of the checker.
#pragma once

#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "check/rules.h"
#include "definitions/definition_entry.h"

namespace kovo::check {

/// An event without findings; lines of the same key replace its own, others are added.
inline std::string good_event(const std::vector<std::string>& lines) {
  std::vector<std::string> event = {"ACount=1",      "AXMLfield=name", "AProtocol0=UDP",
                                    "AIP0=10.0.0.7", "APort0=6000",    "AData0=41",
                                    "ADelay0=0"};
  for (const std::string& line : lines) {
    const std::string key = line.substr(0, line.find('=') + 1);
    bool replaced = false;
    for (std::string& own : event) {
      if (key.empty() || own.compare(0, key.size(), key) != 0) continue;
      own = line;
      replaced = true;
    }
    if (!replaced) event.push_back(line);
  }
  std::string text;
  for (const std::string& line : event) text += line + "\n";
  return text;
}

inline Findings found_in(const std::string& text, const CheckOptions& options = {}) {
  const Source source = read_source(text);
  return check_source(source, options);
}

inline Findings found_in(const std::string& text, Rule rule, const CheckOptions& options = {}) {
  CheckOptions only = options;
  only.disabled.set();
  only.disabled.reset(static_cast<std::size_t>(rule));
  return found_in(text, only);
}

inline std::string read_text(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

inline std::string faulty_example() {
  return read_text(KOVO_EXAMPLES "/faulty.txt");
}

}  // namespace kovo::check
