// What becomes of queued events and their steps, and how a step is sent. No input or output.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "core/event_compiler.h"
#include "core/network.h"

namespace kovo {

constexpr int kPowerOnPeriodS = 120;      // of uptime, without display events
constexpr int kSenderSlots = 512;         // messages under way at once
constexpr std::int32_t kExecuted = 1;     // status of an event whose steps were run
constexpr std::int32_t kEventLifeS = 60;  // an event not run within this is dropped
constexpr std::int64_t kEventLifeNs = kEventLifeS * std::int64_t{1'000'000'000};

enum class EventFate { kErase, kExpired, kWait, kRun };

/// Decides on a queued event at the queue time `now`, in nanoseconds. An event older than
/// kEventLifeNs expires, whatever its delay.
EventFate event_fate(const EventDefinition& event, std::int64_t now);

/// Returns whether a name is that of a display-connection event, case-insensitive.
bool is_display_event(std::string_view name);

enum class StepFate { kPowerOnSkip, kSend, kDisabled };

/// Decides on a step: display-connection events are skipped while the plug is not enabled, and all
/// are while events are disabled; test events are always sent.
StepFate step_fate(const EventDefinition& event, bool plug_enabled, bool events_enabled);

/// How a step is sent: its payload or, for a status sender, the answer of the status service.
struct Sender {
  Transport transport;
  bool status;
};

/// Chooses the sender by the words "Status", "TCP" and "UDP" in a protocol text, case-sensitive;
/// TCP goes before UDP. Nothing when the step is not sent.
std::optional<Sender> choose_sender(std::string_view protocol);

}  // namespace kovo
