#include "daemon/system/senders.h"

#include <poll.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>

#include "core/text.h"
#include "core/unique_fd.h"
#include "daemon/system/host.h"
#include "daemon/system/log.h"
#include "daemon/system/sockets.h"

namespace kovo {
namespace {

/// Limits how long a connect, a send or a receive may wait.
void set_timeouts(int fd, int milliseconds) {
  timeval limit{};
  limit.tv_sec = milliseconds / 1000;
  limit.tv_usec = milliseconds % 1000 * 1000L;
  setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
}

/// Connects. A connect that a signal interrupts goes on and cannot be repeated: waits for its end.
int connect_to(int fd, const sockaddr_in& address, int timeout_ms) {
  if (connect(fd, as_sockaddr(address), sizeof address) == 0) return 0;
  if (errno != EINTR) return -1;
  pollfd waiting{fd, POLLOUT, 0};
  const int ready = retry_interrupted([&] { return poll(&waiting, 1, timeout_ms); });
  if (ready == 0) errno = EINPROGRESS;
  if (ready <= 0) return -1;
  int error = 0;
  socklen_t size = sizeof error;
  if (getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) != 0) return -1;
  errno = error;
  return error == 0 ? 0 : -1;
}

std::string numbered_error(int error) {
  return "(" + std::to_string(error) + ")" + error_text(error);
}

/// Connects. Returns "" or, after a failure, which is logged, the error as "(number)text".
std::string connect_or_log(const char* routine, const UniqueFd& connection, const std::string& ip,
                           int port, const std::string& payload, int timeout_ms) {
  set_timeouts(connection.get(), timeout_ms);
  if (connect_to(connection.get(), socket_address(ip, port), timeout_ms) == 0) return {};
  std::string failure = numbered_error(errno);
  LOG_MAIN(routine, "Error: connect ip=%s, port=%d, error=%s, data=%s;\n", ip.c_str(), port,
           failure.c_str(), payload.c_str());
  return failure;
}

/// Sends a payload. Returns what connect_or_log returns.
std::string send_or_log(const UniqueFd& connection, const std::string& ip, int port,
                        const std::string& payload) {
  const auto sent = static_cast<int>(retry_interrupted(
      [&] { return send(connection.get(), payload.data(), payload.size(), MSG_NOSIGNAL); }));
  if (sent >= 0) return {};
  std::string failure = numbered_error(errno);
  log_main("[kovotcp] Error: send(len=%d) %s:%d :%s\n(%d)%s;\n", sent, ip.c_str(), port,
           failure.c_str(), static_cast<int>(payload.size()), payload.c_str());
  return failure;
}

std::string read_reply(int fd, std::size_t reply_size) {
  std::string reply(reply_size - 1, '\0');
  const ssize_t received =
      retry_interrupted([&] { return recv(fd, reply.data(), reply.size(), 0); });
  if (received < 0) return numbered_error(errno);
  reply.resize(until_nul({reply.data(), static_cast<std::size_t>(received)}).size());
  const std::string end = reply.substr(reply.size() - std::min<std::size_t>(reply.size(), 2));
  if (end == "\r\n" || end == "\n\r") reply.replace(reply.size() - 2, 2, "\n");
  return reply;
}

}  // namespace

bool udpclient(const std::string& ip, int port, std::string_view payload) {
  const sockaddr_in address = socket_address(ip, port);
  const UniqueFd datagram(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!datagram) return false;
  LOG_DEBUG("udpclient", "send udp:%d (%d)%s\n", port, static_cast<int>(payload.size()),
            std::string(payload).c_str());
  const ssize_t sent = retry_interrupted([&] {
    return sendto(datagram.get(), payload.data(), payload.size(), MSG_NOSIGNAL,
                  as_sockaddr(address), sizeof address);
  });
  sleep_ms(kSenderPauseMs);
  return sent >= 0;
}

std::string tcpclient(const std::string& ip, int port, std::string_view payload,
                      std::size_t reply_size) {
  const std::string text(payload);
  const UniqueFd connection(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!connection) return numbered_error(errno);
  std::string failure = connect_or_log("tcpclient", connection, ip, port, text, kReplyTimeoutMs);
  if (!failure.empty()) return failure;
  LOG_DEBUG("tcpclient", "send[%d] %s\n", static_cast<int>(text.size()), text.c_str());
  failure = send_or_log(connection, ip, port, text);
  return failure.empty() ? read_reply(connection.get(), reply_size) : failure;
}

bool tcpclient_no_rcv(const std::string& ip, int port, std::string_view payload) {
  constexpr char kRoutine[] = "tcpclient_no_rcv";
  const std::string text(payload);
  const UniqueFd connection(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!connection) {
    LOG_DEBUG(kRoutine, "socket %s", numbered_error(errno).c_str());
    return false;
  }
  if (!connect_or_log(kRoutine, connection, ip, port, text, kNoReplyTimeoutMs).empty())
    return false;
  LOG_DEBUG(kRoutine, "send tcp:%d (%d)%s\n", port, static_cast<int>(text.size()), text.c_str());
  if (!send_or_log(connection, ip, port, text).empty()) return false;
  sleep_ms(kSenderPauseMs);
  return true;
}

bool send_by(Transport transport, const std::string& ip, int port, std::string_view payload) {
  return transport == Transport::kUdp ? udpclient(ip, port, payload)
                                      : tcpclient_no_rcv(ip, port, payload);
}

std::string ask_status_service(const std::string& request, std::size_t reply_size) {
  return tcpclient(kStatusServiceAddress, kStatusServicePort, request, reply_size);
}

}  // namespace kovo
