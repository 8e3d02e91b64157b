#include "core/event_rules.h"

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

KeyValue split_command_line(std::string_view text) {
  return split_key_value(truncated(strip_newline(text), kMaxCommand));
}

bool is_command(std::string_view key) {
  return key.substr(0, 2) == "__";
}

std::optional<std::string_view> tested_names(std::string_view key) {
  constexpr std::string_view kTestCommand = "__TEST__:";
  if (key.substr(0, kTestCommand.size()) != kTestCommand) return {};
  return strip_newline(key.substr(kTestCommand.size()));
}

StepFate step_fate(const EventDefinition& event, bool plug_enabled, bool events_enabled) {
  if (is_display_event(event.name) && !plug_enabled && event.test == 0)
    return StepFate::kPowerOnSkip;
  return events_enabled || event.test == 1 ? StepFate::kSend : StepFate::kDisabled;
}

std::optional<Sender> choose_sender(std::string_view protocol) {
  const bool status = contains(protocol, "Status");
  if (contains(protocol, "TCP")) return Sender{Transport::kTcp, status};
  if (contains(protocol, "UDP")) return Sender{Transport::kUdp, status};
  return {};
}

}  // namespace kovo
