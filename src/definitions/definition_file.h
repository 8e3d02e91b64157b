// The event definition file and the test definition file: read into lists of entries and written
// out again as derived copies. Other software edits the files; the daemon writes one only when it
// is missing.
//
// No lock: the normal list is changed by the main thread alone, the test list by the queue worker
// alone.
#pragma once

#include <string>

#include "definitions/definition_entry.h"

namespace kovo {

struct CentralState;

/// Reads a definition file into its list and writes the derived copies. Test flag 0 takes
/// definition_path into definition_entries, 1 test_definition_path into test_definition_entries.
/// A missing file is created with the defaults first. Refreshes the events enable flag.
/// Returns 0, or -1 when the file cannot be read even then or holds more than kMaxDefinitionBytes;
/// the list is unchanged in that case.
int renew_kovo_txt(CentralState& state, int test);

/// Write a derived copy. 0, or -1 when the file cannot be written.
int write_definitions_raw(const DefinitionEntries& entries, const std::string& path);
int write_definitions_ascii(const DefinitionEntries& entries, const std::string& path);

}  // namespace kovo
