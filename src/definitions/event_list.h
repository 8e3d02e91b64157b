// The event definition file and the test definition file, which other software edits: read into the
// two lists of entries, written as derived copies, compiled into the two event lists, and searched
// for events to run. Only the main thread uses the normal list of entries, only the queue worker
// the test list; they have no lock.
#pragma once

#include <string>
#include <string_view>

#include "definitions/event_compiler.h"

namespace kovo {

struct CentralState;

/// Returns what prints, with -d, decoded payloads and compiled steps; null without -d.
const DefinitionTrace* debug_trace();

/// Reads a definition file into its list and writes the derived copies. Test flag 0 takes
/// definition_path into definition_entries, 1 test_definition_path into test_definition_entries.
/// A missing file is created with the defaults first. Refreshes the events enable flag.
/// Returns 0, or -1 when the file cannot be read even then or holds more than kMaxDefinitionBytes;
/// the list is unchanged in that case.
int renew_kovo_txt(CentralState& state, int test);

/// Write a derived copy. Return 0, or -1 when the file cannot be written.
int write_definitions_raw(const DefinitionEntries& entries, const std::string& path);
int write_definitions_ascii(const DefinitionEntries& entries, const std::string& path);

/// Recompiles event_list from definition_entries (test 0) or test_event_list from
/// test_definition_entries (test 1), replaces it whole and writes its list file. Holds state_lock
/// for all of it. Called by the thread that has just read the entries. Returns 0.
int rebuild_kovo_event_list(CentralState& state, int test);

/// Writes the list file of one list, an event a line. Returns 0, or -1 when it cannot be written.
int write_event_list_file(const CompiledEvents& list, const std::string& path);

/// Finds the event for a name and returns a copy with its placeholders filled; the name is empty
/// when nothing matched. Test 0 looks in event_list, test 1 in test_event_list; a test copy has no
/// delay. Refreshes the status variables first, found or not, which may take two seconds. Called
/// under EventQueue.lock; takes status_lock for the refresh, state_lock for search and copy, and
/// status_lock for the placeholders, one after the other.
EventDefinition lookup_event(CentralState& state, std::string_view name, int test);

}  // namespace kovo
