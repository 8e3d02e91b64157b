// The receivers of the four ports on the loopback address. None interprets what it receives, except
// that a setting is applied at once: each appends texts to a queue that has one consumer.
#pragma once

#include <string>

namespace kovo {

struct CentralState;

/// Thread bodies, each named after its port: programs on the device send event names and commands
/// for events (tcp:2700), variables, remote commands and settings (udp:2727 and tcp:2727), and
/// status lines and settings (udp:2728). The argument of the first is the EventQueue, that of the
/// others the CentralState. They return after a socket failure, which is logged; the first ends the
/// process with status 1 when its port is taken: another daemon is running.
void* handle_tcp_event(void* queue);
void* handle_udp_lm_var(void* state);
void* handle_tcp_lm_var(void* state);
void* handle_udp_vep_api(void* state);

/// Appends a message of port 2727, truncated to kMaxMessage bytes, to lm_queue. One that begins
/// with the name of a setting, case-insensitive, is applied first, and queued only if it changes
/// the setting. Takes the locks of apply_setting_line. Called by the two receivers.
void accept_message(CentralState& state, const std::string& text);

}  // namespace kovo
