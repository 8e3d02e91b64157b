// Rules about time, with a clock of the test.
#include <gtest/gtest.h>

#include "engine/event_rules.h"
#include "frame/supervision.h"
#include "variables/change_values.h"

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

TEST(Variables, APauseLastsItsSecondsButNotOnceTheClockIsSetBack) {
  const bool lasts[] = {false, true, true, true, false};
  for (int since_last = -1; since_last < 4; ++since_last)
    EXPECT_EQ(pause_lasts(since_last, 2), lasts[since_last + 1]) << since_last;
}

TEST(Supervision, AFileChangesByEitherPartOfItsTime) {
  const FileTime unknown;
  const FileTime first{{100, 5}};
  EXPECT_TRUE(time_changed(first, unknown));
  EXPECT_FALSE(time_changed(first, first));
  EXPECT_TRUE(time_changed(FileTime{{100, 6}}, first));
  EXPECT_TRUE(time_changed(FileTime{{99, 5}}, first));
  EXPECT_FALSE(time_changed(unknown, first)) << "a file that cannot be seen counts as unchanged";
}

TEST(Supervision, AFileIsFreshForTwoSecondsAfterItsSecond) {
  const bool fresh[] = {false, true, true, false};
  for (int after = 0; after < 4; ++after) EXPECT_EQ(just_written(100, 100 + after), fresh[after]);
}

}  // namespace
}  // namespace kovo
