#include "frame/loopback_server.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <utility>
#include <vector>

#include "frame/files.h"
#include "frame/host.h"
#include "frame/log.h"
#include "frame/sockets.h"
#include "frame/worker.h"

namespace kovo {
namespace {

constexpr char kLoopback[] = "127.0.0.1";
constexpr int kBacklog = 10;
constexpr std::size_t kMaxIdle = 128;  // of 1024 descriptors, the senders take 512
constexpr int kTimeoutMs = 2000;
constexpr int kPauseMs = 20;                            // after what must not spin
constexpr std::int64_t kErrorPeriodNs = 1'000'000'000;  // between two log lines about accepting
constexpr int kMinDatagram = 2;
constexpr int kReceiveBuffer = 8 << 20;  // holds a burst of some thousand small datagrams

/// What the readiness loop knows of its service and connections.
struct TcpLoop {
  const TcpService& service;
  void* context;
  int listener;
  std::vector<int> waiting = {};                   // open connections, the oldest first
  std::vector<pollfd> watched = {};                // the listener and the connections, for one wait
  std::int64_t error_logged_ns = -kErrorPeriodNs;  // steady clock
};

bool bind_to(int fd, std::uint16_t port) {
  const sockaddr_in address = socket_address(kLoopback, port);
  return bind(fd, generic(address), sizeof address) == 0;
}

void announce_tcp(const TcpService& service) {
  LOG_MAIN(service.routine, "bind %s tcp:%d\n", kLoopback, service.port);
}

bool bind_tcp(const TcpService& service, int fd) {
  if (bind_to(fd, service.port)) return true;
  const int error = errno;
  log_main("Error: [%s:%d] bind(): (%d)%s\n", service.routine, __LINE__, error,
           error_text(error).c_str());
  if (error == EADDRINUSE && service.port_in_use == PortInUse::kEndsProcess) end_process(1);
  return false;
}

/// Opens the listening socket; -1 when that failed and was logged.
int listen_tcp(const TcpService& service) {
  // Not blocking: a client may be gone between its readiness and the accept.
  Descriptor listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (listener.fd < 0) {
    log_main("Error: [%s:%d] open socket(): %s\n", service.routine, __LINE__,
             error_text(errno).c_str());
    return -1;
  }
  const int on = 1;
  if (setsockopt(listener.fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0) {
    log_main("Error: [%s:%d] Server-setsockopt(): %s\n", service.routine, __LINE__,
             error_text(errno).c_str());
    return -1;
  }
  set_timeouts(listener.fd, kTimeoutMs);
  if (service.announce == Announce::kBeforeBind) announce_tcp(service);
  if (!bind_tcp(service, listener.fd)) return -1;
  if (service.announce == Announce::kOnceBound) announce_tcp(service);
  if (listen(listener.fd, kBacklog) != 0) {
    log_main("Error: [%s:%d] listen(): %s\n", service.routine, __LINE__, error_text(errno).c_str());
    return -1;
  }
  return std::exchange(listener.fd, -1);
}

void close_connection(TcpLoop& loop, int fd) {
  close(fd);
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
void handle_accept_error(TcpLoop& loop, int error) {
  if (is_shortage(error)) drop_oldest(loop);
  const std::int64_t now = steady_ns();
  if (now >= loop.error_logged_ns + kErrorPeriodNs) {
    loop.error_logged_ns = now;
    log_main("Error: [%s:%d] accept(): %s\n", loop.service.routine, __LINE__,
             error_text(error).c_str());
  }
  sleep_ms(kPauseMs);
}

void accept_one(TcpLoop& loop) {
  Descriptor connection(accept4(loop.listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (connection.fd < 0) {
    if (errno == EAGAIN) {
      sleep_ms(kPauseMs);  // gone, or not ready after all
    } else if (errno != EINTR) {
      handle_accept_error(loop, errno);
    }
    return;
  }
  loop.waiting.push_back(connection.fd);
  connection.fd = -1;
  if (loop.waiting.size() > kMaxIdle) drop_oldest(loop);
}

void read_one(TcpLoop& loop, int fd) {
  std::array<char, kMaxTcpRead> buffer;
  const ssize_t count = recv(fd, buffer.data(), loop.service.max_read, 0);
  const int error = errno;
  if (count < 0 && error == EAGAIN) sleep_ms(kPauseMs);  // not readable after all
  if (count < 0 && (error == EINTR || error == EAGAIN)) return;
  // Closed once the message is taken: a client may wait for that and go on by another channel.
  const ConnectionCloser closing(loop, fd);
  if (count > 0) {
    loop.service.take(loop.context, {buffer.data(), static_cast<std::size_t>(count)});
  } else if (count < 0) {
    loop.service.log_read_error(error_text(error).c_str());
  }
}

/// Fills the list that poll takes, in the order in which what is ready is visited.
void watch(TcpLoop& loop) {
  loop.watched.assign(1, {loop.listener, POLLIN, 0});
  for (const int fd : loop.waiting) loop.watched.push_back({fd, POLLIN, 0});
  std::sort(loop.watched.begin(), loop.watched.end(),
            [](const pollfd& a, const pollfd& b) { return a.fd < b.fd; });
}

/// Waits for the next readiness and serves it. False when waiting failed.
bool serve_ready(TcpLoop& loop) {
  watch(loop);
  if (poll(loop.watched.data(), loop.watched.size(), -1) < 0) {
    if (errno == EINTR) return true;
    log_main("Error: [%s:%d] select(): %s\n", loop.service.routine, __LINE__,
             error_text(errno).c_str());
    return false;
  }
  // Accepting may drop a connection, but none that is ready: that one has a byte to read.
  for (const pollfd& watched : loop.watched) {
    if (watched.revents == 0) continue;
    if (watched.fd == loop.listener) {
      accept_one(loop);
    } else {
      read_one(loop, watched.fd);
    }
  }
  return true;
}

/// Opens the receiving socket; -1 when that failed and was logged.
int open_udp(const UdpService& service) {
  Descriptor receiver(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (receiver.fd < 0) {
    LOG_MAIN(service.routine, "socket call failed\n");
    return -1;
  }
  if (!bind_to(receiver.fd, service.port)) {
    LOG_MAIN(service.routine, "bind call failed\n");
    return -1;
  }
  const int on = 1;
  if (setsockopt(receiver.fd, SOL_SOCKET, SO_BROADCAST, &on, sizeof on) != 0) {
    LOG_MAIN(service.routine, "setsockopt failed\n");
    return -1;
  }
  // A privileged process may go beyond the system's bound; any other gets what the bound allows.
  if (setsockopt(receiver.fd, SOL_SOCKET, SO_RCVBUFFORCE, &kReceiveBuffer, sizeof kReceiveBuffer) !=
      0) {
    setsockopt(receiver.fd, SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof kReceiveBuffer);
  }
  LOG_MAIN(service.routine, "bind %s udp:%d\n", kLoopback, service.port);
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
bool receive_one(const UdpService& service, void* context, int fd) {
  std::array<char, kMaxDatagram> buffer;
  const ssize_t count = recv(fd, buffer.data(), buffer.size(), 0);
  if (count >= kMinDatagram) {
    service.take(context, {buffer.data(), static_cast<std::size_t>(count)});
  } else if (count >= 0) {
    skip_short_datagrams(fd);
  } else if (errno == EAGAIN) {
    sleep_ms(kPauseMs);
  } else if (errno != EINTR) {
    service.log_receive_error(errno);
    return false;
  }
  return true;
}

}  // namespace

void serve_tcp(const TcpService& service, void* context) {
  Descriptor listener;
  retry_until_success(service.routine, [&] { listener.fd = listen_tcp(service); });
  if (listener.fd < 0) return;
  TcpLoop loop{service, context, listener.fd};
  bool serving = true;
  while (serving) catch_and_log(service.routine, [&] { serving = serve_ready(loop); });
  for (const int fd : loop.waiting) close(fd);
}

void serve_udp(const UdpService& service, void* context) {
  Descriptor receiver;
  retry_until_success(service.routine, [&] { receiver.fd = open_udp(service); });
  bool receiving = receiver.fd >= 0;
  while (receiving) {
    catch_and_log(service.routine, [&] { receiving = receive_one(service, context, receiver.fd); });
  }
}

}  // namespace kovo
