#include <gtest/gtest.h>

#include "variables/central_state.h"
#include "variables/change_processing.h"
#include "variables/change_values.h"
#include "variables/mapping_tables.h"
#include "variables/variable_store.h"

namespace kovo {
namespace {

TEST(CentralState, ProductIdsDecideTheVariant) {
  const struct {
    const char* pid;
    int has_video_input;
    int usbc_input;
  } cases[] = {{"KV-IN-HDMI-1", 1, 0},  {"KV-IN-HDMI-2", 1, 0},
               {"kv-out-hdmi-1", 0, 0}, {"KV-IN-USBC-1", 1, 1},
               {"KV-IN-USBC-2", 1, 1},  {"KV-OUT-USBC-1", 0, 1},
               {"KV-OUT-USBC-2", 0, 1}, {"", 1, 0},
               {"KV-OUT-HDMI-1x", 1, 0}};
  for (const auto& c : cases) {
    const Variant variant = variant_of(c.pid);
    EXPECT_EQ(variant.has_video_input, c.has_video_input) << c.pid;
    EXPECT_EQ(variant.usbc_input, c.usbc_input) << c.pid;
  }
  EXPECT_STREQ(p8021_status_of("Off"), "off");
  EXPECT_STREQ(p8021_status_of(""), "on");
}

TEST(MappingTable, LookupsFindTheFirstRowInAnyCase) {
  MappingTable table = mapping_rows({1, 0});
  EXPECT_EQ(find_row_by_variable(table, "device_name"), &table[23]);
  EXPECT_EQ(find_row_by_variable(table, "CH_SELECT")->status, "stream");
  EXPECT_EQ(find_row_by_variable(table, "DISABLE_WEB")->status, "webEnabled");
  EXPECT_EQ(find_row_by_variable(table, "PWR_ON_ST")->status, "PowerOn");
  EXPECT_EQ(find_row_by_variable(table, ""), nullptr);
  EXPECT_EQ(find_row_by_status(table, "SERIALBAUD"), &table[34]);
  EXPECT_EQ(find_row_by_setting(table, "LOCAL:X"), &table[15]);
  EXPECT_EQ(map_add(table, "X", "", "x"), -1);

  EXPECT_EQ(table.size(), 64U);
  EXPECT_EQ(mapping_rows({1, 1}).size(), 62U);
  MappingTable output = mapping_rows({0, 1});
  EXPECT_EQ(output.size(), 61U);
  EXPECT_EQ(find_row_by_status(output, "HDCPOutStatus")->setting, "CUR_HDCP");
  EXPECT_EQ(find_row_by_status(output, "outAudioDelay")->setting, "setSettings:outAudioDelay");

  const ResolutionTable resolutions = make_resolution_table();
  std::string codes;
  for (const ResolutionEntry& entry : resolutions) {
    codes += std::to_string(entry.index) + "=" + entry.code + " ";
  }
  EXPECT_EQ(codes,
            "0=0 1=0020 2=001F 3=0010 4=401D 5=4032 6=005E 7=005F 8=0060 9=0061 10=40A5 11=4053 "
            "12=0013 13=0004 14=4021 15=4048 0=0000 ");
  EXPECT_EQ(find_resolution(resolutions, "401d")->index, 4);
  EXPECT_EQ(find_resolution(resolutions, "FFFF"), nullptr);
}

TEST(Values, AreUnescapedThenPercentDecodedThenCut) {
  EXPECT_EQ(decode_value("plain"), "plain");
  EXPECT_EQ(decode_value("a\\nb%3Ac%5Cn"), "a\nb:c\\n") << "decoded last, so not unescaped";
  EXPECT_EQ(decode_value("a%00b"), "a");
  EXPECT_EQ(decode_value(std::string(3000, 'x')).size(), 2047U);
}

TEST(MessageQueue, HoldsEightMebibytesAndDropsTheNewest) {
  constexpr std::size_t kPlace = sizeof(BoundedQueue<std::string>::Entry);
  const struct {
    std::size_t size;   // of each text
    std::size_t least;  // memory of each, at least
  } cases[] = {{2, kPlace}, {511, kPlace + 512}, {4096, kPlace + 4097}};
  for (const auto& c : cases) {
    testing::internal::CaptureStdout();
    MessageQueue queue("queue");
    const std::size_t most = (std::size_t{8} << 20) / c.least;
    std::size_t pushed = 0;
    for (; pushed < most + 10; ++pushed) {
      std::string text(c.size, 'x');
      text.replace(0, 2, pushed % 2 == 0 ? "ev" : "od");
      queue.push(text);
    }
    {
      const MutexLock held(queue.lock);
      EXPECT_LE(queue.texts.entries.size(), most);
      EXPECT_GT(queue.texts.entries.size(), most * 9 / 10)
          << "nothing is dropped before it is full";
    }
    std::size_t taken = 0;
    while (const auto text = queue.pop()) {
      EXPECT_EQ(text->substr(0, 2), taken++ % 2 == 0 ? "ev" : "od");
    }
    queue.push("room again");
    EXPECT_EQ(queue.pop(), "room again");
    EXPECT_TRUE(contains(testing::internal::GetCapturedStdout(),
                         "] Error: queue is full, 1 texts dropped\n"));
    const MutexLock held(queue.lock);
    EXPECT_EQ(queue.texts.bytes, 0U);
  }
}

TEST(MessageQueue, DropsAreReportedOncePerSecondAndAllOfThem) {
  BoundedQueue<std::string> queue;
  constexpr std::int64_t kSecond = 1'000'000'000;
  EXPECT_EQ(queue.drops_to_report(5), 0);
  queue.dropped = 1;
  EXPECT_EQ(queue.drops_to_report(5), 1);
  queue.dropped = 7;
  EXPECT_EQ(queue.drops_to_report(4 + kSecond), 0);
  EXPECT_EQ(queue.drops_to_report(5 + kSecond), 7);
  EXPECT_EQ(queue.drops_to_report(5 + 3 * kSecond), 0);
}

struct Store : ::testing::Test {
  void SetUp() override {
    const MutexLock held(registry.registry_lock);
    registry.clients.clear();
  }

