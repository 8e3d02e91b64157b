// Fixes are applied in passes, since one may make the next possible or overlap it. In each pass the
// result is checked. If it is worse than before, the fixes are divided, by event at first (a line
// may be right only together with the other lines of its event), until the harmful ones are found.
#include "check/fixes.h"

#include <algorithm>
#include <map>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "check/lcs.h"
#include "check/source.h"
#include "check/words.h"
#include "core/definition_entry.h"
#include "core/text.h"

namespace kovo::check {
namespace {

constexpr int kMaxPasses = 20;  // two fixes that undo each other would never end

/// How much may still be checked: a file with thousands of harmful fixes would take minutes.
struct Budget {
  std::size_t checks;
  std::size_t bytes;
};
constexpr Budget kToApply = {1000, std::size_t{16} << 20};  // a few seconds
constexpr Budget kToOffer = {100, std::size_t{1} << 20};    // the page checks while one types

constexpr std::size_t kContext = 3;  // unchanged lines around a change in a diff

enum class Judging {
  kLeftOver,  // an error with a fix of its own is none: the next pass fixes it
  kStrict,
};

bool is_certain(const Finding& finding) {
  return finding.fix && finding.severity != Severity::kNote && finding.hint.rfind(kGuess, 0) != 0;
}

/// Returns the event name of a line in lower case and without blanks: fixes may change both.
std::string event_of(std::string_view line) {
  const std::string_view key = trimmed(line.substr(0, line.find_first_of("=:")));
  return lower_ascii(trimmed(split_definition_key(key, {}).name));
}

std::vector<std::string> events_of_lines(const Source& source) {
  std::vector<std::string> events;
  for (const SourceLine& line : source.lines) {
    if (line.number > static_cast<std::int32_t>(events.size())) {
      events.push_back(event_of(line.text));
    }
  }
  if (events.empty()) events.emplace_back();  // an empty file has findings on line 1
  return events;
}

/// What must not become more: errors and lines of the same key, by event and rule.
using Harm = std::map<std::pair<std::string, const RuleInfo*>, std::size_t>;

Harm harm_of(const Source& source, const Findings& findings, Judging judging) {
  Harm harm;
  const std::vector<std::string> events = events_of_lines(source);
  for (const Finding& finding : findings) {
    const bool is_duplicate = finding.rule->check == check_duplicate_key;
    if (finding.severity != Severity::kError && !is_duplicate) continue;
    if (judging == Judging::kLeftOver && is_certain(finding)) continue;
    ++harm[{events[static_cast<std::size_t>(finding.range.line) - 1], finding.rule}];
  }
  return harm;
}

bool is_worse(const Harm& now, const Harm& before) {
  return std::any_of(now.begin(), now.end(), [&](const Harm::value_type& of) {
    const auto earlier = before.find(of.first);
    return earlier == before.end() || of.second > earlier->second;
  });
}

using Fixes = std::vector<const Finding*>;

/// One pass over a text: what is kept of its fixes so far, and how bad the result is.
struct Pass {
  std::string_view text;
  const CheckOptions& options;
  Judging judging;
  Budget& budget;
  Harm harm{};
  Fixes kept{};
};

std::string with_fixes(std::string_view text, const Fixes& fixes) {
  std::vector<Edit> edits;
  for (const Finding* finding : fixes) {
    const std::vector<Edit> own = edits_of(*finding);
    edits.insert(edits.end(), own.begin(), own.end());
  }
  return with_edits(text, std::move(edits));
}

/// Keeps fixes if the result is not worse.
bool keep_all(Pass& pass, const std::vector<Fixes>& groups) {
  if (pass.budget.checks == 0 || pass.budget.bytes < pass.text.size()) return false;
  --pass.budget.checks;
  pass.budget.bytes -= pass.text.size();
  Fixes all = pass.kept;
  for (const Fixes& group : groups) all.insert(all.end(), group.begin(), group.end());
  const std::string fixed = with_fixes(pass.text, all);
  const Source source = read_source(fixed);
  Harm harm = harm_of(source, check_source(source, pass.options), pass.judging);
  if (is_worse(harm, pass.harm)) return false;
  pass.harm = std::move(harm);
  pass.kept = std::move(all);
  return true;
}

void keep_harmless(Pass& pass, const std::vector<Fixes>& groups) {
  if (groups.empty() || keep_all(pass, groups)) return;
  if (groups.size() > 1) {
    const auto middle = groups.begin() + static_cast<std::ptrdiff_t>(groups.size() / 2);
    keep_harmless(pass, {groups.begin(), middle});
    keep_harmless(pass, {middle, groups.end()});
  } else if (groups.front().size() > 1) {
    std::vector<Fixes> single;
    for (const Finding* finding : groups.front()) single.push_back({finding});
    keep_harmless(pass, single);
  }
}

/// The bytes that are replaced already, by line and column: where each range ends.
using Taken = std::map<std::pair<std::int32_t, std::int32_t>, std::int32_t>;

bool is_free(const Taken& taken, const SourceRange& range) {
  const std::int32_t end = range.column + std::max(range.length, 1);
  const auto next = taken.lower_bound({range.line, range.column});
  if (next != taken.end() && next->first.first == range.line && next->first.second < end) {
    return false;
  }
  if (next == taken.begin()) return true;
  const auto before = std::prev(next);
  return before->first.first != range.line || before->second <= range.column;
}

/// Returns the fixes that do not overlap, an earlier one before a later one, those of each event
/// together.
std::vector<Fixes> groups_of(const Source& source, const Fixes& fixes) {
  const std::vector<std::string> events = events_of_lines(source);
  std::map<std::string, Fixes> by_event;
  Taken taken;
  for (const Finding* finding : fixes) {
    const std::vector<Edit> edits = edits_of(*finding);
    const bool free = std::all_of(edits.begin(), edits.end(),
                                  [&](const Edit& edit) { return is_free(taken, edit.range); });
    if (!free) continue;
    for (const auto& [range, text] : edits) {
      taken[{range.line, range.column}] = range.column + std::max(range.length, 1);
    }
    by_event[events[static_cast<std::size_t>(finding->range.line) - 1]].push_back(finding);
  }
  std::vector<Fixes> groups;
  groups.reserve(by_event.size());
  for (auto& [event, group] : by_event) groups.push_back(std::move(group));
  return groups;
}

/// Returns those of some fixes of a text that do no harm.
Fixes harmless(std::string_view text, const Source& source, const CheckOptions& options,
               const Findings& findings, const std::vector<Fixes>& groups, Judging judging,
               Budget& budget) {
  Pass pass{text, options, judging, budget};
  pass.harm = harm_of(source, findings, judging);
  keep_harmless(pass, groups);
  return pass.kept;
}

std::size_t errors_of(std::string_view text, const CheckOptions& options) {
  return count_of(check_source(read_source(text), options), Severity::kError);
}

FixedText fix_in_passes(std::string_view text, const CheckOptions& options, Judging judging) {
  FixedText fixed{std::string(text)};
  Budget budget = kToApply;
  for (int pass = 0; pass < kMaxPasses; ++pass) {
    const Source source = read_source(fixed.text);
    const Findings findings = check_source(source, options);
    Fixes certain;
    for (const Finding& finding : findings) {
      if (is_certain(finding)) certain.push_back(&finding);
    }
    const Fixes kept = harmless(fixed.text, source, options, findings, groups_of(source, certain),
                                judging, budget);
    if (kept.empty()) break;
    fixed.text = with_fixes(fixed.text, kept);
    fixed.fixes += kept.size();
  }
  return fixed;
}

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

/// Returns a name for the head of a diff, as git and patch read it: in quotes when it holds bytes
/// that would end it, with a tab after one that holds blanks.
std::string head_name(const char* side, std::string_view path) {
  constexpr char kDigits[] = "01234567";
  std::string name = side;
  bool is_plain = true;
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    const bool is_odd = byte < ' ' || byte == 0x7F;
    is_plain = is_plain && !is_odd && c != '"' && c != '\\';
    if (is_odd) {
      name.append({'\\', kDigits[byte >> 6U], kDigits[(byte >> 3U) & 7U], kDigits[byte & 7U]});
    } else {
      if (c == '"' || c == '\\') name += '\\';
      name += c;
    }
  }
  if (!is_plain) return "\"" + name + "\"";
  return contains(name, " ") ? name + "\t" : name;
}

}  // namespace

