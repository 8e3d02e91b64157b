#include "core/setting_rules.h"

#include <algorithm>

namespace kovo {

Settings empty_settings() {
  Settings settings;
  for (const char* name : kSettingNames) settings.emplace_back(name, "");
  return settings;
}

bool names_setting(std::string_view text) {
  return std::any_of(std::begin(kSettingNames), std::end(kSettingNames),
                     [&](const char* name) { return starts_with_nocase(text, name); });
}

std::optional<KeyValue> split_setting_line(std::string_view line) {
  if (!starts_with_nocase(line, "port") && !starts_with_nocase(line, "sys")) return {};
  const KeyValue pair = split_key_value(truncated(strip_newline(line), kMaxStatusLine));
  if (!pair.found) return {};
  return pair;
}

std::string* find_setting(Settings& settings, std::string_view name) {
  for (auto& [setting, value] : settings) {
    if (setting == name) return &value;
  }
  return nullptr;
}

SettingChange exchange_setting(Settings& settings, std::string_view name, std::string_view value) {
  std::string* const setting = value.empty() ? nullptr : find_setting(settings, name);
  if (setting == nullptr) return {kSettingRefused};
  const std::string_view text = strip_newline(value);
  if (equals_nocase(*setting, text)) return {kSettingSame};
  return {kSettingChanged, std::exchange(*setting, std::string(text))};
}

}  // namespace kovo
