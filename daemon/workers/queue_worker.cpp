// Each pass handles the received texts, which push events, and then scans `pending` and runs what
// is due. A scan only logs and starts senders, which wait and send, so that no destination delays
// another event. A pass scans 250 ms after it began, also while texts wait: with a silent status
// service, or twenty texts a second, due events would otherwise wait for ever. A step without a
// free slot is lost. Invariant: an event is marked executed before its first step, so that none
// runs twice.
#include "daemon/workers/queue_worker.h"

#include <optional>
#include <utility>

#include "core/event_rules.h"
#include "core/trigger_text.h"
#include "daemon/state/central_state.h"
#include "daemon/state/definition_file.h"
#include "daemon/system/host.h"
#include "daemon/system/log.h"
#include "daemon/system/worker.h"
#include "daemon/workers/sender_threads.h"

namespace kovo {
namespace {

constexpr int kScanPeriodMs = 250;
constexpr std::int64_t kMaxTextsNs = 250'000'000;  // of a pass, until it scans

void handle_tcp_command(EventQueue& queue, CentralState& state, const KeyValue& command) {
  if (const auto names = tested_names(command.key)) {
    const std::string name(*names);
    renew_kovo_txt(state, true, ReadReason::kEdit);
    rebuild_kovo_event_list(state, true);
    LOG_MAIN("handle_tcp_command", "push TEST event %s", name.c_str());
    push_event_back(queue, state, name, true);
  } else if (const auto enables = enables_events(command)) {
    state.events_enabled = *enables ? 1 : 0;
  }
}

void handle_tcp_line(EventQueue& queue, CentralState& state, std::string_view line) {
  const KeyValue pair = split_command_line(line);
  if (is_command(pair.key)) return handle_tcp_command(queue, state, pair);
  const std::string key(pair.key);
  const std::string value(pair.value);
  if (state.events_enabled == 0) {
    LOG_MAIN("handle_q_event", "KOVO disable, skip %s\n", key.c_str());
    return;
  }
  log_event("get tcp:2700 event: key=%s,value=%s\n", key.c_str(), value.c_str());
  push_event_back(queue, state, key, false);
}

/// Handles the texts that wait, until 250 ms have passed. Returns whether there may be more.
bool handle_tcp_lines(EventQueue& queue, CentralState& state) {
  const std::int64_t start = steady_ns();
  while (steady_ns() - start <= kMaxTextsNs) {
    const std::optional<std::string> text = queue.tcp_lines.pop();
    if (!text) return false;
    handle_tcp_line(queue, state, *text);
  }
  return true;
}

void report_lost_steps(EventQueue& queue) {
  const int lost = queue.lost_steps.due(steady_ns());
  if (lost == 0) return;
  LOG_MAIN("exec_event", "Error: no sender for %d steps, last of %s\n", lost,
           queue.last_lost.c_str());
}

void run_step(EventQueue& queue, const CentralState& state, const EventDefinition& event,
              const SubCommand& step) {
  const std::int32_t uptime = uptime_s;
  switch (step_fate(event, hdmi_plug_enabled != 0, state.events_enabled != 0)) {
    case StepFate::kSend:
      log_event_echo("%s:%s %s %s\n", step.ip.c_str(), step.port.c_str(), step.protocol.c_str(),
                     step.data.c_str());
      start_sender(queue, event.name, step);
      break;
    case StepFate::kPowerOnSkip:
      LOG_MAIN("exec_event", "during Power On, skip %s ...%d/%d\n", event.name.c_str(), uptime,
               kPowerOnPeriodS);
      log_event_echo("skip uptime=%ld,%s:%s %s %s\n", static_cast<long>(uptime), step.ip.c_str(),
                     step.port.c_str(), step.protocol.c_str(), step.data.c_str());
      break;
    case StepFate::kDisabled:
      print_line("exec_event", __LINE__, "disable event, skip %s\n", step.data.c_str());
      log_event_echo("%s:%s %s %s, disabled uptime=%ld\n", step.ip.c_str(), step.port.c_str(),
                     step.protocol.c_str(), step.data.c_str(), static_cast<long>(uptime));
      break;
  }
}

/// Runs a due event, unless it is a "PowerOn" and one has run in this boot. (One that arrives by
/// tcp:2700 before the start-up is complete counts as that one.)
void run_event(EventQueue& queue, CentralState& state, EventDefinition& event, std::int64_t now) {
  const bool power_on = equals_nocase(event.trigger, kPowerOn);
  if (power_on && state.power_on_done == 1) {
    log_event_echo("skip event: PowerOn\n");
    return;
  }
  LOG_DEBUG("exec_event",
            "get sys event=%s, run event=%s, now=%lld ms, t_exec=%lld ms, sub cmd size=%d, "
            "test=%d\n",
            event.trigger.c_str(), event.name.c_str(), static_cast<long long>(now / 1'000'000),
            static_cast<long long>(event.due_at / 1'000'000),
            static_cast<int>(event.commands.size()), event.is_test ? 1 : 0);
  if (power_on) state.power_on_done = 1;
  event.status = kExecuted;
  for (const SubCommand& step : event.commands) run_step(queue, state, event, step);
}

void log_expired(const EventDefinition& event, std::int64_t now) {
  LOG_MAIN("exec_event",
           "Error cannot send sys event=%s, run event=%s, now=%lld, t_exec=%lld, sub cmd "
           "size=%d\n",
           event.trigger.c_str(), event.name.c_str(), static_cast<long long>(now),
           static_cast<long long>(event.due_at), static_cast<int>(event.commands.size()));
}

}  // namespace

void* handle_q_event(void* argument) {
  EventQueue& queue = *static_cast<EventQueue*>(argument);
  bool more_texts = false;
  while (true) {
    if (!more_texts) sleep_ms(kScanPeriodMs);
    if (central_state->ready == 0) continue;
    more_texts = false;
    run_pass("handle_q_event", [&] {
      more_texts = handle_tcp_lines(queue, *central_state);
      exec_event(queue, *central_state);
    });
  }
}

void exec_event(EventQueue& queue, CentralState& state) {
  const MutexLock held(queue.lock);
  for (auto at = queue.pending.entries.begin(); at != queue.pending.entries.end();) {
    EventDefinition& event = at->item;
    const std::int64_t now = queue_time(queue);
    const EventFate fate = event_fate(event, now);
    if (fate == EventFate::kWait) {
      ++at;
      continue;
    }
    if (fate == EventFate::kExpired) log_expired(event, now);
    if (fate == EventFate::kRun) run_event(queue, state, event, now);
    at = queue.pending.erase(at);
  }
  report_lost_steps(queue);
  if (queue.pending.entries.empty() && std::exchange(queue.pending_was_large, false)) {
    give_back_memory();
  }
}

}  // namespace kovo
