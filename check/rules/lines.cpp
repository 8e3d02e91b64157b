// Rules about lines, before their keys are looked at.
#include <algorithm>

#include "check/rules/context.h"
#include "core/text.h"

namespace kovo::check {
namespace {

void check_carriage_returns(CheckContext& context) {
  std::vector<Edit> edits;
  for (const SourceLine& line : context.source.lines) {
    const auto column = line.column + static_cast<std::int32_t>(line.text.size());
    const bool has_it = line.text.data() + line.text.size() < line.read.data() + line.read.size();
    if (has_it) edits.push_back({{line.number, column, 1}, ""});
  }
  if (edits.empty()) return;
  const SourceRange first = edits.front().range;
  const std::string text =
      fmt::format("CR at the end of {} becomes part of the value", counted(edits.size(), "line"));
  edits.erase(edits.begin());
  add_finding(context, Severity::kError, first, text,
              "save the file with Unix line endings (LF), or: sed -i 's/\\r$//' FILE", "",
              std::move(edits));
}

void check_nuls(CheckContext& context) {
  const std::vector<SourceLine>& lines = context.source.lines;
  const auto first =
      std::find_if(lines.begin(), lines.end(), [](const SourceLine& line) { return line.has_nul; });
  if (first == lines.end()) return;
  add_finding(context, Severity::kError,
              {first->number, first->column + static_cast<std::int32_t>(first->read.size()), 1},
              "the rest of the line after a NUL is ignored", "remove the NULs");
}

/// Returns whether blanks around a value are reported here: not in a payload or an address, which
/// "data" and "address" report, nor in a trigger of the device, which "trigger" does.
bool has_trimmed_value(const CheckContext& context, const DefinitionEntry& entry) {
  if (entry.field == kDataField) return trimmed(entry.value).empty();
  if (entry.field == kTriggerField) {
    return !trimmed(entry.value).empty() && raised_spelling(context, entry.value).empty();
  }
  return entry.parts > 0 && entry.field != kIpField;
}

/// Reports a line once, from its first to its last wrong blank.
void check_blanks(CheckContext& context, std::uint32_t position, const DefinitionEntry& entry) {
  const std::string key = raw_key(entry);
  const std::string_view good_key = trimmed(key);
  const bool key_has_blanks = good_key.size() < key.size();
  const bool trims_value = key_has_blanks || has_trimmed_value(context, entry);
  const std::string_view good_value = trims_value ? trimmed(entry.value) : entry.value;
  if (good_key.empty() || looks_like_comment(good_key)) return;
  if (!key_has_blanks && good_value.size() == entry.value.size()) return;

  const std::string right = fmt::format("{}={}", good_key, good_value);
  SourceRange range = key_range(context, position);
  range.length = static_cast<std::int32_t>(key.size() + 1 + entry.value.size());
  std::string fix = right;
  narrow_fix(fmt::format("{}={}", key, entry.value), range, fix);
  const bool is_trigger = !key_has_blanks && entry.field == kTriggerField;
  const bool after_index = acts_on(entry) && !is_known(entry) && good_key.data() == key.data();
  const char* what = key_has_blanks && !after_index ? "key" : is_trigger ? "trigger" : "value";
  std::string text = fmt::format("the blanks around the {} are part of it", what);
  if (after_index && good_value == entry.value)
    text = "the blanks after the step number do nothing";
  add_finding(
      context,
      key_has_blanks ? severity_of_missed(context, std::string(good_key)) : Severity::kWarning,
      range, text,
      is_trigger ? fmt::format("{}{}?", kGuess, shown(right)) : "write " + shown(right), fix);
}

}  // namespace

void check_no_equals(CheckContext& context) {
  for (const SourceLine& line : context.source.lines) {
    if (line.text.empty() || line.column > static_cast<std::int32_t>(kMaxMessage)) continue;
    if (split_key_value(line.text).found || looks_like_comment(line.text)) continue;
    add_finding(
        context, Severity::kWarning,
        {line.number, line.column, static_cast<std::int32_t>(line.text.size())},
        "the line contains no \"=\" and is ignored",
        trimmed(line.text).empty() ? "remove the blanks" : "write key=value, or remove the line");
  }
}

/// Reports a long line at the first byte of its second piece.
void check_long_line(CheckContext& context) {
  for (const SourceLine& line : context.source.lines) {
    if (line.column != static_cast<std::int32_t>(kMaxMessage) + 1 || line.read.empty()) continue;
    add_finding(context, Severity::kError,
                {line.number, line.column, static_cast<std::int32_t>(line.read.size())},
                "the line is longer than 2047 bytes: the rest is read as another line",
                "shorten the line, or move a part of the payload to another step");
  }
}

void check_line_end(CheckContext& context) {
  if (context.source.mark == ByteOrderMark::kUtf16) {
    add_finding(context, Severity::kError, {1, 1, 2},
                "the file is UTF-16: the NULs in it end every line",
                "save it as UTF-8 without byte order mark");
    return;
  }
  if (context.source.mark == ByteOrderMark::kUtf8) {
    add_finding(context, Severity::kError, {1, 1, 3},
                "the file begins with a byte order mark, which becomes part of the first key",
                "save it as UTF-8 without byte order mark", "");
  }
  if (context.source.cr_only) {
    add_finding(context, Severity::kError, {1, 1, 0},
                "the lines end in CR only, so that the daemon reads them as one line",
                "save the file with Unix line endings (LF), or: tr '\\r' '\\n' <FILE >NEW");
  } else {
    check_carriage_returns(context);
  }
  check_nuls(context);
}

void check_blank(CheckContext& context) {
  for (std::uint32_t at = 0; at < context.source.entries.size(); ++at) {
    check_blanks(context, at, entry_at(context, at));
  }
  check_similar(context, true);
}

}  // namespace kovo::check
