#include "frame/loopback_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>

#include <deque>
#include <utility>

#include "frame/files.h"
#include "frame/host.h"
#include "frame/log.h"
#include "frame/text.h"
#include "frame/worker.h"

namespace kovo {
namespace {

constexpr char kLoopback[] = "127.0.0.1";
constexpr int kBacklog = 10;
constexpr int kTimeoutS = 2;
constexpr int kPauseMs = 20;                            // after what must not spin
constexpr std::int64_t kErrorPeriodNs = 1'000'000'000;  // between two log lines about accepting
constexpr int kMinDatagram = 2;
constexpr int kReceiveBuffer = 8 << 20;  // holds a burst of some thousand small datagrams

/// What the readiness loop knows of its connections.
struct TcpLoop {
  int listener;
  int highest;
  std::size_t most_waiting;
  fd_set watched;
  std::deque<int> waiting;                         // open connections, the oldest first
  std::int64_t error_logged_ns = -kErrorPeriodNs;  // steady clock
};

sockaddr_in loopback_address(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

bool bind_to(int fd, std::uint16_t port) {
  const sockaddr_in address = loopback_address(port);
  return bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

void set_timeouts(int fd) {
  const timeval limit{kTimeoutS, 0};
  setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
}

void announce_tcp(const TcpPort& port) {
  log_main("[%s:%d] bind %s tcp:%d\n", port.routine, __LINE__, kLoopback, port.port);
}

bool bind_tcp(const TcpPort& port, int fd) {
  if (bind_to(fd, port.port)) return true;
  const int error = errno;
  log_main("Error: [%s:%d] bind(): (%d)%s\n", port.routine, __LINE__, error,
           error_text(error).c_str());
  if (error == EADDRINUSE && port.only_one_daemon) {
    // Other threads are running: leave without destroying what they use.
    std::fflush(stdout);
    _exit(1);
  }
  return false;
}

/// Gives a descriptor a number that select can hold; closes it and returns -1 when none is free.
int move_below_select_limit(int fd) {
  if (fd < FD_SETSIZE) return fd;
  const int lower = fcntl(fd, F_DUPFD_CLOEXEC, 0);
  close(fd);
  if (lower < FD_SETSIZE) return lower;
  close(lower);
  return -1;
}

/// Opens the listening socket; -1 when that failed and was logged.
int listen_tcp(const TcpPort& port) {
  // Not blocking: a client may be gone between its readiness and the accept.
  Descriptor listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (listener.fd < 0) {
    log_main("Error: [%s:%d] open socket(): %s\n", port.routine, __LINE__,
             error_text(errno).c_str());
    return -1;
  }
  listener.fd = move_below_select_limit(listener.fd);
  if (listener.fd < 0) {
    log_main("Error: [%s:%d] open socket(): %s\n", port.routine, __LINE__,
             error_text(EMFILE).c_str());
    return -1;
  }
  const int on = 1;
  if (setsockopt(listener.fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0) {
    log_main("Error: [%s:%d] Server-setsockopt(): %s\n", port.routine, __LINE__,
             error_text(errno).c_str());
    return -1;
  }
  set_timeouts(listener.fd);
  if (port.announce_before_bind) announce_tcp(port);
  if (!bind_tcp(port, listener.fd)) return -1;
  if (!port.announce_before_bind) announce_tcp(port);
  if (listen(listener.fd, kBacklog) != 0) {
    log_main("Error: [%s:%d] listen(): %s\n", port.routine, __LINE__, error_text(errno).c_str());
    return -1;
  }
  return std::exchange(listener.fd, -1);
}

void close_connection(TcpLoop& loop, int fd) {
  close(fd);
  FD_CLR(fd, &loop.watched);
  loop.waiting.erase(std::find(loop.waiting.begin(), loop.waiting.end(), fd));
}

/// Closes a connection at the end of its scope.
struct ConnectionCloser {
  ConnectionCloser(TcpLoop& owner, int connection) : loop(owner), fd(connection) {}
  ~ConnectionCloser() {
    close_connection(loop, fd);
  }
  ConnectionCloser(const ConnectionCloser&) = delete;
  ConnectionCloser& operator=(const ConnectionCloser&) = delete;

  TcpLoop& loop;
  int fd;
};

/// Closes the connection that has waited longest without a byte, if there is one.
void drop_oldest(TcpLoop& loop) {
  const auto oldest = std::find_if(loop.waiting.begin(), loop.waiting.end(), [](int fd) {
    pollfd idle{fd, POLLIN, 0};
    return poll(&idle, 1, 0) == 0;
  });
  if (oldest != loop.waiting.end()) close_connection(loop, *oldest);
}

bool is_shortage(int error) {
  return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

/// An error that lasts must neither spin nor fill the log. When descriptors or memory run out an
/// idle connection makes room for the next client, and for the log.
void handle_accept_error(const TcpPort& port, TcpLoop& loop, int error) {
  if (is_shortage(error)) drop_oldest(loop);
  const std::int64_t now = steady_ns();
  if (now >= loop.error_logged_ns + kErrorPeriodNs) {
    loop.error_logged_ns = now;
    log_main("Error: [%s:%d] accept(): %s\n", port.routine, __LINE__, error_text(error).c_str());
  }
  sleep_ms(kPauseMs);
}

/// Accepts a connection with a number that select can hold; -1 when there is none to be had.
int accept_connection(const TcpPort& port, TcpLoop& loop) {
  Descriptor accepted(accept4(loop.listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (accepted.fd >= FD_SETSIZE) {
    handle_accept_error(port, loop, EMFILE);
    return move_below_select_limit(std::exchange(accepted.fd, -1));
  }
  if (accepted.fd >= 0) return std::exchange(accepted.fd, -1);
  if (errno != EINTR && errno != EAGAIN) handle_accept_error(port, loop, errno);
  return -1;
}

void accept_one(const TcpPort& port, TcpLoop& loop) {
  Descriptor connection(accept_connection(port, loop));
  if (connection.fd < 0) return;
  loop.waiting.push_back(connection.fd);
  FD_SET(connection.fd, &loop.watched);
  loop.highest = std::max(loop.highest, connection.fd);
  connection.fd = -1;
  if (loop.waiting.size() > loop.most_waiting) drop_oldest(loop);
}

/// Idle connections of one server leave descriptors to the other one and to the senders.
std::size_t most_waiting_connections() {
  constexpr rlim_t kLeast = 2;
  constexpr rlim_t kMost = 450;
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return kMost;
  return static_cast<std::size_t>(std::clamp<rlim_t>(limit.rlim_cur / 4, kLeast, kMost));
}

void read_one(const TcpPort& port, TcpLoop& loop, int fd) {
  std::array<char, kMaxMessage + 1> buffer;
  const ssize_t count = recv(fd, buffer.data(), port.max_read, 0);
  const int error = errno;
  if (count < 0 && (error == EINTR || error == EAGAIN)) return;  // not readable after all
  // Closed once the message is taken: a client may wait for that and go on by another channel.
  const ConnectionCloser closing(loop, fd);
  if (count > 0) {
    port.take(std::string_view(buffer.data(), static_cast<std::size_t>(count)));
  } else if (count < 0) {
    port.log_read_error(error_text(error).c_str());
  }
}

/// Waits for the next readiness and serves it. False when select failed.
bool serve_ready(const TcpPort& port, TcpLoop& loop) {
  fd_set readable = loop.watched;
  if (select(loop.highest + 1, &readable, nullptr, nullptr, nullptr) < 0) {
    if (errno == EINTR) return true;
    log_main("Error: [%s:%d] select(): %s\n", port.routine, __LINE__, error_text(errno).c_str());
    return false;
  }
  const int highest = loop.highest;
  for (int fd = 0; fd <= highest; ++fd) {
    // The second look: accepting may have dropped it, and the number may be another one's by now.
    if (FD_ISSET(fd, &readable) == 0 || FD_ISSET(fd, &loop.watched) == 0) continue;
    if (fd == loop.listener) {
      accept_one(port, loop);
    } else {
      read_one(port, loop, fd);
    }
  }
  return true;
}

/// Opens the receiving socket; -1 when that failed and was logged.
int open_udp(const UdpPort& port) {
  Descriptor receiver(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (receiver.fd < 0) {
    log_main("[%s:%d] socket call failed\n", port.routine, __LINE__);
    return -1;
  }
  if (!bind_to(receiver.fd, port.port)) {
    log_main("[%s:%d] bind call failed\n", port.routine, __LINE__);
    return -1;
  }
  const int on = 1;
  if (setsockopt(receiver.fd, SOL_SOCKET, SO_BROADCAST, &on, sizeof on) != 0) {
    log_main("[%s:%d] setsockopt failed\n", port.routine, __LINE__);
    return -1;
  }
  // A privileged process may go beyond the system's bound; any other gets what the bound allows.
  if (setsockopt(receiver.fd, SOL_SOCKET, SO_RCVBUFFORCE, &kReceiveBuffer, sizeof kReceiveBuffer) !=
      0) {
    setsockopt(receiver.fd, SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof kReceiveBuffer);
  }
  log_main("[%s:%d] bind %s udp:%d\n", port.routine, __LINE__, kLoopback, port.port);
  return std::exchange(receiver.fd, -1);
}

/// Passes over the short datagrams that wait, after one pause for all of them: a pause for each
/// would keep those behind a burst of them waiting for minutes.
void skip_short_datagrams(int fd) {
  sleep_ms(kPauseMs);
  char byte = 0;
  for (;;) {
    const ssize_t length = recv(fd, &byte, 1, MSG_PEEK | MSG_TRUNC | MSG_DONTWAIT);
    if (length < 0 || length >= kMinDatagram) return;
    recv(fd, &byte, 1, MSG_DONTWAIT);
  }
}

/// Receives one datagram. False when receiving failed for good.
bool receive_one(const UdpPort& port, int fd) {
  std::array<char, kMaxDatagram> buffer;
  const ssize_t count = recv(fd, buffer.data(), buffer.size(), 0);
  if (count >= kMinDatagram) {
    port.take(std::string_view(buffer.data(), static_cast<std::size_t>(count)));
  } else if (count >= 0) {
    skip_short_datagrams(fd);
  } else if (errno == EAGAIN) {
    sleep_ms(kPauseMs);
  } else if (errno != EINTR) {
    port.log_receive_error(errno);
    return false;
  }
  return true;
}

}  // namespace

void serve_tcp(const TcpPort& port) {
  Descriptor listener;
  guarded(port.routine, [&] { listener.fd = listen_tcp(port); });
  if (listener.fd < 0) return;
  TcpLoop loop{listener.fd, listener.fd, most_waiting_connections(), {}, {}};
  FD_ZERO(&loop.watched);
  FD_SET(listener.fd, &loop.watched);
  bool serving = true;
  while (serving) guarded(port.routine, [&] { serving = serve_ready(port, loop); });
  for (const int fd : loop.waiting) close(fd);
}

void serve_udp(const UdpPort& port) {
  Descriptor receiver;
  guarded(port.routine, [&] { receiver.fd = open_udp(port); });
  bool receiving = receiver.fd >= 0;
  while (receiving) guarded(port.routine, [&] { receiving = receive_one(port, receiver.fd); });
}

}  // namespace kovo
