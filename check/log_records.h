// The records of the daemon's two logs, and how their texts are parsed. No input or output.
//
// A record of the event log begins with a time stamp and ends before the next line that begins with
// one: names and payloads may hold newlines. A record of the main log has no time, and some do not
// end with a newline: a received text has the length that is logged with it.
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

/// Parses "YYYY-MM-DD", "HH:MM[:SS]" (on the day of `last`) or both, with a blank or a T between
/// them; returns whether the text is valid.
bool parse_moment(std::string_view text, LogTime last, LogTime& moment);

struct EventRecord {
  LogTime time = 0;
  std::string text;  // without the stamp and the final newline
};

/// Returns a record as the log holds it, without the final newline.
std::string logged_line(const EventRecord& record);

/// Where the reading of an event log is between two pieces.
struct EventLogReader {
  std::string rest;  // the beginning of a line whose end has not been read
  EventRecord open;  // the record that lines without a stamp continue
  bool is_open = false;
  bool is_damaged = false;    // `open` holds a NUL or is too long
  std::uint64_t skipped = 0;  // lines before the first stamp, damaged and unfinished records
};

/// Reads a piece of an event log of any size; appends the records that end in it.
void read_event_log(EventLogReader& reader, std::string_view piece,
                    std::deque<EventRecord>& records);

/// Ends a file; appends its last record if it ends with a newline.
void end_event_log(EventLogReader& reader, std::deque<EventRecord>& records);

enum class EventLine {
  kUnknown,
  kStart,           // the daemon starts
  kMilestone,       // a step of the start-up that is not shown
  kMarkerCreated,   // the first start after boot: "PowerOn" is pushed next
  kAutoPush,        // "PowerOn" has been pushed
  kPush,            // name: the names, number: 1 for a test
  kCommand,         // name: the key of a text of tcp:2700
  kStatusLine,      // name: a text of udp:2728
  kVariable,        // name: raised by a mapping row; its push follows
  kBareName,        // name: a dedicated event; its push follows
  kVariableSkip,    // name, number: seconds since the last message of its row
  kStatusSkip,      // name, number: seconds since the last status line of its row
  kSettingChanged,  // name; its push follows
  kSettingSame,     // name
  kPowerOnSkip,     // "PowerOn" was executed already since boot
  kStep,            // step: executed
  kDisabledStep,    // step: skipped, events are disabled; number: the uptime
  kPeriodSkip,      // step: of a display event, skipped after boot; number: the uptime
};

/// The parts of a record's text, which must outlive them.
struct EventLineParts {
  EventLine kind = EventLine::kUnknown;
  std::string_view name;
  std::int64_t number = 0;
  std::string_view step;  // "address:port protocol payload"
};

/// Splits the text of a record. A step has no word of its own: any text of that form is one.
EventLineParts parse_event_line(std::string_view text);

enum class MainLine {
  kOther,
  kBanner,         // the daemon starts
  kCommand,        // name: a text received on tcp:2700
  kDisabled,       // name: dropped, events are disabled
  kTestPush,       // name
  kVariable,       // name: raised by a mapping row
  kStatusLine,     // name: a text received on udp:2728
  kStatusSkip,     // name
  kPeriodSkip,     // a display event is skipped after boot
  kExpired,        // name: the trigger, value: the event
  kRenewed,        // name: the definition file that was read
  kConnectError,   // name: the address, number: the port, value: the payload, error
  kSendError,      // the same
  kNoReplyError,   // the same, of a TCP sender that reads no reply
  kSenderError,    // name: the event, error
  kDropped,        // name of an event, or error: a queue is full
  kRefused,        // name: a message that is not a valid command
  kSettingRefused  // name: a setting without a value
};

struct MainRecord {
  MainLine kind = MainLine::kOther;
  std::string name;
  std::string value;
  std::int64_t number = 0;
  std::string error;
};

struct MainLog {
  std::vector<MainRecord> records;  // without those of kOther
  std::uint64_t read = 0;           // records, with those of kOther
  std::uint64_t skipped = 0;        // lines outside of records
};

/// Appends the records of a whole main log.
void read_main_log(std::string_view text, MainLog& log);

enum class LogKind { kNone, kEmpty, kEventLog, kMainLog };

/// Returns which log a file is, by its first lines; the first one may be truncated.
LogKind kind_of_log(std::string_view beginning);

}  // namespace kovo::check
