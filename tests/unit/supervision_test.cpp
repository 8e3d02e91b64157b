#include <gtest/gtest.h>

#include "frame/supervision.h"

namespace kovo {
namespace {

TEST(Supervision, AFileChangesByEitherPartOfItsTime) {
  const FileTime unknown;
  const FileTime first{true, 100, 5};
  EXPECT_TRUE(time_changed(first, unknown));
  EXPECT_FALSE(time_changed(first, first));
  EXPECT_TRUE(time_changed({true, 100, 6}, first));
  EXPECT_TRUE(time_changed({true, 99, 5}, first));
  EXPECT_FALSE(time_changed(unknown, first)) << "a file that cannot be seen counts as unchanged";
}

TEST(Supervision, AFileIsFreshForTwoSecondsAfterItsSecond) {
  const FileTime written{true, 100, 0};
  const bool fresh[] = {false, true, true, false};
  for (int after = 0; after < 4; ++after)
    EXPECT_EQ(just_written(written, 100 + after), fresh[after]);
}

TEST(Supervision, AFailedReadingIsTriedAgainAfterOneTwoFourSecondsUpToAMinute) {
  constexpr std::int64_t kSecond = 1'000'000'000;
  ReadRetry retry;
  EXPECT_FALSE(retry_due(retry, 1000 * kSecond)) << "nothing has failed";
  std::int64_t now = 7;
  for (const std::int64_t pause : {1, 2, 4, 8, 16, 32, 60, 60}) {
    note_reading(retry, false, now);
    EXPECT_FALSE(retry_due(retry, now + pause * kSecond - 1)) << pause;
    now += pause * kSecond;
    EXPECT_TRUE(retry_due(retry, now)) << pause;
  }
  note_reading(retry, true, now);
  EXPECT_FALSE(retry_due(retry, now + 1000 * kSecond)) << "it has been read";
  note_reading(retry, false, now);
  EXPECT_TRUE(retry_due(retry, now + kSecond)) << "and starts with a second again";
}

}  // namespace
}  // namespace kovo
