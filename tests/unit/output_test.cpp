#include "frame/output.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>

namespace kovo {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

#if !defined(KOVO_SANITIZED)  // theirs flushes in _exit
TEST(Output, AStoppedReaderDelaysTheEndByASecond) {
  constexpr int kStatus = 7;
  int ends[2] = {-1, -1};
  ASSERT_EQ(pipe(ends), 0);
  const auto begin = steady_clock::now();
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    start_output();
    for (int i = 0; i < 20000; ++i) print_text(std::string(100, 'r') + "\n");
    if (steady_clock::now() - begin > milliseconds(500)) _exit(1);
    flush_output();
    _exit(kStatus);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == kStatus) << status;
  const auto took = steady_clock::now() - begin;
  EXPECT_TRUE(took > milliseconds(900) && took < milliseconds(1900)) << took.count();
}
#endif

}  // namespace
}  // namespace kovo
