// Rules about payloads: their hexadecimal text, their placeholders and what of them leaves.
#include <algorithm>

#include "check/payload.h"
#include "check/rules.h"
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
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}

bool is_printable(char c) {
  return c >= ' ' && c <= '~';
}

/// Pairs of digits with something around them: "50 4F", "0x50,0x4F", quotes.
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

/// False when the value is no hexadecimal text, which has been told then.
bool check_digits(Checking& checking, const StepValue& step) {
  const std::string_view value = step.entry.value;
  const auto wrong = std::find_if_not(value.begin(), value.end(), is_hex_digit);
  const std::string leaves = "as it is, " + leaving(s_hex_to_ascii(value));
  if (wrong == value.end()) {
    if (value.size() % 2 == 0) return true;
    tell(checking, Rule::kData, step.place,
         key_text(step.entry) + " has an odd number of digits (" + std::to_string(value.size()) +
             ")",
         "write two digits for each byte; " + leaves);
    return false;
  }
  const auto at = static_cast<std::size_t>(wrong - value.begin());
  std::string digits = without_separators(value);
  if (digits.empty() && std::all_of(value.begin(), value.end(), is_printable)) {
    digits = as_hex(value);
  }
  Finding& finding = tell(
      checking, Rule::kData, part_of(step.place, at, 1),
      key_text(step.entry) + " is not hexadecimal: " + quoted({&value[at], 1}) + " is no digit",
      "write two hexadecimal digits for each byte; " + leaves);
  if (digits.empty()) return false;
  finding.hint = "write " + key_text(step.entry) + "=" + digits + "; " + leaves;
  finding.mend = digits;
  finding.place = step.place;
  return false;
}

/// The place of payload bytes, two digits each.
Place bytes_place(const StepValue& step, std::size_t at, std::size_t length) {
  return part_of(step.place, 2 * at, 2 * length);
}

void check_payload(Checking& checking, const StepValue& step, const std::string& payload) {
  const std::string expanded = expand_templates(checking.known, payload);
  const std::size_t zero = expanded.find('\0');
  if (zero != std::string::npos) {
    const std::size_t at = payload.find('\0');
    tell(checking, Rule::kPayload, at == std::string::npos ? step.place : bytes_place(step, at, 1),
         "the payload of " + step.step + " ends at its zero byte: " + counted(zero, "byte") +
             (zero == 1 ? " leaves" : " leave"),
         "a payload cannot hold a zero byte: write it without");
  } else if (expanded.size() > kMaxCommand) {
    tell(checking, Rule::kPayload, step.place,
         "the payload of " + step.step + " has " + std::to_string(expanded.size()) +
             " bytes and is cut at 1023",
         "send the rest in another step");
  }
}

void check_placeholder(Checking& checking, const StepValue& step, const Placeholder& placeholder) {
  const std::string name(placeholder.name);
  const std::string text = quoted("{{" + name + "}}");
  const Place place = bytes_place(step, placeholder.at + 2, name.size());
  const bool status_known = checking.options.status != nullptr;
  const std::string_view inner = trimmed(name);
  if (inner.empty()) {
    tell(checking, Rule::kPlaceholder, bytes_place(step, placeholder.at, name.size() + 4),
         text + " names nothing and disappears", "write a name of the device's status");
    return;
  }
  if (inner.size() < name.size()) {
    tell(checking, Rule::kPlaceholder, place, text + " disappears: the blanks count as its name",
         "write {{" + shown(inner) + "}}")
        .mend = as_hex(inner);
    return;
  }
  if (is_clock_word(name) || checking.in_status.count(name) > 0) return;
  const std::string near = nearest_name(checking.placeholders, name);
  if (near == name || (near.empty() && !status_known)) return;
  Finding& finding =
      tell(checking, Rule::kPlaceholder, place, text + " disappears: the status has no such name",
           near.empty() ? "write a name of the device's status"
                        : "did you mean {{" + shown(near) + "}}?");
  if (!near.empty()) finding.mend = as_hex(near);
  if (status_known) return;
  finding.severity = Severity::kNote;
  finding.text = text + " disappears unless the device's status has that very name";
}

void check_placeholders(Checking& checking, const StepValue& step, const std::string& payload) {
  const std::vector<Placeholder> found = placeholders(payload);
  for (const Placeholder& placeholder : found) check_placeholder(checking, step, placeholder);
  const std::size_t open = payload.find("{{", literal_end(found));
  if (open == std::string::npos) return;
  tell(checking, Rule::kPlaceholder, bytes_place(step, open, payload.size() - open),
       quoted(payload.substr(open)) + " is sent as it is: its \"}}\" is missing",
       "write }} (hexadecimal 7D7D) behind the name");
}

}  // namespace

void check_data(Checking& checking, const StepValue& step) {
  if (!check_digits(checking, step)) return;
  const std::string payload = s_hex_to_ascii(step.entry.value);
  check_placeholders(checking, step, payload);
  check_payload(checking, step, payload);
}

}  // namespace kovo::check
