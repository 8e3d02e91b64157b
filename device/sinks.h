// Receivers that record what arrived and when.
#pragma once

#include <chrono>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "device/device.h"
#include "device/sockets.h"

namespace kovo::device {

struct Arrival {
  Clock::time_point at;
  std::string bytes;
};

/// What a sink has received; its thread adds, others look.
struct ArrivalLog {
  mutable std::mutex mutex;  // guards the next two
  std::vector<Arrival> arrivals;
  int connections = 0;  // of a TCP sink: accepted ones
};

struct UdpSink {
  UdpSink() = default;
  ~UdpSink();

  int port = 0;
  ArrivalLog log;
  Descriptor socket;
  Descriptor stop;
  std::thread thread;
};

enum class TcpSinkMode {
  kReply,   // sends the reply at the first bytes, closes after the peer did
  kSilent,  // reads, never answers, keeps the connection even when the peer has closed
};

struct TcpSink {
  TcpSink() = default;
  ~TcpSink();

  int port = 0;
  TcpSinkMode mode = TcpSinkMode::kSilent;
  std::string reply;
  ArrivalLog log;
  Descriptor listener;
  Descriptor stop;
  std::thread thread;
};

/// Receives at an address of the device, port 0 for any free one; false when the port is taken.
bool start_udp_sink(UdpSink& sink, const std::string& address, int port);
bool start_tcp_sink(TcpSink& sink, const std::string& address, int port, TcpSinkMode mode,
                    const std::string& reply = "");

/// Closes the port and all connections; what was recorded stays. The sink can be started again.
void stop_udp_sink(UdpSink& sink);
void stop_tcp_sink(TcpSink& sink);

/// All arrivals so far: one per datagram; one per TCP connection that sent something, as soon as
/// the peer has closed or was quiet for 50 ms (and another one if it goes on after that). The
/// time is that of the first byte.
std::vector<Arrival> arrivals(const UdpSink& sink);
std::vector<Arrival> arrivals(const TcpSink& sink);

/// Waits for that many arrivals; false when the limit passed before.
bool wait_arrivals(const UdpSink& sink, std::size_t count,
                   std::chrono::milliseconds limit = std::chrono::seconds(10));
bool wait_arrivals(const TcpSink& sink, std::size_t count,
                   std::chrono::milliseconds limit = std::chrono::seconds(10));

/// The connections accepted so far, those without a byte too.
int connection_count(const TcpSink& sink);

}  // namespace kovo::device
