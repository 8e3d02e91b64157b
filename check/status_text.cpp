#include "check/status_text.h"

#include "check/words.h"

namespace kovo::check {

std::string parse_status(std::string_view text, StatusVars& status) {
  const std::size_t size = text.size();
  text = text.substr(0, kMaxStatusBytes);
  char separator = '\0';
  while (!text.empty() && status.size() < kMaxStatusVars) {
    const std::size_t end = text.find_first_of("\r\n");
    if (end == std::string_view::npos && size > kMaxStatusBytes) break;
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.empty()) continue;
    const std::size_t at = line.find_first_of("=:");
    const bool is_pair = at != std::string_view::npos && at > 0;
    if (is_pair && separator == '\0') separator = line[at];
    if (!is_pair || line[at] != separator) {
      return quoted(line) + " is not of the form " +
             (separator == '\0' ? "name=value or name:value"
                                : "name" + std::string(1, separator) + "value");
    }
    status.emplace_back(line.substr(0, at), line.substr(at + 1));
  }
  return status.empty() ? "has no line name=value or name:value" : "";
}

}  // namespace kovo::check
