#include "frame/shell.h"

#include <fcntl.h>
#include <sys/resource.h>
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

rlimit first_limit{RLIM_INFINITY, RLIM_INFINITY};
bool limit_raised = false;

/// Only what is allowed between fork and exec in a program with threads. An exec that fails ends
/// as the shell does when it finds no command.
[[noreturn]] void become_shell(const char* command, int output) {
  constexpr int kNoShell = 127;
  dup2(output, STDOUT_FILENO);
  if (limit_raised) setrlimit(RLIMIT_NOFILE, &first_limit);
  execl("/bin/sh", "sh", "-c", command, static_cast<char*>(nullptr));
  _exit(kNoShell);
}

/// Forks the shell with `output` as its stdout; -1 when that fails.
pid_t start_shell(const char* command, int output) {
  const pid_t child = fork();
  if (child == 0) become_shell(command, output);
  return child;
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

void raise_descriptor_limit() {
  if (getrlimit(RLIMIT_NOFILE, &first_limit) != 0) return;
  const rlimit raised{first_limit.rlim_max, first_limit.rlim_max};
  limit_raised = setrlimit(RLIMIT_NOFILE, &raised) == 0;
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
  if (debug != 0) print_stdout("[%s:%d] Error: run %s\n", "_system", __LINE__, command);
  return -1;
}

}  // namespace kovo
