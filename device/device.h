// The throw-away device as a test sees it from inside: files, parameters, network, the daemon.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace kovo::device {

using Clock = std::chrono::steady_clock;

/// Waits until `condition` holds, looking every 5 ms; false when `limit` passed before.
bool wait_for(const std::function<bool()>& condition,
              std::chrono::milliseconds limit = std::chrono::seconds(10));

/// The bytes of a file, "" when it cannot be read.
std::string read_file(const std::string& path);

/// True when something is there, of whatever kind.
bool file_exists(const std::string& path);

/// Writes a file anew, with missing parent folders; ends the program when it cannot.
void write_file(const std::string& path, std::string_view bytes);

/// Sets what the parameter tool answers; readers never see a half-written file.
void set_param(const std::string& name, const std::string& value);

/// Gives an interface an address such as "192.0.2.7/24"; false when refused.
bool give_address(const std::string& iface, const std::string& address_with_prefix);

/// Lets datagrams to multicast groups leave by an interface; false when refused.
bool route_multicast(const std::string& iface);

/// Sends one datagram to 127.0.0.1.
void send_udp(int port, std::string_view bytes);

/// Connects to 127.0.0.1, sends and closes; 0 or the error number.
int send_tcp(int port, std::string_view bytes);

struct Daemon {
  pid_t pid = -1;
  std::string output_path;
  int exit_status = -1000;  // as of wait_exit, once it was reaped
};

struct DaemonOptions {
  std::vector<std::string> args;
  long uptime_s = 1000;
  // The limits, soft and hard; 0 leaves them unchanged.
  int open_files = 0;
  unsigned long long stack_bytes = 0;
  unsigned long long address_space_bytes = 0;
  std::string stdout_path = "/tmp/daemon.out";
  std::string stderr_path = "/tmp/daemon.err";
};

/// Starts the binary named by the environment variable KOVOTCP. It runs in a session of its own
/// and sees a system that has been up for `uptime_s` by CLOCK_BOOTTIME; sysinfo() rounds that up.
/// So does any program started later by the calling thread. Exit status 126 or 127: not started.
Daemon start_daemon(const DaemonOptions& options = {});

/// Waits for its end; the exit status, or -signal; -1000 when it still ran after the limit.
int wait_exit(Daemon& daemon, std::chrono::milliseconds limit = std::chrono::seconds(10));

/// Ends it by a signal and reaps it; SIGKILL also ends what it started. Safe to call twice.
void stop_daemon(Daemon& daemon, int signal = SIGKILL);

struct Usage {
  int threads = 0;
  int descriptors = 0;
  int children = 0;  // not yet reaped ones too
  long pss_kib = 0;
  long cpu_ms = 0;  // its own, without its children's
};

/// What the daemon uses at the moment; all zero when it is gone.
Usage usage_of(const Daemon& daemon);

}  // namespace kovo::device
