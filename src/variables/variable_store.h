// The mirror of the device's variables, and the clients that are notified of every accepted change.
// The names of variables are case-insensitive.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "engine/senders.h"
#include "frame/mutex.h"
#include "frame/text.h"

namespace kovo {

struct CentralState;

constexpr char kSnapshotPath[] = "/var/lm_var";
constexpr std::size_t kMaxSnapshotLine = 2046;  // longer lines count as several

struct VariableRecord {
  std::string name;  // in the letter case of its first appearance
  std::string value;
  std::int64_t set_time = 0;  // last live set, seconds since the epoch; 0 if only loaded
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

/// Add a client unless it is registered, or remove it if it is; the order of the rest stays. A
/// client is its protocol, address (compared byte by byte) and port. Return 0. Take registry_lock.
int client_udp_add(VariableRegistry& registry, const std::string& ip, int port);
int client_tcp_add(VariableRegistry& registry, const std::string& ip, int port);
int client_udp_del(VariableRegistry& registry, const std::string& ip, int port);
int client_tcp_del(VariableRegistry& registry, const std::string& ip, int port);

/// Returns the number of clients of both kinds. Takes registry_lock.
int client_count(const VariableRegistry& registry);

/// Loads one pair of the snapshot: appends the variable, or replaces its value if no live set came
/// before. Never notifies. Skips the names of the ignore list, here case-sensitive. Returns 0.
/// Takes registry_lock.
int lm_set_init(VariableRegistry& registry, std::string_view name, std::string_view value);

/// Stores a live value and notifies every client, changed or not. Skips the names of the ignore
/// list. Returns 0. Takes notify_lock for all of it, registry_lock to store; a dead TCP client
/// costs its time-outs.
int lm_set(VariableRegistry& registry, std::string_view name, std::string_view value);

/// Stores a live value that is new or differs in more than letter case, and notifies every client;
/// true when it did. Ignored names and locks as for lm_set.
bool lm_set_change(VariableRegistry& registry, std::string_view name, std::string_view value);

/// Returns the value of a variable, "" when there is none. Takes registry_lock.
std::string lm_get(const VariableRegistry& registry, std::string_view name);

/// Loads the snapshot file, and its 802.1X mode into the central state. Always returns 0. Main
/// thread; takes registry_lock and mapping_lock, each for one line at a time.
int lm_load_snapshot(VariableRegistry& registry, CentralState& state);

/// Returns the line that notifies clients of a change.
std::string notification_line(std::string_view name, std::string_view value);

}  // namespace kovo
