#include "variables/change_values.h"

#include "definitions/templates.h"
#include "frame/text.h"

namespace kovo {
namespace {

/// The text before and after a separator of two colons. The head ends at the first colon; without a
/// second one directly after it there is no rest.
struct Parts {
  std::string_view head;
  std::optional<std::string_view> rest;
};

Parts split_at_separator(std::string_view text) {
  const std::size_t colon = text.find(':');
  Parts parts{text.substr(0, colon), {}};
  if (colon != std::string_view::npos && text.substr(colon, 2) == "::") {
    parts.rest = text.substr(colon + 2);
  }
  return parts;
}

}  // namespace

bool pause_lasts(std::int64_t since_last_s, std::int64_t pause_s) {
  return since_last_s >= 0 && since_last_s <= pause_s;
}

std::string decode_value(std::string_view raw) {
  std::string value(raw);
  if (raw.find('\\') != std::string_view::npos) value = unescape_text(value.c_str());
  if (raw.find('%') != std::string_view::npos) value = percent_decode(value.c_str());
  return std::string(until_nul(cut_text(value, kMaxMessage)));
}

Message split_message(std::string_view text) {
  Message message;
  if (text.find(':') == std::string_view::npos) return message;
  message.splitting = Splitting::kMalformed;
  const Parts command = split_at_separator(text);
  message.command = command.head;
  if (!command.rest) return message;
  const Parts first = split_at_separator(*command.rest);
  message.arg1 = first.head;
  if (!first.rest) return message;
  const Parts second = split_at_separator(*first.rest);
  message.arg2 = until_newline(second.head);
  message.arg3 = until_newline(second.rest.value_or(""));
  message.splitting = Splitting::kOk;
  return message;
}

TimingWord decode_timing(std::string_view value) {
  std::uint32_t word = 0;
  to_uint32(value, 16, word);
  return {(word & 0x80000000U) != 0, (word & 0x20000000U) != 0, (word & 0x800000U) != 0};
}

const char* yuv_of(const TimingWord& word) {
  if (!word.yuv_given) return "OFF";
  return word.yuv_auto ? "AUTO" : "ON";
}

std::optional<SerialFormat> split_serial(std::string_view text) {
  const std::size_t hyphen = text.find('-');
  if (hyphen == std::string_view::npos) return {};
  const std::string_view rest = text.substr(hyphen + 1);
  const auto letter = [&](std::size_t at) {
    return at < rest.size() ? std::string(1, rest[at]) : std::string();
  };
  return SerialFormat{std::string(text.substr(0, hyphen)), letter(0), letter(1), letter(2)};
}

const char* p8021_status_of(std::string_view wpa_eap_mode) {
  return equals_nocase(wpa_eap_mode, "off") ? "off" : "on";
}

}  // namespace kovo
