// Sends the steps of events, notifications and replies: IPv4, a new socket for each send, no retry.
// Any thread. A text that is not a dotted IPv4 address counts as 0.0.0.0.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "core/network.h"

namespace kovo {

constexpr std::size_t kReplySize = 2048;  // reply buffer, with its terminating NUL

/// Sends a datagram and pauses 10 ms to space out bursts. Returns whether it was sent. Logs
/// nothing.
bool udpclient(const std::string& ip, int port, std::string_view payload);

/// Connects, sends the payload and reads one reply. Returns at most reply_size - 1 bytes of it, up
/// to its first NUL, a final CR LF or LF CR as a newline; after a failure, the error as
/// "(number)text". A failed connect or send is logged. Connecting, sending and receiving wait 2 s
/// each at most.
std::string tcpclient(const std::string& ip, int port, std::string_view payload,
                      std::size_t reply_size = kReplySize);

/// Connects, sends the payload, pauses 10 ms and closes. Connecting and sending wait 1.5 s each at
/// most. Returns whether the payload was sent; a failed connect or send is logged.
bool tcpclient_no_rcv(const std::string& ip, int port, std::string_view payload);

/// Sends by udpclient or tcpclient_no_rcv and returns its result.
bool send_by(Transport transport, const std::string& ip, int port, std::string_view payload);

/// Asks the device's status service by tcpclient. Returns its reply or the text of the failure.
std::string ask_status_service(const std::string& request, std::size_t reply_size = kReplySize);

}  // namespace kovo
