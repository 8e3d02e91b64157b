#include "engine/event_execution.h"

#include <utility>

#include "engine/event_rules.h"
#include "engine/sender_threads.h"
#include "frame/globals.h"
#include "frame/host.h"
#include "frame/log.h"
#include "variables/central_state.h"

namespace kovo {
namespace {

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
      if (verbose != 0) {
        print_line("exec_event", __LINE__, "disable event, skip %s\n", step.data.c_str());
      }
      log_event_echo("%s:%s %s %s, disabled uptime=%ld\n", step.ip.c_str(), step.port.c_str(),
                     step.protocol.c_str(), step.data.c_str(), static_cast<long>(uptime));
      break;
  }
}

/// Runs a due event. Returns false when it was dropped: "PowerOn" runs once per boot.
bool run_event(EventQueue& queue, CentralState& state, EventDefinition& event, std::int64_t now) {
  const bool power_on = equals_nocase(event.trigger, kPowerOn);
  if (power_on && state.power_on_done == 1) {
    log_event_echo("skip event: PowerOn\n");
    return false;
  }
  LOG_DEBUG("exec_event",
            "get sys event=%s, run event=%s, now=%lld ms, t_exec=%lld ms, sub cmd size=%d, "
            "test=%d\n",
            event.trigger.c_str(), event.name.c_str(), static_cast<long long>(now / 1'000'000),
            static_cast<long long>(event.due_at / 1'000'000),
            static_cast<int>(event.commands.size()), event.test);
  if (power_on) state.power_on_done = 1;
  event.status = kExecuted;  // not run again when memory runs out at one of its steps
  for (const SubCommand& step : event.commands) run_step(queue, state, event, step);
  return true;
}

void log_expired(const EventDefinition& event, std::int64_t now) {
  LOG_MAIN("exec_event",
           "Error cannot send sys event=%s, run event=%s, now=%lld, t_exec=%lld, sub cmd "
           "size=%d\n",
           event.trigger.c_str(), event.name.c_str(), static_cast<long long>(now),
           static_cast<long long>(event.due_at), static_cast<int>(event.commands.size()));
}

}  // namespace

int exec_event(EventQueue& queue, CentralState& state) {
  const MutexLock held(queue.lock);
  int executed = 0;
  for (auto at = queue.pending.entries.begin(); at != queue.pending.entries.end();) {
    EventDefinition& event = at->item;
    const std::int64_t now = queue_time(queue);
    const EventFate fate = event_fate(event, now);
    if (fate == EventFate::kWait) {
      ++at;
      continue;
    }
    if (fate == EventFate::kExpired) log_expired(event, now);
    if (fate == EventFate::kRun && run_event(queue, state, event, now)) ++executed;
    at = queue.pending.erase(at);
  }
  if (queue.pending.entries.empty() && std::exchange(queue.pending_was_large, false)) {
    give_back_memory();
  }
  return executed;
}

}  // namespace kovo
