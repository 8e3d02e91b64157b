#include "check/words.h"

#include <fmt/core.h>

#include <algorithm>
#include <utility>

#include "core/text.h"

namespace kovo::check {
namespace {

constexpr std::size_t kShownLength = 60;
constexpr std::size_t kMaxCompared = 300;  // names; a file with more events is not written by hand
constexpr std::size_t kFar = 3;            // a distance that is never near

bool is_blank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

std::string escaped_byte(char c) {
  if (c == '\r') return "\\r";
  if (c == '\n') return "\\n";
  if (c == '\t') return "\\t";
  if (c >= ' ' && c <= '~') return {c};
  return "\\x" + as_hex({&c, 1});
}

/// How far a word may be from a name: short words that differ in two letters are different words.
std::size_t distance_limit(std::string_view word) {
  return word.size() < 4 ? 0 : word.size() < 6 ? 1 : 2;
}

// ASCII quotation marks, then the typographic ones.
constexpr std::string_view kQuotes[] = {"\"", "'", "`", "‘", "’", "‚", "‛",
                                        "“",  "”", "„", "‟", "«", "»"};

}  // namespace

std::string escaped(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) text += escaped_byte(c);
  return text;
}

std::string shown(std::string_view bytes) {
  return escaped(bytes.substr(0, kShownLength)) + (bytes.size() > kShownLength ? "..." : "");
}

std::string quoted(std::string_view bytes, std::size_t limit) {
  std::string text = "\"";
  for (const char c : bytes.substr(0, limit)) {
    if (c == '"' || c == '\\') text += '\\';
    text += escaped_byte(c);
  }
  return text + (bytes.size() > limit ? "...\"" : "\"");
}

std::string as_hex(std::string_view bytes, std::string_view between) {
  std::string text;
  for (const char c : bytes) {
    if (!text.empty()) text += between;
    text += fmt::format("{:02X}", static_cast<unsigned char>(c));
  }
  return text;
}

std::string counted(std::size_t count, std::string_view noun) {
  return std::to_string(count) + " " + std::string(noun) + (count == 1 ? "" : "s");
}

bool is_digits(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), is_digit);
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
  return text;
}

std::string_view without_quotes(std::string_view text) {
  std::size_t before = text.size() + 1;
  while (text.size() < before) {
    before = text.size();
    text = trimmed(text);
    for (const std::string_view quote : kQuotes) {
      if (text.substr(0, quote.size()) == quote) text.remove_prefix(quote.size());
      if (text.size() < quote.size()) continue;
      if (text.substr(text.size() - quote.size()) == quote) text.remove_suffix(quote.size());
    }
  }
  return text;
}

std::string wrapped(std::string_view text, std::size_t width, std::string_view indent,
                    std::size_t start) {
  std::string lines;
  while (start + text.size() > width) {
    const std::size_t most = width > start ? width - start : 0;
    std::size_t blank = text.rfind(' ', most);
    if (blank == std::string_view::npos) blank = text.find(' ');
    if (blank == std::string_view::npos) break;
    lines.append(text.substr(0, blank)).append("\n").append(indent);
    text.remove_prefix(blank + 1);
    start = indent.size();
  }
  return lines.append(text);
}

ReadNumber read_number(std::string_view text) {
  ReadNumber number;
  number.value = to_int32(text);
  text = trimmed(text);
  std::string_view digits = text;
  if (!digits.empty() && (digits.front() == '-' || digits.front() == '+')) digits.remove_prefix(1);
  const auto end = std::find_if_not(digits.begin(), digits.end(), is_digit);
  number.has_digits = end != digits.begin();
  number.rest =
      number.has_digits ? digits.substr(static_cast<std::size_t>(end - digits.begin())) : text;
  return number;
}

std::size_t edit_distance(std::string_view a, std::string_view b) {
  if (a.size() >= b.size() + kFar || b.size() >= a.size() + kFar) return kFar;
  std::vector<std::size_t> before(b.size() + 1);
  std::vector<std::size_t> last(b.size() + 1);
  std::vector<std::size_t> row(b.size() + 1);  // from the letters of `a` so far to each part of `b`
  for (std::size_t at = 0; at < row.size(); ++at) row[at] = at;
  for (std::size_t of_a = 1; of_a <= a.size(); ++of_a) {
    before.swap(last);
    last.swap(row);
    row[0] = of_a;
    for (std::size_t of_b = 1; of_b < row.size(); ++of_b) {
      const std::size_t changed = last[of_b - 1] + (a[of_a - 1] == b[of_b - 1] ? 0 : 1);
      row[of_b] = std::min({changed, row[of_b - 1] + 1, last[of_b] + 1});
      const bool exchanged =
          of_a > 1 && of_b > 1 && a[of_a - 1] == b[of_b - 2] && a[of_a - 2] == b[of_b - 1];
      if (exchanged) row[of_b] = std::min(row[of_b], before[of_b - 2] + 1);
    }
  }
  return row.back();
}

NameSuggester make_suggester(std::vector<std::string> names) {
  NameSuggester suggester{std::move(names), {}};
  for (std::size_t at = 0; at < suggester.names.size(); ++at) {
    suggester.by_lower.emplace(lower_ascii(suggester.names[at]), at);
  }
  return suggester;
}

std::string nearest_name(const NameSuggester& suggester, std::string_view word) {
  const auto equal = suggester.by_lower.find(lower_ascii(trimmed(word)));
  if (equal != suggester.by_lower.end()) return suggester.names[equal->second];
  if (suggester.names.size() > kMaxCompared) return {};
  std::string nearest;
  std::size_t least = distance_limit(word) + 1;
  for (const std::string& name : suggester.names) {
    const std::size_t distance = edit_distance(word, name);
    if (distance >= least) continue;
    least = distance;
    nearest = name;
  }
  return nearest;
}

}  // namespace kovo::check
