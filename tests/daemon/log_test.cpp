#include "daemon/system/log.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <thread>

#include "core/text.h"

namespace kovo {
namespace {

constexpr char kEventLog[] = "/var/tmp/log/kovoevent.log";

std::string read_file(const char* path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::ptrdiff_t lines_in(const std::string& text) {
  return std::count(text.begin(), text.end(), '\n');
}

TEST(Log, RotatesAtThe20000thRecordOfAllThreads) {
  testing::internal::CaptureStdout();
  std::vector<std::thread> writers;
  for (int i = 0; i < 4; ++i) {
    writers.emplace_back([] {
      for (int n = 0; n < 5000; ++n) log_main("record %d\n", n);
    });
  }
  for (std::thread& writer : writers) writer.join();
  EXPECT_EQ(lines_in(read_file(kRotatedLogPath)), 20000);
  EXPECT_NE(access(kMainLogPath, F_OK), 0);
  log_main("first of the next\n");
  EXPECT_EQ(read_file(kMainLogPath), "first of the next\n");
  EXPECT_EQ(lines_in(testing::internal::GetCapturedStdout()), 20001);
}

TEST(Log, ALogThatCannotBeOpenedLosesOnlyItsRecords) {
  testing::internal::CaptureStdout();
  for (int n = 0; n < 10000; ++n) log_main("a\n");
  ASSERT_EQ(rename("/var/tmp/log", "/var/tmp/gone"), 0);
  for (int n = 0; n < 5000; ++n) log_main("lost\n");
  log_event("lost\n");
  log_event_echo("%s\n", "still printed");
  ASSERT_EQ(rename("/var/tmp/gone", "/var/tmp/log"), 0);
  unlink(kMainLogPath);
  for (int n = 0; n < 9999; ++n) log_main("b\n");
  EXPECT_NE(access(kRotatedLogPath, F_OK), 0) << "lost records do not count, deleted ones do";
  log_main("b\n");
  EXPECT_EQ(lines_in(read_file(kRotatedLogPath)), 10000);
  EXPECT_NE(access(kEventLog, F_OK), 0);
  EXPECT_TRUE(contains(testing::internal::GetCapturedStdout(), "  still printed\n"));
}

}  // namespace
}  // namespace kovo
