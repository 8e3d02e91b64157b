#include "check/fixes.h"

#include <algorithm>
#include <unordered_map>
#include <vector>

#include "check/lcs.h"
#include "core/text.h"

namespace kovo::check {
namespace {

constexpr std::size_t kContext = 3;  // unchanged lines around a change in a diff

/// Some lines of the old text, from the first to before the last, and what replaces them.
struct LineChange {
  std::size_t old_first;
  std::size_t old_last;
  std::size_t new_first;
  std::size_t new_last;
};

std::vector<std::string_view> lines_with_ends(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    lines.push_back(text.substr(0, until_newline(text).size() + 1));
    text.remove_prefix(lines.back().size());
  }
  return lines;
}

using Lines = std::vector<std::string_view>;

/// Returns the runs of lines that differ, by the longest common subsequence.
std::vector<LineChange> changes_between(const Lines& before, const Lines& after) {
  std::unordered_map<std::string_view, std::uint32_t> keys;
  const auto keys_of = [&](const Lines& lines) {
    Sequence sequence;
    for (const std::string_view line : lines) {
      const auto key = static_cast<std::uint32_t>(keys.size());
      sequence.push_back(keys.emplace(line, key).first->second);
    }
    return sequence;
  };
  const Sequence old_keys = keys_of(before);
  std::vector<CommonPair> common = common_subsequence(old_keys, keys_of(after));
  common.push_back({before.size(), after.size()});
  std::vector<LineChange> changes;
  CommonPair next{0, 0};
  for (const CommonPair& pair : common) {
    if (pair.a > next.a || pair.b > next.b) changes.push_back({next.a, pair.a, next.b, pair.b});
    next = {pair.a + 1, pair.b + 1};
  }
  return changes;
}

void add_lines(std::string& diff, char mark, const Lines& lines, std::size_t from, std::size_t to) {
  for (; from < to; ++from) {
    diff.append(1, mark).append(lines[from]);
    if (lines[from].back() != '\n') diff += "\n\\ No newline at end of file\n";
  }
}

/// Returns "12,7" for a part of a hunk: its first line, counted from 1, and how many there are.
std::string part_text(std::size_t from, std::size_t to) {
  return std::to_string(from == to ? from : from + 1) + "," + std::to_string(to - from);
}

/// Adds changes that have at most the same context between them.
void add_hunk(std::string& diff, const Lines& before, const Lines& after, const LineChange* first,
              const LineChange* last) {
  const std::size_t lead = std::min(kContext, first->old_first);
  const std::size_t trail = std::min(kContext, before.size() - last->old_last);
  diff += "@@ -" + part_text(first->old_first - lead, last->old_last + trail) + " +" +
          part_text(first->new_first - lead, last->new_last + trail) + " @@\n";
  std::size_t at = first->old_first - lead;
  for (const LineChange* change = first; change <= last; ++change) {
    add_lines(diff, ' ', before, at, change->old_first);
    add_lines(diff, '-', before, change->old_first, change->old_last);
    add_lines(diff, '+', after, change->new_first, change->new_last);
    at = change->old_last;
  }
  add_lines(diff, ' ', before, at, at + trail);
}

/// Returns a name for the head of a diff, as git and patch read it: with a tab after blanks.
std::string head_name(const char* side, std::string_view path) {
  return std::string(side).append(path).append(contains(path, " ") ? "\t" : "");
}

}  // namespace

std::string unified_diff(std::string_view path, std::string_view before, std::string_view after) {
  if (before == after) return {};
  const Lines old_lines = lines_with_ends(before);
  const Lines new_lines = lines_with_ends(after);
  const std::vector<LineChange> changes = changes_between(old_lines, new_lines);
  std::string diff = "--- " + head_name("a/", path) + "\n+++ " + head_name("b/", path) + "\n";
  const LineChange* end = changes.data() + changes.size();
  for (const LineChange* first = changes.data(); first != end;) {
    const LineChange* last = first;
    while (last + 1 != end && (last + 1)->old_first - last->old_last <= 2 * kContext) ++last;
    add_hunk(diff, old_lines, new_lines, first, last);
    first = last + 1;
  }
  return diff;
}

}  // namespace kovo::check
