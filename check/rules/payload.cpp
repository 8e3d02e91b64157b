// Rules about payloads: their hexadecimal text, their placeholders and what of them is sent.
#include <algorithm>

#include "check/payload.h"
#include "check/rules/context.h"
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
  if (sent.empty()) return "as written, nothing is sent";
  return fmt::format("as written, {}{} {} sent", as_hex(sent.substr(0, kMostShown), " "),
                     sent.size() > kMostShown ? " ..." : "", sent.size() == 1 ? "is" : "are");
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

/// What a value that is not hexadecimal means.
struct MeantPayload {
  std::string bytes;        // "" if unknown
  bool is_certain = false;  // it cannot mean anything else
};

/// Returns "41 42" for "41h 42h"; the same text for others.
std::string without_h(std::string_view text) {
  std::string digits;
  for (const char c : text) {
    const std::size_t size = digits.size();
    const bool after_byte =
        size >= 2 && is_hex_digit(digits[size - 1]) && is_hex_digit(digits[size - 2]);
    if ((c != 'h' && c != 'H') || !after_byte) digits += c;
  }
  return digits;
}

MeantPayload meant_payload(std::string_view value) {
  const std::string_view text = without_quotes(value);
  const bool is_quoted = text.size() < trimmed(value).size();
  const bool has_codes = contains(text, "%") || contains(text, "$");
  if (const auto bytes = bytes_of_hex(text)) return {*bytes, !is_quoted && !has_codes};
  if (count_hex_digits(text).others == 0) return {};  // an odd number of digits
  if (const auto bytes = bytes_of_hex(without_h(text))) return {*bytes};
  if (const auto bytes = bytes_of_hex(spelled_as_hex(text))) return {*bytes};
  if (!std::all_of(text.begin(), text.end(), is_printable)) return {};
  const bool is_spelled = bytes_of_text(text) != text;
  for (std::size_t at = 0; has_codes && !is_spelled && at + 2 < text.size(); ++at) {
    const bool is_byte = is_hex_digit(text[at + 1]) && is_hex_digit(text[at + 2]);
    if ((text[at] == '%' || text[at] == '$') && is_byte) return {};
  }
  return {bytes_of_text(text), !is_quoted && !is_spelled};
}

void check_digits(CheckContext& context, const StepValue& step) {
  const std::string_view value = step.entry.value;
  if (is_hex(value) || trimmed(value).empty()) return;  // only blanks: reported by "blank"
  const std::string key = key_text(step.entry);
  const std::string now = sent_text(value);
  const DigitCounts counts = count_hex_digits(value);
  const MeantPayload meant = meant_payload(value);
  if (counts.digits > 0 && counts.others == 0 && meant.bytes.empty()) {
    add_error(context, step.range,
              fmt::format("{} has an odd number of digits ({})", key, counts.digits),
              fmt::format("write two digits for each byte; {}", now));
    return;
  }
  const bool is_code = !meant.bytes.empty() && !meant.is_certain;
  const bool one_is_wrong = counts.others > 0 && counts.digits >= 3 * counts.others && !is_code;
  const auto first = std::find_if_not(value.begin(), value.end(), is_hex_digit);
  const std::size_t at =
      one_is_wrong ? counts.first_other : static_cast<std::size_t>(first - value.begin());
  const SourceRange range = part_of(step.range, at, 1);
  if (one_is_wrong || meant.bytes.empty()) {
    add_error(context, range,
              fmt::format("{} is not hexadecimal: {} in column {} is not a digit", key,
                          quoted(value.substr(at, 1)), range.column),
              fmt::format("write {}; {}", digit_meant(value[at]), now));
    return;
  }
  const std::string digits = as_hex(meant.bytes);
  // With a NUL, or too long, a fix would only cause another finding.
  const bool can_be_sent = sent_part(meant.bytes).size() == meant.bytes.size();
  add_error(
      context, step.range,
      fmt::format("{} is not hexadecimal: {} is not a digit", key, quoted(value.substr(at, 1))),
      meant.is_certain ? fmt::format("write {}={}; {}", key, digits, now)
                       : fmt::format("{}{}={}? ({})", kGuess, key, digits, now),
      can_be_sent ? std::optional(digits) : std::nullopt);
}

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

/// Returns whether a name may be missing in the status, and stores the one that was meant.
bool is_unknown(const CheckContext& context, const std::string& name, std::string& near) {
  if (is_clock_placeholder(name) || context.in_status.count(name) > 0) return false;
  near = nearest_name(context.placeholders, name);
  return near != name && (!near.empty() || context.options.status != nullptr);
}

/// Reports an unknown name once.
void check_name(CheckContext& context, const SourceRange& range, const std::string& name,
                std::unordered_set<std::string>& known) {
  std::string near;
  if (!known.insert(name).second || !is_unknown(context, name, near)) return;
  const bool status_known = context.options.status != nullptr;
  add_finding(context, status_known ? Severity::kError : Severity::kNote, range,
              fmt::format("{} is replaced by nothing{}", quoted("{{" + name + "}}"),
                          status_known ? ": the status has no such name"
                                       : " unless the device's status has this name"),
              near.empty() ? "write a name of the device's status"
                           : fmt::format("{}{{{{{}}}}}?", kGuess, shown(near)),
              near.empty() ? std::nullopt : std::optional(as_hex(near)));
}

