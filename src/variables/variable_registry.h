// The second long-lived object: the device's variables, and the clients that hear of their changes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <unordered_map>

#include "engine/senders.h"
#include "frame/mutex.h"

namespace kovo {

struct VariableRecord {
  std::string name;  // in the letter case of its first appearance
  std::string value;
  std::int64_t set_time = 0;  // last live set, seconds since the epoch; 0 from the snapshot alone
};

struct ClientRecord {
  Transport proto;
  std::string ip;  // as the command carried it; not tested for being an address
  std::int32_t port;
};

using Variables = std::deque<VariableRecord>;
using Clients = std::deque<ClientRecord>;

struct VariableRegistry {
  // Held for a live set and its notifications, sends included: all clients hear the changes in the
  // order in which they were stored. Nobody who only reads or loads takes it.
  Mutex notify_lock ACQUIRED_BEFORE(registry_lock);
  Mutex registry_lock;

  Variables variables GUARDED_BY(registry_lock);  // in order of first appearance, never removed
  Clients clients GUARDED_BY(registry_lock);      // in order of registration
  std::unordered_map<std::string, std::size_t> index GUARDED_BY(registry_lock);  // by lower case
};

/// Makes the registry with its one initial client, TCP 127.0.0.1:5127. Called once, by main.
std::unique_ptr<VariableRegistry> make_variable_registry();

/// A copy of the clients, for those that send to them or show them. Takes registry_lock.
Clients copy_clients(VariableRegistry& registry);

}  // namespace kovo
