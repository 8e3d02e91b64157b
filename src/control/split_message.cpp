#include "control/split_message.h"

#include <optional>

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

}  // namespace kovo
