#include "frame/patient_output.h"

#include <poll.h>
#include <stdio_ext.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <string_view>

#include "frame/host.h"

namespace kovo {
namespace {

constexpr std::int64_t kPatienceMs = 200;  // without any byte taken
constexpr std::int64_t kLongestMs = 1000;  // for one piece of output in all
constexpr std::int64_t kNanosecondsPerMs = 1'000'000;
constexpr std::size_t kBlock = 4096;  // a pipe that is ready takes as much without blocking

struct Output {
  int fd = -1;
  bool is_socket = false;
  bool stalled = false;  // the wait for room ran out; cleared by the next byte that is taken
};

bool is_ready(const Output& output, int timeout_ms) {
  pollfd waiting{output.fd, POLLOUT, 0};
  int ready = -1;
  do {
    ready = poll(&waiting, 1, timeout_ms);
  } while (ready < 0 && errno == EINTR);
  return ready > 0;
}

/// Writes what there is room for: 0 when there is none after all, -1 when it never will be read.
ssize_t write_some(const Output& output, std::string_view bytes) {
  const std::size_t size = std::min(bytes.size(), kBlock);
  const ssize_t written = output.is_socket
                              ? send(output.fd, bytes.data(), size, MSG_DONTWAIT | MSG_NOSIGNAL)
                              : write(output.fd, bytes.data(), size);
  return written < 0 && (errno == EINTR || errno == EAGAIN) ? 0 : written;
}

/// Waits for room. False when there was none for too long, or none right now of a reader that has
/// been given up.
bool wait_for_room(const Output& output, std::int64_t end_ns) {
  if (output.stalled) return is_ready(output, 0);
  const std::int64_t left_ms = (end_ns - steady_ns()) / kNanosecondsPerMs;
  return left_ms > 0 && is_ready(output, static_cast<int>(std::min(left_ms, kPatienceMs)));
}

/// What stdio calls. It always takes all: stdio would only try again what had no room.
ssize_t write_patiently(void* cookie, const char* data, std::size_t size) {
  Output& output = *static_cast<Output*>(cookie);
  std::string_view bytes(data, size);
  const std::int64_t end_ns = steady_ns() + kLongestMs * kNanosecondsPerMs;
  while (!bytes.empty()) {
    const bool room = wait_for_room(output, end_ns);
    const ssize_t written = room ? write_some(output, bytes) : 0;
    if (written < 0) break;
    if (!room || (written == 0 && output.stalled)) {
      output.stalled = true;
      break;
    }
    if (written == 0) sleep_ms(1);  // somebody else has taken the room
    if (written > 0) output.stalled = false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return static_cast<ssize_t>(size);
}

int buffering_of(std::FILE* stream) {
  if (__flbf(stream) != 0 || isatty(fileno(stream)) != 0) return _IOLBF;
  return __fbufsize(stream) == 1 ? _IONBF : _IOFBF;
}

}  // namespace

std::FILE* open_patient_output(int fd, std::FILE* model) {
  static Output output;
  static char buffer[kBlock];
  struct stat info {};
  output.fd = fd;
  output.is_socket = fstat(fd, &info) == 0 && S_ISSOCK(info.st_mode);
  cookie_io_functions_t functions{};
  functions.write = write_patiently;
  std::FILE* stream = fopencookie(&output, "w", functions);
  if (stream != nullptr) std::setvbuf(stream, buffer, buffering_of(model), sizeof buffer);
  return stream;
}

}  // namespace kovo
