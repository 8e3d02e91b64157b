// Descriptors and listening sockets, shared by the simulated services and the sinks.
#pragma once

#include <string>

namespace kovo::device {

/// Owns a file descriptor.
struct Descriptor {
  int fd = -1;

  Descriptor() = default;
  explicit Descriptor(int owned) : fd(owned) {}
  Descriptor(Descriptor&& other) noexcept;
  Descriptor& operator=(Descriptor&& other) noexcept;
  ~Descriptor();
};

/// A bound IPv4 socket; `socket.fd` is -1 when it could not be made. Its port is the one chosen by
/// the system when 0 was asked for.
struct BoundSocket {
  Descriptor socket;
  int port = 0;
};

/// Listens for TCP connections; the socket does not block.
BoundSocket bind_tcp(const std::string& address, int port);

/// Binds a UDP socket with a large receive buffer; it does not block. The address of a multicast
/// group is joined.
BoundSocket bind_udp(const std::string& address, int port);

/// The next waiting connection, not blocking; `fd` is -1 when there is none.
Descriptor accept_waiting(int listener);

/// Something to wake a thread out of poll().
Descriptor make_signal();

/// Makes a signal readable, for good.
void raise_signal(const Descriptor& signal);

enum class ReadResult { kBytes, kNothing, kEnd, kBroken };

/// Appends what has arrived, without waiting.
ReadResult read_waiting(int fd, std::string& bytes);

/// Sends as much of `pending` as possible without waiting and removes it; false when broken.
bool send_pending(int fd, std::string& pending);

}  // namespace kovo::device
