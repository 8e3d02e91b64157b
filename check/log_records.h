// The records of the daemon's two logs, taken apart: the words are the daemon's own. Pure text in,
// records out.
//
// A record of the event log begins with a time stamp and ends before the next line that begins with
// one: names and payloads may hold newlines. A record of the main log has no time, and some have no
// newline at their end: received texts are measured by the length that is logged with them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace kovo::check {

using LogTime = std::int64_t;  // local time as it is logged, in milliseconds since 1970

/// Returns the time of day as "14:07:09.120".
std::string clock_text(LogTime time);

/// Returns the date as "2026-11-24".
std::string day_text(LogTime time);

/// Reads "YYYY-MM-DD", "HH:MM[:SS]" (of the day of `last`) or both, with a blank or a T between
/// them. Returns whether it is one.
bool parse_moment(std::string_view text, LogTime last, LogTime& moment);

struct EventRecord {
  LogTime time = 0;
  std::string text;  // without the stamp and the newline at its end
};

/// Returns the line of a record, as the log holds it, without the newline at its end.
std::string logged_line(const EventRecord& record);

/// Reads event logs piece by piece.
struct EventLogReader {
  std::string rest;  // of a line whose end has not been read
  EventRecord open;  // continued by lines without a stamp
  bool is_open = false;
  bool is_damaged = false;    // `open` holds a NUL or is too long
  std::uint64_t lines = 0;    // with a stamp
  std::uint64_t skipped = 0;  // lines before the first stamp, damaged and unfinished records
};

/// Appends the records that end in a piece of the log.
void read_event_log(EventLogReader& reader, std::string_view piece,
                    std::deque<EventRecord>& records);

/// Ends a file: its last record is complete if its newline is there.
void end_event_log(EventLogReader& reader, std::deque<EventRecord>& records);

enum class EventLine {
  kUnknown,
  kStart,           // of the daemon
  kMilestone,       // of the start-up
  kMarkerCreated,   // the first start after boot: "PowerOn" is pushed next
  kAutoPush,        // and has been pushed
  kPush,            // name: the names, number: 1 for a test
  kCommand,         // a text of tcp:2700; name, value
  kStatusLine,      // a text of udp:2728; name
  kVariable,        // of the hold-off rule: the push follows; name
  kBareName,        // of a dedicated event: the push follows; name
  kVariableSkip,    // name, number: seconds
  kStatusSkip,      // likewise
  kSettingChanged,  // the push follows; name
  kSettingSame,     // name, value
  kPowerOnSkip,     // it runs once per boot
  kStep,            // executed; value: the payload
  kDisabledStep,    // likewise; number: the uptime
  kPeriodSkip,      // of a display event; likewise
};

/// The parts of a record's text, which must outlive them.
struct EventLineParts {
  EventLine kind = EventLine::kUnknown;
  std::string_view name;
  std::string_view value;
  std::int64_t number = 0;
  std::string_view step;  // of the three step lines: "address:port protocol payload"
};

/// Takes the text of a record apart. Steps are recognised by their form alone.
EventLineParts parse_event_line(std::string_view text);

enum class MainLine {
  kOther,
  kBanner,         // the daemon starts
  kCommand,        // received on tcp:2700; name: the text
  kDisabled,       // name: dropped while events are disabled
  kTestPush,       // name
  kVariable,       // raised by the hold-off rule; name
  kStatusLine,     // received on udp:2728; name: the text
  kStatusSkip,     // name
  kPeriodSkip,     // of a display event
  kExpired,        // name: the trigger, value: the event
  kRenewed,        // the definition file was read
  kConnectError,   // name: the address, number: the port, value: the payload, error
  kSendError,      // likewise
  kNoticeError,    // of a notification or mirror line
  kSenderError,    // name: the event, error
  kDropped,        // error: what was dropped because a queue was full
  kRefused,        // name: of a message that is no command
  kSettingRefused  // name: of a setting without a value
};

struct MainRecord {
  MainLine kind = MainLine::kOther;
  std::string name;
  std::string value;
  std::int64_t number = 0;
  std::string error;
};

struct MainLog {
  std::vector<MainRecord> records;  // those of interest: not kOther
  std::uint64_t read = 0;           // all
  std::uint64_t skipped = 0;        // lines that belong to no record
};

/// Appends the records of a whole main log.
void read_main_log(std::string_view text, MainLog& log);

enum class LogKind { kNone, kEmpty, kEventLog, kMainLog };

/// Returns which log a file is, by its first lines; the first one may be truncated.
LogKind kind_of_log(std::string_view beginning);

}  // namespace kovo::check
