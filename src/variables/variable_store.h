// The mirror of the device's variables, and the notification of every accepted change. The names of
// variables are case-insensitive.
#pragma once

#include <string>
#include <string_view>

#include "frame/text.h"
#include "variables/variable_registry.h"

namespace kovo {

struct CentralState;

constexpr char kSnapshotPath[] = "/var/lm_var";
constexpr std::size_t kMaxSnapshotLine = 2046;  // longer lines count as several

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
