// The TCP command server on the loopback address: programs on the device raise events by name, fire
// test events and switch event output on or off. It receives; the queue worker interprets.
#pragma once

#include <cstdint>
#include <string_view>

namespace kovo {

struct CentralState;
struct EventQueue;

constexpr std::uint16_t kCommandPort = 2700;

/// Thread body; its argument is the EventQueue. Appends each received text, up to its first zero
/// byte, to tcp_lines, holding queue.lock for the append. A second daemon ends here with status 1.
void* handle_tcp_event(void* queue);

/// Runs a command whose key begins with "__": "__TEST__:" and an event name reloads the test
/// definitions and pushes a test event; "__SET__:network.kovo.enable" switches events on for a
/// value that begins with "1" or "y", off for any other. Anything else is ignored. Returns 0.
/// Queue worker only.
int handle_tcp_command(EventQueue& queue, CentralState& state, std::string_view key,
                       std::string_view value);

}  // namespace kovo
