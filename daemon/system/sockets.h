// IPv4 sockets, for the senders and the loopback servers. Any thread.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <string>

namespace kovo {

/// Returns the address of a dotted IPv4 text (0.0.0.0 for any other) and a port modulo 65536.
sockaddr_in socket_address(const std::string& ip, int port);

const sockaddr* as_sockaddr(const sockaddr_in& address);

/// Limits how long a connect, a send or a receive may wait.
void set_timeouts(int fd, int milliseconds);

}  // namespace kovo
