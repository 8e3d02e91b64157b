#include "engine/event_queue.h"

#include <cstdarg>
#include <cstdio>
#include <new>

#include "definitions/event_list.h"
#include "engine/push_event.h"
#include "engine/senders.h"
#include "frame/globals.h"
#include "frame/host.h"
#include "frame/log.h"

namespace kovo {
namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr std::size_t kLargeQueueBytes = std::size_t{1} << 20;

/// Looks one name up and stamps the copy; nothing when no event has it. The mirror hears of found
/// and unfound names alike, each time with the whole text.
std::optional<EventDefinition> make_pending(EventQueue& queue, CentralState& state,
                                            std::string_view name, const std::string& text,
                                            int test) {
  const std::int64_t now = queue_time(queue);
  EventDefinition event = lookup_event(state, name, test);
  send_debug_line(kMirrorEvents, test != 0 ? "KOVO Test event: %s" : "KOVO event: %s",
                  text.c_str());
  if (event.name.empty()) return {};
  event.test = test;
  event.queued_at = now;
  event.due_at = test == 1 ? now : now + event.delay_s * kNanosecondsPerSecond;
  return event;
}

enum class End { kFront, kBack };

const char* routine_of(End end) {
  return end == End::kBack ? "push_event_back" : "push_event_front";
}

/// Puts an event at one end of the queue, or drops it: one delayed event that is raised again and
/// again would otherwise fill the device's memory.
void add_pending(EventQueue& queue, EventDefinition event, std::string_view name, End end)
    REQUIRES(queue.lock) {
  auto& pending = queue.pending;
  const bool added = end == End::kBack ? pending.push_back(std::move(event))
                                       : pending.push_front(std::move(event));
  if (!added && pending.drops_to_report(steady_ns()) > 0) {
    LOG_MAIN(routine_of(end), "Error: Too many event: key=%s\n", std::string(name).c_str());
  }
  if (pending.bytes > kLargeQueueBytes) queue.pending_was_large = true;
}

/// Looks up each name of a text and puts the events found at one end of the queue.
void push_names(EventQueue& queue, CentralState& state, const std::string& text, int test, End end)
    REQUIRES(queue.lock) {
  for (const std::string_view name : split_lines(text)) {
    std::optional<EventDefinition> event = make_pending(queue, state, name, text, test);
    if (event) {
      add_pending(queue, std::move(*event), name, end);
    } else {
      LOG_DEBUG(routine_of(end), "not found sys event=%s\n", text.c_str());
    }
  }
}

struct MirrorTarget {
  Transport transport;
  std::string ip;
  std::int32_t port;
};

/// The target, if the mirror is on at that level.
std::optional<MirrorTarget> mirror_target(std::int32_t level) {
  const MutexLock held(debug_target_lock);
  if (debug_target_on < level) return {};
  const Transport transport = debug_target_udp != 0 ? Transport::kUdp : Transport::kTcp;
  return MirrorTarget{transport, debug_target_ip, debug_target_port};
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

void push_tcp_line(EventQueue& queue, TcpLine line) {
  int dropped = 0;
  {
    const MutexLock held(queue.lock);
    queue.tcp_lines.push_back(std::move(line));
    dropped = queue.tcp_lines.drops_to_report(steady_ns());
  }
  log_drops("tcp_lines", dropped);
}

std::optional<TcpLine> pop_tcp_line(EventQueue& queue) {
  int dropped = 0;
  std::optional<TcpLine> line;
  {
    const MutexLock held(queue.lock);
    dropped = queue.tcp_lines.drops_to_report(steady_ns());
    line = queue.tcp_lines.pop_front();
  }
  log_drops("tcp_lines", dropped);
  return line;
}

int push_event_back(EventQueue& queue, CentralState& state, std::string_view names, int test) {
  const MutexLock held(queue.lock);
  const std::string text(strip_newline(names));
  if (test != 0) {
    log_event("push event: %s, test=%d\n", text.c_str(), test);
  } else {
    log_event("push event: %s\n", text.c_str());
  }
  push_names(queue, state, text, test, End::kBack);
  return 0;
}

int push_event_front(EventQueue& queue, CentralState& state, std::string_view names, int test) {
  const MutexLock held(queue.lock);
  push_names(queue, state, std::string(names), test, End::kFront);
  return 0;
}

int send_debug_line(std::int32_t level, const char* format, ...) {
  const std::optional<MirrorTarget> target = mirror_target(level);
  if (!target) return 0;
  char buffer[kMaxCommand + 1];
  std::va_list args;
  va_start(args, format);
  const int length = std::vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  if (length < 1) return length;
  return send_by(target->transport, target->ip, target->port, strip_newline(buffer));
}

void push_event(std::string_view name) {
  push_event_back(*event_queue, *central_state, name, 0);
}

}  // namespace kovo
