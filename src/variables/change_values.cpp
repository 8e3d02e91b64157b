#include "variables/change_values.h"

#include "definitions/templates.h"
#include "frame/text.h"

namespace kovo {
namespace {

/// Moves the text up to the first colon into `part` and removes the separator of two colons after
/// it. False when there is no separator.
bool pop_part(std::string_view& text, std::string& part) {
  part = text.substr(0, text.find(':'));
  text.remove_prefix(part.size());
  if (text.substr(0, 2) != "::") return false;
  text.remove_prefix(2);
  return true;
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
  if (!contains(text, ":")) return message;
  message.splitting = Splitting::kMalformed;
  if (!pop_part(text, message.command) || !pop_part(text, message.arg1)) return message;
  if (pop_part(text, message.arg2)) message.arg3 = until_newline(text);
  message.arg2.resize(until_newline(message.arg2).size());
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
