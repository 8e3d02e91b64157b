// The rules by which a text changes one of the four persistent settings. No input or output.
#pragma once

#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "core/text.h"

namespace kovo {

constexpr const char* kSettingNames[] = {"portDescr", "portID", "sysDescr", "sysName"};

/// Names with their values, in order.
using Settings = std::deque<std::pair<std::string, std::string>>;

enum SettingResult : int {
  kSettingRefused = -1,  // empty value or unknown key
  kSettingSame = 0,
  kSettingChanged = 1,
  kNoSettingLine = 2,
};

/// Returns the four settings with empty values.
Settings empty_settings();

/// Returns whether a text begins with the name of one of the four settings, case-insensitive.
bool names_setting(std::string_view text);

/// Splits a line that may be a setting, truncated to kMaxStatusLine bytes and without one trailing
/// newline. Nothing when it begins with neither "port" nor "sys" or holds no "=".
std::optional<KeyValue> split_setting_line(std::string_view line);

/// Returns the value of a setting, null when no setting has exactly this name.
std::string* find_setting(Settings& settings, std::string_view name);

struct SettingChange {
  SettingResult result;
  std::string old_value = {};  // of a setting that has changed
};

/// Gives a setting a value, without one trailing newline. Refuses an empty value and an unknown
/// name; a value that differs only in case is the same and not stored.
SettingChange exchange_setting(Settings& settings, std::string_view name, std::string_view value);

}  // namespace kovo
