// What the daemon is measured against: the least that its task takes, done with nothing around it.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "device/sockets.h"

namespace kovo::bench {

using Milliseconds = std::chrono::duration<double, std::milli>;

/// Sends one byte to a UDP port of the device.
void send_byte(int port);

/// A server that sends a byte to a UDP port as soon as it has read from a connection.
struct Relay {
  ~Relay();

  int port = 0;
  device::BoundSocket listener;
  device::Descriptor stop;
  std::thread thread;
};
std::unique_ptr<Relay> start_relay(int target);

/// Asks the status service by the daemon's own pipeline; the size of the answer.
std::size_t query_status();

/// The CPU time, in microseconds, of receiving so many datagrams of the text, with a record of each
/// appended to a file that is opened for it, and its value stored.
double cpu_of_receiving(int count, const std::string& text);

/// Starts a thread for each offset: it waits so long and sends a byte to a UDP port.
void send_at(const std::vector<Milliseconds>& offsets, int port);

/// A byte to each of so many clients, and the pause of 10 ms after each.
void tell_clients(int count, int port);

/// A process with the daemon's threads, which wait as its own do when there is nothing to do.
[[noreturn]] void be_bare();

}  // namespace kovo::bench
