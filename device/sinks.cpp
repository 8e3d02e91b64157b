#include "device/sinks.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <utility>

namespace kovo::device {

namespace {

constexpr std::chrono::milliseconds kQuiet(50);
constexpr int kTickMs = 10;  // how exactly the quiet time is kept

struct Connection {
  Descriptor socket;
  Clock::time_point first{};
  Clock::time_point latest{};
  std::string bytes;    // not yet recorded
  std::string pending;  // of the reply
  bool replied = false;
  bool finished = false;  // nothing more will come
  bool broken = false;
};

void record(ArrivalLog& log, Clock::time_point at, std::string bytes) {
  const std::lock_guard<std::mutex> lock(log.mutex);
  log.arrivals.push_back({at, std::move(bytes)});
}

std::vector<Arrival> copy_of(const ArrivalLog& log) {
  const std::lock_guard<std::mutex> lock(log.mutex);
  return log.arrivals;
}

bool wait_for_count(const ArrivalLog& log, std::size_t count, std::chrono::milliseconds limit) {
  return wait_for(
      [&] {
        const std::lock_guard<std::mutex> lock(log.mutex);
        return log.arrivals.size() >= count;
      },
      limit);
}

void receive_datagrams(UdpSink& sink) {
  std::array<pollfd, 2> polled{{{sink.stop.fd, POLLIN, 0}, {sink.socket.fd, POLLIN, 0}}};
  for (;;) {
    poll(polled.data(), polled.size(), -1);
    if (polled[0].revents != 0) return;
    // An empty datagram counts as well: it looks like the end of a stream.
    for (std::string bytes;; bytes.clear()) {
      const ReadResult result = read_waiting(sink.socket.fd, bytes);
      if (result != ReadResult::kBytes && result != ReadResult::kEnd) break;
      record(sink.log, Clock::now(), bytes);
    }
  }
}

void read_connection(TcpSink& sink, Connection& connection, bool hung_up) {
  const bool was_empty = connection.bytes.empty();
  switch (read_waiting(connection.socket.fd, connection.bytes)) {
    case ReadResult::kBytes:
      connection.latest = Clock::now();
      if (was_empty) connection.first = connection.latest;
      if (sink.mode == TcpSinkMode::kReply && !std::exchange(connection.replied, true)) {
        connection.pending = sink.reply;
      }
      break;
    case ReadResult::kNothing:
      break;
    case ReadResult::kEnd:
      connection.finished = true;
      connection.broken = hung_up;
      break;
    case ReadResult::kBroken:
      connection.finished = connection.broken = true;
      break;
  }
}

void advance(TcpSink& sink, Connection& connection, short events) {
  // A reset after the end does not show when reading.
  const bool hung_up = (events & (POLLHUP | POLLERR)) != 0;
  if (hung_up || (events & POLLIN) != 0) read_connection(sink, connection, hung_up);
  if (!send_pending(connection.socket.fd, connection.pending)) connection.broken = true;
  const bool quiet = Clock::now() - connection.latest >= kQuiet;
  if (!connection.bytes.empty() && (connection.finished || connection.broken || quiet)) {
    record(sink.log, connection.first, std::exchange(connection.bytes, std::string()));
  }
}

bool is_over(const TcpSink& sink, const Connection& connection) {
  return connection.broken ||
         (sink.mode == TcpSinkMode::kReply && connection.finished && connection.pending.empty());
}

void accept_all(TcpSink& sink, std::vector<Connection>& connections) {
  for (;;) {
    Connection connection;
    connection.socket = accept_waiting(sink.listener.fd);
    if (connection.socket.fd < 0) return;
    connections.push_back(std::move(connection));
    const std::lock_guard<std::mutex> lock(sink.log.mutex);
    ++sink.log.connections;
  }
}

void serve_connections(TcpSink& sink) {
  std::vector<Connection> connections;
  std::vector<pollfd> polled;
  for (;;) {
    polled = {{sink.stop.fd, POLLIN, 0}, {sink.listener.fd, POLLIN, 0}};
    bool unrecorded = false;
    for (const Connection& connection : connections) {
      const int in = connection.finished ? 0 : POLLIN;
      const int out = connection.pending.empty() ? 0 : POLLOUT;
      polled.push_back({connection.socket.fd, static_cast<short>(in | out), 0});
      unrecorded |= !connection.bytes.empty();
    }
    poll(polled.data(), polled.size(), unrecorded ? kTickMs : -1);
    if (polled[0].revents != 0) return;
    for (std::size_t i = 0; i < connections.size(); ++i) {
      advance(sink, connections[i], polled[i + 2].revents);
    }
    connections.erase(std::remove_if(connections.begin(), connections.end(),
                                     [&sink](const Connection& one) { return is_over(sink, one); }),
                      connections.end());
    if (polled[1].revents != 0) accept_all(sink, connections);
  }
}

void end_thread(const Descriptor& stop, std::thread& thread) {
  if (!thread.joinable()) return;
  raise_signal(stop);
  thread.join();
}

}  // namespace

UdpSink::~UdpSink() {
  stop_udp_sink(*this);
}

TcpSink::~TcpSink() {
  stop_tcp_sink(*this);
}

bool start_udp_sink(UdpSink& sink, const std::string& address, int port) {
  stop_udp_sink(sink);
  BoundSocket bound = bind_udp(address, port);
  if (bound.socket.fd < 0) return false;
  sink.port = bound.port;
  sink.socket = std::move(bound.socket);
  sink.stop = make_signal();
  sink.thread = std::thread([&sink] { receive_datagrams(sink); });
  return true;
}

bool start_tcp_sink(TcpSink& sink, const std::string& address, int port, TcpSinkMode mode,
                    const std::string& reply) {
  stop_tcp_sink(sink);
  BoundSocket bound = bind_tcp(address, port);
  if (bound.socket.fd < 0) return false;
  sink.port = bound.port;
  sink.mode = mode;
  sink.reply = reply;
  sink.listener = std::move(bound.socket);
  sink.stop = make_signal();
  sink.thread = std::thread([&sink] { serve_connections(sink); });
  return true;
}

void stop_udp_sink(UdpSink& sink) {
  end_thread(sink.stop, sink.thread);
  sink.socket = Descriptor();
}

void stop_tcp_sink(TcpSink& sink) {
  end_thread(sink.stop, sink.thread);
  sink.listener = Descriptor();
}

std::vector<Arrival> arrivals(const UdpSink& sink) {
  return copy_of(sink.log);
}

std::vector<Arrival> arrivals(const TcpSink& sink) {
  return copy_of(sink.log);
}

bool wait_arrivals(const UdpSink& sink, std::size_t count, std::chrono::milliseconds limit) {
  return wait_for_count(sink.log, count, limit);
}

bool wait_arrivals(const TcpSink& sink, std::size_t count, std::chrono::milliseconds limit) {
  return wait_for_count(sink.log, count, limit);
}

int connection_count(const TcpSink& sink) {
  const std::lock_guard<std::mutex> lock(sink.log.mutex);
  return sink.log.connections;
}

}  // namespace kovo::device
