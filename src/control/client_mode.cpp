#include "control/client_mode.h"

#include <algorithm>
#include <cstdio>

#include "engine/senders.h"
#include "frame/text.h"

namespace kovo {

int run_client_mode(const std::string& command) {
  if (command != kStatusRequest) return 0;
  std::string reply = ask_status_service(command + "\r", kClientReplySize);
  std::replace(reply.begin(), reply.end(), '\r', '\n');
  for (const auto& [name, value] : parse_client_reply(reply)) {
    std::printf("%s=%s\n", name.c_str(), value.c_str());
  }
  return 0;
}

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

}  // namespace kovo
