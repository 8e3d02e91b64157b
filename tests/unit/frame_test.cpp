#include <gtest/gtest.h>

#include <limits>

#include "frame/supervision.h"
#include "frame/text.h"

namespace kovo {
namespace {

TEST(Text, NumbersAreReadAsA32BitTargetReadsThem) {
  constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();
  constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();
  constexpr NumberReading kOk = NumberReading::kOk;
  constexpr NumberReading kNoDigits = NumberReading::kNoDigits;
  constexpr NumberReading kOutOfRange = NumberReading::kOutOfRange;
  const struct {
    std::string_view text;
    int base;
    std::int32_t value;
    NumberReading reading;
    std::uint32_t as_unsigned;
  } cases[] = {
      {"", 10, 0, kNoDigits, 0},
      {"x1", 10, 0, kNoDigits, 0},
      {"9000abc", 10, 9000, kOk, 9000},
      {" \t+5", 10, 5, kOk, 5},
      {" -7x", 10, -7, kOk, 0xFFFFFFF9},
      {"-4294967295", 10, kMin, kOk, 1},
      {"2147483648", 10, kMax, kOk, 0x80000000},
      {"4294967296", 10, kMax, kOutOfRange, 0xFFFFFFFF},
      {"99999999999999999999999", 10, kMax, kOutOfRange, 0xFFFFFFFF},
      {"4G", 16, 4, kOk, 4},
      {"-1", 16, -1, kOk, 0xFFFFFFFF},
      {"0x", 16, 0, kOk, 0},
      {"0x20800010", 16, 0x20800010, kOk, 0x20800010},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(to_int32(c.text, c.base), c.value) << c.text;
    std::uint32_t value = 77;
    EXPECT_EQ(to_uint32(c.text, c.base, value), c.reading) << c.text;
    EXPECT_EQ(value, c.as_unsigned) << c.text;
  }
}

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
