// The events enable flag and the four persistent settings.
#pragma once

#include <string_view>

#include "core/setting_rules.h"

namespace kovo {

struct CentralState;

constexpr char kSettingsPath[] = "/mnt/persistent/kovo_conf.txt";

/// Refreshes events_enabled from the device parameter ENABLE_KOVO_EVENT: an answer that begins with
/// "1" or "y" enables, any other disables, an empty one changes nothing. Once `ready`, an answer
/// that takes more than 10 s counts as an empty one. Main thread, and the queue worker for test
/// commands.
void renew_enable_event(CentralState& state);

/// Sets the four settings to empty values and loads the settings file. Called by main.
void init_settings(CentralState& state);

/// Applies a line that may be a setting (see split_setting_line). Returns kNoSettingLine when it is
/// none, otherwise the result of kovo_config_set, whose locks it takes. Any thread.
SettingResult apply_setting_line(CentralState& state, std::string_view line);

/// Sets one setting by the rules of exchange_setting. A change is logged, the event of the
/// setting's name is pushed, and the file is written. Any thread. Takes settings_lock to compare
/// and store, EventQueue.lock for the push, which may take seconds, and settings_lock again.
SettingResult kovo_config_set(CentralState& state, std::string_view key, std::string_view value);

}  // namespace kovo
