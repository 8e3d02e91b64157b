// Shows the daemon at work on the simulated device and tells it what is typed. Run inside the
// device: simulate DEFINITION_FILE [--demonstrate|--once]
//
// With --demonstrate the road of the example comes first; with --once it is all, and the exit
// status tells whether everything expected has arrived.

#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>

#include "device/simulate/road.h"
#include "device/simulate/show.h"
#include "device/simulate/typing.h"
#include "frame/text.h"

namespace kovo::device {
namespace {

constexpr int kTickMs = 50;

/// What was typed and not yet read; lines come one by one.
struct Input {
  std::string bytes;
  bool ended = false;
};

void read_input(Input& input) {
  pollfd waiting{input.ended ? -1 : STDIN_FILENO, POLLIN, 0};
  if (poll(&waiting, 1, kTickMs) <= 0) return;
  char buffer[4096];
  const ssize_t size = read(STDIN_FILENO, buffer, sizeof buffer);
  if (size > 0) input.bytes.append(buffer, static_cast<std::size_t>(size));
  input.ended = size <= 0;
}

bool take_line(Input& input, std::string& line) {
  const std::size_t end = input.bytes.find('\n');
  if (end == std::string::npos && !(input.ended && !input.bytes.empty())) return false;
  line = input.bytes.substr(0, end);
  input.bytes.erase(0, end == std::string::npos ? end : end + 1);
  return true;
}

void help(Show& show) {
  std::fputs(kTypingHelp, stdout);
  list_events(show);
}

void obey(Show& show, const std::string& line) {
  if (line.empty()) return;
  if (line == "help") {
    help(show);
    return;
  }
  const Typed typed = read_typed(show.definitions.events, line);
  if (!typed.complaint.empty()) show_note(show.screen, printable(typed.complaint));
  if (!typed.channel.empty()) tell(show, typed.channel, typed.message);
}

/// Tells what is typed. At the end of the input what was told still has its effects.
bool go_on(Show& show) {
  Input input;
  while (!input.ended || Clock::now() < show.busy_until || awaits_more(show.time_lines)) {
    read_input(input);
    for (std::string line; take_line(input, line);) obey(show, line);
    show_news(show);
    follow_file(show);
    if (wait_exit(show.daemon, std::chrono::milliseconds(0)) == -1000) continue;
    show_line(show.screen, {Clock::now(), Tone::kAlarm, "kovotcp", "has ended"});
    return false;
  }
  return true;
}

bool demonstrate_all(Show& show) {
  const bool passed = demonstrate(show);
  show_news(show);
  std::printf("\n%s\n",
              passed ? "Everything expected has arrived." : "Not everything has arrived.");
  return passed;
}

/// A file may name more destinations than a login may have descriptors.
void raise_descriptor_limit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

int run(const std::string& definitions, bool demonstration, bool once) {
  raise_descriptor_limit();
  Show show;
  bool passed = start_show(show, definitions) && (!demonstration || demonstrate_all(show));
  if (passed && !once) {
    std::puts("");
    help(show);
    passed = go_on(show);
  }
  stop_daemon(show.daemon);
  return passed ? 0 : 1;
}

}  // namespace
}  // namespace kovo::device

int main(int argc, char** argv) {
  const std::string option = argc > 2 ? argv[2] : "";
  const bool once = option == "--once";
  if (argc < 2 || argc > 3 || (argc == 3 && !once && option != "--demonstrate")) {
    std::fputs("usage: simulate DEFINITION_FILE [--demonstrate|--once]\n", stderr);
    return 2;
  }
  return kovo::device::run(argv[1], argc == 3, once);
}
