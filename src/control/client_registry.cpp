#include "control/client_registry.h"

#include <algorithm>

#include "frame/globals.h"
#include "frame/log.h"

namespace kovo {
namespace {

Clients::iterator find_client(VariableRegistry& registry, const ClientRecord& wanted)
    REQUIRES(registry.registry_lock) {
  return std::find_if(
      registry.clients.begin(), registry.clients.end(), [&](const ClientRecord& client) {
        return client.proto == wanted.proto && client.ip == wanted.ip && client.port == wanted.port;
      });
}

void print_count(VariableRegistry& registry, const char* routine) {
  LOG_DEBUG(routine, "client num=%d\n", client_count(registry));
}

/// Appends a client. False when it is there already.
bool append_client(VariableRegistry& registry, const ClientRecord& client) {
  const MutexLock held(registry.registry_lock);
  const bool fresh = find_client(registry, client) == registry.clients.end();
  if (fresh) registry.clients.push_back(client);
  return fresh;
}

int add_client(VariableRegistry& registry, const char* routine, const ClientRecord& client) {
  if (!append_client(registry, client)) {
    LOG_DEBUG(routine, "exist %s %s:%d\n", client.proto == Transport::kUdp ? "udp" : "tcp",
              client.ip.c_str(), client.port);
  }
  print_count(registry, routine);
  return 0;
}

int del_client(VariableRegistry& registry, const char* routine, const ClientRecord& client) {
  {
    const MutexLock held(registry.registry_lock);
    const auto found = find_client(registry, client);
    if (found != registry.clients.end()) registry.clients.erase(found);
  }
  print_count(registry, routine);
  return 0;
}

}  // namespace

int client_udp_add(VariableRegistry& registry, const std::string& ip, int port) {
  return add_client(registry, "client_udp_add", {Transport::kUdp, ip, port});
}

int client_tcp_add(VariableRegistry& registry, const std::string& ip, int port) {
  return add_client(registry, "client_tcp_add", {Transport::kTcp, ip, port});
}

int client_udp_del(VariableRegistry& registry, const std::string& ip, int port) {
  return del_client(registry, "client_udp_del", {Transport::kUdp, ip, port});
}

int client_tcp_del(VariableRegistry& registry, const std::string& ip, int port) {
  return del_client(registry, "client_tcp_del", {Transport::kTcp, ip, port});
}

int client_count(VariableRegistry& registry) {
  const MutexLock held(registry.registry_lock);
  return static_cast<int>(registry.clients.size());
}

}  // namespace kovo
