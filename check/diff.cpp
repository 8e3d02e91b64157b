#include <fmt/core.h>

#include <algorithm>

#include "check/fixes.h"
#include "core/text.h"

namespace kovo::check {
namespace {

constexpr std::size_t kContext = 3;  // unchanged lines around a change

using Lines = std::vector<std::string_view>;

Lines lines_with_ends(std::string_view text) {
  Lines lines;
  while (!text.empty()) {
    lines.push_back(text.substr(0, until_newline(text).size() + 1));
    text.remove_prefix(lines.back().size());
  }
  return lines;
}

void add_line(std::string& diff, char mark, std::string_view line) {
  if (line.empty()) return;  // it was only a carriage return or byte order mark at the end
  diff.append(1, mark).append(line);
  if (line.back() != '\n') diff += "\n\\ No newline at end of file\n";
}

/// Adds the lines from one to before another: of changed lines first all old ones.
void add_hunk(std::string& diff, const Lines& before, const Lines& after, std::size_t from,
              std::size_t to) {
  const std::size_t left = to - from - (after[to - 1].empty() ? 1 : 0);
  diff += fmt::format("@@ -{},{} +{},{} @@\n", from + 1, to - from, left > 0 ? from + 1 : 0, left);
  while (from < to) {
    std::size_t end = from;
    while (end < to && before[end] != after[end]) ++end;
    for (std::size_t at = from; at < end; ++at) add_line(diff, '-', before[at]);
    for (std::size_t at = from; at < end; ++at) add_line(diff, '+', after[at]);
    if (end < to) add_line(diff, ' ', before[end]);
    from = end + 1;
  }
}

}  // namespace

std::string unified_diff(std::string_view path, std::string_view before, std::string_view after) {
  const Lines old_lines = lines_with_ends(before);
  Lines new_lines = lines_with_ends(after);
  new_lines.resize(old_lines.size());
  std::vector<std::size_t> changed;
  for (std::size_t at = 0; at < old_lines.size(); ++at) {
    if (old_lines[at] != new_lines[at]) changed.push_back(at);
  }
  if (changed.empty()) return {};
  const char* end = contains(path, " ") ? "\t" : "";  // git and patch read a name with blanks so
  std::string diff = fmt::format("--- a/{0}{1}\n+++ b/{0}{1}\n", path, end);
  for (std::size_t first = 0; first < changed.size();) {
    std::size_t last = first;
    while (last + 1 < changed.size() && changed[last + 1] - changed[last] <= 2 * kContext + 1) {
      ++last;
    }
    add_hunk(diff, old_lines, new_lines, changed[first] - std::min(changed[first], kContext),
             std::min(changed[last] + 1 + kContext, old_lines.size()));
    first = last + 1;
  }
  return diff;
}

}  // namespace kovo::check
