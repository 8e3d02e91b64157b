// The queue worker: handles what programs sent to tcp:2700 and runs the queued events that are due.
#pragma once

#include "daemon/state/event_queue.h"

namespace kovo {

/// Thread body; its argument is the EventQueue, the central state is the global one. Every 250 ms,
/// once `ready`, handles tcp_lines for up to 250 ms, then runs exec_event; without a pause while
/// texts wait.
///
/// Of a text, kMaxCommand bytes count, without its final newline. Names, key or key=value, are
/// pushed while events are enabled, and logged and dropped otherwise. Two keys that begin with "__"
/// always count: "__TEST__:" and an event name reloads the test definitions and pushes a test
/// event; "__SET__:network.kovo.enable" enables events for a value that begins with "1", "y" or
/// "Y", and disables them for any other. Other such keys are ignored.
void* handle_q_event(void* queue);

/// Runs or drops what is due or stale in `pending`, and goes on to the events after one that waits.
/// Queue worker only; holds queue.lock throughout.
void exec_event(EventQueue& queue, CentralState& state);

}  // namespace kovo
