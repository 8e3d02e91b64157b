#include "core/message.h"

#include "core/templates.h"
#include "core/text.h"

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

std::string decode_value(std::string_view raw) {
  const std::string value = percent_decode(unescape_controls(std::string(raw)));
  return std::string(until_nul(truncated(value, kMaxMessage)));
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

}  // namespace kovo
