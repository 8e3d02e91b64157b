// The event definition file and the test definition file, which other software edits: reading,
// derived copies, the two compiled event lists, and looking up an event. Test flag 0 means the
// normal file, its entries and its list, 1 those for tests.
#pragma once

#include <string_view>

#include "core/event_compiler.h"

namespace kovo {

struct CentralState;

/// Reads a definition file into its entries and writes the derived copies. Creates a missing file
/// with the defaults first. Refreshes the events enable flag. Returns 0, or -1 when the file is
/// unreadable or holds more than kMaxDefinitionBytes: the entries then stay. Main thread for test
/// 0, queue worker for 1.
int renew_kovo_txt(CentralState& state, int test);

/// Compiles the entries, replaces the list and writes its list file. Holds state_lock throughout.
/// Called by the thread that has just read the entries. Returns 0.
int rebuild_kovo_event_list(CentralState& state, int test);

/// Finds the event for a name and returns a copy with its placeholders replaced and, for a test, no
/// delay. The name of the copy is empty when there is no such event. Refreshes the status variables
/// in any case, which may take two seconds. Called under EventQueue.lock; takes status_lock,
/// state_lock for search and copy, and status_lock again, one after the other.
EventDefinition lookup_event(CentralState& state, std::string_view name, int test);

}  // namespace kovo
