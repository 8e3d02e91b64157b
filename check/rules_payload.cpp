// Rules about payloads: their hexadecimal text, their placeholders and what of them is sent.
#include <algorithm>

#include "check/check_context.h"
#include "check/payload.h"
#include "check/typed_text.h"
#include "core/event_compiler.h"
#include "core/text.h"

namespace kovo::check {
namespace {

/// Returns what the daemon sends for a faulty Data value.
std::string sent_text(std::string_view value) {
  constexpr std::size_t kMostShown = 16;
  const std::string payload = s_hex_to_ascii(value);
  const std::string_view sent = sent_part(payload);
  if (sent.empty()) return "; as written, nothing is sent";
  return "; as written, " + as_hex(sent.substr(0, kMostShown), " ") +
         (sent.size() > kMostShown ? " ..." : "") + (sent.size() == 1 ? " is sent" : " are sent");
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

/// Returns the digit that looks like a letter, or "two hexadecimal digits for each byte".
std::string digit_meant(char wrong) {
  if (wrong == 'O' || wrong == 'o') return "the digit 0";
  if (wrong == 'I' || wrong == 'l') return "the digit 1";
  return "two hexadecimal digits for each byte";
}

/// Returns the bytes that a value means that is not hexadecimal: pairs of digits in another form,
/// or text. Returns "" when that is not certain.
std::string bytes_meant(std::string_view value, const DigitCounts& counts) {
  if (counts.digits > 0 && counts.others == 0) return bytes_of_hex(value).value_or("");
  return std::all_of(value.begin(), value.end(), is_printable) ? bytes_of_text(value) : "";
}

/// Reports a value that is not hexadecimal.
void check_digits(CheckContext& context, const StepValue& step) {
  const std::string_view value = step.entry.value;
  if (is_hex(value) || trimmed(value).empty()) return;  // only blanks: reported by "blank"
  const std::string key = key_text(step.entry);
  const std::string now = sent_text(value);
  const DigitCounts counts = count_hex_digits(value);
  const std::string bytes = bytes_meant(value, counts);
  if (counts.digits > 0 && counts.others == 0 && bytes.empty()) {
    add_finding(context, step.range,
                key + " has an odd number of digits (" + std::to_string(counts.digits) + ")",
                "write two digits for each byte" + now);
    return;
  }
  const bool one_is_wrong = counts.others > 0 && counts.digits >= 3 * counts.others;
  const auto first = std::find_if_not(value.begin(), value.end(), is_hex_digit);
  const std::size_t at =
      one_is_wrong ? counts.first_other : static_cast<std::size_t>(first - value.begin());
  const SourceRange range = part_of(step.range, at, 1);
  std::string text = key + " is not hexadecimal: " + quoted(value.substr(at, 1));
  if (one_is_wrong || bytes.empty()) {
    text += " in column " + std::to_string(range.column) + " is not a digit";
    add_finding(context, range, text, "write " + digit_meant(value[at]) + now);
    return;
  }
  const std::string digits = as_hex(bytes);
  // With a NUL, or too long, a fix would only cause another finding.
  const bool can_be_sent = sent_part(bytes).size() == bytes.size();
  add_finding(context, step.range, text + " is not a digit", "write " + key + "=" + digits + now,
              can_be_sent ? std::optional(digits) : std::nullopt);
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

/// How many placeholders the file has of each name; those that were reported are removed.
using NameCounts = std::unordered_map<std::string, std::size_t>;

/// Returns whether a name may be missing in the status, and stores the one that was meant.
bool is_unknown(const CheckContext& context, const std::string& name, std::string& near) {
  if (is_clock_word(name) || context.in_status.count(name) > 0) return false;
  near = nearest_name(context.placeholders, name);
  return near != name && (!near.empty() || context.options.status != nullptr);
}

/// Reports an unknown name once.
void check_name(CheckContext& context, const SourceRange& range, const std::string& name,
                NameCounts& counts) {
  const auto found = counts.find(name);
  if (found == counts.end()) return;
  const std::string count = found->second > 1 ? " (" + counted(found->second, "place") + ")" : "";
  counts.erase(found);
  std::string near;
  if (!is_unknown(context, name, near)) return;
  const bool status_known = context.options.status != nullptr;
  const std::string text = quoted("{{" + name + "}}") + " is replaced by nothing" +
                           (status_known ? ": the status has no such name"
                                         : " unless the device's status has this name");
  add_finding(context, status_known ? context.rule->severity : context.rule->other, range,
              text + count,
              near.empty() ? "write a name of the device's status"
                           : "did you mean {{" + shown(near) + "}}?",
              near.empty() ? std::nullopt : std::optional(as_hex(near)));
}

void check_placeholder_text(CheckContext& context, const StepValue& step,
                            const Placeholder& placeholder, NameCounts& counts) {
  const std::string name(placeholder.name);
  const std::string text = quoted("{{" + name + "}}") + " is replaced by nothing";
  const SourceRange range = bytes_range(step, placeholder.at + 2, name.size());
  const std::string_view inner = trimmed(name);
  if (inner.empty()) {
    add_finding(context, bytes_range(step, placeholder.at, name.size() + 4),
                text + ": it has no name", "write a name of the device's status");
  } else if (inner.size() < name.size()) {
    add_finding(context, range, text + ": the blanks are part of its name",
                "write {{" + shown(inner) + "}}", as_hex(inner));
  } else {
    check_name(context, range, name, counts);
  }
}

bool is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool is_name_letter(char c) {
  return is_letter(c) || (c >= '0' && c <= '9') || c == '_';
}

bool is_lower_letter(char c) {
  return c >= 'a' && c <= 'z';
}

/// Returns whether a text between single braces looks like a name: not "1", and without "$" before
/// the braces not "ON" either, which a protocol may have.
bool looks_like_name(const CheckContext& context, std::string_view text, bool after_dollar) {
  if (text.empty() || !is_letter(text.front()) ||
      !std::all_of(text.begin(), text.end(), is_name_letter)) {
    return false;
  }
  return after_dollar || std::any_of(text.begin(), text.end(), is_lower_letter) ||
         context.placeholders.by_lower.count(lower_ascii(text)) > 0;
}

/// Reports the first {name} or ${name} of a payload.
void check_single_braces(CheckContext& context, const StepValue& step, std::string_view payload) {
  std::size_t open = payload.find('{');
  for (; open != std::string_view::npos; open = payload.find('{', open + 1)) {
    const std::size_t close = payload.find('}', open);
    if (close == std::string_view::npos) return;
    const std::string_view name = payload.substr(open + 1, close - open - 1);
    const char before = open > 0 ? payload[open - 1] : ' ';
    const bool doubled = before == '{' || payload.substr(close + 1, 1) == "}";
    if (doubled || !looks_like_name(context, name, before == '$')) continue;
    const std::size_t at = before == '$' ? open - 1 : open;
    add_finding(context, context.rule->other, bytes_range(step, at, close + 1 - at),
                quoted(payload.substr(at, close + 1 - at)) +
                    " is sent as it is: a placeholder has two braces on each side",
                "write {{" + shown(name) + "}} if the value is meant");
    return;
  }
}

/// Reports the first byte of a payload that is spelled out.
void check_spelled_byte(CheckContext& context, const StepValue& step, std::string_view payload) {
  const SpelledByte spelled = find_spelled_byte(payload);
  if (spelled.length == 0) return;
  add_finding(context, context.rule->other, bytes_range(step, spelled.at, spelled.length),
              quoted(payload.substr(spelled.at, spelled.length)) +
                  " is sent as it is, not as the byte " + as_hex({&spelled.byte, 1}),
              "write the hexadecimal digits " + as_hex({&spelled.byte, 1}) +
                  " in its place if the byte is meant");
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
                  "the payload of " + step.step + " ends at its first NUL: " +
                      counted(nul, "byte") + (nul == 1 ? " is sent" : " are sent"),
                  "remove the 00: a payload cannot contain a NUL");
    } else if (expanded.size() > kMaxCommand) {
      add_finding(context, step.range,
                  "the payload of " + step.step + " has " + std::to_string(expanded.size()) +
                      " bytes and is truncated to 1023",
                  "send the rest in another step");
    }
    check_spelled_byte(context, step, payload);
  });
}

void check_placeholder(CheckContext& context) {
  NameCounts counts;
  for_each_payload(context, [&](const StepValue&, const std::string& payload) {
    for (const Placeholder& placeholder : placeholders(payload)) {
      ++counts[std::string(placeholder.name)];
    }
  });
  for_each_payload(context, [&](const StepValue& step, const std::string& payload) {
    const std::vector<Placeholder> found = placeholders(payload);
    for (const Placeholder& placeholder : found) {
      check_placeholder_text(context, step, placeholder, counts);
    }
    check_single_braces(context, step, payload);
    const std::size_t open = payload.find("{{", literal_end(found));
    if (open == std::string::npos) return;
    add_finding(context, bytes_range(step, open, payload.size() - open),
                quoted(payload.substr(open)) + " is sent as it is: its \"}}\" is missing",
                "write }} (hexadecimal 7D7D) after the name");
  });
}

}  // namespace kovo::check
