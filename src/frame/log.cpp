#include "frame/log.h"

#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <string>

#include "frame/files.h"
#include "frame/globals.h"
#include "frame/host.h"
#include "frame/mutex.h"
#include "frame/output.h"

namespace kovo {
namespace {

Mutex log_lock;
std::int32_t main_log_records GUARDED_BY(log_lock) = 0;

[[gnu::format(printf, 1, 0)]] std::string format_record(const char* format, std::va_list args) {
  std::va_list again;
  va_copy(again, args);
  char buffer[512] = {};
  const int length = std::vsnprintf(buffer, sizeof buffer, format, args);
  std::string record(buffer);
  if (length >= static_cast<int>(sizeof buffer)) {
    record.resize(static_cast<std::size_t>(length));
    std::vsnprintf(record.data(), record.size() + 1, format, again);
  }
  va_end(again);
  return record;
}

/// The time stamp ends in a blank and another one follows it: event lines have two.
[[gnu::format(printf, 1, 0)]] void write_event(const char* format, std::va_list args, bool echo) {
  const std::string message = format_record(format, args);
  const MutexLock held(log_lock);
  char stamp[kTimestampSize];
  const std::string record = std::string(timestamp_text(stamp)) + " " + message;
  append_file(event_log_path, record);
  if (echo) print_text(record);
}

}  // namespace

void log_main(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  const std::string record = format_record(format, args);
  va_end(args);

  const MutexLock held(log_lock);
  print_text(record);
  if (!append_file(kMainLogPath, record)) return;
  if (++main_log_records < kRecordsPerLog) return;
  static_cast<void>(std::rename(kMainLogPath, kRotatedLogPath));
  main_log_records = 0;
}

void print_stdout(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  const std::string record = format_record(format, args);
  va_end(args);

  print_text(record);
}

void log_event(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  write_event(format, args, false);
  va_end(args);
}

void log_event_echo(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  write_event(format, args, true);
  va_end(args);
}

void end_process(int status) {
  const MutexLock held(log_lock);
  flush_output();
  _exit(status);
}

char* timestamp_text(char* buffer) {
  const LocalTime now = local_time();
  std::snprintf(buffer, kTimestampSize, "%04d-%02d-%02d %02d:%02d:%02d.%03d ",
                now.fields.tm_year + 1900, now.fields.tm_mon + 1, now.fields.tm_mday,
                now.fields.tm_hour, now.fields.tm_min, now.fields.tm_sec, now.milliseconds);
  return buffer;
}

}  // namespace kovo
