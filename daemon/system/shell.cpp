#include "daemon/system/shell.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

#include "core/unique_fd.h"
#include "daemon/system/log.h"
#include "daemon/system/output.h"

namespace kovo {
namespace {

/// Starts the shell with `output` as its stdout. Returns -1 when that fails. Does not use fork: a
/// copy of the daemon would need its memory and hold its ports until the shell runs.
pid_t start_shell(const char* command, int output) {
  posix_spawn_file_actions_t actions;
  if (posix_spawn_file_actions_init(&actions) != 0) return -1;
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  const char* const arguments[] = {"sh", "-c", command, nullptr};
  pid_t child = -1;
  const int error = posix_spawn(&child, "/bin/sh", &actions, nullptr,
                                const_cast<char* const*>(arguments), environ);
  posix_spawn_file_actions_destroy(&actions);
  return error == 0 ? child : -1;
}

int wait_for_end(pid_t child) {
  int status = -1;
  retry_interrupted([&] { return waitpid(child, &status, 0); });
  return status;
}

}  // namespace

Pipe::~Pipe() {
  output.reset();
  if (child > 0) wait_for_end(child);
}

bool open_pipe(Pipe& pipe, const char* command) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return false;
  UniqueFd reading(ends[0]);
  const UniqueFd writing(ends[1]);
  pipe.output.reset(fdopen(reading.get(), "r"));
  if (pipe.output == nullptr) return false;
  reading.release();
  pipe.child = start_shell(command, writing.get());
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

std::string query_device_param(const std::string& name) {
  Pipe pipe;
  if (!open_pipe(pipe, ("ipc @lm_query q q_param_get::" + name).c_str())) return {};
  LineBuffer buffer;
  std::string_view line;
  if (!read_line(pipe.output.get(), buffer, line, kMaxPath)) return {};
  return std::string(until_newline(line));
}

}  // namespace kovo
