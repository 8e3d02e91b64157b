// A queue of received texts between a receiver and its consumer, with a lock of its own that is
// held for one operation at a time. Any thread.
#pragma once

#include <deque>
#include <string>

#include "frame/mutex.h"

namespace kovo {

struct MessageQueue {
  Mutex lock;
  std::deque<std::string> texts GUARDED_BY(lock);  // the oldest first; without a bound
};

void push_text(MessageQueue& queue, std::string text);

/// Takes the oldest text. False when there is none.
bool take_text(MessageQueue& queue, std::string& text);

}  // namespace kovo
