#include "daemon/state/variable_store.h"

#include <gtest/gtest.h>

#include <ctime>
#include <regex>

namespace kovo {
namespace {

TEST(VariableStore, HoldsEightMebibytesOfNamesAndValues) {
  testing::internal::CaptureStdout();
  VariableRegistry registry;
  const std::string part(std::size_t{1} << 20, 'v');
  lm_set_init(registry, "CUR_HDCP", "1");
  for (int i = 0; i < 7; ++i) lm_set(registry, "N" + std::to_string(i), part);
  lm_set(registry, "LAST", part.substr(2000));  // leaves some hundred bytes
  lm_set(registry, "LAST", part);
  lm_set_init(registry, std::string(2000, 'N'), "");
  lm_set_init(registry, "N0", part + "init");
  EXPECT_EQ(lm_get(registry, "LAST").size() + lm_get(registry, std::string(2000, 'N')).size(),
            part.size() - 2000);
  EXPECT_TRUE(lm_set_change(registry, "CUR_HDCP", part)) << "it differs, although not stored";
  EXPECT_EQ(lm_get(registry, "CUR_HDCP"), "1");
  lm_set(registry, "N0", "shorter");
  lm_set(registry, "LAST", part);
  EXPECT_EQ(lm_get(registry, "N0") + lm_get(registry, "LAST"), "shorter" + part);
  const std::regex reported(
      R"(\[lm_set:\d+\] Error: the variables are full, 1 not stored, last LAST\n)");
  EXPECT_TRUE(std::regex_match(testing::internal::GetCapturedStdout(), reported));
}

TEST(VariableStore, LookupsDoNotSlowDownWithTheNumberOfVariables) {
  VariableRegistry registry;
  const MutexLock held(registry.notify_lock);  // as during a send to a dead client
  const std::clock_t begin = std::clock();
  for (int i = 0; i < 50'000; ++i) lm_set_init(registry, "VARIABLE_" + std::to_string(i), "x");
  EXPECT_EQ(lm_get(registry, "variable_49999"), "x");
  EXPECT_LT(std::clock() - begin, 2 * CLOCKS_PER_SEC);
}

}  // namespace
}  // namespace kovo
