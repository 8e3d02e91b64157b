// What the senders and the loopback servers share of IPv4 sockets. Any thread; no state, no lock.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <string>

namespace kovo {

/// The address of a dotted IPv4 text, 0.0.0.0 for any other, and of a port, of which the lower 16
/// bits count.
sockaddr_in socket_address(const std::string& ip, int port);

/// The same address as the socket calls take it.
const sockaddr* generic(const sockaddr_in& address);

/// Sets the time that a send, a connect or a receive waits at most.
void set_timeouts(int fd, int milliseconds);

}  // namespace kovo
