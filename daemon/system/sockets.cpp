#include "daemon/system/sockets.h"

#include <arpa/inet.h>
#include <sys/time.h>

namespace kovo {

sockaddr_in socket_address(const std::string& ip, int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  static_cast<void>(inet_pton(AF_INET, ip.c_str(), &address.sin_addr));
  return address;
}

const sockaddr* as_sockaddr(const sockaddr_in& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

void set_timeouts(int fd, int milliseconds) {
  timeval limit{};
  limit.tv_sec = milliseconds / 1000;
  limit.tv_usec = milliseconds % 1000 * 1000L;
  setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
}

}  // namespace kovo
