// A queue of received texts between a receiver and its consumer, with a lock of its own that is
// held for one operation at a time. Any thread.
#pragma once

#include <deque>
#include <optional>
#include <string>

#include "frame/bounded_queue.h"
#include "frame/mutex.h"

namespace kovo {

struct MessageQueue {
  explicit MessageQueue(const char* queue_name) : name(queue_name) {}

  const char* name;  // for the log
  Mutex lock;
  std::deque<std::string> texts GUARDED_BY(lock);  // the oldest first, kMaxQueueBytes at most
  QueueLoad load GUARDED_BY(lock);
};

/// Appends a text. When the queue is full it is dropped, and the main log told.
void push_text(MessageQueue& queue, std::string text);

/// Takes the oldest text; nothing when there is none.
std::optional<std::string> take_text(MessageQueue& queue);

}  // namespace kovo
