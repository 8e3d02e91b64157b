// Rules about time, with a clock of the test.
#include <gtest/gtest.h>

#include <regex>

#include "core/event_rules.h"
#include "daemon/state/central_state.h"
#include "daemon/state/event_queue.h"
#include "daemon/workers/queue_worker.h"

namespace kovo {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;

EventDefinition queued(std::int64_t queued_s, std::int64_t due_s) {
  EventDefinition event;
  event.queued_at = queued_s * kSecond;
  event.due_at = due_s * kSecond;
  return event;
}

TEST(QueueWorker, EventsWaitRunOrExpire) {
  EventDefinition executed = queued(1, 1);
  executed.status = 1;
  const struct {
    EventDefinition event;
    std::int64_t now;
    EventFate fate;
  } cases[] = {
      {queued(1, 3), 3 * kSecond - 1, EventFate::kWait},
      {queued(1, 3), 3 * kSecond, EventFate::kRun},
      {queued(5, 5), 4 * kSecond, EventFate::kWait},
      {queued(1, 1), 61 * kSecond, EventFate::kRun},
      {queued(1, 1), 61 * kSecond + 1, EventFate::kExpired},
      {queued(1, -4), 2 * kSecond, EventFate::kRun},
      {queued(0, 1), 2 * kSecond, EventFate::kErase},
      {queued(1, 0), 2 * kSecond, EventFate::kErase},
      {executed, 2 * kSecond, EventFate::kErase},
      {executed, 62 * kSecond, EventFate::kExpired},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(event_fate(c.event, c.now), c.fate) << c.event.queued_at << " " << c.now;
  }
}

TEST(QueueWorker, WaitingEventsKeepTheirOrder) {
  const auto queue = make_event_queue();
  CentralState state;
  queue->created_at -= 100 * kSecond;
  {
    const MutexLock held(queue->lock);
    for (const char* name : {"due", "waiting1", "old", "due", "waiting2", "old", "waiting3"}) {
      EventDefinition event = queued(*name == 'o' ? 1 : 99, *name == 'd' ? 99 : 200);
      event.name = name;
      queue->pending.push(event);
    }
  }
  testing::internal::CaptureStdout();
  exec_event(*queue, state);
  const std::regex expired(R"(\[exec_event:\d+\] Error cannot send sys event=, run event=old, )"
                           R"(now=1000\d{8}, t_exec=200000000000, sub cmd size=0\n)");
  EXPECT_TRUE(std::regex_search(testing::internal::GetCapturedStdout(), expired));
  const MutexLock held(queue->lock);
  std::string left;
  std::size_t bytes = 0;
  for (const auto& entry : queue->pending.entries) {
    left += entry.item.name + " ";
    bytes += entry.bytes;
  }
  EXPECT_EQ(queue->pending.bytes, bytes);
  EXPECT_EQ(left, "waiting1 waiting2 waiting3 ");
}

}  // namespace
}  // namespace kovo
