// First-in, first-out queues with a bound on their memory: whoever sends faster than a consumer
// works must not fill the device's memory. The newest item is dropped when there is no room.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <utility>

#include "frame/mutex.h"

namespace kovo {

constexpr std::size_t kMaxQueueBytes = std::size_t{8} << 20;
constexpr std::int64_t kDropReportPeriodNs = 1'000'000'000;

/// Returns the memory of a text besides the object itself: none for a short one, otherwise its
/// bytes and the bookkeeping of their allocation.
std::size_t memory_of(const std::string& text);

/// A queue without a lock of its own: the caller holds the one that guards it. Items of other types
/// have a memory_of of their own.
template <class Item>
struct BoundedQueue {
  struct Entry {
    Item item;
    std::size_t bytes;  // as counted; moving an item may change what it takes
  };
  using Iterator = typename std::deque<Entry>::iterator;

  /// Adds an item; false when it was dropped for want of room.
  bool push_back(Item item) {
    const std::size_t item_bytes = sizeof(Entry) + memory_of(item);
    if (!has_room(item_bytes)) return false;
    entries.push_back({std::move(item), item_bytes});
    bytes += item_bytes;
    return true;
  }
  bool push_front(Item item) {
    const std::size_t item_bytes = sizeof(Entry) + memory_of(item);
    if (!has_room(item_bytes)) return false;
    entries.push_front({std::move(item), item_bytes});
    bytes += item_bytes;
    return true;
  }

  /// Removes and returns the oldest item; nothing when there is none.
  std::optional<Item> pop_front() {
    if (entries.empty()) return {};
    std::optional<Item> item(std::move(entries.front().item));
    bytes -= entries.front().bytes;
    entries.pop_front();
    return item;
  }

  /// Removes one item and returns the place of the next.
  Iterator erase(Iterator at) {
    bytes -= at->bytes;
    return entries.erase(at);
  }

  /// Returns how many drops to report at a moment of the steady clock: all since the last report,
  /// or 0 within a second of it.
  int drops_to_report(std::int64_t now_ns) {
    if (dropped == 0 || now_ns < reported_ns + kDropReportPeriodNs) return 0;
    reported_ns = now_ns;
    return std::exchange(dropped, 0);
  }

  std::deque<Entry> entries;
  std::size_t bytes = 0;
  int dropped = 0;                                  // since the last report
  std::int64_t reported_ns = -kDropReportPeriodNs;  // steady clock

 private:
  /// Returns whether so many bytes fit, and counts a drop otherwise.
  bool has_room(std::size_t item_bytes) {
    if (bytes + item_bytes <= kMaxQueueBytes) return true;
    ++dropped;
    return false;
  }
};

/// Logs an Error line about texts that a queue has dropped; nothing for 0.
void log_drops(const char* queue, int dropped);

/// A queue of received texts between a receiver and its consumer, with a lock of its own. Any
/// thread.
struct MessageQueue {
  explicit MessageQueue(const char* queue_name) : name(queue_name) {}

  /// Appends a text. Drops are logged, at most one line a second.
  void push(std::string text);

  /// Removes and returns the oldest text; nothing when there is none.
  std::optional<std::string> pop();

  const char* name;  // for the log
  Mutex lock;
  BoundedQueue<std::string> texts GUARDED_BY(lock);
};

}  // namespace kovo
