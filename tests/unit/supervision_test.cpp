#include "frame/supervision.h"

#include <gtest/gtest.h>

namespace kovo {
namespace {

TEST(DefinitionFile, AFailedReadingIsTriedAgainAfterOneTwoFourSecondsUpToAMinute) {
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
