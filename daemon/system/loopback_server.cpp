// One thread serves each port with blocking waits and no timer. A TCP connection carries one
// message and is read once, so there is no state per connection: the list holds those that have
// sent nothing yet. There is no time-out, as a client may connect long before it sends; instead the
// list is bounded, and the longest-idle connection is closed for a new one. Invariant: a connection
// with a byte to read is never closed unread, so that the bound loses no message.
#include "daemon/system/loopback_server.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <cerrno>
#include <utility>
#include <vector>

#include "core/unique_fd.h"
#include "daemon/system/host.h"
#include "daemon/system/log.h"
#include "daemon/system/report_limit.h"
#include "daemon/system/sockets.h"
#include "daemon/system/worker.h"

namespace kovo {
namespace {

constexpr char kLoopback[] = "127.0.0.1";
constexpr int kBacklog = 10;
constexpr std::size_t kMaxIdle = 128;  // of 1024 descriptors, the senders take 512
constexpr int kPauseMs = 20;           // after an error that may last
constexpr int kMinDatagram = 2;
constexpr int kReceiveBuffer = 1 << 20;  // for a burst of 2,000 small datagrams

struct TcpLoop {
  const TcpService& service;
  void* context;
  UniqueFd listener;
  std::vector<UniqueFd> connections = {};  // in the order of their arrival
  std::vector<pollfd> watched = {};        // listener and connections, by descriptor
  ReportLimit accept_errors = {};
};

/// Logs that a call has failed and returns no descriptor.
UniqueFd report_failed_call(const TcpService& service, int line, const char* call, int error) {
  log_main("Error: [%s:%d] %s(): %s\n", service.routine, line, call, error_text(error));
  return {};
}

bool bind_to(const UniqueFd& socket, std::uint16_t port) {
  const sockaddr_in address = socket_address(kLoopback, port);
  return bind(socket.get(), as_sockaddr(address), sizeof address) == 0;
}

void announce_tcp(const TcpService& service) {
  LOG_MAIN(service.routine, "bind %s tcp:%d\n", kLoopback, service.port);
}

/// Opens the listening socket. Returns none when that failed, which is logged.
UniqueFd listen_tcp(const TcpService& service) {
  // Non-blocking: accept would wait if the client has gone since poll reported it.
  UniqueFd listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  const int on = 1;
  if (!listener) return report_failed_call(service, __LINE__, "open socket", errno);
  if (setsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0) {
    return report_failed_call(service, __LINE__, "Server-setsockopt", errno);
  }
  if (service.announce == Announce::kBeforeBind) announce_tcp(service);
  if (!bind_to(listener, service.port)) {
    const int error = errno;
    log_main("Error: [%s:%d] bind(): (%d)%s\n", service.routine, __LINE__, error,
             error_text(error));
    if (error == EADDRINUSE && service.port_in_use == PortInUse::kEndsProcess) end_process(1);
    return {};
  }
  if (service.announce == Announce::kAfterBind) announce_tcp(service);
  if (listen(listener.get(), kBacklog) == 0) return listener;
  return report_failed_call(service, __LINE__, "listen", errno);
}

/// Closes the longest-idle connection, so that clients and logs have descriptors.
void close_longest_idle(std::vector<UniqueFd>& connections) {
  const auto idle =
      std::find_if(connections.begin(), connections.end(), [](const UniqueFd& connection) {
        pollfd watched{connection.get(), POLLIN, 0};
        return poll(&watched, 1, 0) == 0;
      });
  if (idle != connections.end()) connections.erase(idle);
}

void accept_connection(TcpLoop& loop) {
  UniqueFd connection(accept4(loop.listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  const int error = connection ? 0 : errno;
  if (connection) loop.connections.push_back(std::move(connection));
  const bool shortage = error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
  if (shortage || loop.connections.size() > kMaxIdle) close_longest_idle(loop.connections);
  if (error == 0 || error == EINTR) return;
  // A lasting error must neither fill the log nor spin. EAGAIN: the client has gone.
  if (error != EAGAIN) ++loop.accept_errors.count;
  if (error != EAGAIN && loop.accept_errors.due(steady_ns()) > 0) {
    report_failed_call(loop.service, __LINE__, "accept", error);
  }
  sleep_ms(kPauseMs);
}

/// Reads once from a connection and closes it.
void serve_connection(TcpLoop& loop, int fd) {
  std::array<char, kMaxTcpRead> buffer;
  const ssize_t count = recv(fd, buffer.data(), loop.service.max_read, 0);
  const int error = errno;
  if (count < 0 && error == EAGAIN) sleep_ms(kPauseMs);  // poll reported it, but it has no byte
  if (count < 0 && (error == EINTR || error == EAGAIN)) return;
  const auto found = std::find_if(loop.connections.begin(), loop.connections.end(),
                                  [&](const UniqueFd& other) { return other.get() == fd; });
  assert(found != loop.connections.end());  // only this function removes one with a byte to read
  // Closed after the callback: to a client, the close means that its message is queued.
  const UniqueFd connection = std::move(*found);
  loop.connections.erase(found);
  if (count > 0) {
    loop.service.on_message(loop.context, {buffer.data(), static_cast<std::size_t>(count)});
  } else if (count < 0) {
    loop.service.on_read_error(error_text(error));
  }
}

/// Waits until descriptors are ready and serves them in their order. Returns false when poll fails.
bool serve_ready(TcpLoop& loop) {
  loop.watched.assign(1, {loop.listener.get(), POLLIN, 0});
  for (const UniqueFd& connection : loop.connections) {
    loop.watched.push_back({connection.get(), POLLIN, 0});
  }
  std::sort(loop.watched.begin(), loop.watched.end(),
            [](const pollfd& a, const pollfd& b) { return a.fd < b.fd; });
  if (poll(loop.watched.data(), loop.watched.size(), -1) < 0) {
    if (errno == EINTR) return true;
    report_failed_call(loop.service, __LINE__, "select", errno);
    return false;
  }
  // Accepting may close a connection, but none of the ready ones: they have a byte to read.
  for (const pollfd& watched : loop.watched) {
    if (watched.revents == 0) continue;
    if (watched.fd == loop.listener.get()) {
      accept_connection(loop);
    } else {
      serve_connection(loop, watched.fd);
    }
  }
  return true;
}

/// Opens the receiving socket. Returns none when that failed, which is logged.
UniqueFd open_udp(const UdpService& service) {
  UniqueFd receiver(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const int on = 1;
  const char* failure = nullptr;
  if (!receiver) {
    failure = "socket call failed\n";
  } else if (!bind_to(receiver, service.port)) {
    failure = "bind call failed\n";
  } else if (setsockopt(receiver.get(), SOL_SOCKET, SO_BROADCAST, &on, sizeof on) != 0) {
    failure = "setsockopt failed\n";
  }
  if (failure != nullptr) {
    LOG_MAIN(service.routine, "%s", failure);
    return {};
  }
  // The second option exceeds the system's limit, but needs privileges.
  for (const int option : {SO_RCVBUF, SO_RCVBUFFORCE}) {
    setsockopt(receiver.get(), SOL_SOCKET, option, &kReceiveBuffer, sizeof kReceiveBuffer);
  }
  LOG_MAIN(service.routine, "bind %s udp:%d\n", kLoopback, service.port);
  return receiver;
}

/// Discards all short datagrams that wait, after one pause: a pause for each would delay what
/// follows a burst of them by minutes.
void skip_short_datagrams(int fd) {
  sleep_ms(kPauseMs);
  char byte = 0;
  for (;;) {
    const ssize_t length = recv(fd, &byte, 1, MSG_PEEK | MSG_TRUNC | MSG_DONTWAIT);
    if (length < 0 || length >= kMinDatagram) return;
    recv(fd, &byte, 1, MSG_DONTWAIT);
  }
}

/// Receives one datagram. Returns false on an error other than EAGAIN and EINTR.
bool receive_one(const UdpService& service, void* context, int fd) {
  std::array<char, kMaxDatagram> buffer;
  const ssize_t count = recv(fd, buffer.data(), buffer.size(), 0);
  if (count >= kMinDatagram) {
    service.on_message(context, {buffer.data(), static_cast<std::size_t>(count)});
  } else if (count >= 0) {
    skip_short_datagrams(fd);
  } else if (errno == EAGAIN) {
    sleep_ms(kPauseMs);
  } else if (errno != EINTR) {
    service.on_receive_error(errno);
    return false;
  }
  return true;
}

}  // namespace

void serve_tcp(const TcpService& service, void* context) {
  TcpLoop loop{service, context, {}};
  retry_until_success(service.routine, [&] { loop.listener = listen_tcp(service); });
  bool serving = static_cast<bool>(loop.listener);
  while (serving) run_pass(service.routine, [&] { serving = serve_ready(loop); });
}

void serve_udp(const UdpService& service, void* context) {
  UniqueFd receiver;
  retry_until_success(service.routine, [&] { receiver = open_udp(service); });
  bool receiving = static_cast<bool>(receiver);
  while (receiving) {
    run_pass(service.routine, [&] { receiving = receive_one(service, context, receiver.get()); });
  }
}

}  // namespace kovo
