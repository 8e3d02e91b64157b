// Rules about lines, before their keys are looked at.
#include <algorithm>
#include <iterator>

#include "check/rules/context.h"
#include "core/text.h"

namespace kovo::check {
namespace {

/// Returns "DoorCount=2" for "DoorCount: 2" and "DoorCount 2"; "" for anything else.
std::string meant_line(std::string_view text) {
  const std::size_t at = text.find_first_of(": \t");
  if (at == std::string_view::npos) return {};
  const std::string key(text.substr(0, at));
  if (!is_known(split_definition_key(key, {}))) return {};
  const std::size_t value = text.find_first_not_of(": \t", at);
  return key + "=" + std::string(value == std::string_view::npos ? "" : text.substr(value));
}

void check_carriage_returns(CheckContext& context) {
  const LineKind& found = context.source.carriage_returns;
  if (found.count == 0) return;
  std::vector<Edit> others;
  for (const SourceLine& line : context.source.lines) {
    const auto column = line.column + static_cast<std::int32_t>(line.text.size());
    const bool has_it = line.text.data() + line.text.size() < line.read.data() + line.read.size();
    if (has_it && line.number != found.first.line) others.push_back({{line.number, column, 1}, ""});
  }
  add_error(context, found.first,
            fmt::format("{} {} in CR, which becomes part of the value",
                        counted(found.count, "line"), found.count == 1 ? "ends" : "end"),
            "save the file with Unix line endings (LF), or: sed -i 's/\\r$//' FILE", "",
            std::move(others));
}

void check_nuls(CheckContext& context) {
  const LineKind& found = context.source.nuls;
  if (found.count == 0) return;
  add_error(context, found.first,
            fmt::format("{} {} a NUL: the rest of the line is ignored",
                        counted(found.count, "line"), found.count == 1 ? "contains" : "contain"),
            "remove the NULs");
}

/// Returns whether blanks around a value are reported here: not in a payload or an address, which
/// "data" and "address" report, nor in a trigger of the device, which "trigger" does.
bool has_trimmed_value(const CheckContext& context, const DefinitionEntry& entry) {
  if (entry.field == kDataField) return trimmed(entry.value).empty();
  if (entry.field == kTriggerField) {
    return has_outer_blanks(entry.value) && raised_spelling(context, entry.value).empty();
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
  if (context.second_keys.count(position) > 0) return;
  if (!key_has_blanks && good_value.size() == entry.value.size()) return;

  const std::string line = fmt::format("{}={}", key, entry.value);
  const std::string right = fmt::format("{}={}", good_key, good_value);
  const auto end = std::mismatch(right.begin(), right.end(), line.begin()).first;
  const auto same = static_cast<std::size_t>(end - right.begin());
  const auto same_end = static_cast<std::size_t>(
      std::mismatch(right.rbegin(), std::make_reverse_iterator(end), line.rbegin()).first -
      right.rbegin());
  const bool is_trigger = !key_has_blanks && entry.field == kTriggerField;
  add_finding(
      context,
      key_has_blanks ? severity_of_missed(context, std::string(good_key)) : Severity::kWarning,
      part_of(key_range(context, position), same, line.size() - same - same_end),
      fmt::format("the blanks around the {} are part of it", key_has_blanks ? "key"
                                                             : is_trigger   ? "trigger"
                                                                            : "value"),
      is_trigger ? fmt::format("{}{}?", kGuess, shown(right)) : "write " + shown(right),
      right.substr(same, right.size() - same - same_end));
}

}  // namespace

void check_no_equals(CheckContext& context) {
  for (const SourceLine& line : context.source.lines) {
    if (line.text.empty() || line.column > static_cast<std::int32_t>(kMaxMessage)) continue;
    if (split_key_value(line.text).found || looks_like_comment(line.text)) continue;
    const std::string meant = meant_line(line.text);
    std::string hint = "write key=value, or remove the line";
    if (trimmed(line.text).empty()) hint = "remove the blanks";
    if (!meant.empty()) hint = "write " + shown(meant);
    add_warning(context, {line.number, line.column, static_cast<std::int32_t>(line.text.size())},
                "the line contains no \"=\" and is ignored", std::move(hint),
                meant.empty() ? std::nullopt : std::optional(meant));
  }
}

/// Reports a long line at the first byte of its second piece.
void check_long_line(CheckContext& context) {
  for (const SourceLine& line : context.source.lines) {
    if (line.column != static_cast<std::int32_t>(kMaxMessage) + 1 || line.read.empty()) continue;
    add_error(context, {line.number, line.column, static_cast<std::int32_t>(line.read.size())},
              "the line is longer than 2047 bytes: the rest is read as another line",
              "shorten the line, or move a part of the payload to another step");
  }
}

void check_line_end(CheckContext& context) {
  if (context.source.mark == ByteOrderMark::kUtf16) {
    add_error(context, {1, 1, 2}, "the file is UTF-16: the NULs in it end every line",
              "save it as UTF-8 without byte order mark");
    return;
  }
  if (context.source.mark == ByteOrderMark::kUtf8) {
    add_error(context, {1, 1, 3},
              "the file begins with a byte order mark, which becomes part of the first key",
              "save it as UTF-8 without byte order mark", "");
  }
  if (context.source.cr_only) {
    add_error(context, {1, 1, 0},
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
