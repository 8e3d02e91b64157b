#include "daemon/system/bounded_queue.h"

#include "daemon/system/host.h"
#include "daemon/system/log.h"

namespace kovo {

std::size_t memory_of(const std::string& text) {
  constexpr std::size_t kAllocationBytes = 2 * sizeof(void*);
  const std::size_t in_place = std::string().capacity();
  return text.capacity() <= in_place ? 0 : text.capacity() + 1 + kAllocationBytes;
}

void log_drops(const char* queue, int dropped) {
  if (dropped == 0) return;
  LOG_MAIN("log_drops", "Error: %s is full, %d texts dropped\n", queue, dropped);
}

void MessageQueue::push(std::string text) {
  const MutexLock held(lock);
  texts.push(std::move(text));
  log_drops(name, texts.drops_to_report(steady_ns()));
}

std::optional<std::string> MessageQueue::pop() {
  const MutexLock held(lock);
  log_drops(name, texts.drops_to_report(steady_ns()));
  return texts.pop_front();
}

}  // namespace kovo
