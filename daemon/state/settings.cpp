// A setting is compared and stored, then its event is pushed, then the file is written:
// settings_lock is not held for the push, which may take seconds. The file gets the current values,
// so that of two changes at once the later write has both. A failed write is repeated by the next
// line that is not refused. Invariant: while `settings_dirty` is false, the file has the values in
// memory, each up to its first newline, so that no value adds a setting.
#include "daemon/state/settings.h"

#include "daemon/state/central_state.h"
#include "daemon/state/event_queue.h"
#include "daemon/system/files.h"
#include "daemon/system/log.h"
#include "daemon/system/shell.h"

namespace kovo {
namespace {

constexpr std::int64_t kToolTimeoutMs = 10'000;

/// Compares and stores under one lock, so that only one of two equal changes at once is a change.
SettingResult store_setting(CentralState& state, const std::string& key, std::string_view value) {
  const MutexLock held(state.settings_lock);
  const std::string text(strip_newline(value));
  const SettingChange change = exchange_setting(state.settings, key, value);
  if (change.result == kSettingSame) {
    log_event("[%s:%d] skip same %s=%s\n", "kovo_config_set", __LINE__, key.c_str(), text.c_str());
  } else if (change.result == kSettingChanged) {
    log_event("[%s:%d] %s %s => %s\n", "kovo_config_set", __LINE__, key.c_str(),
              change.old_value.c_str(), text.c_str());
    state.settings_dirty = true;
  }
  return change.result;
}

/// Sets the values of known keys from the settings file, if there is one.
void load_settings_file(Settings& settings) {
  const File file = open_for_reading(kSettingsPath);
  if (file == nullptr) return;
  LineBuffer buffer;
  std::string_view line;
  while (read_line(file.get(), buffer, line)) {
    const KeyValue pair = split_key_value(until_newline(line));
    std::string* const setting = find_setting(settings, pair.key);
    if (pair.found && setting != nullptr) *setting = pair.value;
  }
}

/// Replaces the settings file, a line a setting, if it lacks a change.
void write_settings_file(CentralState& state) {
  const MutexLock held(state.settings_lock);
  if (!state.settings_dirty) return;
  std::string text;
  for (const auto& [key, value] : state.settings) {
    text.append(key).append("=").append(until_newline(value)).append("\n");
  }
  if (replace_file(kSettingsPath, text)) state.settings_dirty = false;
}

}  // namespace

void renew_enable_event(CentralState& state) {
  // Until then nothing waits for this thread; later a tool that hangs would stop a worker.
  const std::int64_t timeout_ms = state.ready != 0 ? kToolTimeoutMs : kNoTimeoutMs;
  const std::string value = query_device_param("ENABLE_KOVO_EVENT", timeout_ms);
  if (!value.empty()) state.events_enabled = value[0] == '1' || value[0] == 'y' ? 1 : 0;
  LOG_DEBUG("renew_enable_event", "enable event=%d\n", state.events_enabled.load());
}

void init_settings(CentralState& state) {
  const MutexLock held(state.settings_lock);
  state.settings = empty_settings();
  load_settings_file(state.settings);
}

SettingResult apply_setting_line(CentralState& state, std::string_view line) {
  const std::optional<KeyValue> pair = split_setting_line(line);
  return pair ? kovo_config_set(state, pair->key, pair->value) : kNoSettingLine;
}

SettingResult kovo_config_set(CentralState& state, std::string_view key, std::string_view value) {
  const std::string name(key);
  if (value.empty()) {
    LOG_MAIN("kovo_config_set", "no value, skip set %s\n", name.c_str());
    return kSettingRefused;
  }
  const SettingResult result = store_setting(state, name, value);
  if (result == kSettingChanged) push_event(name);
  if (result != kSettingRefused) write_settings_file(state);
  return result;
}

}  // namespace kovo
