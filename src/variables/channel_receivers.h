// The two variable channels on the loopback address: device variables and remote commands, by UDP
// and by TCP. The receivers interpret nothing but settings lines.
#pragma once

#include <string>

namespace kovo {

struct CentralState;

/// Queues a message, truncated to kMaxMessage bytes, unless it begins with the name of a persistent
/// setting, case-insensitive, and does not change it. Called by the two receivers; a setting takes
/// settings_lock and EventQueue.lock.
void accept_message(CentralState& state, const std::string& text);

/// Thread bodies; the argument is the CentralState. They return after a socket failure. A datagram
/// is queued up to its first NUL, a connection's text up to its first NUL or newline.
void* handle_udp_lm_var(void* state);
void* handle_tcp_lm_var(void* state);

}  // namespace kovo
