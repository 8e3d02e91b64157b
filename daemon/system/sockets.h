// IPv4 addresses, for the senders and the loopback servers. Any thread.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>
#include <string>

namespace kovo {

/// Returns the address of a dotted IPv4 text (0.0.0.0 for any other) and a port modulo 65536.
inline sockaddr_in socket_address(const std::string& ip, int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  static_cast<void>(inet_pton(AF_INET, ip.c_str(), &address.sin_addr));
  return address;
}

inline const sockaddr* as_sockaddr(const sockaddr_in& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

}  // namespace kovo
