// Timelines of recorded logs. Each file of tests/check/logs holds the files of a device and what
// kovocheck says of them, in parts that begin with a line "== NAME" or "== $ ARGUMENTS".
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/check/texts.h"

namespace kovo::check {
namespace {

namespace fs = std::filesystem;

void write_part(const fs::path& directory, const std::string& name, const std::string& text) {
  std::ofstream(directory / name, std::ios::binary) << text;
  if (name.size() < 3 || name.substr(name.size() - 3) != ".gz") return;
  const std::string path = (directory / name.substr(0, name.size() - 3)).string();
  fs::rename(directory / name, path);
  ASSERT_EQ(std::system(("gzip '" + path + "'").c_str()), 0);
}

std::string run_in(const fs::path& directory, const std::string& arguments) {
  const std::string command =
      "cd '" + directory.string() + "' && " KOVOCHECK " " + arguments + " 2>&1 || echo exit $?";
  std::FILE* pipe = popen(command.c_str(), "r");
  std::string output;
  for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) output += static_cast<char>(c);
  pclose(pipe);
  return output;
}

void check_recording(const fs::path& recording) {
  SCOPED_TRACE(recording.string());
  const fs::path directory =
      fs::path(testing::TempDir()) / ("kovo_logs." + std::to_string(getpid()));
  fs::create_directory(directory);
  std::ifstream file(recording, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  for (std::size_t at = text.find("== "); at < text.size();) {
    const std::size_t line_end = text.find('\n', at);
    const std::size_t end = std::min(text.find("\n== ", line_end - 1), text.size() - 1) + 1;
    const std::string name = text.substr(at + 3, line_end - at - 3);
    const std::string part = text.substr(line_end + 1, end - line_end - 1);
    at = end;
    if (name.substr(0, 2) != "$ ") {
      write_part(directory, name, part);
    } else {
      EXPECT_EQ(run_in(directory, name.substr(2)), part) << name;
    }
  }
  fs::remove_all(directory);
}

TEST(Logs, EachVerdictIsRightAndNoneSaysMore) {
  int count = 0;
  for (const fs::directory_entry& entry : fs::directory_iterator(KOVO_LOGS)) {
    check_recording(entry.path());
    ++count;
  }
  EXPECT_GE(count, 4);
}

}  // namespace
}  // namespace kovo::check
