// Commands run by the shell. The children inherit the daemon's empty signal mask and default
// signals, and no descriptor but the standard ones.
#pragma once

#include <sys/types.h>

#include <cstdio>

namespace kovo {

/// The standard output of a running command. Destroying it waits for the command to end.
struct Pipe {
  Pipe() = default;
  ~Pipe();
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  std::FILE* output = nullptr;
  pid_t child = -1;
};

/// Starts a command and connects its standard output to the pipe; false when that fails. Any
/// thread.
bool open_pipe(Pipe& pipe, const char* command);

/// Runs a command to its end and prints its output. 0 when its status is 0, otherwise -1. Any
/// thread.
int _system(const char* command);

}  // namespace kovo
