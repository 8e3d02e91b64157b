// Sends the steps of events, notifications and replies: IPv4, a new socket for each send, no retry.
// Any thread. A text that is not a dotted IPv4 address counts as 0.0.0.0.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "core/network.h"

namespace kovo {

constexpr std::size_t kReplySize = 2048;  // reply buffer, with its terminating NUL

// Results of the TCP senders when nothing was sent.
constexpr int kNoSocket = -2;
constexpr int kConnectFailed = -3;
constexpr int kSendFailed = -4;

/// Sends a datagram and pauses 10 ms to space out bursts. Returns the bytes sent, or -1. Logs
/// nothing.
int udpclient(const std::string& ip, int port, std::string_view payload);

/// Connects, sends the payload and reads one reply of at most reply_size - 1 bytes, up to its first
/// NUL. A final CR LF or LF CR becomes a newline. After a failure `reply` is the error as
/// "(number)text". Connecting, sending and receiving wait 2 s each at most. Returns the bytes sent,
/// or kNoSocket, kConnectFailed, kSendFailed; the last two are logged.
int tcpclient(const std::string& ip, int port, std::string_view payload, std::string& reply,
              std::size_t reply_size = kReplySize);

/// Connects, sends the payload, pauses 10 ms and closes. Connecting and sending wait 1.5 s each at
/// most. Returns what tcpclient returns.
int tcpclient_no_rcv(const std::string& ip, int port, std::string_view payload);

/// Sends by udpclient or tcpclient_no_rcv and returns its result.
int send_by(Transport transport, const std::string& ip, int port, std::string_view payload);

/// Asks the device's status service by tcpclient. Returns its reply or the text of the failure.
std::string ask_status_service(const std::string& request, std::size_t reply_size = kReplySize);

}  // namespace kovo
