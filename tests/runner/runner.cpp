// Plays a scenario inside a throw-away device: `scenario_runner FILE [--accept]`. With --accept the
// scenario is printed anew, with what came out in the place of what was expected.
#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <set>
#include <sstream>

#include "tests/runner/play.h"

namespace kovo::device {
namespace {

using Records = std::vector<Record>;

Records expected_records(const Play& play, const Block& block) {
  Records expected;
  for (const ScriptLine& line : block) {
    if (!is_record(play, line.verb)) continue;
    const std::string stamp = line.verb == "echo" || line.verb == "event" ? "@ " : "";
    for (const std::string& text : split_texts(line.rest)) {
      expected.push_back({line.verb, escape_record(unescape(stamp + text + "\n")), line.mark});
    }
  }
  return expected;
}

/// Whether two records come out of the same file or receiver, or both on stdout.
bool in_order(const Record& one, const Record& other) {
  static const std::set<std::string> on_stdout = {"log", "echo", "out"};
  static const std::set<std::string> in_event_log = {"echo", "event"};
  return one.verb == other.verb || on_stdout.count(one.verb) + on_stdout.count(other.verb) == 2 ||
         in_event_log.count(one.verb) + in_event_log.count(other.verb) == 2;
}

/// A line "  + RECORD" for each that came and is not expected there, then "  - RECORD" for each
/// that is missing.
std::string difference(const Records& came, Records expected) {
  const auto is_fixed = [](const Record& one) { return one.mark.empty(); };
  std::stable_partition(expected.begin(), expected.end(), is_fixed);
  std::string lines;
  for (const Record& record : came) {
    const auto found = std::find_if(expected.begin(), expected.end(), [&](const Record& one) {
      const auto first = std::find_if(expected.begin(), expected.end(), [&](const Record& other) {
        return is_fixed(other) && in_order(other, one);
      });
      return one.verb == record.verb && one.text == record.text &&
             (!is_fixed(one) || &*first == &one);
    });
    if (found == expected.end()) {
      lines += "  + " + record.verb + " " + record.text + "\n";
    } else {
      expected.erase(found);
    }
  }
  for (const Record& one : expected) {
    if (one.mark != "?") lines += "  - " + one.verb + " " + one.text + "\n";
  }
  return lines;
}

void compare_records(Play& play, const Block& block) {
  const Records expected = expected_records(play, block);
  std::string differences;
  Clock::time_point right = Clock::now();
  wait_looking(play, [&] {
    differences = difference(records_of(play), expected);
    if (differences.rfind("  + ", 0) != 0) right = Clock::now();
    return differences.empty() || ms_since(right) > 500;
  });
  if (!differences.empty()) fail(play, "missing (-), instead (+):\n" + differences);
  play.took_ms = ms_since(play.told);
}

/// "CHANNEL MS MS ... within MS": when its arrivals came, counted from the first one.
void expect_offsets(Play& play, const ScriptLine& line) {
  const Channel& channel = play.channels.at(line.name);
  const std::vector<Arrival> all = channel.look();
  const auto first = std::count(channel.compared.begin(), channel.compared.end(), kArrivalEnd);
  const long within = std::stol(line.text.substr(line.text.find("within ") + 7));
  std::istringstream offsets(line.text);
  for (auto one = all.begin() + first; one != all.end(); ++one) {
    long offset = 0;
    offsets >> offset;
    const long came = (one->at - all.begin()[first].at) / std::chrono::milliseconds(1);
    if (std::abs(came - offset) > within) fail(play, std::to_string(came) + " ms");
  }
}

/// What is expected beside the records of a block.
void expect(Play& play, const ScriptLine& line) {
  const auto holds = [&] { return content_of(play, line.name) == line.text; };
  if (line.verb == "file" || line.verb == "still") {
    const bool right = line.verb == "file" ? wait_for(holds, kLimit) : holds();
    if (!right) fail(play, "it holds\n" + content_of(play, line.name));
  } else if (line.verb == "took") {
    long least = 0, most = 0;
    std::sscanf(line.rest.c_str(), "%ld..%ld", &least, &most);
    const bool right = play.took_ms >= least && play.took_ms <= most;
    if (!right) fail(play, std::to_string(play.took_ms) + " ms");
  } else if (line.verb == "offsets") {
    expect_offsets(play, line);
  } else if (line.verb == "exit") {
    const int status = wait_exit(play.daemon, kLimit);
    if (status != std::stoi(line.rest)) fail(play, "status " + std::to_string(status));
  } else {
    fail(play, "unknown: " + line.verb);
  }
}

void compare(Play& play, const Block& block) {
  play.line = block[0].number;
  for (const ScriptLine& line : block) {
    if (line.verb == "exit") wait_exit(play.daemon, kLimit);  // all it says has come then
  }
  compare_records(play, block);
  for (const ScriptLine& line : block) {
    play.line = line.number;
    if (!is_record(play, line.verb)) expect(play, line);
  }
  consume(play);
}

/// Sends a word down every road; nothing may come but what follows from it.
void expect_end(Play& play) {
  static const std::regex ends(
      "cmd=fence2?|mapping event fence|disable, skip fence|push event: fence");
  static const std::regex allowed("[^]*fence[^]*|\\[renew_macro_var\\] save.*");
  send_tcp(2700, "fence\n");
  send_udp(2727, "fence:");
  send_tcp(2727, "fence2:");
  send_udp(2728, "fence");
  const bool through = wait_looking(play, [&] {
    const std::string all = play.channels["out"].text + play.channels["event"].text;
    return std::distance(std::sregex_iterator(all.begin(), all.end(), ends), {}) == 4;
  });
  if (!through) fail(play, "the daemon does not take messages any more");
  for (const Record& record : records_of(play)) {
    if (record.verb != "status" && !std::regex_match(record.text, allowed)) {
      fail(play, "too much at the end: " + record.verb + " " + record.text);
    }
  }
}

}  // namespace
}  // namespace kovo::device

int main(int argc, char** argv) {
  using namespace kovo::device;
  Play play;
  if (argc > 1) play.path = argv[1];
  const bool accepting = argc > 2 && std::string(argv[2]) == "--accept";
  const Block script = read_script(read_file(play.path));
  if (script.size() == 1) fail(play, "nothing to play");
  setenv("TZ", "KOV-05:45", 1);  // local time must differ from the world's
  tzset();
  rlimit files{};
  getrlimit(RLIMIT_NOFILE, &files);
  files.rlim_cur = 1000;  // about what a login gives
  setrlimit(RLIMIT_NOFILE, &files);
  set_param("ENABLE_KOVO_EVENT", "1");
  open_channels(play);
  for (const ScriptLine& line : script) {
    if (accepting) std::cout << line.source;
    play.line = line.number;
    act(play, line);
    if (!line.block.empty()) accepting ? accept(play, line.block) : compare(play, line.block);
  }
  if (!accepting && play.daemon.pid > 0) expect_end(play);
  stop_daemon(play.daemon);
}
