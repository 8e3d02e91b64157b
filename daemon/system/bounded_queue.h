// First-in, first-out queues with a limit on their memory: a program that sends faster than a
// worker processes must not fill the device's memory. Without room, the newest item is dropped.
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <utility>

#include "daemon/system/mutex.h"

namespace kovo {

constexpr std::size_t kMaxQueueBytes = std::size_t{8} << 20;
constexpr std::int64_t kDropReportPeriodNs = 1'000'000'000;

/// Returns the memory of a text in bytes, without the object itself: 0 for a short one.
std::size_t memory_of(const std::string& text);

enum class QueueEnd { kFront, kBack };

/// A queue without a lock of its own: the caller holds the one that guards it. memory_of is
/// overloaded for each type of item.
template <class Item>
struct BoundedQueue {
  struct Entry {
    Item item;
    std::size_t bytes;  // when it was added; moving an item may change what it takes
  };
  using Iterator = typename std::deque<Entry>::iterator;

  /// Adds an item. Without room, drops it and returns false.
  bool push(Item item, QueueEnd end = QueueEnd::kBack) {
    const std::size_t item_bytes = sizeof(Entry) + memory_of(item);
    if (bytes + item_bytes > kMaxQueueBytes) {
      ++dropped;
      return false;
    }
    const auto at = end == QueueEnd::kBack ? entries.end() : entries.begin();
    entries.insert(at, Entry{std::move(item), item_bytes});
    bytes += item_bytes;
    return true;
  }

  /// Removes and returns the oldest item; nothing when there is none.
  std::optional<Item> pop_front() {
    if (entries.empty()) return {};
    std::optional<Item> item(std::move(entries.front().item));
    erase(entries.begin());
    return item;
  }

  /// Removes an item and returns the position of the next.
  Iterator erase(Iterator at) {
    assert(bytes >= at->bytes);
    bytes -= at->bytes;
    const Iterator next = entries.erase(at);
    assert(!entries.empty() || bytes == 0);
    return next;
  }

  /// Returns the number of drops to log at a time of the steady clock, and sets it to 0. Returns 0
  /// within a second of the last log.
  int drops_to_report(std::int64_t now_ns) {
    if (dropped == 0 || now_ns < reported_ns + kDropReportPeriodNs) return 0;
    reported_ns = now_ns;
    return std::exchange(dropped, 0);
  }

  std::deque<Entry> entries;
  std::size_t bytes = 0;
  int dropped = 0;                                  // since the last report
  std::int64_t reported_ns = -kDropReportPeriodNs;  // steady clock
};

/// Logs how many texts a queue has dropped, unless there are none.
void log_drops(const char* queue, int dropped);

/// A queue of received texts between a receiver and its worker, with a lock of its own. Any thread.
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
