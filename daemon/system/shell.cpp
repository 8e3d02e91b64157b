#include "daemon/system/shell.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <utility>

#include "core/unique_fd.h"
#include "daemon/system/host.h"
#include "daemon/system/log.h"
#include "daemon/system/output.h"

namespace kovo {
namespace {

constexpr std::int64_t kNanosecondsPerMillisecond = 1'000'000;
constexpr std::int64_t kLongestPollMs = 1000;
constexpr std::int64_t kChildPollMs = 5;

/// Starts the shell with `output` as its stdout. Returns -1 when that fails. Does not use fork: a
/// copy of the daemon would need its memory and hold its ports until the shell runs.
pid_t start_shell(const char* command, int output, bool own_group) {
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  if (posix_spawn_file_actions_init(&actions) != 0) return -1;
  posix_spawnattr_init(&attributes);
  if (own_group) posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  const char* const arguments[] = {"sh", "-c", command, nullptr};
  pid_t child = -1;
  int error = posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  if (error == 0) {
    error = posix_spawn(&child, "/bin/sh", &actions, &attributes,
                        const_cast<char* const*>(arguments), environ);
  }
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return error == 0 ? child : -1;
}

int wait_for_end(pid_t child) {
  int status = -1;
  retry_interrupted([&] { return waitpid(child, &status, 0); });
  return status;
}

/// Reads until a newline, the end of the output, kMaxParameter bytes or `end_ns` of the steady
/// clock.
std::string read_first_line(int fd, std::int64_t end_ns) {
  std::string text;
  while (text.size() < kMaxParameter && !contains(text, "\n") && steady_ns() < end_ns) {
    const std::int64_t left_ms = (end_ns - steady_ns()) / kNanosecondsPerMillisecond + 1;
    pollfd output{fd, POLLIN, 0};
    const int ready = poll(&output, 1, static_cast<int>(std::min(left_ms, kLongestPollMs)));
    if (ready == 0 || (ready < 0 && errno == EINTR)) continue;
    char piece[kMaxParameter];
    const ssize_t size =
        retry_interrupted([&] { return read(fd, piece, kMaxParameter - text.size()); });
    if (size <= 0) break;
    text.append(piece, static_cast<std::size_t>(size));
  }
  return std::string(until_newline(until_nul(text)));
}

/// Waits until `end_ns` of the steady clock for the end of a child. Returns whether it was reaped.
bool is_reaped(pid_t child, std::int64_t end_ns) {
  while (steady_ns() < end_ns) {
    if (waitpid(child, nullptr, WNOHANG) != 0) return true;
    sleep_ms(kChildPollMs);
  }
  return false;
}

}  // namespace

Pipe::~Pipe() {
  output.reset();
  if (child > 0) wait_for_end(child);
}

bool open_pipe(Pipe& pipe, const char* command, bool own_group) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return false;
  UniqueFd reading(ends[0]);
  const UniqueFd writing(ends[1]);
  pipe.output.reset(fdopen(reading.get(), "r"));
  if (pipe.output == nullptr) return false;
  reading.release();
  pipe.child = start_shell(command, writing.get(), own_group);
  return pipe.child > 0;
}

void _system(const char* command) {
  Pipe pipe;
  if (open_pipe(pipe, command)) {
    char buffer[128];  // read in any case: a full pipe would block the command
    while (std::fgets(buffer, sizeof buffer, pipe.output.get()) != nullptr) print_text(buffer);
    if (wait_for_end(std::exchange(pipe.child, -1)) == 0) return;
  }
  LOG_DEBUG("_system", "Error: run %s\n", command);
}

std::string query_device_param(const std::string& name, std::int64_t timeout_ms) {
  Pipe pipe;
  const std::string command = "ipc @lm_query q q_param_get::" + name;
  if (!open_pipe(pipe, command.c_str(), timeout_ms != kNoTimeoutMs)) return {};
  const std::int64_t end_ns = steady_ns() + timeout_ms * kNanosecondsPerMillisecond;
  std::string line = read_first_line(fileno(pipe.output.get()), end_ns);
  pipe.output.reset();
  if (is_reaped(pipe.child, end_ns)) {
    pipe.child = -1;
    return line;
  }
  kill(-pipe.child, SIGKILL);  // before it is reaped: its group may have another id afterwards
  return {};
}

}  // namespace kovo
