// Payload templates and the escape sequences of texts: pure functions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kovo {

/// The lines of the status service's answer: names with their values, in order.
using StatusVars = std::vector<std::pair<std::string, std::string>>;

// A status answer is read up to these limits: a broken service must not fill the memory.
constexpr std::size_t kMaxStatusVars = 4096;
constexpr std::size_t kMaxStatusBytes = std::size_t{256} * 1024;  // with the newlines

/// The values of the placeholders at the time when an event is queued.
struct TemplateValues {
  StatusVars status_vars;
  std::string date;  // as date_text gives it
  std::string time;  // as time_text gives it
  std::int32_t uptime_s = 0;
};

// Limit of an expanded payload; placeholders could expand it to hundreds of kilobytes.
constexpr std::size_t kMaxExpanded = std::size_t{16} * 1024;

/// Replaces each "{{" name "}}" by its value and then the escape sequences of the whole result. An
/// opening "{{" without a later "}}" is literal text; inserted values are not scanned again.
/// Truncates the result to kMaxExpanded bytes.
std::string expand_templates(const TemplateValues& values, std::string_view payload);

/// Returns the value of one placeholder: of the status variable of exactly that name, or of date,
/// time or uptime, which are case-insensitive; otherwise nothing.
std::string template_value(const TemplateValues& values, std::string_view name);

/// Replaces backslash-n, backslash-r and backslash-t by newline, carriage return and tab.
std::string unescape_controls(std::string text);

/// Does the same for a NUL-terminated text; returns an empty text for a null pointer.
std::string unescape_text(const char* text);

/// Replaces every occurrence; inserted text is not searched again. An empty `from` does not occur.
std::string replace_all(std::string text, std::string_view from, std::string_view to);

/// Decodes "%" and two hexadecimal digits into a byte; two other characters into 0xFF. A "%" with
/// fewer than two characters after it stays. Returns an empty text for a null pointer.
std::string percent_decode(const char* text);

/// Returns the value of the two hexadecimal digits after the "%" at the start of a text; -1 for a
/// null pointer or another character, -2 without "%", -3 for a text shorter than three characters.
int percent_hex_pair(const char* text);

/// Splits one line of a status answer at its first ":", nothing trimmed. False without one.
bool parse_status_line(std::string_view line, StatusVars& vars);

}  // namespace kovo
