// The event definition file and the test definition file, which other software edits: reading,
// derived copies, the two compiled event lists, and looking up an event. `is_test` means the test
// file, its entries and its list.
#pragma once

#include <string_view>

#include "core/event_compiler.h"

namespace kovo {

struct CentralState;

constexpr char kDefinitionPath[] = "/www/pelm/kovo.txt";

/// Why a definition file is read. kStart, also for the second read of a fresh file: it may be what
/// is left after a failed restore.
enum class ReadReason { kStart, kEdit };

/// Reads a definition file into its entries and writes the derived copies, the persistent one only
/// if it changes. Creates a missing file with the defaults first. Refreshes the events enable flag.
/// When the file is unreadable or holds more than kMaxDefinitionBytes, which is logged, the entries
/// stay. At a start, an empty file or one with exactly the defaults does not replace a persistent
/// copy that is not empty. Main thread, and the queue worker for the test file.
void renew_kovo_txt(CentralState& state, bool is_test, ReadReason reason);

/// Compiles the entries, replaces the list and writes its list file. Holds state_lock throughout.
/// Called by the thread that has just read the entries.
void rebuild_kovo_event_list(CentralState& state, bool is_test);

/// Finds the event for a name and returns a copy with its placeholders replaced and, for a test, no
/// delay. The name of the copy is empty when there is no such event. Called under EventQueue.lock;
/// takes state_lock for search and copy, then status_lock.
EventDefinition lookup_event(CentralState& state, std::string_view name, bool is_test);

}  // namespace kovo
