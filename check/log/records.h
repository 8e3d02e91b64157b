// The records of the daemon's two logs. The texts point into the logs, which must outlive them.
//
// A record of the event log begins with a time stamp and ends before the next line that begins with
// one. A record of the main log has no time and begins with "[routine:line] "; some do not end with
// a newline. A payload with a newline and a time stamp is read as two records.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kovo::check {

using LogTime = std::int64_t;  // local time as it is logged, in milliseconds since 1970

/// Returns the time of day as "14:07:09.120".
std::string clock_text(LogTime time);

/// Returns the date as "2026-11-24".
std::string day_text(LogTime time);

/// Parses "YYYY-MM-DD", "HH:MM[:SS]" (on the day of `last`) or both, with a blank or a T between
/// them; returns whether the text is valid.
bool parse_moment(std::string_view text, LogTime last, LogTime& moment);

enum class RecordKind : std::uint8_t {
  kUnknown,

  // In both logs.
  kStart,       // the daemon starts
  kCommand,     // name: the key of a text of tcp:2700, value
  kStatusLine,  // name: a text of udp:2728
  kVariable,    // name: raised by a variable's row
  kStatusSkip,  // name, number: seconds since the last status line of its row
  kTestPush,    // name
  kPeriodSkip,  // a display event is skipped; event log: name as of kStep, number: the uptime

  // In the event log only.
  kStep,            // name: "address:port protocol payload", executed
  kDisabledStep,    // the same, skipped: events are disabled
  kMilestone,       // a step of the start-up that is not shown
  kFirstStart,      // the first start after boot: "PowerOn" is pushed next
  kPush,            // name: the names, one a line
  kBareName,        // name: a dedicated event; its push follows
  kVariableSkip,    // name, number: seconds since the last message of its row
  kSettingChanged,  // name; its push follows
  kSettingSame,     // name
  kPowerOnSkip,     // "PowerOn" was executed already since boot

  // In the main log only.
  kMessage,       // name: a text received on port 2727
  kDisabled,      // name: dropped, events are disabled
  kExpired,       // name: the trigger, value: the event
  kRenewed,       // name: the definition file that was read
  kConnectError,  // name: the address, number: the port, value: the payload, error
  kSendError,     // the same
  kSenderError,   // name: the event, error
  kNoSender,      // name: the event, number: of steps
  kTooMany,       // name: a trigger
  kFull,          // name: what is full, error
};

inline bool is_in_both(RecordKind kind) {
  return kind >= RecordKind::kStart && kind <= RecordKind::kPeriodSkip;
}
inline bool is_step(RecordKind kind) {
  return kind >= RecordKind::kPeriodSkip && kind <= RecordKind::kDisabledStep;
}

constexpr char kClockSetBack[] = "the clock was set back";

struct LogRecord {
  RecordKind kind = RecordKind::kUnknown;
  bool clock_set_back = false;  // event log: before it
  LogTime time = 0;             // event log only
  LogTime elapsed = 0;          // the same, but it never decreases
  std::string_view name;
  std::string_view value;
  std::string_view error;
  std::int64_t number = 0;
};
using LogRecords = std::vector<LogRecord>;

struct EventLog {
  LogRecords records;
  std::uint64_t skipped = 0;  // lines outside of records, and a record without its end
};
using MainLog = EventLog;

/// Appends the records of a part of the event log.
void read_event_log(std::string_view text, EventLog& log);

/// Appends the records of a part of the main log.
void read_main_log(std::string_view text, MainLog& log);

enum class LogKind { kNone, kEventLog, kMainLog };

/// Returns which log a file is, by its first lines; the first one may be truncated.
LogKind kind_of_log(std::string_view text);

}  // namespace kovo::check
