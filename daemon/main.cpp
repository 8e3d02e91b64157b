// Start-up, in its order, and then the supervision loop.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#ifdef __GLIBC__
#include <malloc.h>
#endif

#include <csignal>
#include <cstdio>
#include <initializer_list>

#include "daemon/options.h"
#include "daemon/state/central_state.h"
#include "daemon/state/event_queue.h"
#include "daemon/state/settings.h"
#include "daemon/state/status_vars.h"
#include "daemon/state/variable_store.h"
#include "daemon/system/files.h"
#include "daemon/system/host.h"
#include "daemon/system/log.h"
#include "daemon/system/output.h"
#include "daemon/system/shell.h"
#include "daemon/system/worker.h"
#include "daemon/workers/change_worker.h"
#include "daemon/workers/queue_worker.h"
#include "daemon/workers/receivers.h"
#include "daemon/workers/status_worker.h"
#include "daemon/workers/supervision.h"

namespace kovo {
namespace {

constexpr char kPowerOnMarkerPath[] = "/var/tmp/log/kovo_power_on";
constexpr unsigned kMarkerMode = 0444;

/// Opens /dev/null for missing standard descriptors, so that no socket becomes stdout.
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

/// Makes the signals that the daemon and its children need independent of the parent: with SIGTERM
/// blocked, `timeout` could not end `nc`. The others stay as inherited, for `nohup`. A broken pipe
/// and a file at its limit are write errors; an empty handler is used, since children would inherit
/// SIG_IGN.
void set_signals() {
  handle_signals({SIGTERM, SIGCHLD, SIGALRM}, SIG_DFL);
  handle_signals({SIGPIPE, SIGXFSZ}, [](int) {});
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

void prepare_process() {
#ifdef __GLIBC__
  mallopt(M_ARENA_MAX, 1);  // an arena for each thread would reserve 64 MiB of addresses
#endif
  open_standard_descriptors();
  set_signals();
  umask(kModeMask);
}

void make_objects() {
  if (event_queue == nullptr) event_queue = make_event_queue().release();
  if (central_state == nullptr) central_state = make_central_state().release();
  variable_registry = make_variable_registry().release();
}

void write_pid_file() {
  char command[256];
  const int pid = static_cast<int>(getpid());
  std::snprintf(command, sizeof command, "echo %d > /var/run/kovotcp.pid", pid);
  _system(command);
  LOG_MAIN("main", "create /var/run/kovotcp.pid=%d\n", pid);
}

struct Worker {
  const char* routine;
  const char* thread_name;
  void* (*body)(void*);
  void* argument;
};

/// Starts workers in order. Returns false at the first that cannot be started, which is logged.
bool start_workers(std::initializer_list<Worker> workers) {
  for (const Worker& worker : workers) {
    pthread_t thread;
    const int error =
        start_thread(worker.thread_name, thread, kDefaultStack, worker.body, worker.argument);
    if (error == 0) continue;
    log_main("Error: pthread_create %s(): %s\n", worker.routine, error_text(error));
    return false;
  }
  return true;
}

void make_web_root() {
  for (const char* path : {"/www/pelm", "/www/pelm/config", "/www/pelm/tmp"}) {
    char command[512];
    std::snprintf(command, sizeof command, "[ ! -d %s ] && mkdir -p %s || echo", path, path);
    _system(command);
  }
}

void wait_for_network(CentralState& state) {
  const std::int64_t start = now_s();
  while (state.ip_addr.size() < kMinAddress) {
    sleep_ms(1000);
    LOG_MAIN("main", "wait network...%d\n", static_cast<int>(now_s() - start));
    run_pass("main", [&] { renew_network_info(state.ip_addr, state.iface_name); });
  }
  log_event_echo("network is ok\n");
}

/// Raises "PowerOn" in the first daemon after a boot: the platform removes the marker at boot.
/// Retries while memory is out, which would lose the event for this boot.
void raise_power_on(CentralState& state) {
  if (access(kPowerOnMarkerPath, F_OK) == 0) {
    state.power_on_done = 1;
    log_event_echo("%s is exist\n", kPowerOnMarkerPath);
    return;
  }
  retry_until_success("main", [] { create_file(kPowerOnMarkerPath, "", kMarkerMode); });
  log_event_echo("created %s\n", kPowerOnMarkerPath);
  retry_until_success("main", [&] { push_event_front(*event_queue, state, kPowerOn, false); });
  log_event_echo("auto push event: PowerOn\n");
}

void wait_for_status(CentralState& state) {
  for (int tries = 1;; ++tries) {
    bool answered = false;
    run_pass("main", [&] { answered = renew_macro_var(state); });
    if (answered) return;
    LOG_MAIN("main", "wait getStatus...%d\n", tries);
    sleep_ms(1000);
  }
}

/// Starts everything up to the supervision loop. Returns false when a worker cannot be started.
/// Retries the steps without which it cannot run while memory is out: not every device restarts it.
bool start_up(Supervision& memory) {
  log_main("kovotcp V%s.CORE+ Build: %s\n", kVersion, kBuild);
  retry_until_success("main", make_objects);
  retry_until_success("main", [] {
    renew_enable_event(*central_state);
    init_settings(*central_state);
  });
  log_event_echo("kovotcp start\n");
  write_pid_file();
  if (!start_workers({{"handle_tcp_event", "kovo-commands", handle_tcp_event, event_queue},
                      {"handle_udp_lm_var", "kovo-vars-udp", handle_udp_lm_var, central_state},
                      {"handle_tcp_lm_var", "kovo-vars-tcp", handle_tcp_lm_var, central_state}})) {
    return false;
  }
  make_web_root();
  load_definitions(*central_state, memory, ReadReason::kStart);
  if (!start_workers({{"handle_lm_event", "kovo-changes", handle_lm_event, central_state},
                      {"handle_q_event", "kovo-queue", handle_q_event, event_queue},
                      {"handle_udp_vep_api", "kovo-status-udp", handle_udp_vep_api, central_state},
                      {"handle_vep_api", "kovo-status", handle_vep_api, central_state}})) {
    return false;
  }
  central_state->ready = 1;
  wait_for_network(*central_state);
  raise_power_on(*central_state);
  wait_for_status(*central_state);
  return true;
}

}  // namespace
}  // namespace kovo

int main(int argc, char** argv) {
  using namespace kovo;
  prepare_process();
  AfterOptions next = AfterOptions::kFailed;
  run_pass("main", [&] { next = parse_options(argc, argv); });
  if (next != AfterOptions::kStartDaemon) return next == AfterOptions::kExit ? 0 : 1;
  start_output();
  Supervision memory;
  if (!start_up(memory)) end_process(1);
  memory.start_time = now_s();
  while (true) run_pass("main", [&] { supervise_once(*central_state, memory); });
}
