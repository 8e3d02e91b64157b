#include "variables/message_queue.h"

namespace kovo {

void push_text(MessageQueue& queue, std::string text) {
  DropReport report(queue.name);
  const MutexLock held(queue.lock);
  push_bounded(queue.texts, queue.load, std::move(text), report);
}

std::optional<std::string> take_text(MessageQueue& queue) {
  DropReport report(queue.name);
  const MutexLock held(queue.lock);
  return take_bounded(queue.texts, queue.load, report);
}

}  // namespace kovo
