#include "definitions/settings.h"

#include "engine/push_event.h"
#include "frame/files.h"
#include "frame/log.h"
#include "frame/shell.h"
#include "variables/central_state.h"

namespace kovo {
namespace {

/// Compares and stores under one lock, so that of two equal changes at once only one counts.
SettingResult store_setting(CentralState& state, const std::string& key, std::string value) {
  const MutexLock held(state.settings_lock);
  const std::string text(strip_newline(value));
  const SettingResult result = exchange_setting(state.settings, key, value);
  if (result == kSettingSame) {
    log_event("[%s:%d] skip same %s=%s\n", "kovo_config_set", __LINE__, key.c_str(), text.c_str());
  } else if (result == kSettingChanged) {
    log_event("[%s:%d] %s %s => %s\n", "kovo_config_set", __LINE__, key.c_str(), value.c_str(),
              text.c_str());
    state.settings_dirty = true;
  }
  return result;
}

bool is_dirty(const CentralState& state) {
  const MutexLock held(state.settings_lock);
  return state.settings_dirty;
}

}  // namespace

int renew_enable_event(CentralState& state) {
  const std::string value = query_device_param("ENABLE_KOVO_EVENT");
  if (!value.empty()) state.events_enabled = value[0] == '1' || value[0] == 'y' ? 1 : 0;
  LOG_DEBUG("renew_enable_event", "enable event=%d\n", state.events_enabled.load());
  return 0;
}

int init_settings(CentralState& state) {
  {
    const MutexLock held(state.settings_lock);
    state.settings = empty_settings();
  }
  return load_settings_file(state);
}

int load_settings_file(CentralState& state) {
  const File file = open_for_reading(kSettingsPath);
  if (file == nullptr) return 0;
  const MutexLock held(state.settings_lock);
  LineBuffer buffer;
  std::string_view line;
  while (read_line(file.get(), buffer, line)) {
    const KeyValue pair = split_key_value(until_newline(line));
    std::string* const setting = find_setting(state.settings, pair.key);
    if (pair.found && setting != nullptr) *setting = pair.value;
  }
  return 0;
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
  const SettingResult result = store_setting(state, name, std::string(value));
  if (result == kSettingChanged) push_event(name);
  if (result != kSettingRefused && is_dirty(state)) write_settings_file(state);
  return result;
}

int write_settings_file(CentralState& state) {
  const MutexLock held(state.settings_lock);
  if (state.settings.empty()) return -1;
  std::string text;
  for (const auto& [key, value] : state.settings) {
    text.append(key).append("=").append(until_newline(value)).append("\n");
  }
  if (!replace_file(kSettingsPath, text)) return -2;
  state.settings_dirty = false;
  return 0;
}

}  // namespace kovo
