#include "daemon/system/bounded_queue.h"

#include "daemon/system/host.h"
#include "daemon/system/log.h"

namespace kovo {

std::size_t memory_of(const std::string& text) {
  constexpr std::size_t kAllocationBytes = 2 * sizeof(void*);
  const std::size_t in_place = std::string().capacity();
  return text.capacity() <= in_place ? 0 : text.capacity() + 1 + kAllocationBytes;
}

void MessageQueue::push(std::string text) {
  const MutexLock held(lock);
  texts.push(std::move(text));
  log_drops();
}

std::optional<std::string> MessageQueue::pop() {
  const MutexLock held(lock);
  log_drops();
  return texts.pop_front();
}

void MessageQueue::log_drops() {
  const int dropped = texts.drops.due(steady_ns());
  if (dropped == 0) return;
  LOG_MAIN("log_drops", "Error: %s is full, %d texts dropped\n", name, dropped);
}

}  // namespace kovo
