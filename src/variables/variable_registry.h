// The device's variables, and the clients that are notified of their changes: one object, which
// main makes and which is never destroyed.
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
  std::int64_t set_time =
      0;  // last live set, seconds since the epoch; 0 when only from the snapshot
};

struct ClientRecord {
  Transport proto;
  std::string ip;  // as in the command; may be no address
  std::int32_t port;
};

using Variables = std::deque<VariableRecord>;
using Clients = std::deque<ClientRecord>;

struct VariableRegistry {
  // Held for a live set and its notifications, sends included, so that every client receives the
  // changes in the order in which they were stored; not for reading or loading. Clang checks the
  // order of the two locks with -Wthread-safety-beta.
  mutable Mutex notify_lock ACQUIRED_BEFORE(registry_lock);
  mutable Mutex registry_lock;

  Variables variables GUARDED_BY(registry_lock);  // in order of first appearance, never removed
  Clients clients GUARDED_BY(registry_lock);      // in order of registration
  std::unordered_map<std::string, std::size_t> index GUARDED_BY(registry_lock);  // by lower case
};

/// Makes the registry with its one initial client, TCP 127.0.0.1:5127. Called once, by main.
std::unique_ptr<VariableRegistry> make_variable_registry();

/// Returns a copy of the clients. Takes registry_lock.
Clients copy_clients(const VariableRegistry& registry);

}  // namespace kovo
