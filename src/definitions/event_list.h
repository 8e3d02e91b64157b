// Compiles definition entries into executable events, and turns a pushed name into a copy of an
// event that is ready to run.
#pragma once

#include <string>
#include <string_view>

#include "definitions/definition_entry.h"
#include "definitions/event_definition.h"

namespace kovo {

struct CentralState;

constexpr int kMaxSteps = 128;  // send steps of one event; larger counts are cut to this

/// Compiles an entry list. Events stand in the order of their "Count" lines. A step's offset is the
/// sum of its own delay and the offset of the step before it at that moment, so the order of the
/// "Delay" lines matters.
EventList compile_events(const DefinitionEntries& entries);

/// One line per event: name, trigger, the steps with their decoded payload and delay in
/// milliseconds, and the event's delay in seconds.
std::string event_list_text(const EventList& events);

/// Recompiles event_list from definition_entries (test 0) or test_event_list from
/// test_definition_entries (test 1), replaces it whole and writes its list file. Holds state_lock
/// for all of it. Called by the thread that has just read the entries. Returns 0.
int rebuild_kovo_event_list(CentralState& state, int test);

/// Writes the list file of one list. 0, or -1 when it cannot be written.
int write_event_list_file(const EventList& events, const std::string& path);

/// Decodes hexadecimal text, two characters a byte; a last single character is a byte of its own.
/// Each pair is read as a number: what is no digit ends it, and no digits give 0.
std::string s_hex_to_ascii(std::string_view text);

/// Finds the event for a name and returns a copy with its placeholders filled; the name is empty
/// when nothing matched. Test 0 compares the triggers of event_list, test 1 the names of
/// test_event_list, both exactly; a test copy has no delay. Refreshes the status variables first,
/// found or not, which may take two seconds. Called under EventQueue.lock; takes state_lock for the
/// search and the copy alone, then status_lock.
EventDefinition lookup_event(CentralState& state, std::string_view name, int test);

}  // namespace kovo
