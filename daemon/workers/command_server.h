// The TCP command server on the loopback address: programs on the device raise events by name, run
// test events and enable or disable events. The queue worker handles what is received here.
#pragma once

namespace kovo {

/// Thread body; its argument is the EventQueue. Appends each received text, up to its first NUL,
/// to tcp_lines, holding queue.lock for the append. Ends the process with status 1 when the port is
/// taken: another daemon is running.
void* handle_tcp_event(void* queue);

}  // namespace kovo
