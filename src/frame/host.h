// Services taken from the host: the device's own address, clocks and their texts.
// Nothing here keeps state. Any thread, but where it says otherwise.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace kovo {

/// Finds the device's IPv4 address among the interfaces other than "lo"; the last one listed wins.
/// `ip_addr` (dotted text) and `iface_name` keep their values when there is none.
/// Returns 0, or -1 when the interfaces cannot be read. Called only by main, during start-up.
int renew_network_info(std::string& ip_addr, std::string& iface_name);

struct LocalTime {
  std::tm fields;
  int milliseconds;
};

/// Returns the wall clock as local time.
LocalTime local_time();

/// Return the local date as in "2025-03-05 ", with its trailing blank, and time as in "07:04:09".
std::string date_text();
std::string time_text();

/// Return the seconds and microseconds since the epoch, and the nanoseconds of the steady clock.
std::int64_t now_s();
std::int64_t now_us();
std::int64_t steady_ns();

/// A clock of seconds since the epoch: now_s, or one that a test sets.
using SecondsClock = std::int64_t (*)();

/// Returns to the system what the heap has free; otherwise a large file or queue leaves it with the
/// process.
void give_back_memory();

/// Sleeps for the whole time, also when signals arrive meanwhile; at once for 0 or less.
void sleep_ns(std::int64_t nanoseconds);
void sleep_ms(std::int64_t milliseconds);

}  // namespace kovo
