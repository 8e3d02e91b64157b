#include "check/source.h"

#include <algorithm>

#include "definitions/definition_entry.h"
#include "frame/text.h"

namespace kovo::check {
namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

ByteOrderMark mark_of(std::string_view text) {
  if (text.substr(0, 3) == kUtf8Mark) return ByteOrderMark::kUtf8;
  const std::string_view start = text.substr(0, 2);
  return start == "\xFF\xFE" || start == "\xFE\xFF" ? ByteOrderMark::kUtf16 : ByteOrderMark::kNone;
}

void count_line(LineKind& kind, const SourceLine& line, std::size_t at) {
  if (kind.count++ > 0) return;
  kind.first = {line.number, line.column + static_cast<std::int32_t>(at), 1};
}

/// One piece as the daemon's line buffer holds it; `whole` is false when the line goes on.
void add_piece(Source& source, std::int32_t number, std::size_t offset, std::string_view piece,
               bool whole) {
  SourceLine line{number, static_cast<std::int32_t>(offset) + 1, until_nul(piece), {}};
  if (line.read.size() < piece.size()) count_line(source.zero_bytes, line, line.read.size());
  line.text = line.read;
  if (whole && !line.text.empty() && line.text.back() == '\r') {
    line.text.remove_suffix(1);
    count_line(source.carriage_returns, line, line.text.size());
  }
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
    // A line feed behind a full buffer makes an empty piece, which is no entry.
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
  split_into_pieces(source, text);
  for (std::size_t at = 0; at < source.lines.size(); ++at) {
    parse_definition_line(source.entries, source.lines[at].text);
    if (source.entries.size() > source.entry_lines.size()) {
      source.entry_lines.push_back(static_cast<std::uint32_t>(at));
    }
  }
  if (source.carriage_returns.count > 0 || source.mark == ByteOrderMark::kUtf8) {
    for (const SourceLine& line : source.lines) parse_definition_line(source.as_read, line.read);
  }
  return source;
}

const DefinitionEntries& daemon_entries(const Source& source) {
  return source.as_read.empty() ? source.entries : source.as_read;
}

}  // namespace kovo::check
