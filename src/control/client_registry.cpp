#include "control/client_registry.h"

#include <algorithm>
#include <cstdio>

#include "frame/globals.h"

namespace kovo {
namespace {

constexpr std::int32_t kUdp = 0;
constexpr std::int32_t kTcp = 1;

Clients::iterator find_client(VariableRegistry& registry, std::int32_t proto, const std::string& ip,
                              int port) REQUIRES(registry.registry_lock) {
  return std::find_if(registry.clients.begin(), registry.clients.end(),
                      [&](const ClientRecord& client) {
                        return client.proto == proto && client.ip == ip && client.port == port;
                      });
}

void print_count(VariableRegistry& registry, const char* routine) REQUIRES(registry.registry_lock) {
  if (debug == 0) return;
  std::printf("[%s:%d] client num=%d\n", routine, __LINE__,
              static_cast<int>(registry.clients.size()));
}

int add_client(VariableRegistry& registry, const char* routine, std::int32_t proto,
               const std::string& ip, int port) {
  const MutexLock held(registry.registry_lock);
  if (find_client(registry, proto, ip, port) == registry.clients.end()) {
    registry.clients.push_back({proto, ip, port});
  } else if (debug != 0) {
    std::printf("[%s:%d] exist %s %s:%d\n", routine, __LINE__, proto == kUdp ? "udp" : "tcp",
                ip.c_str(), port);
  }
  print_count(registry, routine);
  return 0;
}

int del_client(VariableRegistry& registry, const char* routine, std::int32_t proto,
               const std::string& ip, int port) {
  const MutexLock held(registry.registry_lock);
  const auto found = find_client(registry, proto, ip, port);
  if (found != registry.clients.end()) registry.clients.erase(found);
  print_count(registry, routine);
  return 0;
}

}  // namespace

int client_udp_add(VariableRegistry& registry, const std::string& ip, int port) {
  return add_client(registry, "client_udp_add", kUdp, ip, port);
}

int client_tcp_add(VariableRegistry& registry, const std::string& ip, int port) {
  return add_client(registry, "client_tcp_add", kTcp, ip, port);
}

int client_udp_del(VariableRegistry& registry, const std::string& ip, int port) {
  return del_client(registry, "client_udp_del", kUdp, ip, port);
}

int client_tcp_del(VariableRegistry& registry, const std::string& ip, int port) {
  return del_client(registry, "client_tcp_del", kTcp, ip, port);
}

int client_count(VariableRegistry& registry) {
  const MutexLock held(registry.registry_lock);
  return static_cast<int>(registry.clients.size());
}

Clients copy_clients(VariableRegistry& registry) {
  const MutexLock held(registry.registry_lock);
  return registry.clients;
}

}  // namespace kovo
