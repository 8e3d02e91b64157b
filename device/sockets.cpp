#include "device/sockets.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <utility>

namespace kovo::device {

namespace {

constexpr int kBacklog = 4096;
constexpr int kReceiveBuffer = 8 * 1024 * 1024;

BoundSocket bind_socket(int type, const std::string& address, int port) {
  BoundSocket bound;
  sockaddr_in where{};
  where.sin_family = AF_INET;
  where.sin_port = htons(static_cast<std::uint16_t>(port));
  Descriptor made(socket(AF_INET, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (inet_pton(AF_INET, address.c_str(), &where.sin_addr) != 1 || made.fd < 0) {
    std::fprintf(stderr, "device: no socket for %s:%d\n", address.c_str(), port);
    return bound;
  }
  const int on = 1;
  if (type == SOCK_STREAM) setsockopt(made.fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  auto* const generic = reinterpret_cast<sockaddr*>(&where);
  socklen_t size = sizeof where;
  if (bind(made.fd, generic, size) != 0 ||
      (type == SOCK_STREAM && listen(made.fd, kBacklog) != 0) ||
      getsockname(made.fd, generic, &size) != 0) {
    std::fprintf(stderr, "device: cannot bind %s:%d: errno %d\n", address.c_str(), port, errno);
    return bound;
  }
  bound.socket = std::move(made);
  bound.port = ntohs(where.sin_port);
  return bound;
}

}  // namespace

Descriptor::Descriptor(Descriptor&& other) noexcept : fd(std::exchange(other.fd, -1)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  std::swap(fd, other.fd);
  return *this;
}

Descriptor::~Descriptor() {
  if (fd >= 0) close(fd);
}

BoundSocket bind_tcp(const std::string& address, int port) {
  return bind_socket(SOCK_STREAM, address, port);
}

BoundSocket bind_udp(const std::string& address, int port) {
  BoundSocket bound = bind_socket(SOCK_DGRAM, address, port);
  // The first one may exceed the limit of the system, but is for the privileged only.
  const int fd = bound.socket.fd;
  if (setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &kReceiveBuffer, sizeof kReceiveBuffer) != 0) {
    setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof kReceiveBuffer);
  }
  ip_mreqn group{};
  if (inet_pton(AF_INET, address.c_str(), &group.imr_multiaddr) == 1 &&
      IN_MULTICAST(ntohl(group.imr_multiaddr.s_addr))) {
    setsockopt(fd, IPPROTO_IP, IP_ADD_MEMBERSHIP, &group, sizeof group);
  }
  return bound;
}

Descriptor accept_waiting(int listener) {
  return Descriptor(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
}

Descriptor make_signal() {
  return Descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
}

void raise_signal(const Descriptor& signal) {
  eventfd_write(signal.fd, 1);
}

ReadResult read_waiting(int fd, std::string& bytes) {
  std::array<char, 65536> buffer;
  const ssize_t size = recv(fd, buffer.data(), buffer.size(), MSG_DONTWAIT);
  if (size == 0) return ReadResult::kEnd;
  if (size < 0) return errno == EAGAIN ? ReadResult::kNothing : ReadResult::kBroken;
  bytes.append(buffer.data(), static_cast<std::size_t>(size));
  return ReadResult::kBytes;
}

bool send_pending(int fd, std::string& pending) {
  if (pending.empty()) return true;
  const ssize_t size = send(fd, pending.data(), pending.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  if (size < 0) return errno == EAGAIN;
  pending.erase(0, static_cast<std::size_t>(size));
  return true;
}

}  // namespace kovo::device
