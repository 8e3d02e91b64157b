#include "device/device.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sched.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <mutex>
#include <sstream>
#include <thread>

#include "device/sockets.h"

namespace kovo::device {

namespace {

constexpr int kNewTimeNamespace = 0x80;        // CLONE_NEWTIME, missing in older headers
constexpr unsigned kMarkCloseOnExec = 1 << 2;  // CLOSE_RANGE_CLOEXEC, likewise
constexpr int kStillRunning = -1000;
constexpr char kParams[] = "/device/params";

[[noreturn]] void give_up(const char* what, const std::string& path) {
  std::fprintf(stderr, "device: %s %s: errno %d\n", what, path.c_str(), errno);
  std::abort();
}

sockaddr_in local_address(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

// Programs started by this thread from now on see that uptime. The clock of this thread itself
// stays that of the system, so that the offset is right however often this is called.
void set_uptime_of_children(long uptime_s) {
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  // The offset is a whole number of seconds and nanoseconds, the latter never negative.
  const long nanoseconds = now.tv_nsec == 0 ? 0 : 1'000'000'000 - now.tv_nsec;
  const long seconds = uptime_s - now.tv_sec - (nanoseconds == 0 ? 0 : 1);
  std::ostringstream line;
  line << "boottime " << seconds << ' ' << nanoseconds << '\n';
  // Namespaces belong to threads: "self" would be those of the main thread.
  const std::string task = std::filesystem::read_symlink("/proc/thread-self").filename().string();
  const std::string path = "/proc/" + task + "/timens_offsets";
  if (unshare(kNewTimeNamespace) != 0) give_up("cannot unshare", "the time");
  const Descriptor file(open(path.c_str(), O_WRONLY | O_CLOEXEC));
  const std::string text = line.str();
  if (write(file.fd, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    give_up("cannot write", path);
  }
}

// The form in which exec takes its arguments.
std::vector<char*> pointers_to(std::vector<std::string>& words) {
  std::vector<char*> pointers(words.size() + 1, nullptr);
  std::transform(words.begin(), words.end(), pointers.begin(),
                 [](std::string& word) { return word.data(); });
  return pointers;
}

bool run_ip(std::vector<std::string> words) {
  std::vector<char*> arguments = pointers_to(words);
  pid_t pid = -1;
  int status = -1;
  return posix_spawnp(&pid, "ip", nullptr, nullptr, arguments.data(), environ) == 0 &&
         waitpid(pid, &status, 0) == pid && status == 0;
}

// Only what is allowed between fork and exec in a program with threads, as the next one.
void open_as(const char* path, int flags, int as) {
  const int fd = open(path, flags, 0666);
  if (fd < 0) _exit(126);
  if (fd != as) dup2(fd, as);
}

void limit_resource(int resource, rlim_t value) {
  const rlimit limit{value, value};
  if (value != 0 && syscall(SYS_prlimit64, 0, resource, &limit, nullptr) != 0) _exit(126);
}

[[noreturn]] void become_daemon(const DaemonOptions& options, const char* path, char** arguments) {
  setsid();
  sigset_t all;  // a parent may pass on anything
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, nullptr);
  for (const int ignored : {SIGTERM, SIGCHLD, SIGALRM}) std::signal(ignored, SIG_IGN);
  open_as("/dev/null", O_RDONLY, STDIN_FILENO);
  constexpr int kAnew = O_WRONLY | O_CREAT | O_TRUNC | O_APPEND;  // may be one and the same file
  open_as(options.stdout_path.c_str(), kAnew, STDOUT_FILENO);
  open_as(options.stderr_path.c_str(), kAnew, STDERR_FILENO);
  if (syscall(SYS_close_range, 3U, ~0U, kMarkCloseOnExec) != 0) {
    for (int fd = 3; fd < 4096; ++fd) fcntl(fd, F_SETFD, FD_CLOEXEC);
  }
  limit_resource(RLIMIT_NOFILE, static_cast<rlim_t>(options.open_files));
  limit_resource(RLIMIT_STACK, options.stack_bytes);
  limit_resource(RLIMIT_AS, options.address_space_bytes);
  execve(path, arguments, environ);
  constexpr char kMessage[] = "device: cannot execute the daemon\n";
  [[maybe_unused]] const ssize_t size = write(STDERR_FILENO, kMessage, sizeof kMessage - 1);
  _exit(127);
}

// The number after `key` in a file of lines "key: number ...".
long number_after(const std::string& text, const std::string& key) {
  const std::size_t at = text.find("\n" + key + ":");
  return at == std::string::npos ? 0 : std::strtol(text.c_str() + at + key.size() + 2, nullptr, 10);
}

int count_children(pid_t parent) {
  int children = 0;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
    const std::string name = entry.path().filename().string();
    if (std::isdigit(static_cast<unsigned char>(name[0])) == 0) continue;
    const std::string status = read_file("/proc/" + name + "/status");
    if (number_after(status, "PPid") == parent) ++children;
  }
  return children;
}

}  // namespace

bool wait_for(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
  const Clock::time_point end = Clock::now() + limit;
  while (!condition()) {
    if (Clock::now() >= end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

std::string read_file(const std::string& path) {
  std::string bytes;
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.fd < 0) return bytes;
  char buffer[16384];
  ssize_t size = 0;
  while ((size = read(file.fd, buffer, sizeof buffer)) > 0) {
    bytes.append(buffer, static_cast<std::size_t>(size));
  }
  return bytes;
}

bool file_exists(const std::string& path) {
  return access(path.c_str(), F_OK) == 0;
}

void write_file(const std::string& path, std::string_view bytes) {
  std::error_code ignored;  // shows when the file is opened
  std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
  const Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_TRUNC, 0666));
  if (file.fd < 0) give_up("cannot open", path);
  while (!bytes.empty()) {
    const ssize_t size = write(file.fd, bytes.data(), bytes.size());
    if (size <= 0) give_up("cannot write", path);
    bytes.remove_prefix(static_cast<std::size_t>(size));
  }
}

void set_param(const std::string& name, const std::string& value) {
  static std::mutex mutex;
  const std::lock_guard<std::mutex> lock(mutex);
  std::istringstream before(read_file(kParams));
  std::string after;
  for (std::string line; std::getline(before, line);) {
    if (line.compare(0, line.find('='), name) != 0) after += line + "\n";
  }
  after += name + "=" + value + "\n";
  const std::string fresh = std::string(kParams) + ".new";
  write_file(fresh, after);
  if (std::rename(fresh.c_str(), kParams) != 0) give_up("cannot rename", fresh);
}

bool give_address(const std::string& iface, const std::string& address_with_prefix) {
  return run_ip({"ip", "addr", "add", address_with_prefix, "dev", iface});
}

bool route_multicast(const std::string& iface) {
  return run_ip({"ip", "route", "add", "224.0.0.0/4", "dev", iface});
}

void send_udp(int port, std::string_view bytes) {
  const Descriptor sender(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const sockaddr_in address = local_address(port);
  sendto(sender.fd, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&address),
         sizeof address);
}

int send_tcp(int port, std::string_view bytes) {
  const Descriptor sender(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const sockaddr_in address = local_address(port);
  const timeval limit{10, 0};  // nobody may be accepting
  setsockopt(sender.fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
  if (connect(sender.fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    return errno;
  }
  while (!bytes.empty()) {
    const ssize_t size = send(sender.fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (size < 0) return errno;
    bytes.remove_prefix(static_cast<std::size_t>(size));
  }
  return 0;
}

Daemon start_daemon(const DaemonOptions& options) {
  const char* const path = std::getenv("KOVOTCP");
  if (path == nullptr) give_up("no path in the variable", "KOVOTCP");
  std::vector<std::string> words = {path};
  words.insert(words.end(), options.args.begin(), options.args.end());
  std::vector<char*> arguments = pointers_to(words);
  set_uptime_of_children(options.uptime_s);
  Daemon daemon;
  daemon.output_path = options.stdout_path;
  daemon.pid = fork();
  if (daemon.pid == 0) become_daemon(options, path, arguments.data());
  if (daemon.pid < 0) give_up("cannot fork for", path);
  return daemon;
}

int wait_exit(Daemon& daemon, std::chrono::milliseconds limit) {
  int status = 0;
  if (daemon.pid <= 0 ||
      !wait_for([&] { return waitpid(daemon.pid, &status, WNOHANG) != 0; }, limit)) {
    return daemon.exit_status;
  }
  daemon.pid = -1;
  daemon.exit_status = WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
  return daemon.exit_status;
}

void stop_daemon(Daemon& daemon, int signal) {
  if (daemon.pid <= 0) return;
  if (signal == SIGKILL) kill(-daemon.pid, SIGKILL);
  kill(daemon.pid, signal);
  if (wait_exit(daemon) == kStillRunning && signal != SIGKILL) stop_daemon(daemon, SIGKILL);
}

Usage usage_of(const Daemon& daemon) {
  Usage usage;
  if (daemon.pid <= 0) return usage;
  const std::string folder = "/proc/" + std::to_string(daemon.pid);
  usage.threads = static_cast<int>(number_after(read_file(folder + "/status"), "Threads"));
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder + "/fd", error), end;
       !error && entry != end; entry.increment(error)) {
    ++usage.descriptors;
  }
  usage.children = count_children(daemon.pid);
  usage.pss_kib = number_after(read_file(folder + "/smaps_rollup"), "Pss");
  clockid_t clock{};
  timespec used{};
  if (clock_getcpuclockid(daemon.pid, &clock) == 0 && clock_gettime(clock, &used) == 0) {
    usage.cpu_ms = used.tv_sec * 1000 + used.tv_nsec / 1'000'000;
  }
  return usage;
}

}  // namespace kovo::device
