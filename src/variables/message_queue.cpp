#include "variables/message_queue.h"

#include <utility>

namespace kovo {

void push_text(MessageQueue& queue, std::string text) {
  const MutexLock held(queue.lock);
  queue.texts.push_back(std::move(text));
}

bool take_text(MessageQueue& queue, std::string& text) {
  const MutexLock held(queue.lock);
  if (queue.texts.empty()) return false;
  text = std::move(queue.texts.front());
  queue.texts.pop_front();
  return true;
}

}  // namespace kovo
