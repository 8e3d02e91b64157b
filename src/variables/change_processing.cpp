#include "variables/change_processing.h"

#include "engine/push_event.h"
#include "frame/log.h"
#include "variables/central_state.h"
#include "variables/message.h"
#include "variables/variable_store.h"

namespace kovo {
namespace {

constexpr char kRoutine[] = "handle_lm_event";  // in all log lines of this file

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

}  // namespace

void process_variable_change(CentralState& state, VariableRegistry& registry, std::string_view name,
                             std::string_view raw) {
  const std::string key(name);
  const std::string value = decode_value(raw);
  LOG_DEBUG(kRoutine, "get %s=%s\n", key.c_str(), value.c_str());
  lm_set(registry, key, value);
  follow_change(state, registry, {key, value}, now_s);
}

void follow_change(CentralState& state, VariableRegistry& registry, const VariableChange& change,
                   SecondsClock clock) {
  for (const ChangeRule rule : change_rules(change.name)) {
    ChangeActions actions;
    {
      const MutexLock held(state.mapping_lock);
      actions = rule(state.changes, change, clock());
    }
    for (const ChangeAction& action : actions) carry_out(registry, action);
  }
}

}  // namespace kovo
