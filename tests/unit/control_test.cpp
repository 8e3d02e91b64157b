#include <gtest/gtest.h>

#include "control/command_language.h"
#include "variables/variable_store.h"

namespace kovo {
namespace {

TEST(Renew, EachMessageHoldsTheValuesOfItsOwnMoment) {
  VariableRegistry registry;
  for (int i = 0; i < 7; ++i) lm_set_init(registry, "V" + std::to_string(i), "old");
  std::size_t next = 0;
  EXPECT_EQ(renew_lines(registry, next), "V0=old\nV1=old\nV2=old\nV3=old\nV4=old\n");
  lm_set_init(registry, "v1", "new");
  lm_set_init(registry, "v6", "new");
  lm_set_init(registry, "late", "");
  EXPECT_EQ(renew_lines(registry, next), "V5=old\nV6=new\nlate=\n");
  EXPECT_EQ(next, 8U);
  EXPECT_EQ(renew_lines(registry, next), "");
}

}  // namespace
}  // namespace kovo
