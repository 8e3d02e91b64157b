#include "frame/daemon.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#ifdef __GLIBC__
#include <malloc.h>
#endif

#include <csignal>
#include <cstdio>
#include <initializer_list>

#include "control/command_language.h"
#include "control/command_server.h"
#include "control/status_intake.h"
#include "definitions/definition_file.h"
#include "definitions/event_list.h"
#include "definitions/settings.h"
#include "definitions/status_vars.h"
#include "engine/event_queue.h"
#include "frame/files.h"
#include "frame/globals.h"
#include "frame/host.h"
#include "frame/log.h"
#include "frame/options.h"
#include "frame/output.h"
#include "frame/shell.h"
#include "frame/supervision.h"
#include "frame/worker.h"
#include "variables/central_state.h"
#include "variables/channel_receivers.h"
#include "variables/variable_store.h"

namespace kovo {
namespace {

constexpr char kPowerOnMarkerPath[] = "/var/tmp/log/kovo_power_on";
constexpr unsigned kMarkerMode = 0444;
constexpr char kWebRoot[] = "/www/pelm";

/// Puts /dev/null in the place of missing standard descriptors, so that no socket becomes stdout.
void open_standard_descriptors() {
  int fd = 0;
  do {
    fd = open("/dev/null", O_RDWR);
  } while (fd >= 0 && fd <= STDERR_FILENO);
  if (fd > STDERR_FILENO) close(fd);
}

void handle_signals(std::initializer_list<int> signals, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  for (const int signal : signals) sigaction(signal, &action, nullptr);
}

/// Makes the signals independent of the parent, for the daemon and its children: `timeout` could
/// not end `nc` with SIGTERM blocked. A broken pipe and a file at its limit are errors of writing;
/// the children would inherit SIG_IGN, but do not inherit a handler.
void set_signals() {
  handle_signals({SIGTERM, SIGINT, SIGHUP, SIGCHLD, SIGALRM}, SIG_DFL);
  handle_signals({SIGPIPE, SIGXFSZ}, [](int) {});
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

/// All threads share one heap arena: each of its own would reserve 64 MiB of addresses, and the
/// senders come and go.
void share_one_arena() {
#ifdef __GLIBC__
  mallopt(M_ARENA_MAX, 1);
#endif
}

void prepare_process() {
  share_one_arena();
  open_standard_descriptors();
  set_signals();
  umask(kModeMask);
}

void log_banner() {
  log_main("kovotcp V%s.%s Build: %s %s +08:00\n", kVersion, kEdition, kBuildDate, kBuildTime);
}

void make_objects() {
  insist("main", [] { event_queue = make_event_queue().release(); });
  insist("main", [] { central_state = make_central_state().release(); });
  insist("main", [] { variable_registry = make_variable_registry().release(); });
}

void load_settings() {
  renew_enable_event(*central_state);
  init_settings(*central_state);
}

void write_pid_file() {
  char command[256];
  const int pid = static_cast<int>(getpid());
  std::snprintf(command, sizeof command, "echo %d > /var/run/kovotcp.pid", pid);
  _system(command);
  log_main("[%s:%d] create /var/run/kovotcp.pid=%d\n", "main", __LINE__, pid);
}

struct Worker {
  const char* name;
  void* (*body)(void*);
  void* argument;
};

/// Starts workers in their order. False at the first that cannot be started, which is logged.
bool start_workers(std::initializer_list<Worker> workers) {
  for (const Worker& worker : workers) {
    pthread_t thread;
    const int error = start_thread(thread, kDefaultStack, worker.body, worker.argument);
    if (error == 0) continue;
    guarded("main", [&] {
      log_main("Error: pthread_create %s(): %s\n", worker.name, error_text(error).c_str());
    });
    return false;
  }
  return true;
}

bool start_early_workers() {
  return start_workers({{"handle_tcp_event", handle_tcp_event, event_queue},
                        {"handle_udp_lm_var", handle_udp_lm_var, central_state},
                        {"handle_tcp_lm_var", handle_tcp_lm_var, central_state}});
}

bool start_late_workers() {
  return start_workers({{"handle_lm_event", handle_lm_event, central_state},
                        {"handle_q_event", handle_q_event, event_queue},
                        {"handle_udp_vep_api", handle_udp_vep_api, central_state},
                        {"handle_vep_api", handle_vep_api, central_state}});
}

void make_web_root() {
  for (const char* folder : {"", "/config", "/tmp"}) {
    char path[128];
    char command[512];
    std::snprintf(path, sizeof path, "%s%s", kWebRoot, folder);
    std::snprintf(command, sizeof command, "[ ! -d %s ] && mkdir -p %s || echo", path, path);
    insist("main", [&] { _system(command); });
  }
}

void wait_for_network(CentralState& state) {
  const std::int64_t start = now_s();
  while (state.ip_addr.size() < kMinAddress) {
    sleep_ms(1000);
    guarded("main", [&] {
      log_main("[%s:%d] wait network...%d\n", "main", __LINE__, static_cast<int>(now_s() - start));
      renew_network_info(state.ip_addr, state.iface_name);
    });
  }
  insist("main", [] { log_event_echo("network is ok\n"); });
}

/// The platform clears the marker at boot: only the first daemon after it raises "PowerOn".
void raise_power_on(CentralState& state) {
  if (access(kPowerOnMarkerPath, F_OK) == 0) {
    state.power_on_done = 1;
    insist("main", [] { log_event_echo("%s is exist\n", kPowerOnMarkerPath); });
    return;
  }
  create_file(kPowerOnMarkerPath, "", kMarkerMode);
  insist("main", [] { log_event_echo("created %s\n", kPowerOnMarkerPath); });
  insist("main", [&] { push_event_front(*event_queue, state, "PowerOn", 0); });
  insist("main", [] { log_event_echo("auto push event: PowerOn\n"); });
}

void wait_for_status(CentralState& state) {
  int tries = 0;
  bool answered = false;
  while (true) {
    guarded("main", [&] { answered = renew_macro_var(state) >= kMinStatusVars; });
    if (answered) return;
    ++tries;
    guarded("main", [&] { log_main("[%s:%d] wait getStatus...%d\n", "main", __LINE__, tries); });
    sleep_ms(1000);
  }
}

/// Starts everything up to the supervision loop; a step that runs out of memory is made again.
/// False when a worker cannot be started.
bool start_up() {
  insist("main", log_banner);
  verbose = 1;
  make_objects();
  insist("main", load_settings);
  insist("main", [] { log_event_echo("kovotcp start\n"); });
  insist("main", write_pid_file);
  if (!start_early_workers()) return false;
  make_web_root();
  load_definitions(*central_state);
  if (!start_late_workers()) return false;
  central_state->ready = 1;
  wait_for_network(*central_state);
  raise_power_on(*central_state);
  wait_for_status(*central_state);
  return true;
}

[[noreturn]] void supervise() {
  Supervision memory;
  start_time = static_cast<std::time_t>(now_s());
  hdmi_plug_enabled = 0;
  while (true) guarded("main", [&] { supervise_once(*central_state, memory); });
}

}  // namespace

int run_kovotcp(int argc, char** argv) {
  prepare_process();
  Options options;
  bool parsed = false;
  guarded("main", [&] {
    options = parse_options(argc, argv);
    parsed = true;
  });
  if (!parsed) return 1;
  if (!options.start_daemon) return 0;
  start_output();
  if (!start_up()) end_process(1);
  supervise();
}

}  // namespace kovo
