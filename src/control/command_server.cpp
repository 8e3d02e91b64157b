#include "control/command_server.h"

#include <optional>

#include "control/command_line.h"
#include "definitions/event_list.h"
#include "engine/event_execution.h"
#include "engine/event_queue.h"
#include "frame/globals.h"
#include "frame/host.h"
#include "frame/log.h"
#include "frame/loopback_server.h"
#include "frame/ports.h"
#include "frame/worker.h"
#include "variables/central_state.h"

namespace kovo {
namespace {

constexpr int kScanPeriodMs = 250;
constexpr std::int64_t kSlowTextNs = 250'000'000;  // a text handled slower ends the loop of a pass
constexpr char kEnableKey[] = "__SET__:network.kovo.enable";

void take_command(void* queue, std::string_view data) {
  const std::string text(until_nul(data));
  // No line end of its own: the text usually brings one.
  LOG_MAIN("handle_tcp_event", "recv(tcp:2700) [%d]%s", static_cast<int>(text.size()),
           text.c_str());
  push_tcp_line(*static_cast<EventQueue*>(queue), {text, now_us()});
}

void log_read_error(const char* text) {
  log_main("Error: [%s:%d] Recv(tcp:2700): %s\n", "handle_tcp_event", __LINE__, text);
}

constexpr TcpService kService = {
    "handle_tcp_event",      kCommandPort, kMaxMessage,    Announce::kOnceBound,
    PortInUse::kEndsProcess, take_command, log_read_error,
};
static_assert(kService.max_read <= kMaxTcpRead);

int handle_tcp_command(EventQueue& queue, CentralState& state, std::string_view key,
                       std::string_view value) {
  if (const auto names = tested_names(key)) {
    const std::string name(*names);
    renew_kovo_txt(state, 1);
    rebuild_kovo_event_list(state, 1);
    LOG_MAIN("handle_tcp_command", "push TEST event %s", name.c_str());
    push_event_back(queue, state, name, 1);
  } else if (starts_with_nocase(key, kEnableKey)) {
    const bool on = starts_with_nocase(value, "1") || starts_with_nocase(value, "y");
    state.events_enabled = on ? 1 : 0;
  }
  return 0;
}

void handle_tcp_line(EventQueue& queue, CentralState& state, std::string_view line) {
  const KeyValue pair = split_command_line(line);
  const std::string key(pair.key);
  const std::string value(pair.value);
  if (is_command(key)) {
    handle_tcp_command(queue, state, key, value);
    return;
  }
  if (state.events_enabled == 0) {
    LOG_MAIN("handle_q_event", "KOVO disable, skip %s\n", key.c_str());
    return;
  }
  log_event("get tcp:2700 event: key=%s,value=%s\n", key.c_str(), value.c_str());
  push_event_back(queue, state, key, 0);
}

/// Handles the received texts, the oldest first. Stops after one that took long: while the status
/// service is silent, a text a second would otherwise keep due events from ever being executed.
void handle_tcp_lines(EventQueue& queue, CentralState& state) {
  std::int64_t took_ns = 0;
  while (took_ns <= kSlowTextNs) {
    const std::optional<TcpLine> line = pop_tcp_line(queue);
    if (!line) return;
    const std::int64_t start = steady_ns();
    handle_tcp_line(queue, state, line->line);
    took_ns = steady_ns() - start;
  }
}

}  // namespace

void* handle_tcp_event(void* queue) {
  serve_tcp(kService, queue);
  return nullptr;
}

void* handle_q_event(void* argument) {
  EventQueue& queue = *static_cast<EventQueue*>(argument);
  while (true) {
    sleep_ms(kScanPeriodMs);
    if (central_state->ready == 0) continue;
    catch_and_log("handle_q_event", [&] {
      handle_tcp_lines(queue, *central_state);
      exec_event(queue, *central_state);
    });
  }
}

}  // namespace kovo
