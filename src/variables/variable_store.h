// The mirror of the device's variables, and the notification of every accepted change. Names are
// one variable in any letter case.
#pragma once

#include <string>
#include <string_view>

#include "frame/text.h"
#include "variables/variable_registry.h"

namespace kovo {

struct CentralState;

constexpr char kSnapshotPath[] = "/var/lm_var";
constexpr std::size_t kMaxSnapshotLine = 2046;  // longer lines count as several

/// Loads one pair of the snapshot: appended, or replaced where no live set came before. Never
/// notifies. Names on the ignore list, in exactly its letter case, are skipped. Returns 0.
/// Takes registry_lock.
int lm_set_init(VariableRegistry& registry, std::string_view name, std::string_view value);

/// Stores a live value and tells every client, changed or not. Names on the ignore list, in any
/// letter case, are skipped. Returns 0. Takes notify_lock for all of it, registry_lock to store; a
/// dead TCP client costs its time-outs.
int lm_set(VariableRegistry& registry, std::string_view name, std::string_view value);

/// Stores a live value that is new or differs in more than letter case, and tells every client;
/// true when it did. Ignored names and locks as for lm_set.
bool lm_set_change(VariableRegistry& registry, std::string_view name, std::string_view value);

/// The value of a variable, "" when there is none. Takes registry_lock.
std::string lm_get(VariableRegistry& registry, std::string_view name);

/// Loads the snapshot file, and takes the 802.1X mode in it into the central state. Returns 0 in
/// every case. Main thread; takes registry_lock and mapping_lock, each for one line at a time.
int lm_load_snapshot(VariableRegistry& registry, CentralState& state);

/// Splits one line of the snapshot. Not found when it is shorter than three bytes with its line
/// feed, holds no "=" or begins with one.
KeyValue split_snapshot_line(std::string_view line);

/// The line that tells clients of a change.
std::string notification_line(std::string_view name, std::string_view value);

}  // namespace kovo
