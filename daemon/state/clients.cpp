#include "daemon/state/clients.h"

#include <algorithm>

#include "daemon/state/variable_store.h"
#include "daemon/system/log.h"

namespace kovo {
namespace {

Clients::const_iterator find_client(const Clients& clients, const ClientRecord& wanted) {
  return std::find_if(clients.begin(), clients.end(), [&](const ClientRecord& client) {
    return client.proto == wanted.proto && client.ip == wanted.ip && client.port == wanted.port;
  });
}

void print_count(const char* routine, const Clients& clients) {
  LOG_DEBUG(routine, "client num=%d\n", static_cast<int>(clients.size()));
}

}  // namespace

void add_client(VariableRegistry& registry, const ClientRecord& client) {
  const bool udp = client.proto == Transport::kUdp;
  const char* routine = udp ? "client_udp_add" : "client_tcp_add";
  const MutexLock held(registry.registry_lock);
  if (find_client(registry.clients, client) == registry.clients.end()) {
    registry.clients.push_back(client);
  } else {
    LOG_DEBUG(routine, "exist %s %s:%d\n", udp ? "udp" : "tcp", client.ip.c_str(), client.port);
  }
  print_count(routine, registry.clients);
}

void delete_client(VariableRegistry& registry, const ClientRecord& client) {
  const MutexLock held(registry.registry_lock);
  const auto found = find_client(registry.clients, client);
  if (found != registry.clients.end()) registry.clients.erase(found);
  print_count(client.proto == Transport::kUdp ? "client_udp_del" : "client_tcp_del",
              registry.clients);
}

Clients copy_clients(const VariableRegistry& registry) {
  const MutexLock held(registry.registry_lock);
  return registry.clients;
}

}  // namespace kovo
