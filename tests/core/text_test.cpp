#include "core/text.h"

#include <gtest/gtest.h>

namespace kovo {
namespace {

TEST(Numbers, AreReadAsOn32Bits) {
  std::uint32_t number = 0;
  EXPECT_EQ(to_uint32("-4294967295", 10, number), NumberReading::kOk);
  EXPECT_EQ(number, 1U);
  EXPECT_EQ(to_uint32("4294967296", 10, number), NumberReading::kOutOfRange);
  EXPECT_EQ(number, UINT32_MAX);
}

}  // namespace
}  // namespace kovo
