// Logging. The main log takes progress and error lines, each also printed on stdout, and is rotated
// by a count of records. The event log takes one time-stamped line for each thing that happens to
// an event and is never rotated. Diagnostics go only to stdout, and only with -d. Formats carry
// their own newline.
//
// Any thread may log, and logging never fails: a record is lost when its file cannot be opened or
// memory is out. Records are written under one lock, so they never mix, the rotation is exact, and
// the time stamps of the event log follow the clock. The lock of the time zone may be acquired
// while holding it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/globals.h"

namespace kovo {

constexpr char kMainLogPath[] = "/var/tmp/log/kovo.log";
constexpr char kRotatedLogPath[] = "/var/tmp/log/kovo.log.1";
constexpr std::int32_t kRecordsPerLog = 20000;
constexpr std::size_t kTimestampSize = 64;

/// Logs a line to the main log with "[routine:line] " before it: the routine that it is reported
/// for, and the line in the source.
#define LOG_MAIN(routine, ...) ::kovo::log_main_line(routine, __LINE__, __VA_ARGS__)

/// Prints a line on stdout with -d, likewise.
#define LOG_DEBUG(routine, ...)                                                 \
  do {                                                                          \
    if (::kovo::debug != 0) ::kovo::print_line(routine, __LINE__, __VA_ARGS__); \
  } while (false)

/// Prints a record on stdout and appends it to the main log. The 20000th record appended since the
/// last rotation renames the log to its rotated path.
[[gnu::format(printf, 1, 2)]] void log_main(const char* format, ...) noexcept;

/// Appends a record with its time stamp to the event log.
[[gnu::format(printf, 1, 2)]] void log_event(const char* format, ...) noexcept;

/// Does the same and prints the record on stdout, also when the file cannot be opened.
[[gnu::format(printf, 1, 2)]] void log_event_echo(const char* format, ...) noexcept;

/// What LOG_MAIN and LOG_DEBUG call.
[[gnu::format(printf, 3, 4)]] void log_main_line(const char* routine, int line, const char* format,
                                                 ...) noexcept;
[[gnu::format(printf, 3, 4)]] void print_line(const char* routine, int line, const char* format,
                                              ...) noexcept;

/// Ends the process, while other threads run, without destroying what they use. What was logged
/// reaches the reader of stdout if it reads within a second; nothing is logged after it.
[[noreturn]] void end_process(int status);

/// Fills a buffer of at least kTimestampSize bytes with the local time in milliseconds and a
/// trailing blank, and returns it.
char* timestamp_text(char* buffer);

}  // namespace kovo
