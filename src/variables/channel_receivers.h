// The two variable channels on the loopback address: device variables and remote commands, by UDP
// and by TCP. Apart from settings lines the receivers interpret nothing: each message goes to
// lm_queue.
#pragma once

#include <cstdint>
#include <string>

namespace kovo {

struct CentralState;

constexpr std::uint16_t kVariablePort = 2727;

/// Thread bodies; the argument is the CentralState. They return after a socket failure. A datagram
/// is queued as received, a connection's text is cut at its first line feed.
void* handle_udp_lm_var(void* state);
void* handle_tcp_lm_var(void* state);

/// Queues a message, unless it begins with the name of a persistent setting, in any letter case,
/// and changes nothing there. Called by the two receivers; takes settings_lock and
/// EventQueue.lock through the setting.
void accept_message(CentralState& state, const std::string& text);

}  // namespace kovo
