// The rules of change processing: what follows from a new value of a variable and from a status
// line. The daemon and the try-out page both run them.
//
// A rule takes the memory of earlier changes, the change and the time, and returns actions in their
// order. The daemon calls each rule under mapping_lock, releases the lock and carries the actions
// out. Since sets and pushes can take seconds, it reads the clock again for each rule. Whether an
// HDCP state or a setting is new, the caller decides. Nothing here sends, logs or locks.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/mapping_tables.h"

namespace kovo {

constexpr std::int64_t kHoldOffS = 4;     // of messages, after a row's last message or status line
constexpr std::int64_t kRepeatS = 2;      // of status lines, likewise
constexpr std::int64_t kEventPauseS = 2;  // after a dedicated event was last raised

/// Returns whether a pause that began `since_last_s` ago still lasts. A clock that was set back
/// makes that negative. By more than the pause, it ends it, or events would be held off for years;
/// by less, as when the time is corrected, it does not, or an event would be raised twice.
bool pause_lasts(std::int64_t since_last_s, std::int64_t pause_s);

/// What the rules remember. All times are seconds since the epoch.
struct ChangeMemory {
  MappingTable mapping_table;
  std::string playback;               // the playback selection, "local" or "local:" and a name
  std::string serial_format;          // "9600-8N1"; "" before the first one
  std::string wpa_eap_mode;           // raw 802.1X mode
  std::string p8021_status;           // "on" or "off"
  std::int64_t p8021status_time = 0;  // when these events were last raised
  std::int64_t p8021enable_time = 0;
  std::int64_t yuv_event_time = 0;
  std::string yuv_out;  // "OFF", "ON" or "AUTO"; "" before the first timing word
};

/// The parts of a serial format, each with its variable and event.
struct SerialField {
  const char* variable;
  const char* event;
};
constexpr SerialField kSerialFields[] = {{"S0_BAUDRATE.baudrate", "serialBaud"},
                                         {"S0_BAUDRATE.databits", "serialNumBits"},
                                         {"S0_BAUDRATE.parity", "serialParity"},
                                         {"S0_BAUDRATE.stopbits", "serialStopBits"}};

// The events that a decoded value or the playback selection raises.
constexpr char kYuvEvent[] = "YCbCrOutput";
constexpr char kEapEnableEvent[] = "p8021enable";
constexpr char kEapStatusEvent[] = "p8021status";
constexpr char kPlayModeEvent[] = "playMode";
constexpr char kPlayListEvent[] = "localPlayList";
constexpr char kPlayEvent[] = "localPlay";

/// An event that no mapping row raises, and the variable whose value does; "" for the playback
/// selection. The events of kSerialFields are not repeated.
struct DedicatedEvent {
  const char* variable;
  const char* event;
};
constexpr DedicatedEvent kDedicatedEvents[] = {{"V_OUTPUT_TIMING_CONVERT", kYuvEvent},
                                               {"WPA_EAP_MODE", kEapEnableEvent},
                                               {"WPA_EAP_MODE", kEapStatusEvent},
                                               {"", kPlayModeEvent},
                                               {"", kPlayListEvent},
                                               {"", kPlayEvent}};

enum class ActionKind {
  kSet,            // the variable `name` takes `value`
  kSerialFormat,   // the serial format changes from `name` to `value`
  kPushSerial,     // a part of the serial format raises the event `name`
  kPushDedicated,  // a decoded value raises the event `name`
  kPushMapped,     // a variable raises the event `name` of its row
  kPushPlayback,   // the playback selection raises the event `name`
  kCount,          // a status line counts for the row of the event `name`, which it does not raise
  kInPause,        // the dedicated event `name` is not raised: its pause lasts
  kHoldOff,        // the row of the event `name` is held off: it counted `since_last_s` ago
  kFirstFormat,    // the first serial format raises nothing
  kUnchanged,      // the event `name` is not raised: what raises it is still `value`
  kUnmapped,       // no row for `name`
};

struct ChangeAction {
  ActionKind kind;
  std::string name;
  std::string value = {};
  std::string row_event = {};  // of a status line's row as its table has it, with a "#" at its end
  std::int64_t since_last_s = 0;
};
using ChangeActions = std::vector<ChangeAction>;

/// A new value of a variable, or a status line, of which only the name matters.
struct VariableChange {
  std::string_view name;
  std::string_view value = {};  // decoded
};

/// What a rule looks at, and the actions that it adds.
struct RuleRun {
  ChangeMemory& memory;
  const VariableChange& change;
  std::int64_t now_s;
  ChangeActions actions;
};
using ChangeRule = void (*)(RuleRun& run);

/// Runs a rule and returns its actions.
ChangeActions run_rule(ChangeRule rule, ChangeMemory& memory, const VariableChange& change,
                       std::int64_t now_s);

/// Returns the rules for a variable, in the order in which they are to be run.
std::vector<ChangeRule> change_rules(std::string_view variable);

/// Remembers the raw 802.1X mode and the status derived from it, and raises nothing.
void store_wpa_mode(ChangeMemory& memory, std::string_view mode);

/// Return whether a status line of this name is a playback selection, or an HDCP state: the caller
/// stores that, and stops if the value is the same.
bool is_playback(std::string_view name);
bool is_hdcp_state(std::string_view name);

/// Remembers a new playback selection and raises its events.
void playback_rule(RuleRun& run);

/// Restarts the hold-off time of every row whose setting word begins the name of a status line. In
/// an action, `name` is the row's event without a "#" at its end.
void status_rule(RuleRun& run);

}  // namespace kovo
