// The servers on the loopback address: one readiness loop for the TCP ports and one receive loop
// for the UDP ports. A small record says in what the ports differ.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kovo {

struct TcpPort {
  const char* routine;  // the thread body's name, for the log lines
  std::uint16_t port;
  std::size_t max_read;                 // bytes read of a connection at most
  bool announce_before_bind;            // log the address before binding, otherwise once bound
  bool only_one_daemon;                 // end the process with status 1 when the port is in use
  void (*take)(std::string_view data);  // the one read of a connection, 1 byte or more
  void (*log_read_error)(const char* text);
};

/// Serves connections that carry one message each: one read, then closed, no reply. Returns after a
/// set-up or select failure, which is logged. When descriptors run out, and beyond 450 connections
/// (or a quarter of the process's descriptors, 2 at least), the connection that has waited longest
/// without a byte is dropped. Called by the port's thread body.
void serve_tcp(const TcpPort& port);

struct UdpPort {
  const char* routine;
  std::uint16_t port;
  void (*take)(std::string_view data);  // one datagram, 2 to kMaxDatagram bytes
  void (*log_receive_error)(int error);
};

/// Receives datagrams; those of 0 or 1 bytes are ignored. Returns after a set-up or receive
/// failure, which is logged. Called by the port's thread body.
void serve_udp(const UdpPort& port);

}  // namespace kovo
