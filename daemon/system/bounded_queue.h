// First-in, first-out queues with a limit on their memory: a program that sends faster than a
// worker processes must not fill the device's memory. Without room, the newest item is dropped.
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <optional>
#include <string>
#include <utility>

#include "daemon/system/mutex.h"
#include "daemon/system/report_limit.h"

namespace kovo {

constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();
constexpr std::size_t kMaxQueueBytes = std::size_t{8} << 20;

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
    if (bytes + item_bytes > kMaxQueueBytes || entries.size() >= max_items) {
      ++drops.count;
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

  std::size_t max_items = kNoLimit;
  std::deque<Entry> entries;
  std::size_t bytes = 0;
  ReportLimit drops;
};

/// A queue of received texts between a receiver and its worker, with a lock of its own. Any thread.
struct MessageQueue {
  explicit MessageQueue(const char* queue_name, std::size_t max_texts = kNoLimit)
      : name(queue_name) {
    texts.max_items = max_texts;
  }

  /// Appends a text. Drops are logged, at most one line a second.
  void push(std::string text);

  /// Removes and returns the oldest text; nothing when there is none.
  std::optional<std::string> pop();

  void log_drops() REQUIRES(lock);

  const char* name;  // for the log
  Mutex lock;
  BoundedQueue<std::string> texts GUARDED_BY(lock);
};

}  // namespace kovo
