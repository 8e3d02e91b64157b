// The device's variables, whose names are case-insensitive.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "daemon/state/clients.h"
#include "daemon/system/mutex.h"
#include "daemon/system/report_limit.h"

namespace kovo {

struct CentralState;

constexpr char kSnapshotPath[] = "/var/lm_var";
constexpr std::size_t kMaxSnapshotLine = 2046;  // bytes; a longer line counts as several

// Any program can add variables. Each counts its value, its name twice (the index has it in lower
// case) and kVariableBytes.
constexpr std::size_t kMaxStoreBytes = std::size_t{8} << 20;
constexpr std::size_t kVariableBytes = 128;  // about what a record and its place in the index take

struct VariableRecord {
  std::string name;  // in the spelling of its first appearance
  std::string value;
  std::int64_t set_time = 0;  // last live set, seconds since the epoch; 0 if only loaded
};

using Variables = std::deque<VariableRecord>;

struct VariableRegistry {
  // Held for a live set and the sends of its notifications; not for reading or loading.
  mutable Mutex notify_lock ACQUIRED_BEFORE(registry_lock);
  mutable Mutex registry_lock;

  Variables variables GUARDED_BY(registry_lock);  // in order of first appearance, never removed
  Clients clients GUARDED_BY(registry_lock);      // in order of registration
  std::unordered_map<std::string, std::size_t> index GUARDED_BY(registry_lock);  // by lower case
  std::size_t bytes GUARDED_BY(registry_lock) = 0;                               // of the variables
  ReportLimit refused GUARDED_BY(registry_lock);  // sets for which there was no room
  std::string last_refused GUARDED_BY(registry_lock);
};

inline VariableRegistry* variable_registry = nullptr;  // set before any worker starts

/// Makes the registry with its one initial client, TCP 127.0.0.1:5127. Called once, by main.
std::unique_ptr<VariableRegistry> make_variable_registry();

/// Loads a variable of the snapshot, unless it has been set live. Notifies nobody. Skips the names
/// of the ignore list, here case-sensitive. Takes registry_lock.
void lm_set_init(VariableRegistry& registry, std::string_view name, std::string_view value);

/// Stores a live value and notifies every client, even if the value is the same. Skips the names of
/// the ignore list. A new name or a longer value for which the store has no room is neither stored
/// nor notified, which is logged once a second at most. Holds notify_lock throughout, which
/// includes the time-outs of dead TCP clients, and takes registry_lock to store.
void lm_set(VariableRegistry& registry, std::string_view name, std::string_view value);

/// Does the same, but only if the value differs in more than case. Returns whether it differs, also
/// without room for it; false for a name of the ignore list.
bool lm_set_change(VariableRegistry& registry, std::string_view name, std::string_view value);

/// Returns the value of a variable, "" when there is none. Takes registry_lock.
std::string lm_get(const VariableRegistry& registry, std::string_view name);

/// Loads the snapshot file, and its 802.1X mode into the central state. Main thread. Takes
/// registry_lock and mapping_lock for a line at a time.
void lm_load_snapshot(VariableRegistry& registry, CentralState& state);

std::string notification_line(std::string_view name, std::string_view value);

}  // namespace kovo
