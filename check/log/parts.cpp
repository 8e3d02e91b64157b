#include "check/log/parts.h"

#include <algorithm>

#include "check/words.h"

namespace kovo::check {
namespace {

std::int64_t age_of(std::string_view path) {
  std::string_view name = path.substr(path.rfind('/') + 1);
  if (name.size() > 3 && name.substr(name.size() - 3) == ".gz") name.remove_suffix(3);
  const std::size_t log = name.find(".log");
  if (log == std::string_view::npos || log + 5 >= name.size()) return 0;
  const std::string_view suffix = name.substr(log + 5);
  if (!is_digits(suffix) || suffix.size() > 12) return 0;
  const std::int64_t number = std::stoll(std::string(suffix));
  return name[log + 4] == '-' ? 1'000'000'000'000 - number : number;
}

}  // namespace

LogKind add_log_part(LogParts& parts, std::string_view path, std::string text) {
  const LogKind kind = kind_of_log(text);
  if (kind != LogKind::kNone) parts.push_back({kind, std::move(text), age_of(path)});
  return kind;
}

void read_log_parts(LogParts& parts, EventLog& events, MainLog& main_log) {
  std::stable_sort(parts.begin(), parts.end(),
                   [](const LogPart& a, const LogPart& b) { return a.age > b.age; });
  for (const LogPart& part : parts) {
    if (part.kind == LogKind::kEventLog) {
      read_event_log(part.text, events);
    } else {
      read_main_log(part.text, main_log);
    }
  }
}

}  // namespace kovo::check
