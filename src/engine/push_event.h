// Pushing an event without the rest of the event queue.
#pragma once

#include <string_view>

namespace kovo {

/// Pushes a trigger name to the back of the one event queue, not as a test. Takes EventQueue.lock
/// and keeps it for the lookup's status query, up to 2 s, and the mirror's line, up to 3 s. Any
/// thread.
void push_event(std::string_view name);

}  // namespace kovo
