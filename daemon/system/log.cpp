#include "daemon/system/log.h"

#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <new>
#include <string>

#include "daemon/system/files.h"
#include "daemon/system/host.h"
#include "daemon/system/mutex.h"
#include "daemon/system/output.h"

namespace kovo {
namespace {

Mutex log_lock;
std::int32_t main_log_records GUARDED_BY(log_lock) = 0;

[[gnu::format(printf, 1, 0)]] std::string format_text(const char* format, std::va_list args) {
  std::va_list again;
  va_copy(again, args);
  std::string text(static_cast<std::size_t>(std::vsnprintf(nullptr, 0, format, again)), '\0');
  va_end(again);
  std::vsnprintf(text.data(), text.size() + 1, format, args);
  return text;
}

void write_main(const std::string& text) {
  const MutexLock held(log_lock);
  print_text(text);
  if (!append_file(kMainLogPath, text)) return;
  if (++main_log_records < kRecordsPerLog) return;
  static_cast<void>(std::rename(kMainLogPath, kRotatedLogPath));
  main_log_records = 0;
}

std::string timestamp_text() {
  const LocalTime now = local_time();
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d %02d:%02d:%02d.%03d ",
                now.fields.tm_year + 1900, now.fields.tm_mon + 1, now.fields.tm_mday,
                now.fields.tm_hour, now.fields.tm_min, now.fields.tm_sec, now.milliseconds);
  return buffer;
}

/// Writes two blanks after the time: the time stamp ends with one.
void write_event(const std::string& text, bool echo) {
  const MutexLock held(log_lock);
  const std::string record = timestamp_text() + " " + text;
  append_file(kEventLogPath, record);
  if (echo) print_text(record);
}

/// Formats a record, with "[routine:line] " before it unless `routine` is null, and writes it. When
/// memory is out, the record is lost.
[[gnu::format(printf, 4, 0)]] void write_record(void (*write)(const std::string&),
                                                const char* routine, int line, const char* format,
                                                std::va_list args) noexcept {
  try {
    std::string record;
    if (routine != nullptr) {
      record.append("[").append(routine).append(":").append(std::to_string(line)).append("] ");
    }
    write(record + format_text(format, args));
  } catch (const std::bad_alloc&) {
  }
}

// The arguments after `format` must be taken in the function that has them.
#define WRITE_RECORD(write, routine, line)          \
  std::va_list args;                                \
  va_start(args, format);                           \
  write_record(write, routine, line, format, args); \
  va_end(args)

}  // namespace

void log_main(const char* format, ...) noexcept {
  WRITE_RECORD(write_main, nullptr, 0);
}

void log_main_line(const char* routine, int line, const char* format, ...) noexcept {
  WRITE_RECORD(write_main, routine, line);
}

void log_event(const char* format, ...) noexcept {
  WRITE_RECORD([](const std::string& text) { write_event(text, false); }, nullptr, 0);
}

void log_event_echo(const char* format, ...) noexcept {
  WRITE_RECORD([](const std::string& text) { write_event(text, true); }, nullptr, 0);
}

void print_line(const char* routine, int line, const char* format, ...) noexcept {
  WRITE_RECORD([](const std::string& text) { print_text(text); }, routine, line);
}

void end_process(int status) {
  const MutexLock held(log_lock);
  flush_output();
  _exit(status);
}

}  // namespace kovo
