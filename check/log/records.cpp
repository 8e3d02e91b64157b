#include "check/log/records.h"

#include <algorithm>
#include <ctime>
#include <iterator>

#include "core/text.h"
#include "core/trigger_text.h"

namespace kovo::check {
namespace {

constexpr std::string_view kStampForm = "0000-00-00 00:00:00.000  ";
constexpr LogTime kClockStepMs = 1000;  // less is a correction by NTP, or records out of order
constexpr std::size_t kDateSize = 10;
constexpr std::size_t kMinutesSize = 16;
constexpr std::size_t kSecondsSize = 19;
constexpr int kKindLines = 100;  // of a file, which must hold a record

struct Form {
  RecordKind kind;
  std::string_view form;
};

// In a form, %n is the name, %v the value, %e an error, %s a step, %d the number, %# another number
// and %* any text. A field ends where the rest of the form fits. The first form that fits counts.
constexpr Form kEventForms[] = {
    {RecordKind::kStart, "kovotcp start"},
    {RecordKind::kPowerOnSkip, "skip event: PowerOn"},
    {RecordKind::kMilestone, "auto push event: PowerOn"},
    {RecordKind::kMilestone, "network is ok"},
    {RecordKind::kFirstStart, "created /%*"},
    {RecordKind::kMilestone, "/%* is exist"},
    {RecordKind::kTestPush, "push event: %n, test=%d"},
    {RecordKind::kPush, "push event: %n"},
    {RecordKind::kCommand, "get tcp:2700 event: key=%n,value=%v"},
    {RecordKind::kStatusLine, "get udp:2728 event %n"},
    {RecordKind::kVariable, "get lm event %n"},
    {RecordKind::kStatusSkip, "skip event %n, now-last=%d sec"},
    {RecordKind::kVariableSkip, "[handle_lm_event:%#] skip event %n, now-last=%d sec"},
    {RecordKind::kSettingSame, "[kovo_config_set:%#] skip same %n=%v"},
    {RecordKind::kSettingChanged, "[kovo_config_set:%#] %n %* => %v"},
    {RecordKind::kPeriodSkip, "skip uptime=%d,%s"},
    {RecordKind::kDisabledStep, "%s, disabled uptime=%d"},
    {RecordKind::kStep, "%s"},
    {RecordKind::kBareName, "%n"},
};

// The same for the main log, after "[routine:line] ", or after "[routine:" where the form says so.
constexpr Form kMainForms[] = {
    {RecordKind::kStart, "kovotcp V%*"},
    {RecordKind::kCommand, "recv(tcp:2700) [%#]%n"},
    {RecordKind::kStatusLine, "recv(udp:2728) (%#)%n"},
    {RecordKind::kMessage, "recv(udp:2727) lm data(%#)%n"},
    {RecordKind::kMessage, "recv(tcp:2727) (%#)%n"},
    {RecordKind::kDisabled, "KOVO disable, skip %n"},
    {RecordKind::kTestPush, "push TEST event %n"},
    {RecordKind::kVariable, "get lm event %n"},
    {RecordKind::kStatusSkip, "skip event %n, now-last=%d sec"},
    {RecordKind::kPeriodSkip, "during Power On, skip %n ...%#/%#"},
    {RecordKind::kExpired, "Error cannot send sys event=%n, run event=%v, now=%*"},
    {RecordKind::kRenewed, "renew %n"},
    {RecordKind::kConnectError,
     "[tcpclient:%#] Error: connect ip=%n, port=%d, error=(%#)%e, data=%v;"},
    {RecordKind::kSendError, "[kovotcp] Error: send(len=%#) %n:%d :(%#)%e\n(%#)%v;"},
    {RecordKind::kSenderError, "Error: start sender for %n: %e"},
    {RecordKind::kNoSender, "Error: no sender for %d steps, last of %n"},
    {RecordKind::kTooMany, "Error: Too many event: key=%n"},
    {RecordKind::kFull, "Error: %n is full%e"},
};

// Records without a newline of their own: the next record may begin on the same line.
constexpr std::string_view kWithoutNewline[] = {"recv(", "Recv(", "push TEST event ",
                                                "push event localPlay", "recvform call failed"};

constexpr char kRoutineCharacters[] =
    "0123456789_ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

constexpr std::string_view kMainHeads[] = {"kovotcp V", "[kovotcp] Error: send(len=", "Error: [",
                                           "Error: pthread_create "};

bool starts_with(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

std::size_t digits_at(std::string_view text) {
  const std::size_t sign = starts_with(text, "-") ? 1 : 0;
  std::size_t end = sign;
  while (end < text.size() && is_digit(text[end])) ++end;
  return end > sign ? end : 0;
}

/// Returns whether a text has the form "address:port protocol payload".
bool is_step_text(std::string_view text) {
  const std::size_t port = text.find(':');
  const std::size_t protocol = text.find(' ', std::min(port, text.size()));
  return protocol < text.size() && text.find(' ', protocol + 1) < text.size();
}

void store(char field, std::string_view text, LogRecord& record) {
  if (field == 'd') record.number = to_int32(text);
  if (field == 'n' || field == 's') record.name = text;
  if (field == 'v') record.value = text;
  if (field == 'e') record.error = text;
}

bool fits(std::string_view form, std::string_view text, LogRecord& record) {
  const std::size_t literal = std::min(form.find('%'), form.size());
  if (!starts_with(text, form.substr(0, literal))) return false;
  text.remove_prefix(literal);
  if (literal == form.size()) return text.empty();
  const char field = form[literal + 1];
  form.remove_prefix(literal + 2);
  if (field == 'd' || field == '#') {
    const std::size_t digits = digits_at(text);
    if (digits == 0 || !fits(form, text.substr(digits), record)) return false;
    store(field, text.substr(0, digits), record);
    return true;
  }
  const std::string_view next = form.substr(0, form.find('%'));
  std::size_t end = form.empty() ? text.size() : text.find(next);
  for (; end != std::string_view::npos; end = text.find(next, end + 1)) {
    const bool is_wrong = field == 's' && !is_step_text(text.substr(0, end));
    if (!is_wrong && fits(form, text.substr(end), record)) {
      store(field, text.substr(0, end), record);
      return true;
    }
    if (form.empty()) return false;
  }
  return false;
}

/// Returns a time as "2026-11-24 14:07:09.120".
std::string stamp_text(LogTime time) {
  const LogTime milliseconds = ((time % 1000) + 1000) % 1000;
  const auto seconds = static_cast<std::time_t>((time - milliseconds) / 1000);
  std::tm fields{};
  gmtime_r(&seconds, &fields);
  char text[64];
  const std::size_t size = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S.", &fields);
  return std::string(text, size) + std::to_string(1000 + milliseconds).substr(1);
}

/// Returns whether a text begins with a form; a 0 in it is any digit.
bool has_form(std::string_view text, std::string_view form) {
  return text.size() >= form.size() &&
         std::equal(form.begin(), form.end(), text.begin(), [](char wanted, char found) {
           return wanted == '0' ? is_digit(found) : wanted == found;
         });
}

LogTime stamp_of(std::string_view line) {
  std::tm time{};
  strptime(std::string(line.substr(0, kSecondsSize)).c_str(), "%Y-%m-%d %H:%M:%S", &time);
  return timegm(&time) * LogTime{1000} + to_int32(line.substr(kSecondsSize + 1, 3));
}

/// Returns where the next line after `at` begins with a time stamp; npos if none does.
std::size_t next_stamp(std::string_view text, std::size_t at) {
  while ((at = text.find('\n', at)) != std::string_view::npos) {
    ++at;
    if (has_form(text.substr(at, kStampForm.size()), kStampForm)) return at;
  }
  return at;
}

LogRecord event_record(std::string_view text) {
  LogRecord record;
  record.time = stamp_of(text);
  text.remove_prefix(kStampForm.size());
  if (text.find('\0') != std::string_view::npos) return record;  // a power cut left it
  for (const Form& form : kEventForms) {
    if (!fits(form.form, text, record)) continue;
    record.kind = form.kind;
    break;
  }
  if (record.kind == RecordKind::kBareName && record.name.find_first_of(" :") < text.size()) {
    record.kind = RecordKind::kUnknown;
  }
  return record;
}

/// Returns the size of "[routine:123] ", 0 without it.
std::size_t origin_size(std::string_view text) {
  if (!starts_with(text, "[")) return 0;
  const std::size_t at = text.find_first_not_of(kRoutineCharacters, 1);
  if (at < 2 || at >= text.size() || (text[at] != ':' && text[at] != ';')) return 0;
  const std::size_t digits = digits_at(text.substr(at + 1));
  return digits > 0 && text.substr(at + 1 + digits, 2) == "] " ? at + digits + 3 : 0;
}

/// Returns whether a record of the main log begins here.
bool is_main_head(std::string_view text) {
  return origin_size(text) > 0 ||
         std::any_of(std::begin(kMainHeads), std::end(kMainHeads),
                     [&](std::string_view head) { return starts_with(text, head); });
}

/// Returns where the record at the start of a text ends.
std::size_t main_record_end(std::string_view text) {
  const std::string_view rest = text.substr(origin_size(text));
  const bool without_newline =
      std::any_of(std::begin(kWithoutNewline), std::end(kWithoutNewline),
                  [&](std::string_view form) { return starts_with(rest, form); });
  std::size_t end = 1;
  for (; end < text.size(); ++end) {
    const bool may_begin = without_newline || text[end - 1] == '\n';
    if (may_begin && is_main_head(text.substr(end))) break;
  }
  return end;
}

LogRecord main_record(std::string_view text) {
  LogRecord record;
  const std::string_view rest = text.substr(origin_size(text));
  for (const Form& form : kMainForms) {
    const bool with_routine = form.kind == RecordKind::kConnectError;
    if (!fits(form.form, with_routine ? text : rest, record)) continue;
    record.kind = form.kind;
    break;
  }
  if (record.kind == RecordKind::kCommand) {
    const KeyValue pair = split_command_line(record.name);
    record.name = pair.key;
    record.value = pair.value;
  }
  return record;
}

}  // namespace

std::string clock_text(LogTime time) {
  return stamp_text(time).substr(11, 12);
}

std::string day_text(LogTime time) {
  return stamp_text(time).substr(0, kDateSize);
}

bool parse_moment(std::string_view text, LogTime last, LogTime& moment) {
  std::string stamp(text);
  if (!has_form(text, kStampForm.substr(0, kDateSize))) stamp = day_text(last) + " " + stamp;
  const std::size_t size = stamp.size();
  if (size != kDateSize && size != kMinutesSize && size != kSecondsSize) return false;
  if (size > kDateSize && stamp[kDateSize] == 'T') stamp[kDateSize] = ' ';
  stamp += std::string(" 00:00:00.000").substr(size - kDateSize);
  if (!has_form(stamp + "  ", kStampForm)) return false;
  moment = stamp_of(stamp);
  return stamp_text(moment) == stamp;  // not for 99:99
}

void read_event_log(std::string_view text, EventLog& log) {
  std::size_t at = has_form(text, kStampForm) ? 0 : next_stamp(text, 0);
  if (at != 0) log.skipped += split_lines(text.substr(0, at)).size();
  while (at != std::string_view::npos) {
    const std::size_t next = next_stamp(text, at);
    const bool is_whole = next != std::string_view::npos || text.back() == '\n';
    if (!is_whole) ++log.skipped;
    if (is_whole) {
      LogRecord record = event_record(strip_newline(text.substr(at, next - at)));
      record.elapsed = record.time;
      if (!log.records.empty()) {
        const LogRecord& last = log.records.back();
        record.elapsed = last.elapsed + std::max<LogTime>(0, record.time - last.time);
        record.clock_set_back = record.time < last.time - kClockStepMs;
      }
      log.records.push_back(record);
    }
    at = next;
  }
}

void read_main_log(std::string_view text, MainLog& log) {
  while (!text.empty() && !is_main_head(text)) {
    text.remove_prefix(std::min(until_newline(text).size() + 1, text.size()));
    ++log.skipped;
  }
  while (!text.empty()) {
    const std::size_t end = main_record_end(text);
    log.records.push_back(main_record(strip_newline(text.substr(0, end))));
    text.remove_prefix(end);
  }
}

LogKind kind_of_log(std::string_view text) {
  for (int lines = 0; lines < kKindLines && !text.empty(); ++lines) {
    if (has_form(text, kStampForm)) return LogKind::kEventLog;
    if (is_main_head(text)) return LogKind::kMainLog;
    text.remove_prefix(std::min(until_newline(text).size() + 1, text.size()));
  }
  return LogKind::kNone;
}

}  // namespace kovo::check
