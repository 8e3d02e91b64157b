// Two locks separate storing from sending. notify_lock is held for a live set and all of its sends,
// so that every client receives the changes in the order in which they were stored; registry_lock
// only for a lookup or an update, so that reads and the snapshot never wait for a client. Nothing
// is queued for a client, and no failure removes one. Invariants: variables are never removed, so
// that the index stays valid; whatever may run out of memory comes before the value is stored, so
// that no value is stored and not notified.
#include "daemon/state/variable_store.h"

#include <algorithm>
#include <cassert>

#include "daemon/state/central_state.h"
#include "daemon/system/files.h"
#include "daemon/system/host.h"
#include "daemon/system/log.h"
#include "daemon/system/senders.h"
#include "daemon/system/worker.h"

namespace kovo {
namespace {

constexpr std::string_view kIgnoreList[] = {"TZ_param_str",
                                            "DANTE_BACKUP_CONFIG",
                                            "RANDOM",
                                            "SECONDS",
                                            "WATCHDOG_KICK_TIME",
                                            "count",
                                            "symbol",
                                            "tmp"};

bool is_ignored(std::string_view name, bool any_case) {
  return std::any_of(std::begin(kIgnoreList), std::end(kIgnoreList), [&](std::string_view entry) {
    return any_case ? equals_nocase(entry, name) : entry == name;
  });
}

/// Returns the record of a variable, const if the registry is; null when there is none.
template <class Registry>
auto find_variable(Registry& registry, std::string_view name) REQUIRES(registry.registry_lock) {
  const auto found = registry.index.find(lower_ascii(name));
  return found == registry.index.end() ? nullptr : &registry.variables[found->second];
}

/// Logs how many sets have found no room, once a second at most.
void report_refused(VariableRegistry& registry, const char* routine)
    REQUIRES(registry.registry_lock) {
  const int refused = registry.refused.due(steady_ns());
  if (refused == 0) return;
  LOG_MAIN(routine, "Error: the variables are full, %d not stored, last %s\n", refused,
           registry.last_refused.c_str());
}

void append_variable(VariableRegistry& registry, std::string_view name, std::string_view value,
                     std::int64_t set_time) REQUIRES(registry.registry_lock) {
  assert(registry.index.size() == registry.variables.size());
  registry.variables.push_back({std::string(name), std::string(value), set_time});
  try {
    registry.index.emplace(lower_ascii(name), registry.variables.size() - 1);
  } catch (...) {  // out of memory: no record without its place in the index
    registry.variables.pop_back();
    throw;
  }
}

/// Exchanges the value of a record with `value`; appends a record when it is null. Returns false
/// when there is no room, which is logged.
bool exchange_value(VariableRegistry& registry, const char* routine, VariableRecord* record,
                    std::string_view name, std::string& value, std::int64_t set_time)
    REQUIRES(registry.registry_lock) {
  const std::size_t freed = record == nullptr ? 0 : record->value.size();
  const std::size_t used =
      value.size() + (record == nullptr ? kVariableBytes + 2 * name.size() : 0);
  const bool is_full = used > freed && registry.bytes + used - freed > kMaxStoreBytes;
  if (is_full) {
    ++registry.refused.count;
    registry.last_refused = name;
  }
  report_refused(registry, routine);
  if (is_full) return false;
  if (record == nullptr) {
    append_variable(registry, name, value, set_time);
  } else {
    record->value.swap(value);
    record->set_time = set_time;
  }
  registry.bytes += used - freed;
  return true;
}

enum class Stored { kYes, kSame, kNoRoom };

/// Stores a live value if it differs in more than case, or in any case with `always`.
Stored store(VariableRegistry& registry, const char* routine, const std::string& name,
             std::string value, bool always) {
  const MutexLock held(registry.registry_lock);
  VariableRecord* record = find_variable(registry, name);
  if (record != nullptr && !always && equals_nocase(record->value, value)) {
    LOG_DEBUG(routine, "same key=%s, value=%s <= %s\n", name.c_str(), record->value.c_str(),
              value.c_str());
    record->set_time = now_s();
    return Stored::kSame;
  }
  if (!exchange_value(registry, routine, record, name, value, now_s())) return Stored::kNoRoom;
  if (record != nullptr && !always) {
    LOG_DEBUG(routine, "update key=%s,value=%s <= %s\n", name.c_str(), value.c_str(),
              record->value.c_str());
  }
  return Stored::kYes;
}

/// Stores as store does and notifies every client of a stored value.
Stored store_and_notify(VariableRegistry& registry, const char* routine, std::string_view name,
                        std::string_view value, bool always) {
  const MutexLock held(registry.notify_lock);
  const std::string line = notification_line(name, value);
  const Clients clients = copy_clients(registry);
  const Stored stored = store(registry, routine, std::string(name), std::string(value), always);
  if (stored != Stored::kYes) return stored;
  for (const ClientRecord& client : clients) {  // one that fails keeps no other from being notified
    run_pass(routine, [&] { send_by(client.proto, client.ip, client.port, line); });
  }
  return stored;
}

}  // namespace

std::unique_ptr<VariableRegistry> make_variable_registry() {
  auto registry = std::make_unique<VariableRegistry>();
  const MutexLock held(registry->registry_lock);
  registry->clients.push_back(kDefaultClient);
  return registry;
}

void lm_set_init(VariableRegistry& registry, std::string_view name, std::string_view value) {
  if (is_ignored(name, false)) {
    LOG_DEBUG("lm_set_init", "skip %s\n", std::string(name).c_str());
    return;
  }
  const MutexLock held(registry.registry_lock);
  VariableRecord* record = find_variable(registry, name);
  if (record != nullptr && record->set_time != 0) return;
  std::string text(value);
  exchange_value(registry, "lm_set_init", record, name, text, 0);
}

void lm_set(VariableRegistry& registry, std::string_view name, std::string_view value) {
  if (is_ignored(name, true)) {
    LOG_DEBUG("lm_set", "skip %s\n", std::string(name).c_str());
  } else {
    store_and_notify(registry, "lm_set", name, value, true);
  }
}

bool lm_set_change(VariableRegistry& registry, std::string_view name, std::string_view value) {
  if (is_ignored(name, true)) {
    LOG_DEBUG("lm_set_change", "ignore %s\n", std::string(name).c_str());
    return false;
  }
  return store_and_notify(registry, "lm_set_change", name, value, false) != Stored::kSame;
}

std::string lm_get(const VariableRegistry& registry, std::string_view name) {
  const MutexLock held(registry.registry_lock);
  const VariableRecord* record = find_variable(registry, name);
  return record == nullptr ? std::string() : record->value;
}

void lm_load_snapshot(VariableRegistry& registry, CentralState& state) {
  const File file = open_for_reading(kSnapshotPath);
  if (file == nullptr) return;
  LineBuffer buffer;
  std::string_view line;
  while (read_line(file.get(), buffer, line, kMaxSnapshotLine)) {
    const KeyValue pair = split_key_value(until_newline(line));
    if (line.size() < 3 || !pair.found || pair.key.empty()) continue;
    lm_set_init(registry, pair.key, pair.value);
    if (equals_nocase(pair.key, "WPA_EAP_MODE")) {
      const MutexLock held(state.mapping_lock);
      store_wpa_mode(state.changes, pair.value);
    }
  }
}

std::string notification_line(std::string_view name, std::string_view value) {
  return std::string(name).append("=").append(value).append("\n");
}

}  // namespace kovo
