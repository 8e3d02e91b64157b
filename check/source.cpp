#include "check/source.h"

#include <algorithm>
#include <utility>

#include "core/definition_entry.h"
#include "core/text.h"

namespace kovo::check {
namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

ByteOrderMark mark_of(std::string_view text) {
  if (text.substr(0, 3) == kUtf8Mark) return ByteOrderMark::kUtf8;
  const std::string_view start = text.substr(0, 2);
  return start == "\xFF\xFE" || start == "\xFE\xFF" ? ByteOrderMark::kUtf16 : ByteOrderMark::kNone;
}

/// One piece as the daemon's line buffer holds it; `whole` is false when the line goes on.
void add_piece(Source& source, std::int32_t number, std::size_t offset, std::string_view piece,
               bool whole) {
  const std::string_view read = until_nul(piece);
  const bool has_nul = read.size() < piece.size();
  SourceLine line{number, static_cast<std::int32_t>(offset) + 1, read, read, has_nul};
  if (whole && !read.empty() && read.back() == '\r') line.text.remove_suffix(1);
  if (number == 1 && offset == 0 && source.mark == ByteOrderMark::kUtf8) {
    line.text.remove_prefix(std::min(kUtf8Mark.size(), line.text.size()));
    line.column += static_cast<std::int32_t>(kUtf8Mark.size());
  }
  source.lines.push_back(line);
}

void split_into_pieces(Source& source, std::string_view text) {
  std::int32_t number = 0;
  while (!text.empty()) {
    const std::string_view line = until_newline(text);
    const bool has_end = line.size() < text.size();
    ++number;
    // A newline after a full buffer makes an empty piece, which is no entry.
    std::size_t offset = 0;
    do {
      const std::string_view piece = line.substr(offset, kMaxMessage);
      add_piece(source, number, offset, piece, offset + piece.size() == line.size());
      offset += piece.size();
    } while (offset < line.size());
    text.remove_prefix(line.size() + (has_end ? 1 : 0));
  }
}

}  // namespace

Source read_source(std::string_view text) {
  Source source;
  source.mark = mark_of(text);
  const auto newlines = std::count(text.begin(), text.end(), '\n');
  source.cr_only = std::count(text.begin(), text.end(), '\r') > 2 * newlines + 1;
  split_into_pieces(source, text);
  std::string judged;
  std::string as_read;
  for (std::size_t at = 0; at < source.lines.size(); ++at) {
    const std::size_t size = judged.size();
    add_definition_line(judged, source.lines[at].text);
    add_definition_line(as_read, source.lines[at].read);
    if (judged.size() > size) source.entry_lines.push_back(static_cast<std::uint32_t>(at));
  }
  source.definitions = DefinitionEntries(std::move(judged));
  for (const DefinitionEntry& entry : source.definitions) source.entries.push_back(entry);
  if (as_read != *source.definitions.text) source.as_read = DefinitionEntries(std::move(as_read));
  return source;
}

std::string_view whole_line(const Source& source, std::int32_t number) {
  const auto first = std::lower_bound(
      source.lines.begin(), source.lines.end(), number,
      [](const SourceLine& line, std::int32_t wanted) { return line.number < wanted; });
  if (first == source.lines.end() || first->number != number) return {};
  auto last = first;
  while (last + 1 != source.lines.end() && (last + 1)->number == number) ++last;
  // The pieces of a line follow each other in memory.
  const char* end = last->read.data() + last->read.size();
  return {first->read.data(), static_cast<std::size_t>(end - first->read.data())};
}

std::string_view bytes_at(const Source& source, const SourceRange& range) {
  const std::string_view line = whole_line(source, range.line);
  const auto at = static_cast<std::size_t>(range.column) - 1;
  return at < line.size() ? line.substr(at, static_cast<std::size_t>(range.length))
                          : line.substr(0, 0);
}

const DefinitionEntries& daemon_entries(const Source& source) {
  return source.as_read.text->empty() ? source.definitions : source.as_read;
}

}  // namespace kovo::check
