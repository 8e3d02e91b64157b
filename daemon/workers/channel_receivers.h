// The receivers of port 2727: device variables, remote commands and settings, by UDP and by TCP.
#pragma once

#include <string>

namespace kovo {

struct CentralState;

/// Appends a message, truncated to kMaxMessage bytes, to lm_queue. One that begins with the name of
/// a setting, case-insensitive, is applied first, and queued only if it changes the setting. Takes
/// the locks of apply_setting_line. Called by the two receivers.
void accept_message(CentralState& state, const std::string& text);

/// Thread bodies; their argument is the CentralState. Pass each datagram up to its first NUL, or
/// each connection's text up to its first NUL or newline, to accept_message. Return after an error.
void* handle_udp_lm_var(void* state);
void* handle_tcp_lm_var(void* state);

}  // namespace kovo
