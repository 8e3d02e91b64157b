#include "frame/shell.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "frame/files.h"
#include "frame/globals.h"
#include "frame/log.h"
#include "frame/output.h"

namespace kovo {
namespace {

/// Starts the shell with `output` as its stdout; -1 when that fails. Not by fork, which would copy
/// the daemon and hold its ports until the shell is there.
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

/// The child's status as waitpid gives it, -1 when there is none to be had.
int wait_for_end(pid_t child) {
  int status = -1;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return status;
}

/// Prints what a command prints, until it ends: on a stdout that is not read, the command itself
/// would wait for ever. Returns its status.
int print_output(Pipe& pipe) {
  char buffer[128];
  while (std::fgets(buffer, sizeof buffer, pipe.output) != nullptr) print_text(buffer);
  return wait_for_end(std::exchange(pipe.child, -1));
}

}  // namespace

Pipe::~Pipe() {
  if (output != nullptr) std::fclose(output);
  if (child > 0) wait_for_end(child);
}

bool open_pipe(Pipe& pipe, const char* command) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return false;
  Descriptor reading(ends[0]);
  const Descriptor writing(ends[1]);
  pipe.output = fdopen(reading.fd, "r");
  if (pipe.output == nullptr) return false;
  reading.fd = -1;
  pipe.child = start_shell(command, writing.fd);
  return pipe.child > 0;
}

int _system(const char* command) {
  Pipe pipe;
  if (open_pipe(pipe, command) && print_output(pipe) == 0) return 0;
  LOG_DEBUG("_system", "Error: run %s\n", command);
  return -1;
}

}  // namespace kovo
