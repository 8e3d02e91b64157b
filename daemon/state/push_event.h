// Pushing an event, without the types of the event queue. event_queue.cpp defines it.
#pragma once

#include <string_view>

namespace kovo {

/// Calls push_event_back on the event queue, not as a test. Takes EventQueue.lock, up to 2 s for
/// the status query and 3 s for the mirror's line. Any thread.
void push_event(std::string_view name);

}  // namespace kovo
