#include "check/payload.h"

#include <fmt/core.h>

#include "check/words.h"
#include "core/network.h"
#include "core/text.h"

namespace kovo::check {
namespace {

/// Returns whether a line is the prompt and the command that printed a status.
bool is_prompt(std::string_view line) {
  return contains(line, "kovo_var.txt") || contains(line, kStatusRequest);
}

}  // namespace

std::string parse_status(std::string_view text, StatusVars& status) {
  const std::size_t size = text.size();
  text = text.substr(0, kMaxStatusBytes);
  if (trimmed(text).substr(0, 1) == "{") return "is JSON, not lines name=value or name:value";
  char separator = '\0';
  std::size_t number = 0;
  while (!text.empty() && status.size() < kMaxStatusVars) {
    const std::size_t end = text.find_first_of("\r\n");
    if (end == std::string_view::npos && size > kMaxStatusBytes) break;
    const std::string_view line = text.substr(0, end);
    const bool is_crlf = end != std::string_view::npos && text.substr(end, 2) == "\r\n";
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + (is_crlf ? 2 : 1));
    if (number++ == 0 && is_prompt(line)) continue;
    if (line.empty()) continue;
    const std::size_t at = line.find_first_of("=:");
    const bool is_pair = at != std::string_view::npos && at > 0;
    if (is_pair && separator == '\0') separator = line[at];
    if (!is_pair || line[at] != separator) {
      return fmt::format(
          "line {}: {} is not of the form {}", number, quoted(line),
          separator == '\0' ? "name=value or name:value" : fmt::format("name{}value", separator));
    }
    status.emplace_back(line.substr(0, at), line.substr(at + 1));
  }
  if (status.size() >= std::size_t{kMinStatusVars}) return "";
  return fmt::format("has {}, and the daemon does not use a status of fewer than {}",
                     counted(status.size(), "line"), kMinStatusVars);
}

}  // namespace kovo::check
