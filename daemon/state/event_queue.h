// The queue of events that wait for their time: one, made by main and never destroyed. Whoever
// notices something pushes its name; the queue worker runs the events.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "core/event_compiler.h"
#include "core/event_rules.h"
#include "daemon/system/bounded_queue.h"
#include "daemon/system/mutex.h"

namespace kovo {

struct CentralState;

// kTaken: the slot's thread may be running. It sets kFinished, and the queue worker joins it.
enum class SlotState : std::int32_t { kFree = 0, kTaken = 1, kFinished = 2 };

/// Returns the memory of the steps and texts of an event, in bytes.
std::size_t memory_of(const EventDefinition& event);

struct EventQueue {
  MessageQueue tcp_lines{"tcp_lines"};  // with a lock of its own: no receiver waits for a push

  Mutex lock;  // held for a whole push, with its status query, and for a whole scan of the worker
  BoundedQueue<EventDefinition> pending GUARDED_BY(lock);
  bool pending_was_large GUARDED_BY(lock) = false;  // since it was last empty

  // The sender slots. The queue worker takes and frees them; a sender only sets its kFinished.
  pthread_t sender_threads[kSenderSlots] = {};
  std::atomic<SlotState> sender_state[kSenderSlots] = {};
  ReportLimit lost_steps;  // without a free slot; queue worker only
  std::string last_lost;   // name of the event of the last of them

  std::int64_t created_at = 0;  // steady clock, nanoseconds: origin of all queue times
};

inline EventQueue* event_queue = nullptr;  // set before any worker starts

std::unique_ptr<EventQueue> make_event_queue();

/// Returns the nanoseconds since the queue was made.
std::int64_t queue_time(const EventQueue& queue);

/// Looks up each line of `names`, without one trailing newline, and appends the events found to
/// `pending`. Logs the text, and mirrors it once for each name. An event for which `pending` has no
/// room is dropped, and logged once a second at most. Any thread. Holds queue.lock throughout: up
/// to 2 s for a status query and 3 s for a mirror line. After a query that took more than 250 ms or
/// failed, the further names use the values in hand; after a mirror line that failed, they are not
/// mirrored: a text of many names would hold the lock for minutes.
void push_event_back(EventQueue& queue, CentralState& state, std::string_view names, bool is_test);

/// Does the same without the event-log line, and puts each event at the front.
void push_event_front(EventQueue& queue, CentralState& state, std::string_view names, bool is_test);

/// Calls push_event_back on the global event queue, not as a test.
void push_event(std::string_view names);

}  // namespace kovo
