// The execution of queued events: drops what is stale and starts the senders of what has come due.
#pragma once

#include "engine/event_queue.h"

namespace kovo {

/// Executes or drops what is due or stale in `pending`; later events are looked at after waiting
/// ones. Returns the number of events executed. Queue worker only; takes queue.lock for all of it.
int exec_event(EventQueue& queue, CentralState& state);

}  // namespace kovo
