#include "control/client_registry.h"

#include <algorithm>

#include "frame/globals.h"
#include "frame/log.h"

namespace kovo {
namespace {

Clients::const_iterator find_client(const Clients& clients, const ClientRecord& wanted) {
  return std::find_if(clients.begin(), clients.end(), [&](const ClientRecord& client) {
    return client.proto == wanted.proto && client.ip == wanted.ip && client.port == wanted.port;
  });
}

int add_client(VariableRegistry& registry, const char* routine, const ClientRecord& client) {
  bool exists = false;
  {
    const MutexLock held(registry.registry_lock);
    exists = find_client(registry.clients, client) != registry.clients.end();
    if (!exists) registry.clients.push_back(client);
  }
  if (exists) {
    LOG_DEBUG(routine, "exist %s %s:%d\n", client.proto == Transport::kUdp ? "udp" : "tcp",
              client.ip.c_str(), client.port);
  }
  LOG_DEBUG(routine, "client num=%d\n", client_count(registry));
  return 0;
}

int del_client(VariableRegistry& registry, const char* routine, const ClientRecord& client) {
  {
    const MutexLock held(registry.registry_lock);
    const auto found = find_client(registry.clients, client);
    if (found != registry.clients.end()) registry.clients.erase(found);
  }
  LOG_DEBUG(routine, "client num=%d\n", client_count(registry));
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

int client_count(const VariableRegistry& registry) {
  const MutexLock held(registry.registry_lock);
  return static_cast<int>(registry.clients.size());
}

}  // namespace kovo
