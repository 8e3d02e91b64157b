// The clients that are notified of each change of a variable. They are part of the registry and
// share its lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

#include "core/network.h"

namespace kovo {

struct VariableRegistry;

/// A client is a transport, an address (compared byte by byte) and a port.
struct ClientRecord {
  Transport proto;
  std::string ip;  // as in the command; may be invalid
  std::int32_t port;
};
using Clients = std::deque<ClientRecord>;

constexpr std::size_t kMaxClients = 256;  // any program can register clients
inline const ClientRecord kDefaultClient = {Transport::kTcp, "127.0.0.1", 5127};

/// Registers a client unless it is registered. Beyond kMaxClients, removes the
/// longest-registered client other than kDefaultClient, and logs that. Takes registry_lock.
void add_client(VariableRegistry& registry, const ClientRecord& client);

/// Removes a client if it is registered. Takes registry_lock.
void delete_client(VariableRegistry& registry, const ClientRecord& client);

/// Returns a copy of the clients. Takes registry_lock.
Clients copy_clients(const VariableRegistry& registry);

}  // namespace kovo