std::vector<Edit> edits_of(const Finding& finding) {
  if (!finding.fix) return {};
  std::vector<Edit> edits = finding.also;
  edits.push_back({finding.range, *finding.fix});
  return edits;
}

std::string with_edits(std::string_view text, std::vector<Edit> edits) {
  std::sort(edits.begin(), edits.end(), [](const Edit& a, const Edit& b) {
    return std::pair(a.range.line, a.range.column) < std::pair(b.range.line, b.range.column);
  });
  std::string edited;
  std::int32_t line = 1;
  std::size_t line_start = 0;
  std::size_t done = 0;
  for (const auto& [range, replacement] : edits) {
    for (; line < range.line; ++line) line_start = text.find('\n', line_start) + 1;
    const std::size_t from = line_start + static_cast<std::size_t>(range.column) - 1;
    edited.append(text, done, from - done).append(replacement);
    done = from + static_cast<std::size_t>(range.length);
  }
  return edited.append(text, done, std::string_view::npos);
}

FixedText apply_fixes(std::string_view text, const CheckOptions& options) {
  FixedText fixed = fix_in_passes(text, options, Judging::kLeftOver);
  if (errors_of(fixed.text, options) <= errors_of(text, options)) return fixed;
  return fix_in_passes(text, options, Judging::kStrict);
}

void remove_harmful_fixes(std::string_view text, const Source& source, const CheckOptions& options,
                          Findings& findings) {
  Fixes fixes;
  for (const Finding& finding : findings) {
    if (finding.fix) fixes.push_back(&finding);
  }
  const std::vector<Fixes> groups = groups_of(source, fixes);
  Budget budget = kToOffer;
  const Fixes kept = harmless(text, source, options, findings, groups, Judging::kLeftOver, budget);
  const std::unordered_set<const Finding*> is_kept(kept.begin(), kept.end());
  for (const Fixes& group : groups) {
    for (const Finding* finding : group) {
      if (is_kept.count(finding) > 0) continue;
      Finding& harmful = findings[static_cast<std::size_t>(finding - findings.data())];
      harmful.fix.reset();
      harmful.also.clear();
    }
  }
}

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
