// Rules about time, with a clock of the test.
#include <gtest/gtest.h>

#include "engine/event_rules.h"

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
      {queued(1, 62), 61 * kSecond, EventFate::kWait},
      {queued(1, 62), 61 * kSecond + 1, EventFate::kExpired},
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

}  // namespace
}  // namespace kovo
