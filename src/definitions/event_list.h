// The two compiled event lists of the central state: rebuilt from the definition entries, and
// searched for events to run.
#pragma once

#include <string>
#include <string_view>

#include "definitions/definition_entry.h"
#include "definitions/event_compiler.h"
#include "definitions/event_definition.h"

namespace kovo {

struct CentralState;

/// Returns what prints, with -d, decoded payloads and compiled steps; null without -d.
const DefinitionTrace* debug_trace();

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
