#include "daemon/system/bounded_queue.h"

#include <gtest/gtest.h>

#include "core/text.h"

namespace kovo {
namespace {

TEST(MessageQueue, HoldsEightMebibytesAndDropsTheNewest) {
  constexpr std::size_t kEntryBytes = sizeof(BoundedQueue<std::string>::Entry);
  const std::pair<std::size_t, std::size_t> cases[] = {{1, kEntryBytes},
                                                       {4096, kEntryBytes + 4097}};
  for (const auto& [size, memory] : cases) {
    testing::internal::CaptureStdout();
    MessageQueue queue("queue");
    const std::size_t most = (std::size_t{8} << 20) / memory;
    for (std::size_t pushed = 0; pushed < most + 10; ++pushed) {
      queue.push(std::string(size, pushed % 2 == 0 ? 'a' : 'b'));
    }
    std::size_t popped = 0;
    while (const auto text = queue.pop()) EXPECT_EQ(text->front(), popped++ % 2 == 0 ? 'a' : 'b');
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

TEST(MessageQueue, DropsAreReportedOncePerSecondWithTheirNumber) {
  BoundedQueue<std::string> queue;
  constexpr std::int64_t kSecond = 1'000'000'000;
  queue.drops.count = 1;
  EXPECT_EQ(queue.drops.due(5), 1);
  queue.drops.count = 7;
  EXPECT_EQ(queue.drops.due(4 + kSecond), 0);
  EXPECT_EQ(queue.drops.due(5 + kSecond), 7);
  EXPECT_EQ(queue.drops.due(5 + 3 * kSecond), 0);
}

}  // namespace
}  // namespace kovo
