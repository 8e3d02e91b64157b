// Expanding has two independent passes: the first replaces the placeholders, the
// second the escape sequences of the whole result, those of inserted values too. There is no way to
// write a literal "{{name}}", no nesting and no error: an unknown name is replaced by nothing.
// Invariant: the work is bounded by the limit of the result, not by the values, so that a payload
// of many placeholders costs at most kMaxRaw bytes and one value.
#include "core/templates.h"

#include <algorithm>
#include <iterator>

#include "core/text.h"

namespace kovo {

std::string expand_templates(const TemplateValues& values, std::string_view payload) {
  // An escape sequence makes one byte of two, so that later bytes would be truncated.
  constexpr std::size_t kMaxRaw = 2 * kMaxExpanded;
  std::string result;
  while (result.size() < kMaxRaw) {
    const std::size_t open = payload.find("{{");
    if (open == std::string_view::npos) break;
    const std::size_t close = payload.find("}}", open + 2);
    if (close == std::string_view::npos) break;
    result += payload.substr(0, open);
    result += template_value(values, payload.substr(open + 2, close - open - 2));
    payload.remove_prefix(close + 2);
  }
  result += payload;
  result = unescape_controls(std::move(result));
  if (result.size() > kMaxExpanded) result.resize(kMaxExpanded);
  return result;
}

bool is_clock_placeholder(std::string_view name) {
  return std::any_of(std::begin(kClockPlaceholders), std::end(kClockPlaceholders),
                     [=](std::string_view clock) { return equals_nocase(name, clock); });
}

std::string template_value(const TemplateValues& values, std::string_view name) {
  for (const auto& [key, value] : values.status_vars) {
    if (key == name) return value;
  }
  if (equals_nocase(name, kDatePlaceholder)) return values.date;
  if (equals_nocase(name, kTimePlaceholder)) return values.time;
  if (equals_nocase(name, kUptimePlaceholder)) return std::to_string(values.uptime_s);
  return {};
}

std::string unescape_controls(std::string text) {
  text = replace_all(std::move(text), "\\n", "\n");
  text = replace_all(std::move(text), "\\r", "\r");
  return replace_all(std::move(text), "\\t", "\t");
}

std::string replace_all(std::string text, std::string_view from, std::string_view to) {
  std::string result;
  std::size_t from_here = 0;
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, from_here)) {
    result.append(text, from_here, at - from_here).append(to);
    from_here = at + from.size();
  }
  if (from_here == 0) return text;
  return result.append(text, from_here);
}

std::string percent_decode(std::string_view text) {
  std::string result;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] == '%' && at + 2 < text.size()) {
      const int high = hex_digit(text[at + 1]);
      const int low = hex_digit(text[at + 2]);
      result.push_back(static_cast<char>(high < 0 || low < 0 ? 0xFF : 16 * high + low));
      at += 2;
    } else {
      result.push_back(text[at]);
    }
  }
  return result;
}

bool parse_status_line(std::string_view line, StatusVars& vars) {
  line = strip_newline(line);
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos) return false;
  vars.emplace_back(line.substr(0, colon), line.substr(colon + 1));
  return true;
}

}  // namespace kovo
