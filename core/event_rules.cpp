#include "core/event_rules.h"

#include "core/text.h"

namespace kovo {

EventFate event_fate(const EventDefinition& event, std::int64_t now) {
  if (event.due_at == 0 || event.queued_at == 0) return EventFate::kErase;
  if (event.queued_at + kEventLifeNs < now) return EventFate::kExpired;
  if (event.status == kExecuted) return EventFate::kErase;
  if (now < event.queued_at || now < event.due_at) return EventFate::kWait;
  return EventFate::kRun;
}

bool is_display_event(std::string_view name) {
  return equals_nocase(name, kDviConnected) || equals_nocase(name, kDviDisconnected);
}

StepFate step_fate(const EventDefinition& event, bool plug_enabled, bool events_enabled) {
  if (is_display_event(event.name) && !plug_enabled && !event.is_test)
    return StepFate::kPowerOnSkip;
  return events_enabled || event.is_test ? StepFate::kSend : StepFate::kDisabled;
}

std::optional<Sender> choose_sender(std::string_view protocol) {
  const bool status = contains(protocol, "Status");
  if (contains(protocol, "TCP")) return Sender{Transport::kTcp, status};
  if (contains(protocol, "UDP")) return Sender{Transport::kUdp, status};
  return {};
}

}  // namespace kovo
