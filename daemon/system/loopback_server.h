// The servers on the loopback address: one loop for the TCP ports and one for the UDP ports.
// TcpService and UdpService hold what differs between the services. A thread body calls serve_tcp
// or serve_udp, which pass `context` to on_message and return only after setting up, waiting or
// receiving has failed, which is logged.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "core/text.h"

namespace kovo {

constexpr std::size_t kMaxTcpRead = kMaxMessage;

enum class Announce { kBeforeBind, kAfterBind };     // when the address is logged
enum class PortInUse { kEndsThread, kEndsProcess };  // with status 1: another daemon is running

struct TcpService {
  const char* routine;  // the thread body's name, for the log lines
  std::uint16_t port;
  std::size_t max_read;  // bytes read of a connection, 1 to kMaxTcpRead
  Announce announce;
  PortInUse port_in_use;
  void (*on_message)(void* context, std::string_view data);  // 1 to max_read bytes
  void (*on_read_error)(const char* text);
};

/// Serves connections that carry one message each: reads once, closes the connection, sends no
/// reply. Serves ready connections in the order of their descriptors. Beyond 128 connections, and
/// when descriptors or memory run out, closes the longest-idle one: the oldest without a byte to
/// read.
void serve_tcp(const TcpService& service, void* context);

struct UdpService {
  const char* routine;
  std::uint16_t port;
  void (*on_message)(void* context, std::string_view data);  // 2 to kMaxDatagram bytes
  void (*on_receive_error)(int error);
};

/// Receives datagrams. Those of 0 or 1 bytes are silently ignored.
void serve_udp(const UdpService& service, void* context);

}  // namespace kovo
