// What came out: made comparable, held against what was expected, and told apart in words.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kovo::device {

/// Ends each arrival or request in the text of its channel.
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
/// other local time NOW, the daemon's pid PID, its build date DATE, seconds of uptime UP, queue
/// times N, waits and pauses S. What the moment does not allow stays as it is.
std::string normalise(const std::string& text, const Moment& moment);

/// Compares from the start; "" when all that is expected has come and nothing else, otherwise lines
/// of what is missing ("-") and of what came in its place ("+"). Tells if the latter is not empty.
std::string difference(const std::string& text, std::vector<Expected> expected, bool& wrong);

/// Cuts a text behind each end of an arrival, or of a line if there is none.
std::vector<std::string> pieces_of(const std::string& text);

}  // namespace kovo::device
