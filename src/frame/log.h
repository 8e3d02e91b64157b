// Logging. The main log takes progress and error lines, each also printed on stdout, and is rotated
// by a count of records; the event log takes one time-stamped line for each thing that happens to
// an event and is never rotated. Formats carry their own line end. Diagnostics for -d go to stdout
// alone, guarded by `debug` at their place.
//
// Any thread may log. Records are written under one lock, behind which only that of the time zone
// is taken: they never mix, the rotation is exact, and the stamps of the event log ascend with the
// clock. Files are opened and closed for each record; one that cannot be opened loses its record
// and nothing else.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kovo {

constexpr char kMainLogPath[] = "/var/tmp/log/kovo.log";
constexpr char kRotatedLogPath[] = "/var/tmp/log/kovo.log.1";
constexpr std::int32_t kRecordsPerLog = 20000;
constexpr std::size_t kTimestampSize = 64;

/// Prints a record on stdout and appends it to the main log. The 20000th record appended since the
/// last rotation renames the log to its rotated path.
[[gnu::format(printf, 1, 2)]] void log_main(const char* format, ...);

/// Appends a record with its time stamp to the event log.
[[gnu::format(printf, 1, 2)]] void log_event(const char* format, ...);

/// As log_event, and prints the same record on stdout, also when the file cannot be opened.
[[gnu::format(printf, 1, 2)]] void log_event_echo(const char* format, ...);

/// Prints diagnostics on stdout alone.
[[gnu::format(printf, 1, 2)]] void print_stdout(const char* format, ...);

/// Ends the process, while other threads run, without destroying what they use. What was logged
/// reaches the reader of stdout if it reads within a second; nothing is logged after it.
[[noreturn]] void end_process(int status);

/// Fills a buffer of at least kTimestampSize bytes with the local time in milliseconds and a
/// trailing blank, and returns it.
char* timestamp_text(char* buffer);

}  // namespace kovo
