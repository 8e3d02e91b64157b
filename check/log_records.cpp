#include "check/log_records.h"

#include <algorithm>
#include <ctime>
#include <utility>

#include "check/log_words.h"
#include "core/text.h"

namespace kovo::check {
namespace {

constexpr std::string_view kStampForm = "0000-00-00 00:00:00.000  ";
constexpr std::size_t kDateSize = 10;
constexpr std::size_t kMaxRecord = std::size_t{64} * 1024;  // payloads have 16 KiB at most
constexpr std::int64_t kDayMs = 86'400'000;

/// Returns the days since 1970 of a date. Unlike timegm it never fails, whatever digits a log has.
std::int64_t days_of(std::int64_t year, std::int64_t month, std::int64_t day) {
  year -= month <= 2 ? 1 : 0;
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const std::int64_t of_era = year - era * 400;
  const std::int64_t of_year = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  return era * 146097 + of_era * 365 + of_era / 4 - of_era / 100 + of_year - 719468;
}

std::int64_t since_midnight(LogTime time) {
  return ((time % kDayMs) + kDayMs) % kDayMs;
}

/// Returns whether a text begins with a pattern; a 0 in it is any digit.
bool has_form(std::string_view text, std::string_view pattern) {
  if (text.size() < pattern.size()) return false;
  for (std::size_t at = 0; at < pattern.size(); ++at) {
    const bool is_digit = text[at] >= '0' && text[at] <= '9';
    if (pattern[at] == '0' ? !is_digit : text[at] != pattern[at]) return false;
  }
  return true;
}

std::int64_t number_at(std::string_view text, std::size_t at, std::size_t digits) {
  std::int64_t number = 0;
  for (const char c : text.substr(at, digits)) number = number * 10 + (c - '0');
  return number;
}

std::int64_t day_ms(std::string_view date) {
  return days_of(number_at(date, 0, 4), number_at(date, 5, 2), number_at(date, 8, 2)) * kDayMs;
}

std::int64_t minutes_ms(std::string_view clock) {
  return (number_at(clock, 0, 2) * 60 + number_at(clock, 3, 2)) * 60'000;
}

bool parse_stamp(std::string_view line, LogTime& time) {
  if (!has_form(line, kStampForm)) return false;
  const std::string_view clock = line.substr(11);
  time = day_ms(line) + minutes_ms(clock) + number_at(clock, 6, 2) * 1000 + number_at(clock, 9, 3);
  return true;
}

void close_record(EventLogReader& reader, std::deque<EventRecord>& records) {
  if (!std::exchange(reader.is_open, false)) return;
  if (reader.is_damaged) {
    ++reader.skipped;
  } else {
    records.push_back(std::move(reader.open));
  }
}

void on_line(EventLogReader& reader, std::string_view line, std::deque<EventRecord>& records) {
  LogTime time = 0;
  if (parse_stamp(line, time)) {
    close_record(reader, records);
    reader.open = {time, std::string(line.substr(kStampForm.size()))};
    reader.is_open = true;
    reader.is_damaged = false;
  } else if (!reader.is_open) {
    ++reader.skipped;
  } else if (reader.open.text.size() + line.size() < kMaxRecord) {
    reader.open.text.append("\n").append(line);
  } else {
    reader.is_damaged = true;
  }
  if (contains(line, std::string_view("\0", 1))) reader.is_damaged = true;
}

/// Returns whether a text has the form "address:port protocol payload".
bool is_step(std::string_view text) {
  const std::size_t colon = text.find_first_of(": ");
  if (colon == std::string_view::npos || text[colon] != ':') return false;
  const std::size_t port_end = text.find(' ', colon);
  return port_end != std::string_view::npos && text.find(' ', port_end + 1) < text.size();
}

EventLineParts named(EventLine kind, std::string_view name, std::int64_t number = 0) {
  return {kind, name, number, {}};
}

EventLineParts parse_origin_line(std::string_view routine, std::string_view text) {
  std::int64_t number = 0;
  if (routine == "handle_lm_event" && skip(text, "skip event ") &&
      drop_number(text, ", now-last=", " sec", number)) {
    return named(EventLine::kVariableSkip, text, number);
  }
  if (routine != "kovo_config_set") return {};
  if (skip(text, "skip same ")) return named(EventLine::kSettingSame, split_key_value(text).key);
  const std::size_t blank = text.find(' ');
  if (blank == std::string_view::npos || !contains(text, " => ")) return {};
  return named(EventLine::kSettingChanged, text.substr(0, blank));
}

EventLineParts parse_step_line(std::string_view text) {
  EventLineParts parts;
  if (skip(text, "skip uptime=")) {
    const std::string_view digits = digits_at(text);
    parts.number = to_int32(digits);
    text.remove_prefix(digits.size());
    if (!skip(text, ",")) return {};
    parts.kind = EventLine::kPeriodSkip;
  } else if (drop_number(text, ", disabled uptime=", "", parts.number)) {
    parts.kind = EventLine::kDisabledStep;
  } else {
    parts.kind = EventLine::kStep;
  }
  if (!is_step(text)) return {};
  parts.step = text;
  return parts;
}

EventLineParts parse_receipt(std::string_view text) {
  if (skip(text, "get tcp:2700 event: key=")) {
    const std::size_t value = text.find(",value=");  // a key holds no "="
    if (value == std::string_view::npos) return {};
    return named(EventLine::kCommand, text.substr(0, value));
  }
  if (skip(text, "get udp:2728 event ")) return named(EventLine::kStatusLine, text);
  if (skip(text, "get lm event ")) return named(EventLine::kVariable, text);
  return {};
}

}  // namespace

std::string clock_text(LogTime time) {
  const std::int64_t of_day = since_midnight(time);
  std::tm clock{};
  clock.tm_hour = static_cast<int>(of_day / 3'600'000);
  clock.tm_min = static_cast<int>(of_day / 60'000 % 60);
  clock.tm_sec = static_cast<int>(of_day / 1000 % 60);
  return time_text(clock) + "." + std::to_string(1000 + of_day % 1000).substr(1);
}

std::string day_text(LogTime time) {
  const auto seconds = static_cast<std::time_t>((time - since_midnight(time)) / 1000);
  std::tm date{};
  gmtime_r(&seconds, &date);
  return date_text(date).substr(0, kDateSize);
}

bool parse_moment(std::string_view text, LogTime last, LogTime& moment) {
  moment = last - since_midnight(last);
  if (has_form(text, kStampForm.substr(0, kDateSize))) {
    moment = day_ms(text);
    text.remove_prefix(kDateSize);
    if (text.empty()) return true;
    if (text.front() != ' ' && text.front() != 'T') return false;
    text.remove_prefix(1);
  }
  if (!has_form(text, "00:00")) return false;
  moment += minutes_ms(text);
  text.remove_prefix(5);
  if (has_form(text, ":00")) {
    moment += number_at(text, 1, 2) * 1000;
    text.remove_prefix(3);
  }
  return text.empty();
}

std::string logged_line(const EventRecord& record) {
  return day_text(record.time) + " " + clock_text(record.time) + "  " + record.text;
}

void read_event_log(EventLogReader& reader, std::string_view piece,
                    std::deque<EventRecord>& records) {
  for (std::size_t end = piece.find('\n'); end != std::string_view::npos; end = piece.find('\n')) {
    if (reader.rest.empty()) {
      on_line(reader, piece.substr(0, end), records);
    } else {
      reader.rest += piece.substr(0, end);
      on_line(reader, reader.rest, records);
      reader.rest.clear();
    }
    piece.remove_prefix(end + 1);
  }
  reader.rest += piece.substr(0, kMaxRecord - std::min(kMaxRecord, reader.rest.size()));
}

void end_event_log(EventLogReader& reader, std::deque<EventRecord>& records) {
  if (!reader.rest.empty()) {
    LogTime time = 0;
    // Without a stamp, a truncated line belongs to the last record, which is then incomplete.
    if (!parse_stamp(reader.rest, time) || time < reader.open.time) reader.is_open = false;
    ++reader.skipped;
    reader.rest.clear();
  }
  close_record(reader, records);
}

EventLineParts parse_event_line(std::string_view text) {
  if (text.empty()) return {};
  if (text == "kovotcp start") return named(EventLine::kStart, {});
  if (text == "skip event: PowerOn") return named(EventLine::kPowerOnSkip, {});
  if (text == "auto push event: PowerOn") return named(EventLine::kAutoPush, {});
  if (text == "network is ok") return named(EventLine::kMilestone, {});
  if (text.find_first_of(" :") == std::string_view::npos) {
    return named(EventLine::kBareName, text);
  }
  std::string_view rest = text;
  std::int64_t number = 0;
  if (skip(rest, "push event: ")) {
    const bool test = drop_number(rest, ", test=", "", number);
    return named(EventLine::kPush, rest, test ? 1 : 0);
  }
  if (skip(rest, "created /")) return named(EventLine::kMarkerCreated, {});
  if (text.front() == '/' && drop(rest, " is exist")) return named(EventLine::kMilestone, {});
  if (skip(rest, "skip event ") && drop_number(rest, ", now-last=", " sec", number)) {
    return named(EventLine::kStatusSkip, rest, number);
  }
  rest = text;
  const std::string_view routine = skip_origin(rest);
  if (!routine.empty()) return parse_origin_line(routine, rest);
  const EventLineParts receipt = parse_receipt(text);
  return receipt.kind != EventLine::kUnknown ? receipt : parse_step_line(text);
}

LogKind kind_of_log(std::string_view beginning) {
  if (beginning.empty()) return LogKind::kEmpty;
  for (int lines = 0; lines < 100 && !beginning.empty(); ++lines) {
    LogTime time = 0;
    if (parse_stamp(beginning, time)) return LogKind::kEventLog;
    if (is_main_head(beginning)) return LogKind::kMainLog;
    beginning.remove_prefix(std::min(beginning.find('\n'), beginning.size() - 1) + 1);
  }
  return LogKind::kNone;
}

}  // namespace kovo::check
