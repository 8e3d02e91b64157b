#include "check/payload.h"

#include <arpa/inet.h>

#include <algorithm>

#include "core/network.h"
#include "core/text.h"

namespace kovo::check {

const char* transport_name(const std::optional<Sender>& sender) {
  if (!sender) return "";
  return sender->transport == Transport::kTcp ? "TCP" : "UDP";
}

const char* sent_name(const std::optional<Sender>& sender) {
  if (!sender) return "nothing";
  return sender->status ? "status" : "payload";
}

std::vector<Placeholder> placeholders(std::string_view payload) {
  std::vector<Placeholder> found;
  std::size_t open = payload.find("{{");
  while (open != std::string_view::npos) {
    const std::size_t close = payload.find("}}", open + 2);
    if (close == std::string_view::npos) break;
    found.push_back({open, payload.substr(open + 2, close - open - 2)});
    open = payload.find("{{", close + 2);
  }
  return found;
}

std::size_t literal_end(const std::vector<Placeholder>& found) {
  return found.empty() ? 0 : found.back().at + found.back().name.size() + 4;
}

KnownValues known_values(const StatusVars* status) {
  if (status == nullptr) return {};
  return {{*status, "0000-00-00 ", "00:00:00", 0}, true, false};
}

bool is_complete(std::string_view payload, const KnownValues& known) {
  const StatusVars& status = known.values.status_vars;
  const std::vector<Placeholder> found = placeholders(payload);
  return std::all_of(found.begin(), found.end(), [&](const Placeholder& placeholder) {
    return (is_clock_placeholder(placeholder.name) ? known.clock : known.whole_status) ||
           std::any_of(status.begin(), status.end(),
                       [&](const auto& each) { return each.first == placeholder.name; });
  });
}

std::string filled(std::string_view payload, KnownValues& known) {
  StatusVars& status = known.values.status_vars;
  const std::size_t size = status.size();
  for (const Placeholder& placeholder : placeholders(payload)) {
    if (is_clock_placeholder(placeholder.name) ? known.clock : known.whole_status) continue;
    // The first value of a name counts, so this replaces only names that the status lacks.
    const std::string name(placeholder.name);
    status.emplace_back(name, "{{" + name + "}}");
  }
  std::string result = expand_templates(known.values, payload);
  status.resize(size);
  return result;
}

std::string_view sent_part(std::string_view payload) {
  return until_nul(truncated(payload, kMaxCommand));
}

bool is_address(const std::string& text) {
  in_addr address{};
  return inet_pton(AF_INET, std::string(truncated(text, kMaxShortText)).c_str(), &address) == 1;
}

bool is_broadcast(std::string_view address) {
  return address == "255.255.255.255";
}

int sent_port(std::string_view text) {
  return static_cast<std::uint16_t>(to_int32(text));
}

std::string daemon_port(const CompiledStep& step) {
  const std::string ip = step.ip;
  const int port = sent_port(step.port);
  const std::optional<Sender> sender = choose_sender(step.protocol);
  if (!sender || (ip != "127.0.0.1" && ip != "0.0.0.0" && is_address(ip))) return {};
  const bool tcp = sender->transport == Transport::kTcp;
  if (port != kVariablePort && port != (tcp ? kCommandPort : kStatusPort)) return {};
  return (tcp ? "tcp:" : "udp:") + std::to_string(port);
}

}  // namespace kovo::check
