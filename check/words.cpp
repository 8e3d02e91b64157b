#include "check/words.h"

#include <algorithm>
#include <array>
#include <limits>

#include "frame/text.h"

namespace kovo::check {
namespace {

constexpr std::size_t kShownLength = 60;
constexpr char kHexDigits[] = "0123456789ABCDEF";

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

/// How far a word may be from a name: two different words of three letters are near each other.
std::size_t distance_limit(std::string_view word) {
  return word.size() < 3 ? 0 : word.size() == 3 ? 1 : 2;
}

// One row of the table of distances between a name's first letters and those of a word, of which
// only the middle matters: distances of up to two letters.
constexpr std::size_t kBand = 2;
using DistanceRow = std::array<std::size_t, 2 * kBand + 1>;
constexpr std::size_t kFar = kBand + 1;
constexpr std::size_t kMaxRows = 1000;  // of one search: names from a hostile file may all be alike

DistanceRow first_row() {
  return {kFar, kFar, 0, 1, 2};
}

/// Returns the row of a name's first `depth` letters, the last of which is `letter`.
DistanceRow next_row(const DistanceRow& above, std::size_t depth, char letter,
                     std::string_view word) {
  DistanceRow row;
  for (std::size_t at = 0; at < row.size(); ++at) {
    row[at] = kFar;
    if (depth + at < kBand || depth + at > word.size() + kBand) continue;
    const std::size_t letters = depth + at - kBand;  // of the word
    row[at] = letters == 0 ? depth : above[at] + (word[letters - 1] == letter ? 0 : 1);
    if (at + 1 < row.size()) row[at] = std::min(row[at], above[at + 1] + 1);
    if (at > 0) row[at] = std::min(row[at], row[at - 1] + 1);
  }
  return row;
}

std::size_t least_of(const DistanceRow& row) {
  return *std::min_element(row.begin(), row.end());
}

/// Returns the distance of a whole name of `size` letters.
std::size_t distance_at(const DistanceRow& row, std::size_t size, std::string_view word) {
  const bool near = word.size() + kBand >= size && word.size() <= size + kBand;
  return near ? row[word.size() + kBand - size] : kFar;
}

std::size_t common_prefix(std::string_view a, std::string_view b) {
  const auto end = std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first;
  return static_cast<std::size_t>(end - a.begin());
}

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
    const auto byte = static_cast<unsigned char>(c);
    text += kHexDigits[byte / 16];
    text += kHexDigits[byte % 16];
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
  // One digit less tells a number at the end of the range from one beyond it.
  using Limits = std::numeric_limits<std::int32_t>;
  if (number.value == Limits::max() || number.value == Limits::min()) {
    digits.remove_suffix(number.rest.size());
    while (digits.size() > 1 && digits.front() == '0') digits.remove_prefix(1);
    number.in_range = digits == (number.value > 0 ? "2147483647" : "2147483648");
  }
  return number;
}

std::size_t edit_distance(std::string_view a, std::string_view b) {
  DistanceRow row = first_row();
  for (std::size_t depth = 1; depth <= b.size(); ++depth) {
    row = next_row(row, depth, b[depth - 1], a);
  }
  return distance_at(row, b.size(), a);
}

NameSuggester make_suggester(std::vector<std::string> names) {
  NameSuggester suggester{std::move(names), {}, {}};
  for (std::uint32_t at = 0; at < suggester.names.size(); ++at) {
    suggester.sorted.push_back(at);
    suggester.by_lower.emplace(lower_ascii(suggester.names[at]), at);
  }
  std::sort(
      suggester.sorted.begin(), suggester.sorted.end(),
      [&](std::uint32_t a, std::uint32_t b) { return suggester.names[a] < suggester.names[b]; });
  return suggester;
}

// Names with a common prefix share the rows of the distance table for it, and are skipped together
// as soon as no name with that prefix can be near.
std::string nearest_name(const NameSuggester& suggester, std::string_view word) {
  const auto equal = suggester.by_lower.find(lower_ascii(word));
  if (word.empty()) return {};
  if (equal != suggester.by_lower.end()) return suggester.names[equal->second];
  std::size_t limit = distance_limit(word);
  const std::string* nearest = nullptr;
  std::uint32_t nearest_position = 0;
  std::string_view previous;
  std::vector<DistanceRow> rows = {first_row()};
  std::size_t computed = 0;
  auto next = suggester.sorted.begin();
  while (limit > 0 && next != suggester.sorted.end() && computed < kMaxRows) {
    const std::string& name = suggester.names[*next];
    rows.resize(1 + common_prefix(previous.substr(0, rows.size() - 1), name));
    previous = name;
    while (rows.size() <= name.size() && least_of(rows.back()) <= limit) {
      rows.push_back(next_row(rows.back(), rows.size(), name[rows.size() - 1], word));
      ++computed;
    }
    const std::size_t depth = rows.size() - 1;
    if (depth == name.size()) {
      const std::size_t distance = distance_at(rows.back(), depth, word);
      if (distance < limit + (nearest == nullptr || *next < nearest_position ? 1 : 0)) {
        limit = distance;
        nearest = &name;
        nearest_position = *next;
      }
      ++next;
      continue;
    }
    const auto has_prefix = [&](std::uint32_t position) {
      return suggester.names[position].compare(0, depth, name, 0, depth) <= 0;
    };
    ++next;  // mostly enough, and cheaper than a search
    if (next != suggester.sorted.end() && has_prefix(*next)) {
      next = std::partition_point(next, suggester.sorted.end(), has_prefix);
    }
  }
  return nearest == nullptr ? std::string() : *nearest;
}

}  // namespace kovo::check
