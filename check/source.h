// A definition file as the daemon reads it, with the line of each entry.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "check/findings.h"
#include "core/definition_entry.h"

namespace kovo::check {

/// One line, or one piece of a line that is longer than the daemon's buffer.
struct SourceLine {
  std::int32_t number;    // of the line in the file
  std::int32_t column;    // of the first byte of `text`
  std::string_view read;  // as the daemon reads it, without its newline
  std::string_view text;  // the same without byte order mark and carriage return
  bool has_nul;           // after `read`
};

enum class ByteOrderMark { kNone, kUtf8, kUtf16 };

struct Source {
  std::vector<SourceLine> lines;
  bool cr_only = false;  // its lines end in CR, and hardly one in a newline
  ByteOrderMark mark = ByteOrderMark::kNone;

  // Faulty line ends are reported once; the rules see the lines as if these were fixed. The daemon
  // has the same entries unless `as_read` is filled.
  DefinitionEntries definitions;
  std::vector<DefinitionEntry> entries;    // those of `definitions`
  std::vector<std::uint32_t> entry_lines;  // position in `lines` of each entry
  DefinitionEntries as_read;               // empty when it is the same
};

/// Reads a whole file; the text must outlive the result.
Source read_source(std::string_view text);

/// Returns a whole line of the file, without its newline.
std::string_view whole_line(const Source& source, std::int32_t number);

/// Returns the bytes of a range, as far as its line has them.
std::string_view bytes_at(const Source& source, const SourceRange& range);

/// Returns the entries that the daemon has.
const DefinitionEntries& daemon_entries(const Source& source);

}  // namespace kovo::check
