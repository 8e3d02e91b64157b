#include <gtest/gtest.h>

#include "control/client_mode.h"
#include "control/command_language.h"
#include "variables/change_values.h"
#include "variables/variable_store.h"

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

TEST(Messages, AreSplitAtTheirColons) {
  const struct {
    std::string_view text;
    Splitting splitting;
    std::string parts;
  } cases[] = {
      {"DEVICE_NAME=Lobby", Splitting::kNoCommand, "|||"},
      {"", Splitting::kNoCommand, "|||"},
      {"abc:def", Splitting::kMalformed, "abc|||"},
      {"abc::", Splitting::kMalformed, "abc|||"},
      {"abc::x:y::z", Splitting::kMalformed, "abc|x||"},
      {":", Splitting::kMalformed, "|||"},
      {"::::", Splitting::kOk, "|||"},
      {"e_param_set::MAC::00:11:22", Splitting::kOk, "e_param_set|MAC|00|"},
      {"get_udp::K::::9000", Splitting::kOk, "get_udp|K||9000"},
      {"g::k::1.2.3.4::90\n00", Splitting::kOk, "g|k|1.2.3.4|90"},
      {"s::A::one\ntwo", Splitting::kOk, "s|A|one|"},
      {"s::A::one\ntwo::three", Splitting::kOk, "s|A|one|three"},
      {"s::A::b:::c:d", Splitting::kOk, "s|A|b|:c:d"},
  };
  for (const auto& c : cases) {
    const Message m = split_message(c.text);
    EXPECT_EQ(m.splitting, c.splitting) << c.text;
    EXPECT_EQ(m.command + "|" + m.arg1 + "|" + m.arg2 + "|" + m.arg3, c.parts) << c.text;
  }
}

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
