// Fixes are applied in passes, since one may make the next possible or overlap it. In each pass all
// of them are applied, and the result is checked. If errors grew, the fixes are applied event by
// event, and those of an event one by one only if they do harm together: a line may be right only
// together with the other lines of its event.
#include "check/fixes.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "check/source.h"
#include "check/words.h"
#include "core/definition_entry.h"
#include "core/text.h"

namespace kovo::check {
namespace {

constexpr int kMaxPasses = 20;  // two fixes that undo each other would never end

// How many bytes may be checked: a file with thousands of harmful fixes would take minutes.
constexpr std::size_t kToApply = std::size_t{16} << 20;  // a few seconds
constexpr std::size_t kToOffer = std::size_t{1} << 20;   // the page checks while one types

bool is_certain(const Finding& finding) {
  return finding.fix && finding.severity != Severity::kNote && finding.hint.rfind(kGuess, 0) != 0;
}

/// Returns the event name of a line in lower case and without blanks: fixes may change both.
std::string event_of(const Source& source, std::int32_t line) {
  const std::string_view text = whole_line(source, line);
  const std::string_view key = trimmed(text.substr(0, text.find_first_of("=:")));
  return lower_ascii(trimmed(split_definition_key(key, {}).name));
}

/// How many errors and lines of the same key an event has.
using Harm = std::map<std::string, std::size_t>;

/// Counts all errors, or only those that the next pass does not fix.
Harm harm_of(const Source& source, const Findings& findings, bool ignores_fixable = false) {
  Harm harm;
  for (const Finding& finding : findings) {
    const bool is_duplicate = finding.rule->check == check_duplicate_key;
    if (finding.severity != Severity::kError && !is_duplicate) continue;
    if (ignores_fixable && is_certain(finding)) continue;
    ++harm[event_of(source, finding.range.line)];
  }
  return harm;
}

bool is_worse(const Harm& now, const Harm& before) {
  return std::any_of(now.begin(), now.end(), [&](const Harm::value_type& of) {
    const auto earlier = before.find(of.first);
    return of.second > (earlier == before.end() ? 0 : earlier->second);
  });
}

using Fixes = std::vector<const Finding*>;

/// One pass over a text: how bad it is, and what is kept of its fixes so far.
struct Pass {
  std::string_view text;
  const CheckOptions& options;
  std::size_t& budget;
  Harm before;
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
bool keep(Pass& pass, const Fixes& fixes) {
  if (pass.budget < pass.text.size()) return false;
  pass.budget -= pass.text.size();
  Fixes all = pass.kept;
  all.insert(all.end(), fixes.begin(), fixes.end());
  const std::string fixed = with_fixes(pass.text, all);
  const Source source = read_source(fixed);
  if (is_worse(harm_of(source, check_source(source, pass.options), true), pass.before)) {
    return false;
  }
  pass.kept = std::move(all);
  return true;
}

/// Returns the fixes that do harm neither together nor, if they do, event by event or one by one.
/// An earlier one goes before a later one that overlaps it.
Fixes harmless_fixes(Pass pass, const Source& source, const Fixes& fixes) {
  Fixes all;
  std::map<std::string, Fixes> by_event;
  std::set<std::pair<std::int32_t, std::int32_t>> replaced;  // bytes: line and column
  for (const Finding* finding : fixes) {
    bool is_free = true;
    for (const Edit& edit : edits_of(*finding)) {
      for (std::int32_t at = 0; at < std::max(edit.range.length, 1); ++at) {
        is_free = replaced.emplace(edit.range.line, edit.range.column + at).second && is_free;
      }
    }
    if (!is_free) continue;
    all.push_back(finding);
    by_event[event_of(source, finding->range.line)].push_back(finding);
  }
  if (all.empty() || keep(pass, all)) return all;
  for (const auto& [event, own] : by_event) {
    if ((by_event.size() > 1 && keep(pass, own)) || own.size() == 1) continue;
    for (const Finding* finding : own) keep(pass, {finding});
  }
  return pass.kept;
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
  FixedText fixed{std::string(text)};
  std::size_t budget = kToApply;
  std::size_t errors_before = 0;
  std::size_t errors = 0;
  for (int number = 0; number <= kMaxPasses; ++number) {
    const Source source = read_source(fixed.text);
    const Findings findings = check_source(source, options);
    errors = count_of(findings, Severity::kError);
    if (number == 0) errors_before = errors;
    Fixes certain;
    for (const Finding& finding : findings) {
      if (is_certain(finding)) certain.push_back(&finding);
    }
    const Pass pass{fixed.text, options, budget, harm_of(source, findings)};
    const Fixes kept = harmless_fixes(pass, source, certain);
    if (kept.empty() || number == kMaxPasses) break;
    fixed.text = with_fixes(fixed.text, kept);
    fixed.fixes += kept.size();
  }
  // A fix whose error the next pass should have fixed did harm.
  if (errors > errors_before) return {std::string(text)};
  return fixed;
}

void remove_harmful_fixes(std::string_view text, const Source& source, const CheckOptions& options,
                          Findings& findings) {
  Fixes fixes;
  for (const Finding& finding : findings) {
    if (finding.fix) fixes.push_back(&finding);
  }
  std::size_t budget = kToOffer;
  const Pass pass{text, options, budget, harm_of(source, findings)};
  const Fixes kept = harmless_fixes(pass, source, fixes);
  const std::set<const Finding*> harmless(kept.begin(), kept.end());
  for (Finding& finding : findings) {
    if (harmless.count(&finding) > 0) continue;
    finding.fix.reset();
    finding.also.clear();
  }
}

}  // namespace kovo::check
