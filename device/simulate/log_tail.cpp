#include "device/simulate/log_tail.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <regex>

#include "device/sockets.h"
#include "frame/text.h"

namespace kovo::device {
namespace {

constexpr std::size_t kStampLength = 25;    // with the two blanks behind it
constexpr std::size_t kSecondsLength = 19;  // "2025-03-05 07:04:09"
const std::regex kStamp(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}  )");
const std::regex kRoutine(R"((Error: )?\[\w{1,40}[:;]\d{1,5}\] |\[kovotcp\] )");

std::string read_from(const std::string& path, std::size_t& taken) {
  std::string bytes;
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat info {};
  if (file.fd < 0 || fstat(file.fd, &info) != 0) return bytes;
  if (static_cast<std::size_t>(info.st_size) < taken) taken = 0;  // rotated
  char buffer[16384];
  ssize_t size = 0;
  while ((size = pread(file.fd, buffer, sizeof buffer, static_cast<off_t>(taken))) > 0) {
    bytes.append(buffer, static_cast<std::size_t>(size));
    taken += static_cast<std::size_t>(size);
  }
  return bytes;
}

/// Where the next record begins behind the first character; the end of the text when nowhere.
std::size_t next_beginning(const std::string& text, const std::regex& beginning) {
  std::smatch match;
  if (text.empty() || !std::regex_search(text.begin() + 1, text.end(), match, beginning)) {
    return text.size();
  }
  return static_cast<std::size_t>(match.position(0)) + 1;
}

Clock::time_point time_of_stamp(const std::string& stamp) {
  std::tm fields{};
  strptime(stamp.c_str(), "%Y-%m-%d %H:%M:%S", &fields);
  fields.tm_isdst = -1;
  const auto wall = std::chrono::system_clock::from_time_t(std::mktime(&fields)) +
                    std::chrono::milliseconds(to_int32(stamp.substr(kSecondsLength + 1, 3)));
  // Taken once, so that equal stamps stay equal.
  static const auto kSteadySide = Clock::now();
  static const auto kWallSide = std::chrono::system_clock::now();
  return kSteadySide + std::chrono::duration_cast<Clock::duration>(wall - kWallSide);
}

LogRecord make_record(const LogTail& tail, std::string text) {
  LogRecord record{Clock::now(), ""};
  std::smatch match;
  if (tail.stamped && std::regex_search(text, match, kStamp) && match.position(0) == 0) {
    record.at = time_of_stamp(text);
    text.erase(0, kStampLength);
  }
  // The routine's name would fill a third of the line; the word Error stays.
  if (std::regex_search(text, match, kRoutine) && match.position(0) == 0) {
    text.erase(static_cast<std::size_t>(match.length(1)),
               static_cast<std::size_t>(match.length(0) - match.length(1)));
  }
  record.text = strip_newline(text);
  return record;
}

}  // namespace

std::vector<LogRecord> new_records(LogTail& tail) {
  std::vector<LogRecord> records;
  const std::string fresh = read_from(tail.path, tail.taken);
  std::string text = tail.held + fresh;
  tail.held.clear();
  while (!text.empty()) {
    const std::size_t end = next_beginning(text, tail.stamped ? kStamp : kRoutine);
    if (end == text.size() && !fresh.empty() && text.back() != '\n') {
      tail.held = text;
      break;
    }
    records.push_back(make_record(tail, text.substr(0, end)));
    text.erase(0, end);
  }
  return records;
}

}  // namespace kovo::device
