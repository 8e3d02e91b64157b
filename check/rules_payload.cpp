// Rules about payloads: their hexadecimal text, their placeholders and what of them leaves.
#include <algorithm>

#include "check/check_context.h"
#include "check/payload.h"
#include "definitions/event_compiler.h"
#include "frame/text.h"

namespace kovo::check {
namespace {

std::string leaving(std::string_view payload) {
  constexpr std::size_t kMostShown = 16;
  const std::string_view sent = sent_part(payload);
  if (sent.empty()) return "nothing would leave";
  return "the bytes " + as_hex(sent.substr(0, kMostShown), " ") +
         (sent.size() > kMostShown ? " ... would leave" : " would leave");
}

bool is_hex_digit(char c) {
  return hex_digit(c) >= 0;
}

bool is_hex(std::string_view text) {
  return text.size() % 2 == 0 && std::all_of(text.begin(), text.end(), is_hex_digit);
}

bool is_printable(char c) {
  return c >= ' ' && c <= '~';
}

/// Returns the digits of pairs with something around them ("50 4F", "0x50,0x4F", quotes), or "".
std::string without_separators(std::string_view text) {
  std::string digits;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (std::string_view(" \t,:;-\"'").find(text[at]) != std::string_view::npos) continue;
    if (text[at] == '0' && (text.substr(at + 1, 1) == "x" || text.substr(at + 1, 1) == "X")) {
      ++at;
      continue;
    }
    if (!is_hex_digit(text[at])) return {};
    digits += text[at];
  }
  return digits.size() % 2 == 0 ? digits : std::string();
}

/// Reports a value that is not hexadecimal.
void check_digits(CheckContext& context, const StepValue& step) {
  const std::string_view value = step.entry.value;
  if (is_hex(value)) return;
  const std::string key = key_text(step.entry);
  const std::string leaves = "as it is, " + leaving(s_hex_to_ascii(value));
  const auto wrong = std::find_if_not(value.begin(), value.end(), is_hex_digit);
  if (wrong == value.end()) {
    add_finding(context, step.range,
                key + " has an odd number of digits (" + std::to_string(value.size()) + ")",
                "write two digits for each byte; " + leaves);
    return;
  }
  std::string digits = without_separators(value);
  if (digits.empty() && std::all_of(value.begin(), value.end(), is_printable)) {
    digits = as_hex(value);
  }
  const std::string text = key + " is not hexadecimal: " + quoted({&*wrong, 1}) + " is no digit";
  if (digits.empty()) {
    const auto at = static_cast<std::size_t>(wrong - value.begin());
    add_finding(context, part_of(step.range, at, 1), text,
                "write two hexadecimal digits for each byte; " + leaves);
  } else {
    add_finding(context, step.range, text, "write " + key + "=" + digits + "; " + leaves, digits);
  }
}

/// Calls a function with each payload, decoded.
template <typename Function>
void for_each_payload(const CheckContext& context, Function function) {
  for_each_value(context, kDataField, [&](const StepValue& step) {
    if (is_hex(step.entry.value)) function(step, s_hex_to_ascii(step.entry.value));
  });
}

/// Returns the range of payload bytes, two digits each.
SourceRange bytes_range(const StepValue& step, std::size_t at, std::size_t length) {
  return part_of(step.range, 2 * at, 2 * length);
}

void check_name(CheckContext& context, const StepValue& step, const Placeholder& placeholder) {
  const std::string name(placeholder.name);
  const std::string text = quoted("{{" + name + "}}");
  const SourceRange range = bytes_range(step, placeholder.at + 2, name.size());
  const std::string_view inner = trimmed(name);
  if (inner.empty()) {
    add_finding(context, bytes_range(step, placeholder.at, name.size() + 4),
                text + " names nothing and disappears", "write a name of the device's status");
    return;
  }
  if (inner.size() < name.size()) {
    add_finding(context, range, text + " disappears: the blanks count as its name",
                "write {{" + shown(inner) + "}}", as_hex(inner));
    return;
  }
  if (is_clock_word(name) || context.in_status.count(name) > 0) return;
  const bool status_known = context.options.status != nullptr;
  const std::string near = nearest_name(context.placeholders, name);
  if (near == name || (near.empty() && !status_known)) return;
  const std::string hint = near.empty() ? "write a name of the device's status"
                                        : "did you mean {{" + shown(near) + "}}?";
  const auto fix = near.empty() ? std::nullopt : std::optional(as_hex(near));
  if (status_known) {
    add_finding(context, range, text + " disappears: the status has no such name", hint, fix);
  } else {
    add_finding(context, context.rule->other, range,
                text + " disappears unless the device's status has that very name", hint, fix);
  }
}

}  // namespace

void check_data(CheckContext& context) {
  for_each_value(context, kDataField, [&](const StepValue& step) { check_digits(context, step); });
  for_each_step(context, [&](const NamedStep& step) {
    const std::optional<Sender> sender = choose_sender(step.entries.compiled->protocol);
    const std::uint32_t data = step.entries.data;
    if (sender && !sender->status && data == kNoEntry) {
      add_finding(context, context.rule->other, step.range,
                  step.text + " has no Data and sends an empty payload",
                  "add " + step.name + "Data" + step.number + "= and the payload in hexadecimal");
    }
    if (sender && sender->status && data != kNoEntry) {
      add_finding(
          context, context.rule->other, key_range(context, data),
          key_text(entry_at(context, data)) + " is not sent: the step sends the device's status",
          "remove it, or write a Protocol without Status");
    }
  });
}

void check_payload(CheckContext& context) {
  for_each_payload(context, [&](const StepValue& step, const std::string& payload) {
    const std::string expanded = expand_templates(context.known, payload);
    const std::size_t nul = expanded.find('\0');
    if (nul != std::string::npos) {
      const std::size_t at = payload.find('\0');
      add_finding(context, at == std::string::npos ? step.range : bytes_range(step, at, 1),
                  "the payload of " + step.step + " ends at its zero byte: " +
                      counted(nul, "byte") + (nul == 1 ? " leaves" : " leave"),
                  "a payload cannot hold a zero byte: write it without");
    } else if (expanded.size() > kMaxCommand) {
      add_finding(context, step.range,
                  "the payload of " + step.step + " has " + std::to_string(expanded.size()) +
                      " bytes and is cut at 1023",
                  "send the rest in another step");
    }
  });
}

void check_placeholder(CheckContext& context) {
  for_each_payload(context, [&](const StepValue& step, const std::string& payload) {
    const std::vector<Placeholder> found = placeholders(payload);
    for (const Placeholder& placeholder : found) check_name(context, step, placeholder);
    const std::size_t open = payload.find("{{", literal_end(found));
    if (open == std::string::npos) return;
    add_finding(context, bytes_range(step, open, payload.size() - open),
                quoted(payload.substr(open)) + " is sent as it is: its \"}}\" is missing",
                "write }} (hexadecimal 7D7D) behind the name");
  });
}

}  // namespace kovo::check
