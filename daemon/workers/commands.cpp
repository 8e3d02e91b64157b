// A table row names the function that runs a command and the transport of its replies. Each
// function checks its own arguments and returns false to refuse them. A reply is sent once, to the
// address in the command. Without a row are e_param_set, which the change worker processes, and
// every word that begins with help_; if it contains udp, the reply goes by UDP. Invariant: commands
// run one at a time in the order of arrival, so that a get after a set returns the new value.
#include "daemon/workers/commands.h"

#include <algorithm>

#include "core/message.h"
#include "core/text.h"
#include "daemon/state/mirror.h"
#include "daemon/state/variable_store.h"
#include "daemon/system/log.h"
#include "daemon/system/senders.h"

namespace kovo {
namespace {

constexpr char kRoutine[] = "handle_lm_event";
constexpr std::size_t kLinesPerMessage = 5;  // of a renew

constexpr char kHelp[] =
    "_LM_VAR_HELP=e_param_set::key::value;help_udp::ip::port;help_tcp::ip::port;"
    "set::key::value;get_udp::key::ip::port;get_tcp::key::ip::port;renew_udp::ip::port;"
    "renew_tcp::ip::port;client_add_udp::ip::port;client_add_tcp::ip::port;"
    "client_del_udp::ip::port;client_del_tcp::ip::port;client_list_udp::ip::port;"
    "client_list_tcp::ip::port;debug_udp::ip::port;debug_tcp::ip::port;debug_udp_lm::ip::port;"
    "debug_tcp_lm::ip::port;";

/// A command word. `run` returns false to refuse the arguments.
struct Command {
  const char* name;
  bool (*run)(VariableRegistry& registry, const Command& command, const Message& message);
  Transport transport = Transport::kTcp;  // of the replies, the client or the mirror
};

bool run_get(VariableRegistry& registry, const Command& command, const Message& message) {
  const auto& [splitting, word, key, ip, port_text] = message;
  if (port_text.empty() || (command.transport == Transport::kTcp && ip.empty())) return false;
  const int port = to_int32(port_text);
  if (port <= 0) return true;
  const std::string reply = notification_line(key, lm_get(registry, key));
  send_by(command.transport, ip.empty() ? "127.0.0.1" : ip, port, reply);
  return true;
}

bool run_set(VariableRegistry& registry, const Command&, const Message& message) {
  lm_set(registry, message.arg1, message.arg2);
  LOG_DEBUG(kRoutine, "udp_set %s=%s\n", message.arg1.c_str(), message.arg2.c_str());
  return true;
}

/// Appends the lines of one renew message as they are now, from the variable at the position
/// `first` on, and returns their number. Holds registry_lock only for these lines, so that nothing
/// waits while thousands are sent.
std::size_t add_renew_lines(const VariableRegistry& registry, std::size_t first,
                            std::string& lines) {
  const MutexLock held(registry.registry_lock);
  const std::size_t end = std::min(first + kLinesPerMessage, registry.variables.size());
  for (std::size_t at = first; at < end; ++at) {
    lines += notification_line(registry.variables[at].name, registry.variables[at].value);
  }
  return end - first;
}

bool run_renew(VariableRegistry& registry, const Command& command, const Message& message) {
  if (message.arg1.empty() || message.arg2.empty()) return false;
  const int port = to_int32(message.arg2);
  std::size_t sent = 0;
  std::string lines;
  while (const std::size_t count = add_renew_lines(registry, sent, lines)) {
    send_by(command.transport, message.arg1, port, lines);
    sent += count;
    lines.clear();
  }
  send_by(command.transport, message.arg1, port, "_RENEW_NUM=" + std::to_string(sent) + "\n");
  return true;
}

/// Returns the port of a client command, 0 when its address or port is invalid.
int client_port(const Message& message) {
  const int port = to_int32(message.arg2);
  return port > 0 && message.arg1.size() >= kMinAddress ? port : 0;
}

using ClientChange = void (*)(VariableRegistry&, const ClientRecord&);

template <ClientChange kChange>
bool run_client_change(VariableRegistry& registry, const Command& command, const Message& message) {
  const int port = client_port(message);
  if (port == 0) return false;
  kChange(registry, {command.transport, message.arg1, port});
  LOG_MAIN(kRoutine, "%s %s:%d\n", message.command.c_str(), message.arg1.c_str(), port);
  return true;
}

std::string client_list_text(const Clients& clients) {
  std::string text = "_CLIENT_LIST=";
  for (const ClientRecord& client : clients) {
    text.append(client.proto == Transport::kUdp ? "udp:" : "tcp:").append(client.ip).append(":");
    text.append(std::to_string(client.port)).append(";");
  }
  return text + "\n";
}

bool run_client_list(VariableRegistry& registry, const Command& command, const Message& message) {
  const int port = client_port(message);
  if (port == 0) return false;
  const Clients clients = copy_clients(registry);
  if (!clients.empty()) {
    send_by(command.transport, message.arg1, port, client_list_text(clients));
  }
  LOG_MAIN(kRoutine, "%s %s:%d\n", message.command.c_str(), message.arg1.c_str(), port);
  // The UDP form has always had a blank after its newline.
  const char* end = command.transport == Transport::kUdp ? "\n " : "\n";
  send_by(command.transport, message.arg1, port,
          "_CLIENT_LIST_NUM=" + std::to_string(clients.size()) + end);
  return true;
}

template <std::int32_t kLevel>
bool run_debug(VariableRegistry&, const Command& command, const Message& message) {
  set_mirror(kLevel, command.transport, message.arg1, to_int32(message.arg2));
  return true;
}

constexpr Command kCommands[] = {
    {"get_udp", run_get, Transport::kUdp},
    {"set", run_set},
    {"renew_udp", run_renew, Transport::kUdp},
    {"get_tcp", run_get, Transport::kTcp},
    {"renew_tcp", run_renew, Transport::kTcp},
    {"client_add_udp", run_client_change<add_client>, Transport::kUdp},
    {"client_del_udp", run_client_change<delete_client>, Transport::kUdp},
    {"client_add_tcp", run_client_change<add_client>, Transport::kTcp},
    {"client_del_tcp", run_client_change<delete_client>, Transport::kTcp},
    {"client_list_udp", run_client_list, Transport::kUdp},
    {"client_list_tcp", run_client_list, Transport::kTcp},
    {"debug_udp", run_debug<kMirrorEvents>, Transport::kUdp},
    {"debug_tcp", run_debug<kMirrorEvents>, Transport::kTcp},
    {"debug_udp_lm", run_debug<kMirrorChanges>, Transport::kUdp},
    {"debug_tcp_lm", run_debug<kMirrorChanges>, Transport::kTcp},
};

}  // namespace

bool run_command(VariableRegistry& registry, const Message& message) {
  if (starts_with_nocase(message.command, "help_")) {
    const bool by_udp = contains(lower_ascii(message.command), "udp");
    send_by(by_udp ? Transport::kUdp : Transport::kTcp, message.arg1, to_int32(message.arg2),
            kHelp);
    return true;
  }
  for (const Command& command : kCommands) {
    if (!equals_nocase(command.name, message.command)) continue;
    return command.run(registry, command, message);
  }
  return false;
}

}  // namespace kovo
