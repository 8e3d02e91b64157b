#include <gtest/gtest.h>

#include "control/client_mode.h"

namespace kovo {
namespace {

TEST(ClientMode, RepliesAreParsedSortedAndFirstWins) {
  using Values = std::map<std::string, std::string>;
  const struct {
    std::string_view reply;
    Values values;
  } cases[] = {
      {"B: 2\nA: 1\n", {{"A", "1"}, {"B", "2"}}},
      {"A:1\nA:2", {{"A", "1"}}},
      {"Name:   :  x\n", {{"Name", "x"}}},
      {"A: 1\n\nB: 2\n\n", {{"A", "1"}, {"\nB", "2"}}},
      {"A:\nB: 2\n", {{"A", ""}, {"B", "2"}}},
      {"A: 1\nnocolon", {{"A", "1"}}},
      {"A: : ", {}},
      {"(111)Connection refused", {}},
      {"", {}},
  };
  for (const auto& c : cases) EXPECT_EQ(parse_client_reply(c.reply), c.values) << c.reply;
}

}  // namespace
}  // namespace kovo
