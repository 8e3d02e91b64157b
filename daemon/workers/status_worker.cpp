// A status line restarts the hold-off time of its rows and pushes no event, except for the playback
// selection and the settings, which have no variable. core/change_rules decides that, and the
// receiver applies settings. Invariant: mapping_lock is never held for a set or a push.
#include "daemon/workers/status_worker.h"

#include <optional>

#include "core/change_rules.h"
#include "core/network.h"
#include "core/text.h"
#include "daemon/state/central_state.h"
#include "daemon/state/event_queue.h"
#include "daemon/state/settings.h"
#include "daemon/state/variable_store.h"
#include "daemon/system/host.h"
#include "daemon/system/log.h"
#include "daemon/system/worker.h"

namespace kovo {
namespace {

constexpr char kRoutine[] = "handle_vep_api";
constexpr int kLinePeriodMs = 250;

void carry_out(CentralState& state, const ChangeAction& action) {
  const char* name = action.name.c_str();
  const int since_last = static_cast<int>(action.since_last_s);
  switch (action.kind) {
    case ActionKind::kPushPlayback:
      // Only the record of localPlay has no newline.
      LOG_MAIN(kRoutine, "push event %s%s", name, action.name == "localPlay" ? "" : "\n");
      push_event(name);
      break;
    case ActionKind::kHoldOff:
      LOG_DEBUG(kRoutine, "get event name %s\n", name);
      LOG_MAIN(kRoutine, "skip event %s, now-last=%d sec\n", name, since_last);
      log_event("skip event %s, now-last=%d sec\n", name, since_last);
      break;
    case ActionKind::kCount:
      LOG_DEBUG(kRoutine, "get event name %s\n", name);
      LOG_MAIN(kRoutine, "get vep_api event %s\n", name);
      // The receiver has applied a setting. Here it gets an empty value, which is refused and
      // logged.
      if (names_setting(name)) {
        apply_setting_line(state, action.name + "=");
      } else {
        state.lm_queue.push(action.name);
      }
      break;
    case ActionKind::kUnmapped:
      LOG_MAIN(kRoutine, "no mapping event %s\n", name);
      break;
    default:
      break;
  }
}

}  // namespace

void* handle_vep_api(void* argument) {
  CentralState& state = *static_cast<CentralState*>(argument);
  while (true) {
    sleep_ms(kLinePeriodMs);
    run_pass(kRoutine, [&] {
      const std::optional<std::string> line = state.api_queue.pop();
      if (line) handle_status_line(state, *variable_registry, *line, now_s);
    });
  }
}

void handle_status_line(CentralState& state, VariableRegistry& registry, std::string_view text,
                        SecondsClock clock) {
  if (text.empty()) return;
  const std::string line(strip_newline(truncated(text, kMaxStatusLine)));
  LOG_MAIN(kRoutine, "Recv(udp:%d) (%d)%s\n", kStatusPort, static_cast<int>(line.size()),
           line.c_str());
  const KeyValue pair = split_key_value(line);
  const std::string name(pair.key);
  if (is_hdcp_state(name) && !lm_set_change(registry, name, pair.value)) {
    LOG_MAIN(kRoutine, "skip same event %s\n", name.c_str());
    return;
  }
  ChangeActions actions;
  {
    const MutexLock held(state.mapping_lock);
    const ChangeRule rule = is_playback(name) ? playback_rule : status_rule;
    actions = run_rule(rule, state.changes, {name}, clock());
  }
  for (const ChangeAction& action : actions) carry_out(state, action);
}

}  // namespace kovo
