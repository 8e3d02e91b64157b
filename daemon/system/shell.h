// Commands run by the shell. The children inherit an empty signal mask, the default action of the
// signals that the daemon sets, and no descriptor that it opens.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "daemon/system/files.h"

namespace kovo {

/// The standard output of a running command. Destroying it waits for the command to end.
struct Pipe {
  Pipe() = default;
  ~Pipe();
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  File output;
  pid_t child = -1;
};

/// Starts a command whose standard output the pipe reads, in a process group of its own if it is to
/// be killed with its children. Returns whether it started. Any thread.
bool open_pipe(Pipe& pipe, const char* command, bool own_group = false);

/// Runs a command to its end and prints its output. Any thread.
void _system(const char* command);

constexpr std::int64_t kNoTimeoutMs = std::int64_t{1} << 40;  // decades

/// Returns the value of a device parameter: the first line that the parameter tool prints, at most
/// kMaxParameter bytes; "" when it cannot be run or prints nothing. Waits for the end of the tool.
/// After `timeout_ms`, kills the tool with its children and returns "". Any thread.
std::string query_device_param(const std::string& name, std::int64_t timeout_ms = kNoTimeoutMs);

}  // namespace kovo
