// What the daemon is measured against: the least that its task takes, with nothing around it. All
// of it sends to 127.0.0.1.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace kovo::bench {

using Milliseconds = std::chrono::duration<double, std::milli>;

/// Starts a server that sends a datagram to `target` as soon as it has read from a connection; its
/// port. It stays until the program ends.
int start_relay(int target);

/// Asks the status service so often by the daemon's own pipeline, after setsid, as a daemon does:
/// the scheduler shares the processor among groups of that kind. False when it failed.
bool query_status(int times);

/// The CPU time, in microseconds, of receiving these datagrams, with a record of each appended to a
/// file that is opened for it, and each stored by its name.
double cpu_of_receiving(const std::vector<std::string>& messages);

/// Starts a thread for each offset: it waits so long and sends a datagram.
void send_at(const std::vector<int>& offsets_ms, int port);

/// A datagram for each of so many clients, with the pause of 10 ms after each.
void tell_clients(int count, int port);

/// A process with as many threads as the daemon, which wait as its own do when all is idle.
[[noreturn]] void be_bare();

}  // namespace kovo::bench
