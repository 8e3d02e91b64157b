// Payload templates and the escape sequences of texts: pure text in, text out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "definitions/named_values.h"

namespace kovo {

/// What placeholders may stand for, as it was when an event was queued.
struct TemplateValues {
  StatusVars status_vars;
  std::string date;  // as date_text gives it
  std::string time;  // as time_text gives it
  std::int32_t uptime_s = 0;
};

// Bytes of an expanded payload; placeholders could swell it to hundreds of kilobytes.
constexpr std::size_t kMaxExpanded = std::size_t{16} * 1024;

/// Replaces each "{{" name "}}" by its value and then the escape sequences of the whole result. An
/// opening "{{" without a later "}}" is literal text; inserted values are not scanned again. The
/// result is cut to kMaxExpanded bytes.
std::string expand_templates(const TemplateValues& values, std::string_view payload);

/// The value of one placeholder, its name taken exactly: a status variable of that name, or date,
/// time or uptime in any letter case, or nothing.
std::string template_value(const TemplateValues& values, std::string_view name);

/// Turns backslash-n, backslash-r and backslash-t into line feed, carriage return and tab.
std::string unescape_controls(std::string text);

/// The same for a zero-terminated text; an empty text for a null pointer.
std::string unescape_text(const char* text);

/// Replaces every occurrence; what has been put in is not searched again. An empty `from` occurs
/// nowhere.
std::string replace_all(std::string text, std::string_view from, std::string_view to);

/// Decodes "%" and two hexadecimal digits into a byte; 0xFF when they are no digits. A "%" with
/// fewer than two characters after it stays. An empty text for a null pointer.
std::string percent_decode(const char* text);

/// The value of the two digits after the "%" at the start of a text; -1 for a null pointer or a
/// character that is no digit, -2 without "%", -3 for a text shorter than three characters.
int percent_hex_pair(const char* text);

/// Splits one line of a status answer at its first ":", nothing trimmed. False without one.
bool parse_status_line(std::string_view line, StatusVars& vars);

}  // namespace kovo
