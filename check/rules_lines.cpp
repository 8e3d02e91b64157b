// Rules about lines, before anything is made of their keys.
#include "check/check_context.h"
#include "frame/text.h"

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

void check_byte_order_mark(CheckContext& context) {
  if (context.source.mark == ByteOrderMark::kUtf16) {
    add_finding(context, {1, 1, 2}, "the file is UTF-16: the zero bytes in it end every line",
                "save it as plain text (UTF-8 without byte order mark)");
  }
  if (context.source.mark == ByteOrderMark::kUtf8) {
    add_finding(context, {1, 1, 3},
                "the file begins with a byte order mark, which becomes part of the first key",
                "save it as UTF-8 without byte order mark", "");
  }
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
  add_finding(context, found.first,
              counted(found.count, "line") + (found.count == 1 ? " ends" : " end") +
                  " in a carriage return, which becomes part of the value",
              "save the file with Unix line ends (LF), or: sed -i 's/\\r$//' FILE", "",
              std::move(others));
}

void check_zero_bytes(CheckContext& context) {
  const LineKind& found = context.source.zero_bytes;
  if (found.count == 0 || context.source.mark == ByteOrderMark::kUtf16) return;
  add_finding(context, found.first,
              counted(found.count, "line") + (found.count == 1 ? " holds" : " hold") +
                  " a zero byte: what follows it in the line is not read",
              "remove the zero bytes");
}

bool has_trimmed_value(const DefinitionEntry& entry) {
  return entry.parts > 0 && entry.field != kTriggerField;
}

/// Reports a line once: blanks before the key, around the "=", or after the value.
void check_blanks(CheckContext& context, std::uint32_t position, const DefinitionEntry& entry) {
  const std::string key = raw_key(entry);
  const std::string_view good_key = trimmed(key);
  const std::string_view value = entry.value;
  const std::string_view good_value = has_trimmed_value(entry) ? trimmed(value) : value;
  if (good_key.size() == key.size() && good_value.size() == value.size()) return;
  if (good_key.empty()) return;

  const auto before_key = static_cast<std::size_t>(good_key.data() - key.data());
  const std::size_t after_key = key.size() - before_key - good_key.size();
  const std::size_t before_value = good_value.empty()
                                       ? value.size()
                                       : static_cast<std::size_t>(good_value.data() - value.data());
  SourceRange range = key_range(context, position);
  std::string fix;
  if (before_key > 0) {
    range = part_of(range, 0, before_key);
  } else if (after_key + before_value > 0) {
    range = part_of(range, key.size() - after_key, after_key + 1 + before_value);
    fix = "=";
  } else {
    range = part_of(value_range(context, position), good_value.size(),
                    value.size() - good_value.size());
  }
  const bool in_key = before_key + after_key > 0;
  add_finding(
      context, range,
      in_key ? "blanks around a key are part of it" : "blanks around a value are part of it",
      "write " + shown(std::string(good_key) + "=" + std::string(good_value)), fix);
}

}  // namespace

void check_no_equals(CheckContext& context) {
  for (const SourceLine& line : context.source.lines) {
    if (line.text.empty() || line.column > static_cast<std::int32_t>(kMaxMessage)) continue;
    if (split_key_value(line.text).found) continue;
    const std::string meant = meant_line(line.text);
    std::string hint = "write key=value, or remove the line";
    if (looks_like_comment(line.text)) hint = kNoComments;
    if (trimmed(line.text).empty()) hint = "remove the blanks";
    if (!meant.empty()) hint = "write " + shown(meant);
    add_finding(context, {line.number, line.column, static_cast<std::int32_t>(line.text.size())},
                "the line holds no \"=\" and is not read", std::move(hint),
                meant.empty() ? std::nullopt : std::optional(meant));
  }
}

/// Reports a long line at the first byte of its second piece.
void check_long_line(CheckContext& context) {
  for (const SourceLine& line : context.source.lines) {
    if (line.column != static_cast<std::int32_t>(kMaxMessage) + 1 || line.read.empty()) continue;
    add_finding(context, {line.number, line.column, static_cast<std::int32_t>(line.read.size())},
                "the line is longer than 2047 bytes: what follows is read as a line of its own",
                "shorten the line; what does not fit goes into another step");
  }
}

void check_line_end(CheckContext& context) {
  check_byte_order_mark(context);
  check_carriage_returns(context);
  check_zero_bytes(context);
}

void check_blank(CheckContext& context) {
  for (std::uint32_t at = 0; at < context.source.entries.size(); ++at) {
    check_blanks(context, at, entry_at(context, at));
  }
}

}  // namespace kovo::check
