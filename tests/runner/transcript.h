// What came out: made comparable, held against what was expected, and told apart in words.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kovo::device {

/// Between two arrivals or requests in the text of their channel.
constexpr char kEnd = '\x1e';

struct Expected {
  std::string text;
  bool floating = false;  // anywhere among the others
  bool optional = false;  // or not at all
};

/// What a text that came out may hold of the moment and the process it came from.
struct Moment {
  std::int64_t from_ms = 0;  // wall clock: nothing in the text is older
  std::int64_t to_ms = 0;    // and nothing younger
  std::int64_t age_ms = 0;   // of the daemon
  long uptime_s = 0;         // of the system at the daemon's start
  int pid = 0;
};

/// Makes a text the same for every run: "[routine:12]" becomes "[routine]", a time stamp "@ ", any
/// other local time "NOW", the daemon's pid PID, the build date DATE, an uptime UP, a queue time N
/// and the seconds since a row's last message S. What the moment does not allow stays as it is.
std::string normalise(const std::string& text, const Moment& moment);

/// Compares from the start; true when everything expected has come and nothing else. Otherwise
/// `missing` is what has not come, in order, and `extra` what came in its place.
bool matches(const std::string& text, const std::vector<Expected>& expected,
             std::vector<Expected>& missing, std::string& extra);

/// Cuts a text behind each end of a line or arrival.
std::vector<std::string> pieces_of(const std::string& text);

}  // namespace kovo::device
