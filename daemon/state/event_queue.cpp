// Events are looked up when they are pushed, not when they run: what an event sends is decided by
// the definitions, the status and the time of the push. A push therefore holds queue.lock for the
// status query, which keeps events in the order of the pushes and delays every other push. The
// queue is not sorted by due time, since the worker scans all of it, and equal events are not
// merged. Invariant: whatever is in `pending` is complete, so that running it needs no definitions.
#include "daemon/state/event_queue.h"

#include <cassert>

#include "daemon/state/central_state.h"
#include "daemon/state/definition_file.h"
#include "daemon/state/mirror.h"
#include "daemon/state/status_vars.h"
#include "daemon/system/host.h"
#include "daemon/system/log.h"

namespace kovo {
namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr std::int64_t kSlowQueryNs = 250'000'000;
constexpr std::size_t kLargeQueueBytes = std::size_t{1} << 20;

/// Looks up each name of a text and puts the events found at one end of the queue. Mirrors the
/// whole text for each name, found or not.
void push_names(EventQueue& queue, CentralState& state, const std::string& text, bool is_test,
                QueueEnd end) REQUIRES(queue.lock) {
  const char* routine = end == QueueEnd::kBack ? "push_event_back" : "push_event_front";
  auto& pending = queue.pending;
  bool queries = true;
  bool mirrored = true;
  for (const std::string_view name : split_lines(text)) {
    const std::int64_t now = queue_time(queue);
    if (queries) queries = renew_macro_var(state) && queue_time(queue) - now <= kSlowQueryNs;
    EventDefinition event = lookup_event(state, name, is_test);
    if (mirrored) {
      mirrored = send_debug_line(kMirrorEvents, is_test ? "KOVO Test event: %s" : "KOVO event: %s",
                                 text.c_str());
    }
    if (event.name.empty()) {
      LOG_DEBUG(routine, "not found sys event=%s\n", text.c_str());
      continue;
    }
    event.is_test = is_test;
    event.queued_at = now;
    event.due_at = is_test ? now : now + event.delay_s * kNanosecondsPerSecond;
    assert(event.queued_at > 0 && event.status == 0);  // pending holds only complete events
    if (!pending.push(std::move(event), end) && pending.drops.due(steady_ns()) > 0) {
      LOG_MAIN(routine, "Error: Too many event: key=%s\n", std::string(name).c_str());
    }
    if (pending.bytes > kLargeQueueBytes) queue.pending_was_large = true;
  }
}

}  // namespace

std::size_t memory_of(const EventDefinition& event) {
  std::size_t bytes = memory_of(event.name) + memory_of(event.trigger) +
                      event.commands.capacity() * sizeof(SubCommand);
  for (const SubCommand& step : event.commands) {
    bytes +=
        memory_of(step.ip) + memory_of(step.port) + memory_of(step.protocol) + memory_of(step.data);
  }
  return bytes;
}

std::unique_ptr<EventQueue> make_event_queue() {
  auto queue = std::make_unique<EventQueue>();
  queue->created_at = steady_ns();
  return queue;
}

std::int64_t queue_time(const EventQueue& queue) {
  return steady_ns() - queue.created_at;
}

void push_event_back(EventQueue& queue, CentralState& state, std::string_view names, bool is_test) {
  const MutexLock held(queue.lock);
  const std::string text(strip_newline(names));
  if (is_test) {
    log_event("push event: %s, test=1\n", text.c_str());
  } else {
    log_event("push event: %s\n", text.c_str());
  }
  push_names(queue, state, text, is_test, QueueEnd::kBack);
}

void push_event_front(EventQueue& queue, CentralState& state, std::string_view names,
                      bool is_test) {
  const MutexLock held(queue.lock);
  push_names(queue, state, std::string(names), is_test, QueueEnd::kFront);
}

void push_event(std::string_view names) {
  push_event_back(*event_queue, *central_state, names, false);
}

}  // namespace kovo
