// The device's own address, clocks, sleeping, and returning memory. Nothing here keeps state. Any
// thread, except where a function says otherwise.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace kovo {

/// Finds the device's IPv4 address, the last that is listed of an interface other than "lo".
/// Without one, and when the interfaces cannot be read, which is logged, `ip_addr` (dotted text)
/// and `iface_name` keep their values. Called only by main, during start-up.
void renew_network_info(std::string& ip_addr, std::string& iface_name);

struct LocalTime {
  std::tm fields;
  int milliseconds;
};

LocalTime local_time();

/// Return the seconds since the epoch, and the nanoseconds of the steady clock.
std::int64_t now_s();
std::int64_t steady_ns();

/// A clock of seconds since the epoch: now_s, or one that a test sets.
using SecondsClock = std::int64_t (*)();

/// Returns free heap memory to the system, which the C library would keep after a large file.
void give_back_memory();

/// Sleep for the whole time, also when signals arrive; not at all for 0 or less.
void sleep_ns(std::int64_t nanoseconds);
void sleep_ms(std::int64_t milliseconds);

}  // namespace kovo
