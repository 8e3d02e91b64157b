// The two variable channels on the loopback address: device variables and remote commands, by UDP
// and by TCP. The receivers interpret nothing but settings lines: each message goes to lm_queue,
// unless it begins with the name of a persistent setting, in any letter case, and changes nothing
// there.
#pragma once

#include <cstdint>

namespace kovo {

constexpr std::uint16_t kVariablePort = 2727;

/// Thread bodies; the argument is the CentralState. They return after a socket failure. A datagram
/// is queued up to its first zero byte, a connection's text up to its first line feed, both up to
/// kMaxMessage bytes. A setting takes settings_lock and EventQueue.lock.
void* handle_udp_lm_var(void* state);
void* handle_tcp_lm_var(void* state);

}  // namespace kovo
