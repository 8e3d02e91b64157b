#include "daemon/client_mode.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <string_view>

#include "core/text.h"
#include "daemon/system/senders.h"

namespace kovo {
namespace {

constexpr std::size_t kClientReplySize = 5000;  // reply buffer, with its terminating NUL

/// Parses lines "name: value". The first line of a name counts. Skips blanks and colons after a
/// name's first colon, and trims nothing else.
std::map<std::string, std::string> parse_client_reply(std::string_view reply) {
  std::map<std::string, std::string> values;
  while (true) {
    const std::size_t colon = reply.find(':');
    if (colon == std::string_view::npos) return values;
    const std::size_t start = reply.find_first_not_of(": ", colon);
    if (start == std::string_view::npos) return values;
    const std::string_view value = until_newline(reply.substr(start));
    values.emplace(reply.substr(0, colon), value);
    if (start + value.size() == reply.size()) return values;
    reply.remove_prefix(start + value.size() + 1);
  }
}

}  // namespace

int run_client_mode(const std::string& command) {
  if (command != kStatusRequest) return 0;
  std::string reply = ask_status_service(command + "\r", kClientReplySize);
  std::replace(reply.begin(), reply.end(), '\r', '\n');
  for (const auto& [name, value] : parse_client_reply(reply)) {
    std::printf("%s=%s\n", name.c_str(), value.c_str());
  }
  return 0;
}

}  // namespace kovo
