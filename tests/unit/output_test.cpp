#include "frame/output.h"

#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <sstream>
#include <string>
#include <thread>

#include "frame/host.h"

namespace kovo {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr int kStatus = 7;
constexpr int kSlowWriter = 8;

std::string record(int number) {
  return std::to_string(number) + " " + std::string(100, 'r') + "\n";
}

/// A process whose stdout, a terminal or a pipe, the test reads or leaves unread.
struct Output : ::testing::TestWithParam<bool> {
  void SetUp() override {
    int ends[2] = {-1, -1};
    termios raw{};
    cfmakeraw(&raw);
    const int made = GetParam() ? openpty(&ends[0], &ends[1], nullptr, &raw, nullptr) : pipe(ends);
    ASSERT_EQ(made, 0);
    reading = ends[0];
    writing = ends[1];
  }

  template <class Work>
  void start(const Work& work) {
    child = fork();
    if (child == 0) {
      close(reading);
      const std::string path = "/proc/self/fd/" + std::to_string(writing);
      if (std::freopen(path.c_str(), "w", stdout) == nullptr) _exit(1);
      close(writing);
      start_output();
      work();
      _exit(0);
    }
    close(writing);
  }

  void print_and_end(int records) {
    start([=] {
      const auto begin = steady_clock::now();
      for (int i = 0; i < records; ++i) print_text(record(i));
      const bool quick = steady_clock::now() - begin < milliseconds(500);
      flush_output();
      _exit(quick ? kStatus : kSlowWriter);
    });
  }

  std::string read_all(milliseconds pause = milliseconds(0)) const {
    std::string all;
    char buffer[2048];
    ssize_t size = 0;
    while ((size = read(reading, buffer, sizeof buffer)) > 0) {
      all.append(buffer, static_cast<std::size_t>(size));
      std::this_thread::sleep_for(pause);
    }
    return all;
  }

  int wait_exit() const {
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  int reading = -1;
  int writing = -1;
  pid_t child = -1;
};

TEST_P(Output, ASlowReaderGetsEveryRecordInOrder) {
  std::string expected;
  for (int i = 0; i < 2000; ++i) expected += record(i);
  print_and_end(2000);
  EXPECT_EQ(read_all(milliseconds(2)), expected);
  EXPECT_EQ(wait_exit(), kStatus);
}

TEST_P(Output, AFullBufferDropsWholeRecords) {
  print_and_end(20000);
  std::this_thread::sleep_for(milliseconds(500));
  const std::string all = read_all();
  EXPECT_EQ(wait_exit(), kStatus);
  EXPECT_GT(all.size(), kOutputCapacity - record(20000).size());
  std::istringstream lines(all);
  int count = 0;
  int last = -1;
  for (std::string line; std::getline(lines, line); ++count) {
    const int number = std::stoi(line);
    ASSERT_EQ(line + "\n", record(number));
    ASSERT_GT(number, last);
    last = number;
  }
  EXPECT_LT(count, 20000);
}

#if !defined(KOVO_SANITIZED)  // theirs flushes in _exit
TEST_P(Output, AStoppedReaderDelaysTheEndByASecond) {
  const auto begin = steady_clock::now();
  print_and_end(20000);
  EXPECT_EQ(wait_exit(), kStatus);
  const auto took = steady_clock::now() - begin;
  EXPECT_TRUE(took > milliseconds(900) && took < milliseconds(1900)) << took.count();
}

TEST_P(Output, IsBufferedAsTheCLibraryDoes) {
  start([] {
    print_text("a\nb");
    sleep_ms(300);  // and ends without flushing
  });
  EXPECT_EQ(read_all(), GetParam() ? "a\n" : "");
  EXPECT_EQ(wait_exit(), 0);
}
#endif

INSTANTIATE_TEST_SUITE_P(OnTerminal, Output, ::testing::Bool());

}  // namespace
}  // namespace kovo
