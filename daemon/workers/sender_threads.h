// The threads that wait a step's delay and send it, one for each used slot of the event queue.
#pragma once

#include <string>

#include "core/event_compiler.h"
#include "daemon/state/event_queue.h"

namespace kovo {

/// Starts the sender of a step, if its protocol names one and a slot is free; counts the step as
/// lost if none is. A failed start is logged and its slot freed. Called only by the queue worker.
void start_sender(EventQueue& queue, const std::string& event_name, const SubCommand& step);

}  // namespace kovo
