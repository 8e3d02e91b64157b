#include "frame/bounded_queue.h"

#include "frame/log.h"
#include "frame/worker.h"

namespace kovo {

std::size_t text_bytes(const std::string& text) {
  constexpr std::size_t kAllocationBytes = 2 * sizeof(void*);
  static const std::size_t in_place = std::string().capacity();
  return text.capacity() <= in_place ? 0 : text.capacity() + 1 + kAllocationBytes;
}

int drops_to_report(QueueLoad& load, std::int64_t now_ns) {
  if (load.dropped == 0 || now_ns < load.reported_ns + kDropReportPeriodNs) return 0;
  load.reported_ns = now_ns;
  return std::exchange(load.dropped, 0);
}

DropReport::~DropReport() {
  if (dropped == 0) return;
  catch_and_log("push_bounded", [&] {
    LOG_MAIN("push_bounded", "Error: %s is full, %d texts dropped\n", queue, dropped);
  });
}

}  // namespace kovo
