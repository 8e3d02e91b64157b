// The execution of queued events: drops what is stale and starts the senders of what has come due.
#pragma once

#include <cstdint>

#include "definitions/event_definition.h"
#include "engine/event_queue.h"

namespace kovo {

constexpr std::int64_t kEventLifeNs = 60'000'000'000;  // an event not run within this is dropped

enum class EventFate { kErase, kExpired, kWait, kRun };

/// What becomes of a queued event at the queue time `now`, in nanoseconds. An event older than
/// kEventLifeNs expires, whatever its delay.
EventFate event_fate(const EventDefinition& event, std::int64_t now);

/// Executes or drops what is due or stale in `pending`; later events are looked at behind waiting
/// ones. Returns the number of events executed. Queue worker only; takes queue.lock for all of it.
int exec_event(EventQueue& queue, CentralState& state);

}  // namespace kovo
