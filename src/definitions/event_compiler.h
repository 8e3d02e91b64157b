// From definition entries to executable events: pure data in, data out.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "definitions/definition_entry.h"
#include "definitions/event_definition.h"

namespace kovo {

constexpr int kMaxSteps = 128;  // send steps of one event; larger counts are cut to this

/// Compiles an entry list. A step's offset is the sum of its own delay and the offset of the step
/// before it at that moment, so the order of the "Delay" lines matters. The trace hears of each
/// value once for every event that takes it.
CompiledEvents compile_events(const DefinitionEntries& entries,
                              const DefinitionTrace* trace = nullptr);

/// The event that a push finds, null when there is none: test 0 compares the triggers, test 1 the
/// names, both exactly.
const CompiledEvent* find_event(const CompiledEvents& list, std::string_view name, int test);

/// Returns a step to be queued, its payload decoded.
SubCommand sub_command(const CompiledStep& step);

/// An event of so many steps, the empty ones too.
EventDefinition whole_event(const CompiledEvent& compiled, std::int32_t step_count);

/// The list file's line of the same: name, trigger, the steps with their decoded payload and delay
/// in milliseconds, and the event's delay in seconds.
std::string event_line(const CompiledEvent& compiled, std::int32_t step_count);

}  // namespace kovo
