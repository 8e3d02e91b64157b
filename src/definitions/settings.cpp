#include "definitions/settings.h"

#include <algorithm>

#include "engine/push_event.h"
#include "frame/device_param.h"
#include "frame/files.h"
#include "frame/globals.h"
#include "frame/log.h"
#include "variables/central_state.h"

namespace kovo {
namespace {

std::pair<std::string, std::string>* find_setting(Settings& settings, std::string_view key) {
  const auto found = std::find_if(settings.begin(), settings.end(),
                                  [&](const auto& setting) { return setting.first == key; });
  return found == settings.end() ? nullptr : &*found;
}

/// Compares and stores in one step, so that of two equal changes at once only one counts.
int store_setting(CentralState& state, const std::string& key, std::string_view value) {
  const MutexLock held(state.settings_lock);
  auto* setting = find_setting(state.settings, key);
  if (setting == nullptr) return kSettingRefused;
  std::string text(strip_newline(value));
  if (equals_nocase(setting->second, text)) {
    log_event("[%s:%d] skip same %s=%s\n", "kovo_config_set", __LINE__, key.c_str(), text.c_str());
    return kSettingSame;
  }
  log_event("[%s:%d] %s %s => %s\n", "kovo_config_set", __LINE__, key.c_str(),
            setting->second.c_str(), text.c_str());
  setting->second.swap(text);
  state.settings_behind = true;
  return kSettingChanged;
}

/// The file's lines: one a setting, so that no value writes another setting.
std::string settings_text(const Settings& settings) {
  std::string text;
  for (const auto& [key, value] : settings) {
    text.append(key).append("=").append(until_newline(value)).append("\n");
  }
  return text;
}

/// Takes "key=value" into the settings when the key is known exactly; cut at its first line feed.
void load_setting_line(Settings& settings, std::string_view line) {
  const KeyValue pair = split_key_value(until_newline(line));
  if (!pair.found) return;
  if (auto* setting = find_setting(settings, pair.key)) setting->second = pair.value;
}

bool file_is_behind(CentralState& state) {
  const MutexLock held(state.settings_lock);
  return state.settings_behind;
}

}  // namespace

int renew_enable_event(CentralState& state) {
  const std::string value = query_device_param("ENABLE_KOVO_EVENT");
  if (!value.empty()) state.events_enabled = enables_events(value) ? 1 : 0;
  LOG_DEBUG("renew_enable_event", "enable event=%d\n", state.events_enabled.load());
  return 0;
}

bool names_setting(std::string_view text) {
  return std::any_of(std::begin(kSettingNames), std::end(kSettingNames),
                     [&](const char* name) { return starts_with_nocase(text, name); });
}

bool enables_events(std::string_view value) {
  return !value.empty() && (value.front() == '1' || value.front() == 'y');
}

int init_settings(CentralState& state) {
  {
    const MutexLock held(state.settings_lock);
    state.settings.clear();
    for (const char* name : kSettingNames) state.settings.emplace_back(name, "");
  }
  return load_settings_file(state);
}

int load_settings_file(CentralState& state) {
  const File file = open_for_reading(kSettingsPath);
  if (file == nullptr) return 0;
  const MutexLock held(state.settings_lock);
  LineBuffer buffer;
  std::string_view line;
  while (read_line(file.get(), buffer, line)) load_setting_line(state.settings, line);
  return 0;
}

int apply_setting_line(CentralState& state, std::string_view line) {
  if (!starts_with_nocase(line, "port") && !starts_with_nocase(line, "sys")) return kNoSettingLine;
  const KeyValue pair = split_key_value(cut_text(strip_newline(line), kMaxStatusLine));
  if (!pair.found) return kNoSettingLine;
  return kovo_config_set(state, pair.key, pair.value);
}

int kovo_config_set(CentralState& state, std::string_view key, std::string_view value) {
  const std::string name(key);
  if (value.empty()) {
    LOG_MAIN("kovo_config_set", "no value, skip set %s\n", name.c_str());
    return kSettingRefused;
  }
  const int result = store_setting(state, name, value);
  if (result == kSettingChanged) push_event(name);
  if (result != kSettingRefused && file_is_behind(state)) write_settings_file(state);
  return result;
}

int write_settings_file(CentralState& state) {
  const MutexLock held(state.settings_lock);
  if (state.settings.empty()) return -1;
  if (!replace_file(kSettingsPath, settings_text(state.settings))) return -2;
  state.settings_behind = false;
  return 0;
}

}  // namespace kovo
