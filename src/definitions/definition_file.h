// The event definition file and the test definition file: key=value lines, read into lists of
// entries and written out again as derived copies. Other software edits the files; the daemon
// writes one only when it is missing.
//
// No lock: the normal list is changed by the main thread alone, the test list by the queue worker
// alone.
#pragma once

#include <string>
#include <string_view>

#include "definitions/definition_entry.h"

namespace kovo {

struct CentralState;

/// Reads a definition file into its list and writes the derived copies. Test flag 0 takes
/// definition_path into definition_entries, 1 test_definition_path into test_definition_entries.
/// A missing file is created with the defaults first. Refreshes the events enable flag.
/// Returns 0, or -1 when the file cannot be read even then; the list is unchanged in that case.
int renew_kovo_txt(CentralState& state, int test);

/// Splits a key into event name, field word and index and appends the entry to the list. The first
/// field word, in their fixed order, whose first occurrence lies behind the key's first character
/// is taken.
void split_definition_key(DefinitionEntries& entries, std::string_view key, std::string_view value);

/// Parses one line, with or without its line feed; a line without "=" adds nothing.
void parse_definition_line(DefinitionEntries& entries, std::string_view line);

/// The ten default lines; events_enabled decides the first.
std::string default_definitions(bool events_enabled);

/// The entries as lines of a derived copy: as they were read, or with Data values decoded.
std::string definitions_raw(const DefinitionEntries& entries);
std::string definitions_ascii(const DefinitionEntries& entries);

/// Write a derived copy. 0, or -1 when the file cannot be written.
int write_definitions_raw(const DefinitionEntries& entries, const std::string& path);
int write_definitions_ascii(const DefinitionEntries& entries, const std::string& path);

}  // namespace kovo
