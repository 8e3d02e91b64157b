// The TCP command server on the loopback address: programs on the device raise events by name, fire
// test events and switch event output on or off. One thread receives, the other, the queue worker,
// interprets what was received and executes the events that have come due.
#pragma once

namespace kovo {

/// Thread body; its argument is the EventQueue. Appends each received text, up to its first NUL,
/// to tcp_lines, holding queue.lock for the append. A second daemon ends here with status 1.
void* handle_tcp_event(void* queue);

/// Thread body; its argument is the EventQueue, the central state is the global one. Every 250 ms,
/// once `ready`, handles tcp_lines up to the first that takes more than 250 ms, then runs
/// exec_event.
///
/// A line counts up to kMaxCommand bytes, without its final newline. Names, key or key=value, are
/// pushed while events are enabled, and logged and dropped otherwise. Of the keys that begin with
/// "__" there are two, which always count: "__TEST__:" and an event name reloads the test
/// definitions and pushes a test event; "__SET__:network.kovo.enable" switches events on for a
/// value that begins with "1" or "y", off for any other.
void* handle_q_event(void* queue);

}  // namespace kovo
