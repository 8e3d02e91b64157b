#include "device/status_service.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <utility>
#include <vector>

#include "device/device.h"

namespace kovo::device {

namespace {

constexpr int kPort = 50003;
constexpr std::chrono::milliseconds kRequestLimit(200);
constexpr std::chrono::milliseconds kFarewellLimit(500);
constexpr int kTickMs = 20;  // how exactly the two limits are kept
constexpr std::size_t kEndlessChunk = 65536;

enum class Phase { kAsking, kAnswering, kHeld, kLeaving, kGone };

struct Connection {
  Descriptor socket;
  Phase phase = Phase::kAsking;
  StatusMode mode = StatusMode::kSilent;
  Clock::time_point since = Clock::now();
  bool peer_finished = false;
  std::string request;
  std::string answer;
  std::string pending;
};

bool is_endless(const Connection& connection) {
  return connection.mode == StatusMode::kEndless && !connection.answer.empty();
}

void take_request(StatusService& service, Connection& connection) {
  const std::lock_guard<std::mutex> lock(service.mutex);
  service.requests.push_back(connection.request);
  connection.mode = service.mode;
  connection.answer = service.answer;
  connection.pending = service.answer;
  switch (service.mode) {
    case StatusMode::kSilent:
      connection.phase = Phase::kHeld;
      break;
    case StatusMode::kCloseAtOnce:
      connection.phase = Phase::kGone;
      break;
    default:
      connection.phase = Phase::kAnswering;
      break;
  }
}

// Closing with unread bytes would reset the connection and might cost the peer the answer.
void leave(Connection& connection) {
  shutdown(connection.socket.fd, SHUT_WR);
  connection.phase = connection.peer_finished ? Phase::kGone : Phase::kLeaving;
  connection.since = Clock::now();
}

void send_answer(Connection& connection) {
  while (is_endless(connection) && connection.pending.size() < kEndlessChunk) {
    connection.pending += connection.answer;
  }
  if (!send_pending(connection.socket.fd, connection.pending)) {
    connection.phase = Phase::kGone;
  } else if (connection.pending.empty() && !is_endless(connection)) {
    connection.phase = Phase::kHeld;
    if (connection.mode == StatusMode::kAnswerAndClose) leave(connection);
  }
}

void read_request(Connection& connection, bool hung_up) {
  std::string bytes;
  switch (read_waiting(connection.socket.fd, bytes)) {
    case ReadResult::kBytes:
      if (connection.phase == Phase::kAsking) connection.request += bytes;
      break;
    case ReadResult::kNothing:
      break;
    case ReadResult::kEnd:
      connection.peer_finished = true;
      if (hung_up || connection.phase == Phase::kLeaving) connection.phase = Phase::kGone;
      break;
    case ReadResult::kBroken:
      connection.phase = Phase::kGone;
      break;
  }
}

void advance(StatusService& service, Connection& connection, short events) {
  const auto now = Clock::now();
  // A reset after the end does not show when reading.
  const bool hung_up = (events & (POLLHUP | POLLERR)) != 0;
  if (hung_up || (events & POLLIN) != 0) read_request(connection, hung_up);
  if (connection.phase == Phase::kAsking &&
      (connection.peer_finished || now - connection.since >= kRequestLimit ||
       connection.request.find("getStatus") != std::string::npos)) {
    take_request(service, connection);
  }
  if (connection.phase == Phase::kAnswering) send_answer(connection);
  if (connection.phase == Phase::kLeaving && now - connection.since >= kFarewellLimit)
    connection.phase = Phase::kGone;
}

void accept_all(StatusService& service, std::vector<Connection>& connections) {
  for (;;) {
    Connection connection;
    connection.socket = accept_waiting(service.listener.socket.fd);
    if (connection.socket.fd < 0) return;
    bool at_once = false;
    {
      const std::lock_guard<std::mutex> lock(service.mutex);
      at_once = service.mode == StatusMode::kCloseAtOnce;
    }
    if (at_once) take_request(service, connection);
    if (connection.phase != Phase::kGone) connections.push_back(std::move(connection));
  }
}

void serve(StatusService& service) {
  std::vector<Connection> connections;
  std::vector<pollfd> polled;
  for (;;) {
    polled = {{service.stop.fd, POLLIN, 0}, {service.listener.socket.fd, POLLIN, 0}};
    bool limited = false;
    for (const Connection& connection : connections) {
      const int in = connection.peer_finished ? 0 : POLLIN;
      const int out = connection.phase == Phase::kAnswering ? POLLOUT : 0;
      polled.push_back({connection.socket.fd, static_cast<short>(in | out), 0});
      limited |= connection.phase == Phase::kAsking || connection.phase == Phase::kLeaving;
    }
    poll(polled.data(), polled.size(), limited ? kTickMs : -1);
    if (polled[0].revents != 0) return;
    for (std::size_t i = 0; i < connections.size(); ++i) {
      advance(service, connections[i], polled[i + 2].revents);
    }
    connections.erase(
        std::remove_if(connections.begin(), connections.end(),
                       [](const Connection& one) { return one.phase == Phase::kGone; }),
        connections.end());
    if (polled[1].revents != 0) accept_all(service, connections);
  }
}

}  // namespace

StatusService::~StatusService() {
  stop_status_service(*this);
}

std::string default_status_answer() {
  return "inputName:HDMI1\rHDMI1Status:1\rHDMI1Resolution:1080p60\rname:Lobby\rstream:12\rmute:0\r";
}

bool start_status_service(StatusService& service, StatusMode mode, std::string answer) {
  stop_status_service(service);
  set_status(service, mode, std::move(answer));
  service.listener = bind_tcp("127.0.0.1", kPort);
  service.stop = make_signal();
  if (service.listener.socket.fd < 0) return false;
  service.thread = std::thread([&service] { serve(service); });
  return true;
}

void stop_status_service(StatusService& service) {
  if (!service.thread.joinable()) return;
  raise_signal(service.stop);
  service.thread.join();
  service.listener = BoundSocket();
}

void set_status(StatusService& service, StatusMode mode, std::string answer) {
  const std::lock_guard<std::mutex> lock(service.mutex);
  service.mode = mode;
  service.answer = std::move(answer);
}

std::vector<std::string> requests(StatusService& service) {
  const std::lock_guard<std::mutex> lock(service.mutex);
  return service.requests;
}

}  // namespace kovo::device
