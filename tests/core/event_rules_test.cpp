#include "core/event_rules.h"

#include <gtest/gtest.h>

namespace kovo {
namespace {

TEST(EventFates, EventsWaitRunOrExpire) {
  constexpr std::int64_t kSecond = 1'000'000'000;
  const struct {
    std::int64_t queued_s, due_s, now;
    EventFate fate, fate_if_executed;
  } cases[] = {
      {1, 3, 3 * kSecond - 1, EventFate::kWait, EventFate::kErase},
      {1, 3, 3 * kSecond, EventFate::kRun, EventFate::kErase},
      {5, 1, 4 * kSecond, EventFate::kWait, EventFate::kErase},
      {1, 1, 61 * kSecond, EventFate::kRun, EventFate::kErase},
      {1, 90, 61 * kSecond + 1, EventFate::kExpired, EventFate::kExpired},
      {1, -4, 2 * kSecond, EventFate::kRun, EventFate::kErase},
      {0, 1, 2 * kSecond, EventFate::kErase, EventFate::kErase},
      {1, 0, 2 * kSecond, EventFate::kErase, EventFate::kErase},
  };
  for (const auto& c : cases) {
    EventDefinition event;
    event.queued_at = c.queued_s * kSecond;
    event.due_at = c.due_s * kSecond;
    EXPECT_EQ(event_fate(event, c.now), c.fate) << c.due_s << " " << c.now;
    event.status = kExecuted;
    EXPECT_EQ(event_fate(event, c.now), c.fate_if_executed) << c.due_s << " " << c.now;
  }
}

}  // namespace
}  // namespace kovo