  VariableRegistry registry;
};

TEST_F(Store, KindsOfSetsDifferInCaseAndPrecedence) {
  lm_set_init(registry, "tmp", "1");
  lm_set_init(registry, "TMP", "2");
  EXPECT_EQ(lm_get(registry, "tmp"), "2") << "the snapshot skips the exact name only";
  lm_set(registry, "Count", "3");
  EXPECT_FALSE(lm_set_change(registry, "SYMBOL", "3"));
  EXPECT_EQ(lm_get(registry, "count") + lm_get(registry, "symbol"), "");

  lm_set_init(registry, "Device_Name", "A");
  lm_set_init(registry, "DEVICE_NAME", "B");
  EXPECT_EQ(lm_get(registry, "device_name"), "B");
  EXPECT_FALSE(lm_set_change(registry, "DEVICE_NAME", "b"));
  lm_set_init(registry, "device_name", "C");
  EXPECT_EQ(lm_get(registry, "DEVICE_NAME"), "B") << "an equal value is live as well";
  EXPECT_TRUE(lm_set_change(registry, "DEVICE_NAME", "E"));
  EXPECT_TRUE(lm_set_change(registry, "new", ""));

  const MutexLock held(registry.registry_lock);
  ASSERT_EQ(registry.variables.size(), 3U);
  EXPECT_EQ(registry.variables[1].name, "Device_Name") << "spelt as at its first appearance";
  EXPECT_GT(registry.variables[1].set_time, 1'700'000'000);
  EXPECT_EQ(registry.variables[0].set_time, 0);
}

}  // namespace
}  // namespace kovo
