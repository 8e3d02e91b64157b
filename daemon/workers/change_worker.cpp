// One thread takes from lm_queue, so that variable changes and commands are processed in one order.
// It sends notifications and replies itself: a slow client delays the messages after it, not the
// receivers. core/change_rules decides what follows from a change; this file carries it out.
// Invariant: a message is processed to its end before the next is taken.
#include "daemon/workers/change_worker.h"

#include <optional>

#include "core/templates.h"
#include "daemon/state/central_state.h"
#include "daemon/state/event_queue.h"
#include "daemon/state/mirror.h"
#include "daemon/state/variable_store.h"
#include "daemon/system/host.h"
#include "daemon/system/log.h"
#include "daemon/system/worker.h"
#include "daemon/workers/commands.h"

namespace kovo {
namespace {

constexpr char kRoutine[] = "handle_lm_event";
constexpr int kIdleMs = 200;
constexpr char kChangeCommand[] = "e_param_set";

void carry_out(VariableRegistry& registry, const ChangeAction& action) {
  const char* name = action.name.c_str();
  switch (action.kind) {
    case ActionKind::kSet:
      lm_set(registry, action.name, action.value);
      break;
    case ActionKind::kSerialFormat:
      LOG_MAIN(kRoutine, "last %s, new %s\n", name, action.value.c_str());
      break;
    case ActionKind::kPushSerial:
      LOG_MAIN(kRoutine, "push event %s\n", name);
      push_event(name);
      break;
    case ActionKind::kPushDedicated:
      log_event("%s\n", name);
      push_event(name);
      break;
    case ActionKind::kInPause:
      if (action.name == "YCbCrOutput") LOG_DEBUG(kRoutine, "skip YCbCrOutput\n");
      break;
    case ActionKind::kPushMapped:
      log_event("get lm event %s\n", name);
      LOG_MAIN(kRoutine, "get lm event %s\n", name);
      push_event(name);
      break;
    case ActionKind::kHoldOff:
      log_event("[%s:%d] skip event %s, now-last=%d sec\n", kRoutine, __LINE__, name,
                static_cast<int>(action.since_last_s));
      break;
    case ActionKind::kUnmapped:
      LOG_DEBUG(kRoutine, "no mapping: %s\n", name);
      break;
    default:
      break;
  }
}

/// Decodes the raw value of a variable, stores it, notifies every client and follows the change.
void process_variable_change(CentralState& state, VariableRegistry& registry,
                             const std::string& name, std::string_view raw) {
  const std::string value = decode_value(raw);
  LOG_DEBUG(kRoutine, "get %s=%s\n", name.c_str(), value.c_str());
  lm_set(registry, name, value);
  follow_change(state, registry, {name, value}, now_s);
}

}  // namespace

void* handle_lm_event(void* argument) {
  CentralState& state = *static_cast<CentralState*>(argument);
  while (true) {
    if (state.ready != 0) {
      run_pass(kRoutine, [&] {
        while (const std::optional<std::string> text = state.lm_queue.pop()) {
          handle_message(state, *variable_registry, *text);
        }
      });
    }
    sleep_ms(kIdleMs);
  }
}

void handle_message(CentralState& state, VariableRegistry& registry, std::string_view text) {
  const std::string copy(strip_newline(truncated(text, kMaxMessage)));
  if (mirrors(kMirrorChanges) && starts_with_nocase(copy, kChangeCommand)) {
    send_debug_line(kMirrorChanges, "API Cmd: %s", percent_decode(copy).c_str());
  }
  const Message message = split_message(copy);
  if (message.splitting == Splitting::kNoCommand) return;
  const bool complete = message.splitting == Splitting::kOk;
  if (complete && equals_nocase(message.command, kChangeCommand)) {
    process_variable_change(state, registry, message.arg1, message.arg2);
  } else if (!complete || !run_command(registry, message)) {
    LOG_MAIN(kRoutine, "Error cmd=%s\n", message.command.c_str());
  }
}

void follow_change(CentralState& state, VariableRegistry& registry, const VariableChange& change,
                   SecondsClock clock) {
  for (const ChangeRule rule : change_rules(change.name)) {
    ChangeActions actions;
    {
      const MutexLock held(state.mapping_lock);
      actions = run_rule(rule, state.changes, change, clock());
    }
    for (const ChangeAction& action : actions) carry_out(registry, action);
  }
}

}  // namespace kovo
