// The bound of the queues of received texts: whoever sends faster than a consumer works must not
// fill the device's memory. Texts and their places count; when they reach kMaxQueueBytes the newest
// is dropped, and one Error line a second at most says how many.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <utility>

#include "frame/host.h"

namespace kovo {

constexpr std::size_t kMaxQueueBytes = std::size_t{8} << 20;
constexpr std::int64_t kDropReportPeriodNs = 1'000'000'000;

/// What one queue holds and has dropped; guarded by the lock of its queue.
struct QueueLoad {
  std::size_t bytes = 0;
  int dropped = 0;                                  // since the last report
  std::int64_t reported_ns = -kDropReportPeriodNs;  // steady clock
};

/// The memory of a text beside its place in a queue: none for a short one, otherwise its bytes and
/// the bookkeeping of their allocation.
std::size_t text_bytes(const std::string& text);

/// The text of a queue's item; other kinds of items have one of their own.
inline const std::string& text_of(const std::string& text) {
  return text;
}

template <class Item>
std::size_t item_bytes(const Item& item) {
  return sizeof(Item) + text_bytes(text_of(item));
}

/// How many drops to report at this moment of the steady clock; 0 within a second of the last
/// report.
int drops_to_report(QueueLoad& load, std::int64_t now_ns);

/// Tells the main log of drops at the end of its scope: made before the queue's lock is taken, it
/// speaks once that is released.
struct DropReport {
  explicit DropReport(const char* queue_name) : queue(queue_name) {}
  ~DropReport();
  DropReport(const DropReport&) = delete;
  DropReport& operator=(const DropReport&) = delete;

  const char* queue;
  int dropped = 0;
};

/// Appends an item, or drops it when the queue is full. The caller holds the queue's lock; so for
/// the next.
template <class Item>
void push_bounded(std::deque<Item>& queue, QueueLoad& load, Item item, DropReport& report) {
  const std::size_t bytes = item_bytes(item);
  if (load.bytes + bytes <= kMaxQueueBytes) {
    queue.push_back(std::move(item));
    load.bytes += bytes;
  } else {
    ++load.dropped;
  }
  report.dropped = drops_to_report(load, steady_ns());
}

/// Takes the oldest item; nothing when there is none.
template <class Item>
std::optional<Item> take_bounded(std::deque<Item>& queue, QueueLoad& load, DropReport& report) {
  report.dropped = drops_to_report(load, steady_ns());
  if (queue.empty()) return {};
  load.bytes -= item_bytes(queue.front());
  std::optional<Item> item(std::move(queue.front()));
  queue.pop_front();
  return item;
}

}  // namespace kovo
