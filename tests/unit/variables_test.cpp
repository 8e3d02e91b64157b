#include <gtest/gtest.h>

#include <ctime>

#include "core/mapping_tables.h"
#include "daemon/state/central_state.h"
#include "daemon/state/variable_store.h"

namespace kovo {
namespace {

TEST(CentralState, ProductIdsDecideTheVariant) {
  std::string variants;
  for (const char* pid : {"KV-IN-HDMI-1", "KV-IN-HDMI-2", "kv-out-hdmi-1", "KV-IN-USBC-1",
                          "KV-IN-USBC-2", "KV-OUT-USBC-1", "KV-OUT-USBC-2", "", "KV-OUT-HDMI-1x"}) {
    variants += "hco"[static_cast<int>(variant_of(pid))];
  }
  EXPECT_EQ(variants, "hhoccoohh") << "HDMI inputs, HDMI and USB-C inputs, or outputs";
}

TEST(Resolutions, AreFoundByTheirCodes) {
  std::string indexes;
  for (const char* code : {"0", "0020", "001f", "0010", "401D", "4032", "005E", "005F", "0060",
                           "0061", "40A5", "4053", "0013", "0004", "4021", "4048", "0000"}) {
    indexes += std::to_string(find_resolution(code)->index) + " ";
  }
  EXPECT_EQ(indexes, "0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 0 ");
}

TEST(MessageQueue, HoldsEightMebibytesAndDropsTheNewest) {
  constexpr std::size_t kPlace = sizeof(BoundedQueue<std::string>::Entry);
  const std::pair<std::size_t, std::size_t> cases[] = {{1, kPlace}, {4096, kPlace + 4097}};
  for (const auto& [size, memory] : cases) {
    testing::internal::CaptureStdout();
    MessageQueue queue("queue");
    const std::size_t most = (std::size_t{8} << 20) / memory;
    for (std::size_t pushed = 0; pushed < most + 10; ++pushed) {
      queue.push(std::string(size, pushed % 2 == 0 ? 'e' : 'o'));
    }
    std::size_t popped = 0;
    while (const auto text = queue.pop()) EXPECT_EQ(text->front(), popped++ % 2 == 0 ? 'e' : 'o');
    EXPECT_LE(popped, most);
    EXPECT_GT(popped, most * 9 / 10);
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
  queue.drops.count = 1;
  EXPECT_EQ(queue.drops.due(5), 1);
  queue.drops.count = 7;
  EXPECT_EQ(queue.drops.due(4 + kSecond), 0);
  EXPECT_EQ(queue.drops.due(5 + kSecond), 7);
  EXPECT_EQ(queue.drops.due(5 + 3 * kSecond), 0);
}

TEST(Store, KindsOfSetsDifferInCaseAndPrecedence) {
  VariableRegistry registry;
  delete_client(registry, {Transport::kTcp, "127.0.0.1", 5127});
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

TEST(Store, LookupsDoNotSlowDownWithTheNumberOfVariables) {
  VariableRegistry registry;
  const MutexLock held(registry.notify_lock);  // as during a send to a dead client
  const std::clock_t begin = std::clock();
  for (int i = 0; i < 50'000; ++i) lm_set_init(registry, "VARIABLE_" + std::to_string(i), "x");
  EXPECT_EQ(lm_get(registry, "variable_49999"), "x");
  EXPECT_LT(std::clock() - begin, 2 * CLOCKS_PER_SEC);
}

}  // namespace
}  // namespace kovo
