#include "variables/variable_store.h"

#include <algorithm>
#include <optional>

#include "frame/files.h"
#include "frame/globals.h"
#include "frame/host.h"
#include "frame/log.h"
#include "frame/worker.h"
#include "variables/central_state.h"
#include "variables/change_values.h"

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

VariableRecord* find_variable(VariableRegistry& registry, std::string_view name)
    REQUIRES(registry.registry_lock) {
  const auto found = registry.index.find(lower_ascii(name));
  return found == registry.index.end() ? nullptr : &registry.variables[found->second];
}

void append_variable(VariableRegistry& registry, std::string_view name, std::string_view value,
                     std::int64_t set_time) REQUIRES(registry.registry_lock) {
  registry.variables.push_back({std::string(name), std::string(value), set_time});
  try {
    registry.index.emplace(lower_ascii(name), registry.variables.size() - 1);
  } catch (...) {  // no memory: a record that cannot be found must not stay
    registry.variables.pop_back();
    throw;
  }
}

/// What is sent of one change. Made before the change is stored: without the memory for it nothing
/// is stored, rather than stored and never told.
struct Notification {
  std::string line;
  Clients clients;
};

Notification make_notification(VariableRegistry& registry, std::string_view name,
                               std::string_view value) REQUIRES(registry.notify_lock) {
  return {notification_line(name, value), copy_clients(registry)};
}

/// Sends to the clients one after the other; one that fails does not stop the rest.
void send_notification(const char* routine, const Notification& notification) {
  for (const ClientRecord& client : notification.clients) {
    catch_and_log(routine,
                  [&] { send_by(client.proto, client.ip, client.port, notification.line); });
  }
}

void store(VariableRegistry& registry, std::string_view name, std::string_view value) {
  const MutexLock held(registry.registry_lock);
  if (VariableRecord* record = find_variable(registry, name)) {
    record->value = value;
    record->set_time = now_s();
  } else {
    append_variable(registry, name, value, now_s());
  }
}

/// What store_change found.
struct Change {
  bool stored;
  std::optional<std::string> old;  // filled for the diagnostics alone
};

/// As store, but keeps a value that differs in letter case at most.
Change store_change(VariableRegistry& registry, std::string_view name, std::string_view value) {
  const MutexLock held(registry.registry_lock);
  VariableRecord* record = find_variable(registry, name);
  if (record == nullptr) {
    append_variable(registry, name, value, now_s());
    return {true, {}};
  }
  Change change{!equals_nocase(record->value, value), {}};
  if (debug != 0) change.old = record->value;
  if (change.stored) record->value = value;
  record->set_time = now_s();
  return change;
}

void print_change(const Change& change, std::string_view name, std::string_view value) {
  if (!change.old) return;
  const std::string key(name);
  const std::string text(value);
  if (change.stored) {
    LOG_DEBUG("lm_set_change", "update key=%s,value=%s <= %s\n", key.c_str(), change.old->c_str(),
              text.c_str());
  } else {
    LOG_DEBUG("lm_set_change", "same key=%s, value=%s <= %s\n", key.c_str(), change.old->c_str(),
              text.c_str());
  }
}

void take_wpa_mode(CentralState& state, std::string_view value) {
  const MutexLock held(state.mapping_lock);
  state.p8021_status = p8021_status_of(value);
  state.wpa_eap_mode = value;
}

}  // namespace

int lm_set_init(VariableRegistry& registry, std::string_view name, std::string_view value) {
  if (is_ignored(name, false)) {
    LOG_DEBUG("lm_set_init", "skip %s\n", std::string(name).c_str());
    return 0;
  }
  const MutexLock held(registry.registry_lock);
  VariableRecord* record = find_variable(registry, name);
  if (record == nullptr) {
    append_variable(registry, name, value, 0);
  } else if (record->set_time == 0) {
    record->value = value;
  }
  return 0;
}

int lm_set(VariableRegistry& registry, std::string_view name, std::string_view value) {
  if (is_ignored(name, true)) {
    LOG_DEBUG("lm_set", "skip %s\n", std::string(name).c_str());
    return 0;
  }
  const MutexLock held(registry.notify_lock);
  const Notification notification = make_notification(registry, name, value);
  store(registry, name, value);
  send_notification("lm_set", notification);
  return 0;
}

bool lm_set_change(VariableRegistry& registry, std::string_view name, std::string_view value) {
  if (is_ignored(name, true)) {
    LOG_DEBUG("lm_set_change", "ignore %s\n", std::string(name).c_str());
    return false;
  }
  const MutexLock held(registry.notify_lock);
  const Notification notification = make_notification(registry, name, value);
  const Change change = store_change(registry, name, value);
  catch_and_log("lm_set_change", [&] { print_change(change, name, value); });
  if (!change.stored) return false;
  send_notification("lm_set_change", notification);
  return true;
}

std::string lm_get(VariableRegistry& registry, std::string_view name) {
  const MutexLock held(registry.registry_lock);
  const VariableRecord* record = find_variable(registry, name);
  return record == nullptr ? std::string() : record->value;
}

int lm_load_snapshot(VariableRegistry& registry, CentralState& state) {
  const File file = open_for_reading(kSnapshotPath);
  if (file == nullptr) return 0;
  LineBuffer buffer;
  std::string_view line;
  while (read_line(file.get(), buffer, line, kMaxSnapshotLine)) {
    const KeyValue pair = split_snapshot_line(line);
    if (!pair.found) continue;
    lm_set_init(registry, pair.key, pair.value);
    if (equals_nocase(pair.key, "WPA_EAP_MODE")) take_wpa_mode(state, pair.value);
  }
  return 0;
}

KeyValue split_snapshot_line(std::string_view line) {
  if (line.size() < 3) return {};
  const KeyValue pair = split_key_value(until_newline(line));
  return pair.found && !pair.key.empty() ? pair : KeyValue{};
}

std::string notification_line(std::string_view name, std::string_view value) {
  return std::string(name).append("=").append(value).append("\n");
}

}  // namespace kovo
