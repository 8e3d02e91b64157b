// The events enable flag and the four persistent settings.
#pragma once

#include <string_view>

#include "definitions/named_values.h"

namespace kovo {

struct CentralState;

constexpr char kSettingsPath[] = "/mnt/persistent/kovo_conf.txt";
constexpr const char* kSettingNames[] = {"portDescr", "portID", "sysDescr", "sysName"};

enum : int {
  kSettingRefused = -1,  // empty value or unknown key
  kSettingSame = 0,
  kSettingChanged = 1,
  kNoSettingLine = 2,
};

/// Refreshes events_enabled from the device parameter ENABLE_KOVO_EVENT: "1" or "y" at its start
/// enables, anything else disables, no answer changes nothing. Returns 0. Called by main and, for
/// test commands, by the queue worker.
int renew_enable_event(CentralState& state);

/// Appends the four settings with empty values and loads the settings file. Returns 0. Called once,
/// by main. Takes settings_lock.
int init_settings(CentralState& state);

/// Takes the values of known keys from the settings file; a missing file changes nothing. Returns
/// 0. Takes settings_lock.
int load_settings_file(CentralState& state);

/// Applies a line that may be a setting. kNoSettingLine when it begins with neither "port" nor
/// "sys" or holds no "=", otherwise what kovo_config_set returns. One trailing line feed does not
/// count, and at most kMaxStatusLine bytes do. Called by the receivers and the status intake; takes
/// the locks of kovo_config_set.
int apply_setting_line(CentralState& state, std::string_view line);

/// Sets one setting, without one trailing line feed of its value. kSettingRefused, kSettingSame
/// (also for another letter case, which is not stored) or kSettingChanged: logged, the event of the
/// setting's name pushed, the file written. A file that could not be written, or a push that ran
/// out of memory before it, leaves settings_behind: the next call writes it, whatever it sets.
/// Any thread. Takes settings_lock for the comparison and again for the file, and EventQueue.lock
/// for the push between them, with its status query of up to two seconds.
int kovo_config_set(CentralState& state, std::string_view key, std::string_view value);

/// Replaces the settings file whole, one line a setting: a value is cut there at its first line
/// feed. 0, -1 when there are no settings, -2 when it cannot be written; the settings in memory
/// stay as they are. Takes settings_lock.
int write_settings_file(CentralState& state);

/// True when a text begins with the name of one of the four settings, in any letter case.
bool names_setting(std::string_view text);

/// True when a value of ENABLE_KOVO_EVENT enables events.
bool enables_events(std::string_view value);

}  // namespace kovo
