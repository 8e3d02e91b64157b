#include "check/payload.h"

#include <arpa/inet.h>
#include <fmt/core.h>

#include <algorithm>

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

FilledPayload filled(std::string_view payload, KnownValues& known) {
  StatusVars& status = known.values.status_vars;
  const std::size_t size = status.size();
  bool is_complete = true;
  for (const Placeholder& placeholder : placeholders(payload)) {
    const std::string name(placeholder.name);
    if (is_clock_placeholder(name) ? known.clock : known.whole_status) continue;
    const auto has_name = [&](const auto& each) { return each.first == name; };
    if (std::any_of(status.begin(), status.end(), has_name)) continue;
    status.emplace_back(name, "{{" + name + "}}");
    is_complete = false;
  }
  std::string text = expand_templates(known.values, payload);
  status.resize(size);
  return {std::move(text), is_complete};
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
