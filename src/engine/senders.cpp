#include "engine/senders.h"

#include <poll.h>

#include <cerrno>

#include "frame/files.h"
#include "frame/globals.h"
#include "frame/host.h"
#include "frame/log.h"
#include "frame/sockets.h"

namespace kovo {
namespace {

constexpr int kReplyTimeoutMs = 2000;
constexpr int kNoReplyTimeoutMs = 1500;
constexpr int kPauseMs = 10;

constexpr char kStatusServiceAddress[] = "127.0.0.1";
constexpr int kStatusServicePort = 50003;

/// An interrupted connect goes on by itself and cannot be made again: its end is waited for.
int finish_connect(int fd, int timeout_ms) {
  pollfd waiting{fd, POLLOUT, 0};
  int ready = -1;
  do {
    ready = poll(&waiting, 1, timeout_ms);
  } while (ready < 0 && errno == EINTR);
  if (ready == 0) errno = EINPROGRESS;
  if (ready <= 0) return -1;
  int error = 0;
  socklen_t size = sizeof error;
  if (getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) != 0) return -1;
  errno = error;
  return error == 0 ? 0 : -1;
}

int connect_to(int fd, const sockaddr_in& address, int timeout_ms) {
  if (connect(fd, generic(address), sizeof address) == 0) return 0;
  return errno == EINTR ? finish_connect(fd, timeout_ms) : -1;
}

int send_once(int fd, std::string_view payload) {
  ssize_t sent = -1;
  do {
    sent = send(fd, payload.data(), payload.size(), MSG_NOSIGNAL);
  } while (sent < 0 && errno == EINTR);
  return static_cast<int>(sent);
}

std::string numbered_error(int error) {
  return "(" + std::to_string(error) + ")" + error_text(error);
}

/// Opens and connects; `failure` is the error as "(number)text" when the result is negative.
int open_connection(const char* routine, Descriptor& connection, const std::string& ip, int port,
                    const std::string& payload, int timeout_ms, std::string& failure) {
  connection.fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (connection.fd < 0) {
    failure = numbered_error(errno);
    return kNoSocket;
  }
  set_timeouts(connection.fd, timeout_ms);
  if (connect_to(connection.fd, socket_address(ip, port), timeout_ms) == 0) return 0;
  const int error = errno;
  failure = numbered_error(error);
  LOG_MAIN(routine, "Error: connect ip=%s, port=%d, error=(%d)%s, data=%s;\n", ip.c_str(), port,
           error, error_text(error).c_str(), payload.c_str());
  return kConnectFailed;
}

/// Sends on an open connection; `failure` as above.
int send_payload(const Descriptor& connection, const std::string& ip, int port,
                 const std::string& payload, std::string& failure) {
  const int sent = send_once(connection.fd, payload);
  if (sent >= 0) return sent;
  const int error = errno;
  failure = numbered_error(error);
  log_main("[kovotcp] Error: send(len=%d) %s:%d :(%d)%s\n(%d)%s;\n", sent, ip.c_str(), port, error,
           error_text(error).c_str(), static_cast<int>(payload.size()), payload.c_str());
  return kSendFailed;
}

/// A final pair of carriage return and line feed, in either order, counts as one line feed.
void join_line_end(std::string& reply) {
  if (reply.size() < 2) return;
  const std::string_view end = std::string_view(reply).substr(reply.size() - 2);
  if (end == "\r\n" || end == "\n\r") reply.replace(reply.size() - 2, 2, "\n");
}

std::string read_reply(int fd, std::size_t reply_size) {
  std::string reply(reply_size - 1, '\0');
  ssize_t received = -1;
  do {
    received = recv(fd, reply.data(), reply.size(), 0);
  } while (received < 0 && errno == EINTR);
  if (received < 0) return numbered_error(errno);
  reply.resize(until_nul({reply.data(), static_cast<std::size_t>(received)}).size());
  join_line_end(reply);
  return reply;
}

}  // namespace

int udpclient(const std::string& ip, int port, std::string_view payload) {
  const sockaddr_in address = socket_address(ip, port);
  const Descriptor datagram(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (datagram.fd < 0) return -1;
  LOG_DEBUG("udpclient", "send udp:%d (%d)%s\n", port, static_cast<int>(payload.size()),
            std::string(payload).c_str());
  ssize_t sent = -1;
  do {
    sent = sendto(datagram.fd, payload.data(), payload.size(), MSG_NOSIGNAL, generic(address),
                  sizeof address);
  } while (sent < 0 && errno == EINTR);
  sleep_ms(kPauseMs);
  return static_cast<int>(sent);
}

int tcpclient(const std::string& ip, int port, std::string_view payload, std::string& reply,
              std::size_t reply_size) {
  const std::string text(payload);
  Descriptor connection;
  const int opened =
      open_connection("tcpclient", connection, ip, port, text, kReplyTimeoutMs, reply);
  if (opened < 0) return opened;
  LOG_DEBUG("tcpclient", "send[%d] %s\n", static_cast<int>(text.size()), text.c_str());
  const int sent = send_payload(connection, ip, port, text, reply);
  if (sent >= 0) reply = read_reply(connection.fd, reply_size);
  return sent;
}

int tcpclient_no_rcv(const std::string& ip, int port, std::string_view payload) {
  const std::string text(payload);
  Descriptor connection;
  std::string failure;
  const int opened =
      open_connection("tcpclient_no_rcv", connection, ip, port, text, kNoReplyTimeoutMs, failure);
  if (opened == kNoSocket) {
    LOG_DEBUG("tcpclient_no_rcv", "socket %s", failure.c_str());
  }
  if (opened < 0) return opened;
  LOG_DEBUG("tcpclient_no_rcv", "send tcp:%d (%d)%s\n", port, static_cast<int>(text.size()),
            text.c_str());
  const int sent = send_payload(connection, ip, port, text, failure);
  if (sent >= 0) sleep_ms(kPauseMs);
  return sent;
}

int send_by(Transport transport, const std::string& ip, int port, std::string_view payload) {
  return transport == Transport::kUdp ? udpclient(ip, port, payload)
                                      : tcpclient_no_rcv(ip, port, payload);
}

std::string ask_status_service(const std::string& request, std::size_t reply_size) {
  std::string reply;
  tcpclient(kStatusServiceAddress, kStatusServicePort, request, reply, reply_size);
  return reply;
}

}  // namespace kovo
