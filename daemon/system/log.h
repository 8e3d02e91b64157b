// Logging. The main log holds progress and errors, each also printed on stdout, and is rotated
// after a number of records. The event log holds time-stamped lines about events, and grows.
// Diagnostics are only printed: with -d, and without it one line for each step that is skipped
// because events are disabled. No function adds a newline.
//
// Any thread may log, and logging never fails: a record is lost when its file cannot be opened or
// memory is out. Records are written under one lock, so that they never mix, the rotation is exact,
// and the time stamps are in order. It is held while taking the time-zone and the ring lock.
#pragma once

#include <atomic>
#include <cstdint>

namespace kovo {

constexpr char kMainLogPath[] = "/var/tmp/log/kovo.log";
constexpr char kRotatedLogPath[] = "/var/tmp/log/kovo.log.1";
constexpr char kEventLogPath[] = "/var/tmp/log/kovoevent.log";
constexpr std::int32_t kRecordsPerLog = 20000;

inline std::atomic<std::int32_t> debug{0};  // 1 with -d: diagnostics on stdout

/// Logs to the main log, with "[routine:line] " before the text: the routine named, the source
/// line.
#define LOG_MAIN(routine, ...) ::kovo::log_main_line(routine, __LINE__, __VA_ARGS__)

/// Prints on stdout in the same form, only with -d.
#define LOG_DEBUG(routine, ...)                                                 \
  do {                                                                          \
    if (::kovo::debug != 0) ::kovo::print_line(routine, __LINE__, __VA_ARGS__); \
  } while (false)

/// Prints a record on stdout and appends it to the main log. The 20000th record appended since the
/// last rotation renames the log to its rotated path.
[[gnu::format(printf, 1, 2)]] void log_main(const char* format, ...) noexcept;

/// Appends a record with its time stamp to the event log.
[[gnu::format(printf, 1, 2)]] void log_event(const char* format, ...) noexcept;

/// Does the same as log_event and prints the record, also when the file cannot be opened.
[[gnu::format(printf, 1, 2)]] void log_event_echo(const char* format, ...) noexcept;

/// Implement LOG_MAIN and LOG_DEBUG.
[[gnu::format(printf, 3, 4)]] void log_main_line(const char* routine, int line, const char* format,
                                                 ...) noexcept;
[[gnu::format(printf, 3, 4)]] void print_line(const char* routine, int line, const char* format,
                                              ...) noexcept;

/// Ends the process without destroying what the other threads use. Waits for the reader of stdout
/// for at most a second. Nothing is logged after it.
[[noreturn]] void end_process(int status);

}  // namespace kovo
