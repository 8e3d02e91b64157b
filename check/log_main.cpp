// Parses the main log. Its records have no time stamps, and received texts may hold newlines and
// lines that look like records. So a record ends where its logged length says if a record follows
// there, otherwise before the next line that begins like a record. A received text with a wrong
// length that imitates a record is split; nothing in the log would show that.
#include <algorithm>
#include <optional>

#include "check/log_records.h"
#include "check/log_words.h"
#include "core/text.h"

namespace kovo::check {
namespace {

/// Returns the end of the record that begins here: a newline with a record or nothing after it.
std::size_t record_end(std::string_view text) {
  std::size_t end = text.find('\n');
  while (end != std::string_view::npos && end + 1 < text.size() &&
         !is_main_head(text.substr(end + 1))) {
    end = text.find('\n', end + 1);
  }
  return std::min(end, text.size());
}

/// Returns the end of a text that is logged without its length: a newline, or the next record.
std::size_t unmeasured_end(std::string_view text) {
  const std::size_t newline = std::min(text.find('\n'), text.size());
  for (std::size_t at = text.find('['); at < newline; at = text.find('[', at + 1)) {
    if (is_main_head(text.substr(at))) return at;
  }
  return newline;
}

/// Removes "(12)text" or "[12]text" and returns the text: it has that length if a record, or a
/// newline and a record, follows there.
std::string_view skip_measured(std::string_view& text) {
  const std::string_view digits = digits_at(text.substr(std::min<std::size_t>(1, text.size())));
  auto size = static_cast<std::size_t>(to_int32(digits.substr(0, 5)));
  text.remove_prefix(std::min(text.size(), digits.size() + 2));
  const std::string_view after = text.substr(std::min(size, text.size()));
  const bool exact = size <= text.size() &&
                     (after.empty() || is_main_head(after) ||
                      (after.front() == '\n' && is_main_head(after.substr(1))) || after == "\n");
  if (!exact) size = record_end(text);
  const std::string_view result = text.substr(0, size);
  text.remove_prefix(size);
  return result;
}

/// Removes the rest of a record and returns it.
std::string_view skip_record(std::string_view& text) {
  const std::size_t end = record_end(text);
  const std::string_view record = text.substr(0, end);
  text.remove_prefix(end);
  return record;
}

/// Returns "(111)Connection refused" without its number.
std::string_view without_number(std::string_view text) {
  const std::size_t close = text.find(')');
  return close == std::string_view::npos ? text : text.substr(close + 1);
}

MainRecord failed_send(MainLine kind, std::string_view address, std::int64_t port,
                       std::string_view error, std::string_view payload) {
  drop(payload, ";");
  return {kind, std::string(address), std::string(payload), port,
          std::string(without_number(error))};
}

/// Parses "10.0.0.6, port=23, error=(111)Connection refused, data=payload;".
MainRecord parse_connect_error(std::string_view record, std::string_view routine) {
  const std::size_t port = record.find(", port=");
  const std::size_t error = record.find(", error=(", std::min(port, record.size()));
  const std::size_t data = record.find(", data=", std::min(error, record.size()));
  if (data == std::string_view::npos) return {};
  return failed_send(routine == "tcpclient" ? MainLine::kConnectError : MainLine::kNoReplyError,
                     record.substr(0, port), to_int32(digits_at(record.substr(port + 7))),
                     record.substr(error + 8, data - error - 8), record.substr(data + 7));
}

/// Parses "-1) 10.0.0.6:23 :(32)Broken pipe", a newline and "(7)payload;".
MainRecord parse_send_error(std::string_view record) {
  const std::size_t address = record.find(") ");
  const std::size_t error = record.find(" :(", std::min(address, record.size()));
  const std::size_t newline = record.find("\n(", std::min(error, record.size()));
  if (newline == std::string_view::npos) return {};
  const std::string_view target = record.substr(address + 2, error - address - 2);
  const std::size_t colon = target.rfind(':');
  if (colon == std::string_view::npos) return {};
  return failed_send(
      MainLine::kSendError, target.substr(0, colon), to_int32(target.substr(colon + 1)),
      record.substr(error + 2, newline - error - 2), without_number(record.substr(newline + 1)));
}

MainRecord main_record(MainLine kind, std::string_view name, std::string_view error = {}) {
  return {kind, std::string(name), {}, 0, std::string(error)};
}

/// Parses "late, run event=Late, now=...".
MainRecord parse_expired(std::string_view record) {
  const std::size_t name = record.find(", run event=");
  const std::size_t now = record.rfind(", now=");
  if (name == std::string_view::npos || now == std::string_view::npos || now < name) return {};
  MainRecord result = main_record(MainLine::kExpired, record.substr(0, name));
  result.value = record.substr(name + 12, now - name - 12);
  return result;
}

MainRecord parse_error(std::string_view routine, std::string_view record) {
  if (skip(record, "connect ip=")) return parse_connect_error(record, routine);
  if (skip(record, "start sender for ")) {
    const std::size_t colon = record.rfind(": ");
    if (colon == std::string_view::npos) return {};
    return main_record(MainLine::kSenderError, record.substr(0, colon), record.substr(colon + 2));
  }
  if (skip(record, "Too many event: key=")) return main_record(MainLine::kDropped, record);
  if (routine == "push_bounded") return main_record(MainLine::kDropped, "", record);
  return {};
}

/// Parses a record with a text from outside the daemon, which may itself look like a record;
/// returns nothing for other records.
std::optional<MainRecord> parse_received(std::string_view routine, std::string_view& text) {
  if (routine == "handle_tcp_event" && skip(text, "recv(tcp:2700) ")) {
    return main_record(MainLine::kCommand, skip_measured(text));
  }
  if (routine == "handle_udp_vep_api" && skip(text, "recv(udp:2728) ")) {
    return main_record(MainLine::kStatusLine, skip_measured(text));
  }
  if (skip(text, "recv(udp:2727) lm data") || skip(text, "recv(tcp:2727) ") ||
      skip(text, "Recv(udp:2728) ")) {
    return main_record(MainLine::kOther, skip_measured(text));
  }
  const bool is_test = routine == "handle_tcp_command" && skip(text, "push TEST event ");
  if (!is_test && !skip(text, "push event ")) return {};
  const std::string_view name = text.substr(0, unmeasured_end(text));
  text.remove_prefix(name.size());
  return main_record(is_test ? MainLine::kTestPush : MainLine::kOther, name);
}

MainRecord parse_event_record(std::string_view routine, std::string_view record) {
  if (skip(record, "KOVO disable, skip ")) return main_record(MainLine::kDisabled, record);
  if (skip(record, "get lm event ")) return main_record(MainLine::kVariable, record);
  if (skip(record, "renew ")) return main_record(MainLine::kRenewed, record);
  if (skip(record, "no value, skip set ")) return main_record(MainLine::kSettingRefused, record);
  if (skip(record, "Error cmd=")) return main_record(MainLine::kRefused, record);
  if (skip(record, "during Power On, skip ")) return main_record(MainLine::kPeriodSkip, "");
  if (skip(record, "Error cannot send sys event=")) return parse_expired(record);
  if (skip(record, "Error: ")) return parse_error(routine, record);
  std::int64_t seconds = 0;
  if (routine == "handle_vep_api" && skip(record, "skip event ") &&
      drop_number(record, ", now-last=", " sec", seconds)) {
    return main_record(MainLine::kStatusSkip, record);
  }
  return {};
}

MainRecord parse_main_record(std::string_view& text) {
  if (skip(text, "[kovotcp] Error: send(len=")) {
    const std::string_view start = text;
    text.remove_prefix(std::min(text.find('\n'), text.size()));
    if (text.substr(0, 2) == "\n(") {
      text.remove_prefix(1);
      skip_measured(text);
    }
    skip_record(text);
    return parse_send_error(start.substr(0, start.size() - text.size()));
  }
  const std::string_view routine = skip_origin(text);
  if (routine.empty()) {
    const bool is_banner = skip(text, "kovotcp V");
    skip_record(text);
    return main_record(is_banner ? MainLine::kBanner : MainLine::kOther, "");
  }
  if (const std::optional<MainRecord> received = parse_received(routine, text)) return *received;
  return parse_event_record(routine, skip_record(text));
}

}  // namespace

void read_main_log(std::string_view text, MainLog& log) {
  while (!text.empty()) {
    if (text.front() == '\n') {
      text.remove_prefix(1);
      continue;
    }
    if (!is_main_head(text)) {
      const std::size_t end = std::min(text.find('\n'), text.size());
      ++log.skipped;
      text.remove_prefix(end);
      continue;
    }
    ++log.read;
    MainRecord record = parse_main_record(text);
    if (record.kind != MainLine::kOther) log.records.push_back(std::move(record));
  }
}

}  // namespace kovo::check
