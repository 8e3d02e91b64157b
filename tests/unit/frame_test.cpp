#include <gtest/gtest.h>

#include <limits>

#include "frame/supervision.h"
#include "frame/text.h"

namespace kovo {
namespace {

TEST(Text, NumbersAreReadAsA32BitTargetReadsThem) {
  constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();
  constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();
  const struct {
    std::string_view text;
    int base;
    std::int32_t value;
  } cases[] = {
      {"", 10, 0},
      {"abc", 10, 0},
      {"9000abc", 10, 9000},
      {" \t-7x", 10, -7},
      {"+5", 10, 5},
      {"2147483648", 10, kMax},
      {"-9999999999", 10, kMin},
      {"99999999999999999999", 10, kMax},
      {"4G", 16, 4},
      {"ZZ", 16, 0},
      {"-1", 16, -1},
      {"0x", 16, 0},
  };
  for (const auto& c : cases) EXPECT_EQ(to_int32(c.text, c.base), c.value) << c.text;
}

TEST(Text, UnsignedNumbersWrapAndClampAt32Bits) {
  const struct {
    std::string_view text;
    int base;
    NumberReading reading;
    std::uint32_t value;
  } cases[] = {
      {"12x", 10, NumberReading::kOk, 12},
      {" +3", 10, NumberReading::kOk, 3},
      {"-1", 10, NumberReading::kOk, 0xFFFFFFFF},
      {"-4294967295", 10, NumberReading::kOk, 1},
      {"", 10, NumberReading::kNoDigits, 0},
      {" ", 10, NumberReading::kNoDigits, 0},
      {"x1", 10, NumberReading::kNoDigits, 0},
      {"4294967296", 10, NumberReading::kOutOfRange, 0xFFFFFFFF},
      {"0x20800010", 16, NumberReading::kOk, 0x20800010},
      {"FFFFFFFFF", 16, NumberReading::kOutOfRange, 0xFFFFFFFF},
      {"99999999999999999999999", 16, NumberReading::kOutOfRange, 0xFFFFFFFF},
  };
  for (const auto& c : cases) {
    std::uint32_t value = 77;
    EXPECT_EQ(to_uint32(c.text, c.base, value), c.reading) << c.text;
    EXPECT_EQ(value, c.value) << c.text;
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

}  // namespace
}  // namespace kovo
