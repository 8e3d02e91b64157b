// Rules about payloads: their hexadecimal text, their placeholders and what of them is sent.
#include <algorithm>

#include "check/payload.h"
#include "check/rules/context.h"
#include "check/typed_text.h"
#include "core/text.h"

namespace kovo::check {
namespace {

/// Returns what the daemon sends for a faulty Data value.
std::string sent_text(std::string_view value) {
  constexpr std::size_t kMostShown = 16;
  const std::string payload = s_hex_to_ascii(value);
  const std::string_view sent = sent_part(payload);
  const std::string bytes = as_hex(sent.substr(0, kMostShown), " ");
  return fmt::format("as written, it sends {}{}", sent.empty() ? "nothing" : bytes,
                     sent.size() > kMostShown ? " ..." : "");
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

bool is_separated_digit(char c) {
  return is_hex_digit(c) || kHexSeparators.find(c) != std::string_view::npos;
}

/// What a value that is not hexadecimal means.
struct MeantPayload {
  std::string bytes;        // "" if unknown
  bool is_certain = false;  // it cannot mean anything else
};

MeantPayload meant_payload(std::string_view value) {
  const std::string_view text = without_quotes(value);
  const bool is_quoted = text.size() < trimmed(value).size();
  const bool has_codes = text.find_first_of("%$hH") != std::string_view::npos;
  if (const auto bytes = bytes_of_hex(text)) return {*bytes, !is_quoted && !has_codes};
  if (const auto bytes = bytes_of_hex(spelled_as_hex(text))) return {*bytes};
  if (!std::all_of(text.begin(), text.end(), is_printable)) return {};
  if (!find_unread_code(text).empty()) return {};
  const std::string bytes = bytes_of_text(text);
  const auto digits = std::count_if(text.begin(), text.end(), is_hex_digit);
  const auto separated = std::count_if(text.begin(), text.end(), is_separated_digit);
  const auto others = static_cast<std::ptrdiff_t>(text.size()) - separated;
  if (digits >= 3 * others) return {};  // one digit is wrong or missing
  const std::string_view word = text.substr(0, text.find_first_of(kHexSeparators));
  const bool is_mixed = std::all_of(word.begin(), word.end(), is_hex_digit) ||
                        text.find_first_of("=#(") != std::string_view::npos || contains(text, "//");
  return {bytes, !is_quoted && bytes == text && !is_mixed};
}

void check_digits(CheckContext& context, const StepValue& step) {
  const std::string_view value = step.entry.value;
  if (is_hex(value) || trimmed(value).empty()) return;  // only blanks: reported by "blank"
  const std::string key(trimmed(key_text(step.entry)));
  const std::string now = sent_text(value);
  const MeantPayload meant = meant_payload(value);
  const std::string digits = as_hex(meant.bytes);
  std::string text = key + " is not hexadecimal: its digits do not form pairs";
  std::string hint = fmt::format("{}{}={}? ({})", kGuess, key, digits, now);
  if (meant.is_certain) hint = fmt::format("write {}={}; {}", key, digits, now);
  if (digits.empty()) hint = "write two hexadecimal digits for each byte; " + now;
  SourceRange range = step.range;
  const auto wrong = std::find_if_not(value.begin(), value.end(),
                                      digits.empty() ? is_separated_digit : is_hex_digit);
  if (wrong != value.end()) {
    const auto at = static_cast<std::size_t>(wrong - value.begin());
    text = fmt::format("{} is not hexadecimal: {} is not a digit", key, quoted({&*wrong, 1}));
    if (digits.empty()) range = part_of(range, at, 1);
  }
  // With a NUL, or too long, a fix would only cause another finding.
  const bool can_be_sent = !digits.empty() && sent_part(meant.bytes).size() == meant.bytes.size();
  add_finding(context, Severity::kError, range, text, hint,
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

/// Reports a placeholder with blanks or without a name, or an unknown name once.
void check_name(CheckContext& context, const StepValue& step, const Placeholder& placeholder,
                std::unordered_set<std::string>& seen) {
  const std::string name(placeholder.name);
  const bool status_known = context.options.status != nullptr;
  std::string text = quoted("{{" + name + "}}") + " is replaced by nothing";
  std::string right(trimmed(name));
  std::string_view advice = "write ";
  Severity severity = Severity::kError;
  if (right.empty() || right.size() < name.size()) {
    text += right.empty() ? ": it has no name" : ": the blanks are part of its name";
  } else {
    if (is_clock_placeholder(name) || context.in_status.count(name) > 0) return;
    right = nearest_name(context.placeholders, name);
    if (right == name || (right.empty() && !status_known) || !seen.insert(name).second) return;
    text += status_known ? ": the status has no such name"
                         : " unless the device's status has this name";
    advice = kGuess;
    if (!status_known) severity = Severity::kNote;
  }
  add_finding(context, severity, bytes_range(step, placeholder.at + 2, name.size()), text,
              right.empty() ? "write a name of the device's status"
                            : fmt::format("{}{{{{{}}}}}{}", advice, shown(right),
                                          advice == kGuess ? "?" : ""),
              right.empty() ? std::nullopt : std::optional(as_hex(right)));
}

}  // namespace

void check_data(CheckContext& context) {
  for_each_value(context, kDataField, [&](const StepValue& step) { check_digits(context, step); });
  check_missing_field(context, kDataField);
  for_each_step(context, [&](const NamedStep& step) {
    const std::optional<Sender> sender = choose_sender(step.entries.compiled->protocol);
    const std::uint32_t data = step.entries.data;
    if (!sender || !sender->status || data == kNoEntry) return;
    add_finding(context, Severity::kWarning, key_range(context, data),
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
      add_finding(context, Severity::kError,
                  at == std::string::npos ? step.range : bytes_range(step, at, 1),
                  fmt::format("the payload of {} ends at its first NUL: {} {} sent", step.step,
                              counted(nul, "byte"), nul == 1 ? "is" : "are"),
                  "kovotcp cannot send this command: a payload cannot contain a NUL");
    } else if (expanded.size() > kMaxCommand) {
      add_finding(context, Severity::kError, step.range,
                  fmt::format("the payload of {} has {} bytes and is truncated to 1023", step.step,
                              expanded.size()),
                  "send the rest in another step");
    }
  });
}

void check_placeholder(CheckContext& context) {
  std::unordered_set<std::string> seen;
  for_each_payload(context, [&](const StepValue& step, const std::string& payload) {
    const std::vector<Placeholder> found = placeholders(payload);
    for (const Placeholder& each : found) check_name(context, step, each, seen);
    const std::size_t open = payload.find("{{", literal_end(found));
    if (open == std::string::npos) return;
    add_finding(context, Severity::kError, bytes_range(step, open, payload.size() - open),
                quoted(payload.substr(open)) + " is sent as it is: its \"}}\" is missing",
                "write }} (hexadecimal 7D7D) after the name");
  });
}

}  // namespace kovo::check
