// Writes a block anew: what came out in the place of what was expected.
#include <cstdio>
#include <iostream>
#include <set>
#include <utility>

#include "tests/runner/play.h"

namespace kovo::device {
namespace {

void print(const std::vector<Record>& records, const std::set<std::string>& floating) {
  constexpr std::size_t kWidth = 100;
  std::string line;
  for (const auto& [verb, record, mark] : records) {
    const std::string text = record.substr(record.rfind("@ ", 0) == 0 ? 2 : 0);
    const bool floats = floating.count(text) != 0;
    const bool fits = line.size() + text.size() + 4 <= kWidth;
    if (!floats && fits && line.rfind("  " + verb + " ", 0) == 0) {
      line += " ;; " + text;
      continue;
    }
    if (!line.empty()) std::cout << line << "\n";
    line = (floats ? "  ~" : "  ") + verb + (text.empty() ? "" : " ") + text;
  }
  if (!line.empty()) std::cout << line << "\n";
}

}  // namespace

void accept(Play& play, const Block& block) {
  long quiet_ms = 1'200;  // nothing more comes after that
  std::set<std::string> floating;
  for (const ScriptLine& line : block) {
    if (!line.mark.empty()) floating.insert(line.rest);
    if (line.verb == "took") std::sscanf(line.rest.c_str(), "%*d..%ld", &quiet_ms);
  }
  std::size_t before = 0;
  Clock::time_point latest = Clock::now();
  wait_looking(play, [&] {
    std::size_t size = 0;
    for (const auto& [name, channel] : play.channels) size += channel.text.size();
    if (std::exchange(before, size) != size) latest = Clock::now();
    return ms_since(latest) > quiet_ms;
  });
  print(records_of(play), floating);
  for (const ScriptLine& line : block) {
    if (line.verb == "file" || line.verb == "still") {
      const std::string content = escape(content_of(play, line.name));
      std::cout << "  " << line.verb << " " << line.name << " " << content << "\n";
    } else if (!is_record(play, line.verb) && !line.verb.empty()) {
      std::cout << line.source;
    }
  }
  consume(play);
}

}  // namespace kovo::device
