// Measures the daemon on a simulated device and prints a table: each figure beside its floor,
// measured in the same run, and the ratio. With --footprint, its memory alone.
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "bench/floor.h"
#include "device/device.h"
#include "device/sinks.h"
#include "device/status_service.h"

using namespace kovo::device;
using namespace kovo::bench;
using std::chrono::seconds;

namespace {

constexpr int kSenders = 512;
constexpr int kClients = 32;
constexpr int kNames = 400;
constexpr int kChunk = 200;       // messages at once
constexpr int kLinesPerStep = 6;  // with the event's own

UdpSink sink;        // where all events and replies go
std::string target;  // its port
StatusService service;

void need(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "bench: %s\n", what);
  std::exit(1);
}

void sleep_ms(int ms) {
  std::this_thread::sleep_for(Milliseconds(ms));
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

void print_row(const char* what, const char* unit, double daemon, double floor,
               const char* floor_is) {
  std::printf("%-40s %9.2f %9.2f %-8s %6.2f  %s\n", what, daemon, floor, unit, daemon / floor,
              floor_is);
  std::fflush(stdout);
}

/// Takes samples of daemon and floor in turn, and shows the medians.
template <class Daemon, class Floor>
void compare(const char* what, const char* unit, int samples, const Daemon& daemon,
             const Floor& floor, const char* floor_is) {
  std::vector<double> of_daemon;
  std::vector<double> of_floor;
  for (int sample = 0; sample < samples; ++sample) {
    of_daemon.push_back(daemon(sample));
    of_floor.push_back(floor(sample));
  }
  print_row(what, unit, median(of_daemon), median(of_floor), floor_is);
}

double ms_since(Clock::time_point begin, Clock::time_point end) {
  return Milliseconds(end - begin).count();
}

/// Does something and waits for so many arrivals; they alone are returned.
template <class Action>
std::vector<Arrival> arrivals_of(std::size_t count, const Action& action) {
  const std::size_t before = arrivals(sink).size();
  action();
  need(wait_arrivals(sink, before + count, seconds(120)), "datagrams are missing");
  const std::vector<Arrival> all = arrivals(sink);
  return {all.begin() + static_cast<std::ptrdiff_t>(before),
          all.begin() + static_cast<std::ptrdiff_t>(before + count)};
}

double spread(const std::vector<Arrival>& came) {
  return ms_since(came.front().at, came.back().at);
}

/// Definition lines of an event whose steps leave so many milliseconds one after the other.
std::string event(const std::string& name, const std::vector<int>& delays_ms) {
  std::string lines = name + "Count=" + std::to_string(delays_ms.size()) + "\n";
  for (std::size_t i = 0; i < delays_ms.size(); ++i) {
    const std::string index = std::to_string(i);
    lines += name + "Protocol" + index + "=UDP\n" + name + "IP" + index + "=127.0.0.1\n";
    lines += name + "Port" + index + "=" + target + "\n" + name + "Data" + index + "=41\n";
    lines += name + "Delay" + index + "=" + std::to_string(delays_ms[i]) + "\n";
  }
  return lines;
}

struct Running {
  explicit Running(const std::string& definitions, const std::string& snapshot = "") {
    std::filesystem::remove("/var/tmp/plinth_sync_ok");
    write_file("/www/pelm/kovo.txt", definitions);
    write_file("/var/lm_var", snapshot);
    daemon = start_daemon();
    need(wait_for([] { return file_exists("/var/tmp/plinth_sync_ok"); }), "the daemon is not up");
    send_udp(2727, "client_del_tcp::127.0.0.1::5127");
    sleep_ms(2500);  // the second loading of the snapshot
  }
  ~Running() {
    stop_daemon(daemon);
  }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

  Daemon daemon;
};

double cpu_us(const Daemon& daemon) {
  clockid_t clock{};
  timespec used{};
  need(clock_getcpuclockid(daemon.pid, &clock) == 0 && clock_gettime(clock, &used) == 0,
       "the daemon has ended");
  return static_cast<double>(used.tv_sec) * 1e6 + static_cast<double>(used.tv_nsec) / 1e3;
}

/// The number after "key:" in a file of the process.
double proc_number(const Daemon& daemon, const std::string& file, const std::string& key) {
  const std::string text = read_file("/proc/" + std::to_string(daemon.pid) + "/" + file);
  const std::size_t at = text.find("\n" + key + ":");
  need(at != std::string::npos, "the daemon has ended");
  return std::strtod(text.c_str() + at + key.size() + 2, nullptr);
}

double private_dirty_kib(const Daemon& daemon) {
  return proc_number(daemon, "smaps_rollup", "Private_Dirty");
}

double address_space_mb(const Daemon& daemon) {
  return proc_number(daemon, "status", "VmSize") * 1024 / 1e6;
}

double wake_ups(const Daemon& daemon) {
  double sum = 0;
  const std::string tasks = "/proc/" + std::to_string(daemon.pid) + "/task";
  for (const auto& task : std::filesystem::directory_iterator(tasks)) {
    const std::string file = "task/" + task.path().filename().string() + "/status";
    sum += proc_number(daemon, file, "voluntary_ctxt_switches");
  }
  return sum;
}

/// The bare process in the place of the daemon.
Daemon start_bare() {
  const std::string daemon = std::getenv("KOVOTCP");
  DaemonOptions options;
  options.args = {"--bare"};
  setenv("KOVOTCP", std::filesystem::read_symlink("/proc/self/exe").c_str(), 1);
  const Daemon bare = start_daemon(options);
  setenv("KOVOTCP", daemon.c_str(), 1);
  sleep_ms(500);
  return bare;
}

void raise(const std::string& name, int times) {
  std::string names;
  for (int i = 0; i < times; ++i) names += name + "\n";
  need(send_tcp(2700, names) == 0, "tcp:2700 is closed");
}

/// Idle memory, and memory and address space after 40 events at once.
void measure_footprint() {
  const Running running(event("A", {0}));
  const double idle = private_dirty_kib(running.daemon);
  arrivals_of(40, [] { raise("A", 40); });
  std::printf("%.0f %.0f %.0f\n", idle, private_dirty_kib(running.daemon),
              address_space_mb(running.daemon));
}

void measure_idleness() {
  constexpr int kSeconds = 10;
  constexpr char kBare[] = "a process whose threads only wait";
  const Running running(event("A", {0}));
  Daemon bare = start_bare();
  const auto compare_memory = [&](const char* what) {
    print_row(what, "KiB", private_dirty_kib(running.daemon), private_dirty_kib(bare), kBare);
  };
  const double wakes[] = {wake_ups(running.daemon), wake_ups(bare)};
  const double used[] = {cpu_us(running.daemon), cpu_us(bare)};
  sleep_ms(kSeconds * 1000);
  print_row("idle: wake-ups", "/s", (wake_ups(running.daemon) - wakes[0]) / kSeconds,
            (wake_ups(bare) - wakes[1]) / kSeconds, kBare);
  print_row("idle: CPU", "ms/s", (cpu_us(running.daemon) - used[0]) / kSeconds / 1e3,
            (cpu_us(bare) - used[1]) / kSeconds / 1e3, kBare);
  compare_memory("idle: private dirty memory");
  arrivals_of(40, [] { raise("A", 40); });
  compare_memory("after 40 events: private dirty memory");
  print_row("after 40 events: address space", "MB", address_space_mb(running.daemon),
            address_space_mb(bare), kBare);
  stop_daemon(bare);
}

void measure_trigger() {
  constexpr int kPeriodMs = 250;  // of the worker that takes the names
  constexpr int kSamples = 31;    // spread evenly over the period
  const int relay = start_relay(sink.port);
  const auto reached_by = [](int port) {
    const auto begin = Clock::now();
    return ms_since(begin, arrivals_of(1, [&] { send_tcp(port, "A\n"); })[0].at);
  };
  compare(
      "trigger to datagram", "ms", kSamples,
      [&](int sample) {
        sleep_ms(20 + sample * kPeriodMs / kSamples);
        return reached_by(2700);
      },
      [&](int) { return kPeriodMs / 2.0 + reached_by(relay); },
      "sendto on receipt, and half the worker's 250 ms");
}

/// The CPU time, in milliseconds, of all that a process has started and seen end.
double children_cpu_ms(pid_t pid) {
  const std::string stat = read_file("/proc/" + std::to_string(pid) + "/stat");
  std::istringstream fields(stat.substr(stat.rfind(')') + 1));
  std::string skipped;
  for (int i = 0; i < 13; ++i) fields >> skipped;
  double user = 0;
  double system = 0;
  fields >> user >> system;
  return (user + system) * 1e3 / static_cast<double>(sysconf(_SC_CLK_TCK));
}

void measure_names(const Daemon& daemon) {
  std::vector<double> used[2];
  const auto by_daemon = [&](int) {
    const double before = children_cpu_ms(daemon.pid) + cpu_us(daemon) / 1e3;
    const auto begin = Clock::now();
    const auto end = arrivals_of(kNames, [] { raise("A", kNames); }).back().at;
    used[0].push_back(children_cpu_ms(daemon.pid) + cpu_us(daemon) / 1e3 - before);
    return ms_since(begin, end);
  };
  const auto by_pipeline = [&](int) {
    const double before = children_cpu_ms(getpid());
    const auto begin = Clock::now();
    need(query_status(kNames), "the bare pipeline failed");
    used[1].push_back(children_cpu_ms(getpid()) - before);
    return ms_since(begin, Clock::now());
  };
  constexpr char kBare[] = "400 status queries by the bare pipeline";
  compare("400 names in one text", "ms", 5, by_daemon, by_pipeline, kBare);
  print_row("400 names: CPU, the shell's too", "ms", median(used[0]), median(used[1]), kBare);
}

/// The median distance of steps from their configured offsets, counted from the first arrival.
double deviation(const std::vector<Arrival>& came, int gap_ms) {
  std::vector<double> distances;
  for (std::size_t i = 1; i < came.size(); ++i) {
    const double configured = static_cast<double>(i) * gap_ms;
    distances.push_back(std::abs(ms_since(came[0].at, came[i].at) - configured));
  }
  return median(distances);
}

void measure_senders() {
  constexpr int kGapMs = 50;
  const std::vector<int> apart = {0, 50, 100, 150, 200, 250, 300, 350, 400, 450};
  compare(
      "step offsets: configured to arrived", "ms", 9,
      [](int) { return deviation(arrivals_of(10, [] { raise("T", 1); }), kGapMs); },
      [&](int) { return deviation(arrivals_of(10, [&] { send_at(apart, sink.port); }), kGapMs); },
      "a bare thread for each, sleeping and sending");
  compare(
      "512 senders at once: first to last", "ms", 5,
      [](int) {
        arrivals_of(1, [] { raise("A", 2); });  // finished slots are freed by a search
        sleep_ms(500);
        return spread(arrivals_of(kSenders, [] { raise("B", 4); }));
      },
      [](int) {
        const std::vector<int> at_once(kSenders, 500);
        return spread(arrivals_of(kSenders, [&] { send_at(at_once, sink.port); }));
      },
      "512 bare threads, sleeping and sending");
}

void measure_notification() {
  const auto to_all = [](const char* command) {
    for (int i = 1; i <= kClients; ++i) {
      send_udp(2727, command + ("::127.0.0." + std::to_string(i)) + "::" + target);
    }
  };
  to_all("client_add_udp");
  compare(
      "notification of 32 clients", "ms", 5,
      [](int) { return spread(arrivals_of(kClients, [] { send_udp(2727, "set::KEY::1"); })); },
      [](int) { return spread(arrivals_of(kClients, [] { tell_clients(kClients, sink.port); })); },
      "32 bare sends, each with the pause of 10 ms");
  to_all("client_del_udp");
}

/// Waits until all messages sent so far have been worked off.
void fence() {
  arrivals_of(1, [] { send_udp(2727, "get_udp::FENCE::127.0.0.1::" + target); });
}

/// So many sets of the variables VARIABLE_0 and on, of which there are `of`.
std::vector<std::string> set_messages(int count, int of) {
  std::vector<std::string> messages;
  for (int i = 0; i < count; ++i) {
    messages.push_back("set::VARIABLE_" + std::to_string(i * 7919 % of) + "::value");
  }
  return messages;
}

/// The daemon's CPU time for a set, in microseconds.
double cpu_of_set(const Daemon& daemon, const std::vector<std::string>& messages) {
  const double before = cpu_us(daemon);
  for (std::size_t i = 0; i < messages.size(); ++i) {
    send_udp(2727, messages[i]);
    if (i % kChunk == kChunk - 1) fence();
  }
  return (cpu_us(daemon) - before) / static_cast<double>(messages.size());
}

/// The same for a get; the replies come 10 ms apart.
double cpu_of_get(const Daemon& daemon, int of) {
  constexpr int kGets = 100;
  const double before = cpu_us(daemon);
  const std::vector<Arrival> came = arrivals_of(kGets, [&] {
    for (int i = 0; i < kGets; ++i) {
      const std::string name = "VARIABLE_" + std::to_string(i * 7919 % of);
      send_udp(2727, "get_udp::" + name + "::127.0.0.1::" + target);
    }
  });
  need(came.back().bytes.find("=value") != std::string::npos, "a variable is missing");
  return (cpu_us(daemon) - before) / kGets;
}

void measure_sets(const Daemon& daemon) {
  const std::vector<std::string> messages = set_messages(2000, 2000);
  compare(
      "CPU of a set", "us", 9, [&](int) { return cpu_of_set(daemon, messages); },
      [&](int) { return cpu_of_receiving(messages) / static_cast<double>(messages.size()); },
      "receiving, logging and storing alone");
}

void measure_growing_store() {
  constexpr int kRounds = 5;
  constexpr int kSizes[] = {20, 20000};
  std::vector<double> sets[2];
  std::vector<double> gets[2];
  for (int size = 0; size < 2; ++size) {
    const int count = kSizes[size];
    std::string snapshot;
    for (int i = 0; i < count; ++i) snapshot += "VARIABLE_" + std::to_string(i) + "=value\n";
    const Running running(event("A", {0}), snapshot);
    for (int round = 0; round < kRounds; ++round) {
      sets[size].push_back(cpu_of_set(running.daemon, set_messages(2000, count)));
      gets[size].push_back(cpu_of_get(running.daemon, count));
    }
  }
  constexpr char kFew[] = "the same with 20 variables";
  print_row("20,000 variables: CPU of a set", "us", median(sets[1]), median(sets[0]), kFew);
  print_row("20,000 variables: CPU of a get", "us", median(gets[1]), median(gets[0]), kFew);
}

/// The CPU time, in milliseconds, of reading a definition file with so many lines, the median of
/// some files of that size one after the other: each frees what the one before it has taken.
double cpu_of_rebuild(const Daemon& daemon, int lines) {
  std::vector<double> used;
  for (int round = 0; round < 6; ++round) {
    std::string text;
    std::string last;
    for (int i = 0; i < lines / kLinesPerStep; ++i) {
      last = "E" + std::to_string(i) + "of" + std::to_string(lines + round) + "x";
      text += event(last, {0});
    }
    write_file("/www/pelm/new", text);
    const double before = cpu_us(daemon);
    std::filesystem::rename("/www/pelm/new", "/www/pelm/kovo.txt");
    const auto listed = [&] { return read_file("/tmp/kovo_event_list.txt").find(last) + 1 != 0; };
    need(wait_for(listed, seconds(60)), "the definition file was not read");
    sleep_ms(500);  // memory is given back behind the list
    if (round > 0) used.push_back((cpu_us(daemon) - before) / 1e3);
  }
  return median(used);
}

void measure_growing_definitions() {
  const Running running(event("A", {0}));
  const double small = cpu_of_rebuild(running.daemon, 1000);
  print_row("20,000 definition lines: CPU of reading", "ms", cpu_of_rebuild(running.daemon, 20000),
            20 * small, "20 times that of 1,000 lines");
}

void set_up() {
  need(std::getenv("KOVOTCP") != nullptr, "KOVOTCP names no daemon");
  set_param("ENABLE_KOVO_EVENT", "1");
  give_address("eth0", "10.0.0.2/24");
  need(start_udp_sink(sink, "0.0.0.0", 0), "no port to receive at");
  target = std::to_string(sink.port);
  need(start_status_service(service, StatusMode::kAnswerAndClose, default_status_answer()),
       "no status service");
}

}  // namespace

int main(int argc, char** argv) {
  const std::string mode = argc > 1 ? argv[1] : "";
  if (mode == "--bare") be_bare();
  set_up();
  if (mode == "--footprint") {
    measure_footprint();
    return 0;
  }
  std::printf("load %.5s\n%-40s %9s %9s %-8s %6s  %s\n", read_file("/proc/loadavg").c_str(), "",
              "daemon", "floor", "", "ratio", "the floor is");
  measure_idleness();
  {
    std::vector<int> at_once(128, 0);  // each after 500 ms
    at_once[0] = 500;
    const std::vector<int> apart = {0, 50, 50, 50, 50, 50, 50, 50, 50, 50};
    const Running running(event("A", {0}) + event("T", apart) + event("B", at_once));
    measure_trigger();
    measure_names(running.daemon);
    measure_senders();
    measure_notification();
    measure_sets(running.daemon);
  }
  measure_growing_store();
  measure_growing_definitions();
  return 0;
}
