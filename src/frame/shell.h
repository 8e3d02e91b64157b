// Commands run by the shell. The children start as the daemon was started: with its descriptor
// limit of then, default signals, and no descriptor but the standard ones.
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

/// Raises the soft limit of descriptors to the hard one: 512 senders and the idle connections of
/// two servers need more than the usual 1024. Remembers the old one for the children. Called once,
/// by main, before any thread starts.
void raise_descriptor_limit();

/// Starts a command and connects its standard output to the pipe; false when that fails. Any
/// thread.
bool open_pipe(Pipe& pipe, const char* command);

/// Runs a command to its end and prints its output. 0 when its status is 0, otherwise -1. Any
/// thread.
int _system(const char* command);

}  // namespace kovo
