// Events are looked up when they are pushed, not when they run: what an event sends is decided by
// the definitions, the status and the time of the push. A push therefore holds queue.lock for the
// status query, which keeps events in the order of the pushes and delays every other push. The
// queue is not sorted by due time, since the worker scans all of it, and equal events are not
// merged. Invariant: whatever is in `pending` is complete, so that running it needs no definitions.
#include "daemon/state/event_queue.h"

#include <cstdarg>
#include <cstdio>
#include <new>

#include "daemon/state/definition_file.h"
#include "daemon/state/globals.h"
#include "daemon/state/push_event.h"
#include "daemon/system/host.h"
#include "daemon/system/log.h"
#include "daemon/system/senders.h"

namespace kovo {
namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr std::size_t kLargeQueueBytes = std::size_t{1} << 20;

/// Returns the event of a name with its times; its name is empty when there is none. Mirrors the
/// whole text for each name, found or not.
EventDefinition make_pending(EventQueue& queue, CentralState& state, std::string_view name,
                             const std::string& text, int test) {
  const std::int64_t now = queue_time(queue);
  EventDefinition event = lookup_event(state, name, test);
  send_debug_line(kMirrorEvents, test != 0 ? "KOVO Test event: %s" : "KOVO event: %s",
                  text.c_str());
  event.test = test;
  event.queued_at = now;
  event.due_at = test == 1 ? now : now + event.delay_s * kNanosecondsPerSecond;
  return event;
}

/// Looks up each name of a text and puts the events found at one end of the queue.
void push_names(EventQueue& queue, CentralState& state, const std::string& text, int test,
                QueueEnd end) REQUIRES(queue.lock) {
  const char* routine = end == QueueEnd::kBack ? "push_event_back" : "push_event_front";
  auto& pending = queue.pending;
  for (const std::string_view name : split_lines(text)) {
    EventDefinition event = make_pending(queue, state, name, text, test);
    if (event.name.empty()) {
      LOG_DEBUG(routine, "not found sys event=%s\n", text.c_str());
      continue;
    }
    if (!pending.push(std::move(event), end) && pending.drops_to_report(steady_ns()) > 0) {
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
  queue->buffers.reset(static_cast<SenderBuffers*>(std::calloc(1, sizeof(SenderBuffers))));
  if (queue->buffers == nullptr) throw std::bad_alloc();
  return queue;
}

std::int64_t queue_time(const EventQueue& queue) {
  return steady_ns() - queue.created_at;
}

void push_tcp_line(EventQueue& queue, std::string text) {
  const MutexLock held(queue.lock);
  queue.tcp_lines.push(std::move(text));
  log_drops("tcp_lines", queue.tcp_lines.drops_to_report(steady_ns()));
}

std::optional<std::string> pop_tcp_line(EventQueue& queue) {
  const MutexLock held(queue.lock);
  log_drops("tcp_lines", queue.tcp_lines.drops_to_report(steady_ns()));
  return queue.tcp_lines.pop_front();
}

int push_event_back(EventQueue& queue, CentralState& state, std::string_view names, int test) {
  const MutexLock held(queue.lock);
  const std::string text(strip_newline(names));
  if (test != 0) {
    log_event("push event: %s, test=%d\n", text.c_str(), test);
  } else {
    log_event("push event: %s\n", text.c_str());
  }
  push_names(queue, state, text, test, QueueEnd::kBack);
  return 0;
}

int push_event_front(EventQueue& queue, CentralState& state, std::string_view names, int test) {
  const MutexLock held(queue.lock);
  push_names(queue, state, std::string(names), test, QueueEnd::kFront);
  return 0;
}

int send_debug_line(std::int32_t level, const char* format, ...) {
  Transport transport = Transport::kTcp;
  std::string ip;
  int port = 0;
  {
    const MutexLock held(debug_target_lock);
    if (debug_target_on < level) return 0;
    transport = debug_target_udp != 0 ? Transport::kUdp : Transport::kTcp;
    ip = debug_target_ip;
    port = debug_target_port;
  }
  char buffer[kMaxCommand + 1];
  std::va_list args;
  va_start(args, format);
  const int length = std::vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  if (length < 1) return length;
  return send_by(transport, ip, port, strip_newline(buffer));
}

void push_event(std::string_view name) {
  push_event_back(*event_queue, *central_state, name, 0);
}

}  // namespace kovo
