// Payload templates, escape sequences and percent codes. No input or output.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kovo {

/// The lines of an answer of the status service: names and values.
using StatusVars = std::vector<std::pair<std::string, std::string>>;

// A status answer is read up to these limits: a broken service must not fill the memory.
constexpr std::size_t kMaxStatusVars = 4096;
constexpr std::size_t kMaxStatusBytes = std::size_t{256} * 1024;  // with the newlines

// The daemon's own placeholders, case-insensitive.
constexpr std::string_view kDatePlaceholder = "date";
constexpr std::string_view kTimePlaceholder = "time";
constexpr std::string_view kUptimePlaceholder = "uptime";
constexpr std::string_view kClockPlaceholders[] = {kDatePlaceholder, kTimePlaceholder,
                                                   kUptimePlaceholder};

/// The values of the placeholders when an event is queued.
struct TemplateValues {
  StatusVars status_vars;
  std::string date;  // as date_text gives it
  std::string time;  // as time_text gives it
  std::int32_t uptime_s = 0;
};

// Limit of an expanded payload: placeholders could expand it to hundreds of kilobytes.
constexpr std::size_t kMaxExpanded = std::size_t{16} * 1024;

/// Replaces each "{{" name "}}" by its value, then the escape sequences of the whole result. A "{{"
/// without a later "}}" is literal text; inserted values are not searched for placeholders.
/// Truncates the result to kMaxExpanded bytes.
std::string expand_templates(const TemplateValues& values, std::string_view payload);

/// Returns whether a name is one of the daemon's own placeholders.
bool is_clock_placeholder(std::string_view name);

/// Returns the value of a placeholder: of the status variable of exactly that name, or one of the
/// daemon's own; "" for any other name.
std::string template_value(const TemplateValues& values, std::string_view name);

/// Replaces backslash-n, backslash-r and backslash-t by newline, carriage return and tab.
std::string unescape_controls(std::string text);

/// Replaces every `from`, which is not empty; inserted text is not searched again.
std::string replace_all(std::string text, std::string_view from, std::string_view to);

/// Decodes "%" and two hexadecimal digits to a byte, "%" and two other characters to 0xFF. A "%"
/// with fewer than two characters after it stays.
std::string percent_decode(std::string_view text);

/// Appends a line of a status answer, split at its first ":". Returns false without a ":".
bool parse_status_line(std::string_view line, StatusVars& vars);

}  // namespace kovo
