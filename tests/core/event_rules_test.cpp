#include "core/event_rules.h"

#include <gtest/gtest.h>

namespace kovo {
namespace {

TEST(EventFates, EventsWaitRunOrExpire) {
  constexpr std::int64_t kSecond = 1'000'000'000;
  const struct {
    std::int64_t queued_s, due_s, now;
    EventFate fate;
  } cases[] = {
      {1, 3, 3 * kSecond - 1, EventFate::kWait}, {1, 3, 3 * kSecond, EventFate::kRun},
      {5, 1, 4 * kSecond, EventFate::kWait},     {1, 1, 61 * kSecond, EventFate::kRun},
      {1, -4, 2 * kSecond, EventFate::kRun},     {1, 90, 61 * kSecond + 1, EventFate::kExpired},
      {0, 1, 2 * kSecond, EventFate::kErase},    {1, 0, 2 * kSecond, EventFate::kErase},
  };
  for (const auto& c : cases) {
    EventDefinition event;
    event.queued_at = c.queued_s * kSecond;
    event.due_at = c.due_s * kSecond;
    EXPECT_EQ(event_fate(event, c.now), c.fate) << c.due_s << " " << c.now;
    event.status = kExecuted;
    EXPECT_NE(event_fate(event, c.now), EventFate::kRun) << "it runs once";
  }
}

}  // namespace
}  // namespace kovo
