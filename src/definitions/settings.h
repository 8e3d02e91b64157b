// The events enable flag and the four persistent settings.
#pragma once

#include <string_view>

#include "definitions/setting_rules.h"

namespace kovo {

struct CentralState;

constexpr char kSettingsPath[] = "/mnt/persistent/kovo_conf.txt";

/// Refreshes events_enabled from the device parameter ENABLE_KOVO_EVENT: "1" or "y" at its start
/// enables, any other answer disables, an empty one changes nothing. Returns 0. Called by main and,
/// for test commands, by the queue worker.
int renew_enable_event(CentralState& state);

/// Appends the four settings with empty values and loads the settings file. Returns 0. Called once,
/// by main. Takes settings_lock.
int init_settings(CentralState& state);

/// Takes the values of known keys from the settings file; a missing file changes nothing. Returns
/// 0. Takes settings_lock.
int load_settings_file(CentralState& state);

/// Applies a line that may be a setting (see split_setting_line). Returns kNoSettingLine when it is
/// none, otherwise what kovo_config_set returns. Called by the receivers and the status intake;
/// takes the locks of kovo_config_set.
SettingResult apply_setting_line(CentralState& state, std::string_view line);

/// Sets one setting, without one trailing newline of its value. Returns kSettingRefused,
/// kSettingSame (also when only the letter case differs, which is not stored) or kSettingChanged:
/// then the change is logged, the event of the setting's name pushed and the file written. A file
/// that could not be written, or a push that ran out of memory before it, leaves settings_dirty:
/// the next call that is not refused writes the file. Any thread. Takes settings_lock for the
/// comparison and again for the file, and EventQueue.lock for the push between them, with its
/// status query of up to two seconds.
SettingResult kovo_config_set(CentralState& state, std::string_view key, std::string_view value);

/// Replaces the settings file, one line a setting, each value truncated at its first newline.
/// Returns 0, -1 when there are no settings, -2 when the file cannot be written. Takes
/// settings_lock.
int write_settings_file(CentralState& state);

}  // namespace kovo