void check_placeholder_text(CheckContext& context, const StepValue& step,
                            const Placeholder& placeholder,
                            std::unordered_set<std::string>& known) {
  const std::string name(placeholder.name);
  const std::string text = quoted("{{" + name + "}}") + " is replaced by nothing";
  const SourceRange range = bytes_range(step, placeholder.at + 2, name.size());
  const std::string_view inner = trimmed(name);
  if (inner.empty()) {
    add_error(context, bytes_range(step, placeholder.at, name.size() + 4),
              text + ": it has no name", "write a name of the device's status");
  } else if (inner.size() < name.size()) {
    add_error(context, range, text + ": the blanks are part of its name",
              fmt::format("write {{{{{}}}}}", shown(inner)), as_hex(inner));
  } else {
    check_name(context, range, name, known);
  }
}

/// Reports the first {name} or ${name} of a payload whose name is known: a protocol may have
/// braces.
void check_single_braces(CheckContext& context, const StepValue& step, std::string_view payload) {
  std::size_t open = payload.find('{');
  for (; open != std::string_view::npos; open = payload.find('{', open + 1)) {
    const std::size_t close = payload.find('}', open);
    if (close == std::string_view::npos) return;
    const std::string_view name = payload.substr(open + 1, close - open - 1);
    const char before = open > 0 ? payload[open - 1] : ' ';
    const bool doubled = before == '{' || payload.substr(close + 1, 1) == "}";
    if (doubled || context.placeholders.by_lower.count(lower_ascii(name)) == 0) continue;
    const std::size_t at = before == '$' ? open - 1 : open;
    add_note(context, bytes_range(step, at, close + 1 - at),
             fmt::format("{} is sent as it is: a placeholder has two braces on each side",
                         quoted(payload.substr(at, close + 1 - at))),
             fmt::format("write {{{{{}}}}} if the value is meant", shown(name)));
    return;
  }
}

/// Reports the first byte of a payload that is spelled out.
void check_spelled_byte(CheckContext& context, const StepValue& step, std::string_view payload) {
  const SpelledByte spelled = find_spelled_byte(payload);
  if (spelled.length == 0) return;
  const std::string digits = as_hex({&spelled.byte, 1});
  add_note(
      context, bytes_range(step, spelled.at, spelled.length),
      fmt::format("{} is sent as it is, not as the byte {}",
                  quoted(payload.substr(spelled.at, spelled.length)), digits),
      fmt::format("write the hexadecimal digits {} in its place if the byte is meant", digits));
}

}  // namespace

void check_data(CheckContext& context) {
  for_each_value(context, kDataField, [&](const StepValue& step) { check_digits(context, step); });
  check_missing_field(context, kDataField);
  for_each_step(context, [&](const NamedStep& step) {
    const std::optional<Sender> sender = choose_sender(step.entries.compiled->protocol);
    const std::uint32_t data = step.entries.data;
    if (!sender || !sender->status || data == kNoEntry) return;
    add_warning(context, key_range(context, data),
                fmt::format("{} is not sent: the step sends the device's status",
                            key_text(entry_at(context, data))),
                "remove it, or write a Protocol without Status");
  });
}

void check_payload(CheckContext& context) {
  for_each_payload(context, [&](const StepValue& step, const std::string& payload) {
    const std::string expanded = expand_templates(context.known, payload);
    const std::size_t nul = expanded.find('\0');
    if (nul != std::string::npos) {
      const std::size_t at = payload.find('\0');
      add_error(context, at == std::string::npos ? step.range : bytes_range(step, at, 1),
                fmt::format("the payload of {} ends at its first NUL: {} {} sent", step.step,
                            counted(nul, "byte"), nul == 1 ? "is" : "are"),
                "kovotcp cannot send this command: a payload cannot contain a NUL");
    } else if (expanded.size() > kMaxCommand) {
      add_error(context, step.range,
                fmt::format("the payload of {} has {} bytes and is truncated to 1023", step.step,
                            expanded.size()),
                "send the rest in another step");
    }
    check_spelled_byte(context, step, payload);
  });
}

void check_placeholder(CheckContext& context) {
  std::unordered_set<std::string> known;
  for_each_payload(context, [&](const StepValue& step, const std::string& payload) {
    const std::vector<Placeholder> found = placeholders(payload);
    for (const Placeholder& placeholder : found) {
      check_placeholder_text(context, step, placeholder, known);
    }
    check_single_braces(context, step, payload);
    const std::size_t open = payload.find("{{", literal_end(found));
    if (open == std::string::npos) return;
    add_error(context, bytes_range(step, open, payload.size() - open),
              quoted(payload.substr(open)) + " is sent as it is: its \"}}\" is missing",
              "write }} (hexadecimal 7D7D) after the name");
  });
}

}  // namespace kovo::check
