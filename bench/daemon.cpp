// Measures the daemon on a simulated device and prints a table: each figure beside its floor,
// measured in the same run, and the ratio. With --footprint, its memory alone.
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>
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
constexpr int kChunk = 200;  // messages at once

UdpSink sink;        // where all events and replies go
std::string target;  // its port
StatusService service;

[[noreturn]] void give_up(const std::string& what) {
  std::fprintf(stderr, "bench: %s\n", what.c_str());
  std::exit(1);
}

void need(bool condition, const char* what) {
  if (!condition) give_up(what);
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

std::size_t arrived() {
  return arrivals(sink).size();
}

/// Does something and waits for so many arrivals; they alone are returned.
template <class Action>
std::vector<Arrival> arrivals_of(std::size_t count, const Action& action) {
  const std::size_t before = arrived();
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

/// The number after "key:" in a file below the process's folder.
double proc_number(const std::string& path, const std::string& key) {
  const std::string text = read_file(path);
  const std::size_t at = text.find("\n" + key + ":");
  need(at != std::string::npos, path.c_str());
  return std::strtod(text.c_str() + at + key.size() + 2, nullptr);
}

std::string proc_folder(const Daemon& daemon) {
  return "/proc/" + std::to_string(daemon.pid);
}

double private_dirty_kib(const Daemon& daemon) {
  return proc_number(proc_folder(daemon) + "/smaps_rollup", "Private_Dirty");
}

double address_space_mb(const Daemon& daemon) {
  return proc_number(proc_folder(daemon) + "/status", "VmSize") * 1024 / 1e6;
}

double wake_ups(const Daemon& daemon) {
  double sum = 0;
  for (const auto& task : std::filesystem::directory_iterator(proc_folder(daemon) + "/task")) {
    sum += proc_number(task.path().string() + "/status", "voluntary_ctxt_switches");
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

void measure_footprint() {
  const Running running(event("A", {0}));
  std::printf("idle_kib=%.0f\n", private_dirty_kib(running.daemon));
  arrivals_of(40, [] { raise("A", 40); });
  std::printf("used_kib=%.0f\n", private_dirty_kib(running.daemon));
  std::printf("space_mb=%.1f\n", address_space_mb(running.daemon));
}

void measure_idleness() {
  const Running running(event("A", {0}));
  Daemon bare = start_bare();
  const Daemon* const both[] = {&running.daemon, &bare};
  double wakes[2];
  double cpu[2];
  double idle[2];
  for (int i = 0; i < 2; ++i) {
    wakes[i] = wake_ups(*both[i]);
    cpu[i] = cpu_us(*both[i]);
    idle[i] = private_dirty_kib(*both[i]);
  }
  constexpr int kSeconds = 10;
  sleep_ms(kSeconds * 1000);
  for (int i = 0; i < 2; ++i) {
    wakes[i] = (wake_ups(*both[i]) - wakes[i]) / kSeconds;
    cpu[i] = (cpu_us(*both[i]) - cpu[i]) / kSeconds / 1e3;
  }
  constexpr char kBare[] = "a process with the same idle threads";
  print_row("idle: wake-ups", "/s", wakes[0], wakes[1], kBare);
  print_row("idle: CPU", "ms/s", cpu[0], cpu[1], kBare);
  print_row("idle: private dirty memory", "KiB", idle[0], idle[1], kBare);
  arrivals_of(40, [] { raise("A", 40); });
  print_row("after 40 events: private dirty memory", "KiB", private_dirty_kib(running.daemon),
            private_dirty_kib(bare), kBare);
  print_row("after 40 events: address space", "MB", address_space_mb(running.daemon),
            address_space_mb(bare), kBare);
  stop_daemon(bare);
}

void measure_trigger() {
  constexpr int kPeriodMs = 250;  // of the worker that takes the names
  constexpr int kSamples = 31;    // spread evenly over the period
  const auto relay = start_relay(sink.port);
  const auto reached_by = [](int port) {
    Clock::time_point begin;
    const std::vector<Arrival> came = arrivals_of(1, [&] {
      begin = Clock::now();
      send_tcp(port, "A\n");
    });
    return ms_since(begin, came[0].at);
  };
  compare(
      "trigger to datagram", "ms", kSamples,
      [&](int sample) {
        sleep_ms(20 + sample * kPeriodMs / kSamples);
        return reached_by(2700);
      },
      [&](int) { return kPeriodMs / 2.0 + reached_by(relay->port); },
      "sendto on receipt, and half the worker's 250 ms");
}

void measure_names() {
  compare(
      "400 names in one text", "ms", 3,
      [](int) {
        const auto begin = Clock::now();
        return ms_since(begin, arrivals_of(kNames, [] { raise("A", kNames); }).back().at);
      },
      [](int) {
        const auto begin = Clock::now();
        for (int i = 0; i < kNames; ++i) need(query_status() > 0, "no status");
        return ms_since(begin, Clock::now());
      },
      "400 status queries by the bare pipeline");
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
  constexpr int kSteps = 20;
  constexpr int kGapMs = 50;
  std::vector<Milliseconds> offsets;
  for (int i = 0; i < kSteps; ++i) offsets.emplace_back(i * kGapMs);
  compare(
      "step offsets: configured to arrived", "ms", 5,
      [](int) { return deviation(arrivals_of(kSteps, [] { raise("T", 1); }), kGapMs); },
      [&](int) {
        return deviation(arrivals_of(kSteps, [&] { send_at(offsets, sink.port); }), kGapMs);
      },
      "a bare thread for each, sleeping and sending");
  compare(
      "512 senders at once: first to last", "ms", 5,
      [](int) {
        arrivals_of(1, [] { raise("A", 2); });  // finished slots are freed by a search
        sleep_ms(500);
        return spread(arrivals_of(kSenders, [] { raise("B", 4); }));
      },
      [](int) {
        const std::vector<Milliseconds> at_once(kSenders, Milliseconds(500));
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

/// The daemon's CPU time for so many sets, in microseconds each, of variables VARIABLE_n below
/// `of`.
double cpu_of_sets(const Daemon& daemon, int count, int of) {
  const double before = cpu_us(daemon);
  for (int sent = 0; sent < count; ++sent) {
    send_udp(2727, "set::VARIABLE_" + std::to_string(sent % of) + "::value");
    if (sent % kChunk == kChunk - 1) fence();
  }
  return (cpu_us(daemon) - before) / count;
}

/// The same for gets, whose replies come 10 ms apart.
double cpu_of_gets(const Daemon& daemon, int count, int of) {
  const double before = cpu_us(daemon);
  const std::vector<Arrival> came = arrivals_of(static_cast<std::size_t>(count), [&] {
    for (int i = 0; i < count; ++i) {
      const std::string name = "VARIABLE_" + std::to_string((i * 7919) % of);
      send_udp(2727, "get_udp::" + name + "::127.0.0.1::" + target);
    }
  });
  need(came.back().bytes.find("=value") != std::string::npos, "a variable is missing");
  return (cpu_us(daemon) - before) / count;
}

void measure_sets(const Daemon& daemon) {
  constexpr int kSets = 2000;
  compare(
      "CPU of a set", "us", 5, [&](int) { return cpu_of_sets(daemon, kSets, kSets); },
      [](int) { return cpu_of_receiving(kSets, "set::VARIABLE_1000::value") / kSets; },
      "receiving, logging and storing alone");
}

std::string snapshot(int count) {
  std::string lines;
  for (int i = 0; i < count; ++i) lines += "VARIABLE_" + std::to_string(i) + "=value\n";
  return lines;
}

void measure_growing_store() {
  constexpr int kFew = 20;
  constexpr int kMany = 20000;
  constexpr int kRounds = 5;
  std::vector<double> sets[2];
  std::vector<double> gets[2];
  for (const bool many : {false, true}) {
    const int count = many ? kMany : kFew;
    const Running running(event("A", {0}), snapshot(count));
    for (int round = 0; round < kRounds; ++round) {
      sets[many].push_back(cpu_of_sets(running.daemon, 1000, count));
      gets[many].push_back(cpu_of_gets(running.daemon, 100, count));
    }
  }
  print_row("20,000 variables: CPU of a set", "us", median(sets[1]), median(sets[0]),
            "the same with 20 variables");
  print_row("20,000 variables: CPU of a get", "us", median(gets[1]), median(gets[0]),
            "the same with 20 variables");
}

/// The CPU time, in milliseconds, of reading a definition file with so many lines.
double cpu_of_rebuild(const Daemon& daemon, int lines, const std::string& mark) {
  constexpr int kLinesPerEvent = 6;
  std::string text;
  std::string last;
  for (int i = 0; i < lines / kLinesPerEvent; ++i) {
    last = mark + "x" + std::to_string(i) + "x";
    text += event(last, {0});
  }
  write_file("/www/pelm/new", text);
  const double before = cpu_us(daemon);
  std::filesystem::rename("/www/pelm/new", "/www/pelm/kovo.txt");
  const auto listed = [&] { return read_file("/tmp/kovo_event_list.txt").find(last) + 1 != 0; };
  need(wait_for(listed, seconds(60)), "the definition file was not read");
  sleep_ms(500);  // memory is given back behind the list
  return (cpu_us(daemon) - before) / 1e3;
}

void measure_growing_definitions() {
  const Running running(event("A", {0}));
  compare(
      "40,000 definition lines: CPU of a rebuild", "ms", 5,
      [&](int sample) {
        return cpu_of_rebuild(running.daemon, 40000, "L" + std::to_string(sample));
      },
      [&](int sample) {
        return 40 * cpu_of_rebuild(running.daemon, 1000, "S" + std::to_string(sample));
      },
      "40 times that of 1,000 lines");
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
    std::string definitions =
        event("A", {0}) +
        event("T", {0, 50, 50, 50, 50, 50, 50, 50, 50, 50, 50, 50, 50, 50, 50, 50, 50, 50, 50, 50});
    std::vector<int> all_at_500_ms(128, 0);
    all_at_500_ms[0] = 500;
    definitions += event("B", all_at_500_ms);
    const Running running(definitions);
    measure_trigger();
    measure_names();
    measure_senders();
    measure_notification();
    measure_sets(running.daemon);
  }
  measure_growing_store();
  measure_growing_definitions();
  return 0;
}
