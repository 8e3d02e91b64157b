#include "core/change_rules.h"

#include <gtest/gtest.h>

#include <map>

namespace kovo {
namespace {

struct ChangeRules : ::testing::Test {
  ChangeRules() {
    memory.mapping_table = mapping_rows(Variant::kOutput);
  }

  /// Changes a variable and returns the events that this raises, each followed by a blank.
  std::string change(const char* name, const char* value, std::int64_t now_s) {
    std::string events;
    for (const ChangeRule rule : change_rules(name)) {
      for (const ChangeAction& action : run_rule(rule, memory, {name, value}, now_s)) {
        const ActionKind kind = action.kind;
        if (kind == ActionKind::kSet) variables[action.name] = action.value;
        if (kind != ActionKind::kPushDedicated && kind != ActionKind::kPushMapped) continue;
        events += action.name + " ";
      }
    }
    return events;
  }

  ChangeMemory memory;
  std::map<std::string, std::string> variables;
};

TEST_F(ChangeRules, HoldOffTimesStartAgainWithEachMessage) {
  EXPECT_EQ(change("DEVICE_NAME", "a", 1000), "name ");
  EXPECT_EQ(change("device_name", "b", 1002), "");
  EXPECT_EQ(change("DEVICE_NAME", "c", 1006), "");
  EXPECT_EQ(change("DEVICE_NAME", "e", 1011), "name ");
  EXPECT_EQ(change("DEVICE_NAME", "g", 500), "name ") << "the clock was set back";

  const std::pair<std::int64_t, ActionKind> lines[] = {
      {1000, ActionKind::kCount}, {1002, ActionKind::kHoldOff}, {1004, ActionKind::kHoldOff},
      {1007, ActionKind::kCount}, {500, ActionKind::kCount},    {1007, ActionKind::kCount}};
  for (const auto& [now_s, kind] : lines) {
    EXPECT_EQ(run_rule(status_rule, memory, {"mute"}, now_s).at(0).kind, kind) << now_s;
  }
  EXPECT_EQ(change("TX_A_MUTE", "1", 1011), "") << "the row is the same";
}

TEST_F(ChangeRules, PausesOfDedicatedEventsRunFromTheLastOneRaised) {
  memory.mapping_table = mapping_rows(Variant::kInputHdmi);  // these variables have no row there
  const struct {
    const char* variable;
    const char* values[2];
    const char* events;
  } cases[] = {{"V_OUTPUT_TIMING_CONVERT", {"20000000", "20800000"}, "YCbCrOutput "},
               {"WPA_EAP_MODE", {"PEAP", "off"}, "p8021enable p8021status "}};
  const std::pair<std::int64_t, bool> changes[] = {{1000, true}, {1001, false}, {1002, false},
                                                   {1003, true}, {1005, false}, {500, true}};
  for (const auto& c : cases) {
    int next = 0;
    for (const auto& [now_s, is_raised] : changes) {
      EXPECT_EQ(change(c.variable, c.values[next], now_s), is_raised ? c.events : "") << now_s;
      next = 1 - next;
    }
  }
}

TEST_F(ChangeRules, TimingWordsAreStoredInTheirParts) {
  const std::string both = "YCbCrOutput HDMIOutResolution ";
  const struct {
    const char* value;
    std::string events;
    const char* parts;
  } words[] = {
      {"20800010", both, "1 1 0010 0 AUTO 3 "},
      {"0x2000401D", both, "1 0 401D 0 ON 4 "},
      {"2000FFFF", "HDMIOutResolution ", "1 0 401D 0 ON 0 "},  // an unknown code is not stored
      {"7", both, "0 0 0 0 OFF 0 "},
      {"FFFFFFFFFF", both, "1 1 0 1 AUTO 0 "},
      {"80000000", both, "0 1 0000 1 OFF 0 "},
      {"00800000 junk", "HDMIOutResolution ", "0 1 0000 0 OFF 0 "},
  };
  std::int64_t now_s = 1000;
  for (const auto& word : words) {
    EXPECT_EQ(change("V_OUTPUT_TIMING_CONVERT", word.value, now_s += 5), word.events);
    std::string parts;
    for (const char* part : {"Bit29", "Bit23", "resolutionRaw", "enable", "yuvout", "resolution"}) {
      parts += variables[std::string("V_OUTPUT_TIMING_CONVERT.") + part] + " ";
    }
    EXPECT_EQ(parts, word.parts) << word.value;
  }
}

}  // namespace
}  // namespace kovo
