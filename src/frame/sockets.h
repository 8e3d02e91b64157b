// IPv4 sockets, for the senders and the loopback servers. Any thread; no state, no lock.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <string>

namespace kovo {

/// Returns the address of a dotted IPv4 text, 0.0.0.0 for any other text, and of the lower 16 bits
/// of a port.
sockaddr_in socket_address(const std::string& ip, int port);

/// Returns the address as the socket calls take it.
const sockaddr* as_sockaddr(const sockaddr_in& address);

/// Limits the time that a send, a connect or a receive waits.
void set_timeouts(int fd, int milliseconds);

}  // namespace kovo
