// Rules about lines, before anything is made of their keys.
#include "check/keys.h"
#include "check/rules.h"
#include "frame/text.h"

namespace kovo::check {
namespace {

/// "DoorCount: 2" and "DoorCount 2" were meant as "DoorCount=2"; "" for anything else.
std::string meant_line(std::string_view text) {
  const std::size_t at = text.find_first_of(": \t");
  if (at == std::string_view::npos) return {};
  const std::string key(text.substr(0, at));
  if (!is_known(split_definition_key(key, {}))) return {};
  const std::size_t value = text.find_first_not_of(": \t", at);
  return key + "=" + std::string(value == std::string_view::npos ? "" : text.substr(value));
}

void check_no_equals(Checking& checking, const SourceLine& line) {
  if (line.text.empty() || line.column > static_cast<std::int32_t>(kMaxMessage)) return;
  if (split_key_value(line.text).found) return;
  const Place place{line.number, line.column, static_cast<std::int32_t>(line.text.size())};
  std::string hint = "write key=value, or remove the line";
  const std::string meant = meant_line(line.text);
  if (looks_like_comment(line.text)) hint = kNoComments;
  if (trimmed(line.text).empty()) hint = "remove the blanks";
  if (!meant.empty()) hint = "write " + shown(meant);
  Finding& finding = tell(checking, Rule::kNoEquals, place,
                          "the line holds no \"=\" and is not read", std::move(hint));
  if (!meant.empty()) finding.mend = meant;
}

/// Told at the first byte of the second piece.
void check_long_line(Checking& checking, const SourceLine& line) {
  if (line.column != static_cast<std::int32_t>(kMaxMessage) + 1 || line.read.empty()) return;
  const Place place{line.number, line.column, static_cast<std::int32_t>(line.read.size())};
  tell(checking, Rule::kLongLine, place,
       "the line is longer than 2047 bytes: what follows is read as a line of its own",
       "shorten the line; what does not fit goes into another step");
}

void check_carriage_returns(Checking& checking) {
  const LineKind& found = checking.source.carriage_returns;
  if (found.count == 0) return;
  tell(checking, Rule::kLineEnd, found.first,
       counted(found.count, "line") + (found.count == 1 ? " ends" : " end") +
           " in a carriage return, which becomes part of the value",
       "save the file with Unix line ends (LF), or: sed -i 's/\\r$//' FILE");
}

void check_byte_order_mark(Checking& checking) {
  if (checking.source.mark == ByteOrderMark::kUtf16) {
    tell(checking, Rule::kLineEnd, {1, 1, 2},
         "the file is UTF-16: the zero bytes in it end every line",
         "save it as plain text (UTF-8 without byte order mark)");
  }
  if (checking.source.mark == ByteOrderMark::kUtf8) {
    tell(checking, Rule::kLineEnd, {1, 1, 3},
         "the file begins with a byte order mark, which becomes part of the first key",
         "save it as UTF-8 without byte order mark")
        .mend = "";
  }
}

void check_zero_bytes(Checking& checking) {
  const LineKind& found = checking.source.zero_bytes;
  if (found.count == 0 || checking.source.mark == ByteOrderMark::kUtf16) return;
  tell(checking, Rule::kLineEnd, found.first,
       counted(found.count, "line") + (found.count == 1 ? " holds" : " hold") +
           " a zero byte: what follows it in the line is not read",
       "remove the zero bytes");
}

bool has_trimmed_value(const DefinitionEntry& entry) {
  return entry.parts > 0 && entry.field != "XMLfield";
}

/// Told once a line: before the key, around the "=", or behind the value.
void check_blanks(Checking& checking, std::uint32_t position, const DefinitionEntry& entry) {
  const std::string key = raw_key(entry);
  const std::string_view good_key = trimmed(key);
  const std::string_view value = entry.value;
  const std::string_view good_value = has_trimmed_value(entry) ? trimmed(value) : value;
  if (good_key.size() == key.size() && good_value.size() == value.size()) return;
  if (good_key.empty()) return;  // no key at all

  const auto before = static_cast<std::size_t>(good_key.data() - key.data());
  const std::size_t behind_key = key.size() - before - good_key.size();
  const std::size_t before_value = good_value.empty()
                                       ? value.size()
                                       : static_cast<std::size_t>(good_value.data() - value.data());
  Place place = key_place(checking, position);
  std::string mend;
  if (before > 0) {
    place = part_of(place, 0, before);
  } else if (behind_key + before_value > 0) {
    place = part_of(place, key.size() - behind_key, behind_key + 1 + before_value);
    mend = "=";
  } else {
    const std::size_t behind = value.size() - good_value.size();
    place = part_of(value_place(checking, position), good_value.size(), behind);
  }
  const bool in_key = before + behind_key > 0;
  tell(checking, Rule::kBlank, place,
       in_key ? "blanks around a key are part of it" : "blanks around a value are part of it",
       "write " + shown(std::string(good_key) + "=" + std::string(good_value)))
      .mend = mend;
}

}  // namespace

void check_lines(Checking& checking) {
  check_byte_order_mark(checking);
  check_carriage_returns(checking);
  check_zero_bytes(checking);
  if (checking.source.mark == ByteOrderMark::kUtf16) return;
  for (const SourceLine& line : checking.source.lines) {
    check_no_equals(checking, line);
    check_long_line(checking, line);
  }
  std::uint32_t position = 0;
  for (const DefinitionEntry& entry : checking.source.entries) {
    check_blanks(checking, position++, entry);
  }
}

}  // namespace kovo::check
