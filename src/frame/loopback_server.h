// The servers on the loopback address: one readiness loop for the TCP ports and one receive loop
// for the UDP ports. A small record says in what the services differ.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "frame/text.h"

namespace kovo {

constexpr std::size_t kMaxTcpRead = kMaxMessage;

enum class Announce { kBeforeBind, kOnceBound };     // when the address is logged
enum class PortInUse { kEndsThread, kEndsProcess };  // with status 1: another daemon is running

struct TcpService {
  const char* routine;  // the thread body's name, for the log lines
  std::uint16_t port;
  std::size_t max_read;  // bytes read of a connection, 1 to kMaxTcpRead
  Announce announce;
  PortInUse port_in_use;
  void (*take)(void* context, std::string_view data);  // the one read of a connection, not empty
  void (*log_read_error)(const char* text);
};

/// Serves connections that carry one message each: one read, then closed, no reply. Connections
/// that can be read are visited in the order of their descriptors. Returns after a set-up or poll
/// failure, which is logged. When descriptors run out, and beyond 128 connections, the
/// longest-idle one is closed. `context` is handed to `take`. Called by the service's thread body.
void serve_tcp(const TcpService& service, void* context);

struct UdpService {
  const char* routine;
  std::uint16_t port;
  void (*take)(void* context, std::string_view data);  // one datagram, 2 to kMaxDatagram bytes
  void (*log_receive_error)(int error);
};

/// Receives datagrams; those of 0 or 1 bytes are ignored. Returns after a set-up or receive
/// failure, which is logged. `context` is handed to `take`. Called by the service's thread body.
void serve_udp(const UdpService& service, void* context);

}  // namespace kovo
