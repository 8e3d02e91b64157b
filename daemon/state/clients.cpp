#include "daemon/state/clients.h"

#include <algorithm>

#include "daemon/state/variable_store.h"
#include "daemon/system/log.h"

namespace kovo {
namespace {

bool same_client(const ClientRecord& a, const ClientRecord& b) {
  return a.proto == b.proto && a.ip == b.ip && a.port == b.port;
}

Clients::const_iterator find_client(const Clients& clients, const ClientRecord& wanted) {
  return std::find_if(clients.begin(), clients.end(),
                      [&](const ClientRecord& client) { return same_client(client, wanted); });
}

const char* name_of(Transport transport) {
  return transport == Transport::kUdp ? "udp" : "tcp";
}

void remove_oldest(Clients& clients, const char* routine) {
  const auto oldest = std::find_if(clients.begin(), clients.end(), [](const ClientRecord& client) {
    return !same_client(client, kDefaultClient);
  });
  LOG_MAIN(routine, "Error: too many clients, %s:%s:%d removed\n", name_of(oldest->proto),
           oldest->ip.c_str(), oldest->port);
  clients.erase(oldest);
}

void print_count(const char* routine, const Clients& clients) {
  LOG_DEBUG(routine, "client num=%d\n", static_cast<int>(clients.size()));
}

}  // namespace

void add_client(VariableRegistry& registry, const ClientRecord& client) {
  const char* routine = client.proto == Transport::kUdp ? "client_udp_add" : "client_tcp_add";
  const MutexLock held(registry.registry_lock);
  if (find_client(registry.clients, client) == registry.clients.end()) {
    registry.clients.push_back(client);
    if (registry.clients.size() > kMaxClients) remove_oldest(registry.clients, routine);
  } else {
    LOG_DEBUG(routine, "exist %s %s:%d\n", name_of(client.proto), client.ip.c_str(), client.port);
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
