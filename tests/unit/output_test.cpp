#include "frame/patient_output.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

namespace kovo {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

enum class Kind { kPipe, kTerminal, kSocket };

struct PatientOutput : ::testing::TestWithParam<Kind> {
  void SetUp() override {
    int ends[2] = {-1, -1};
    if (GetParam() == Kind::kPipe) {
      ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    } else if (GetParam() == Kind::kSocket) {
      ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    } else {
      ends[0] = posix_openpt(O_RDWR | O_NOCTTY);
      ASSERT_EQ(grantpt(ends[0]) + unlockpt(ends[0]), 0);
      ends[1] = open(ptsname(ends[0]), O_WRONLY | O_NOCTTY);
    }
    reading = ends[0];
    writing = ends[1];
    // What the daemon does for pipes and terminals; a socket stays as it is.
    if (GetParam() != Kind::kSocket) fcntl(writing, F_SETFL, O_NONBLOCK);
    stream = open_patient_output(writing, stdout);
    ASSERT_NE(stream, nullptr);
  }

  void TearDown() override {
    close(reading);
  }

  /// Writes numbered records, flushed one by one, and closes the stream.
  void write_records(int count) {
    for (int i = 0; i < count; ++i) {
      std::fprintf(stream, "%d %s\n", i, std::string(150, 'r').c_str());
      std::fflush(stream);
    }
    std::fclose(stream);
    close(writing);
  }

  int reading = -1;
  int writing = -1;
  std::FILE* stream = nullptr;
};

TEST_P(PatientOutput, ASlowReaderGetsEveryRecord) {
  std::string got;
  std::thread reader([&] {
    char buffer[2048];
    ssize_t size = 0;
    while ((size = read(reading, buffer, sizeof buffer)) > 0) {
      got.append(buffer, static_cast<std::size_t>(size));
      std::this_thread::sleep_for(milliseconds(2));
    }
  });
  write_records(2000);
  reader.join();
  for (int i = 0; i < 2000; ++i) {
    ASSERT_NE(got.find(std::to_string(i) + " rrr"), std::string::npos) << i;
  }
}

TEST_P(PatientOutput, AReaderThatStandsStillCostsOneWait) {
  const auto start = steady_clock::now();
  std::thread writer([&] { write_records(20000); });
  writer.join();
  EXPECT_LT(steady_clock::now() - start, milliseconds(1900));
  EXPECT_GE(steady_clock::now() - start, milliseconds(200));
}

TEST(Output, IsGivenUpWhenNotEnoughIsTakenWithinASecond) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  fcntl(ends[1], F_SETFL, O_NONBLOCK);
  std::FILE* stream = open_patient_output(ends[1], stdout);
  std::thread reader([&] {
    std::string some(4096, ' ');
    while (read(ends[0], some.data(), some.size()) > 0) {
      std::this_thread::sleep_for(milliseconds(100));
    }
  });
  const auto start = steady_clock::now();
  std::fputs(std::string(200'000, 'x').c_str(), stream);  // more than that reader takes in 3 s
  std::fclose(stream);
  const auto took = steady_clock::now() - start;
  EXPECT_TRUE(took > milliseconds(700) && took < milliseconds(1800)) << took.count();
  close(ends[1]);
  reader.join();
  close(ends[0]);
}

TEST(Output, IsBufferedAsItsModelIs) {
  const std::pair<int, std::string> cases[] = {{_IONBF, "a\nb"}, {_IOLBF, "a\n"}, {_IOFBF, ""}};
  for (const auto& [mode, at_once] : cases) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    std::FILE* model = std::tmpfile();
    std::setvbuf(model, nullptr, mode, 100);
    std::FILE* stream = open_patient_output(ends[1], model);
    std::fputs("a\nb", stream);
    char got[10] = {};
    const ssize_t size = read(ends[0], got, sizeof got);
    EXPECT_EQ(std::string(got, size > 0 ? static_cast<std::size_t>(size) : 0), at_once);
    std::fclose(stream);
    std::fclose(model);
    for (const int end : ends) close(end);
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, PatientOutput,
                         ::testing::Values(Kind::kPipe, Kind::kTerminal, Kind::kSocket));

}  // namespace
}  // namespace kovo
