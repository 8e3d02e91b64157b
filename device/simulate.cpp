// Shows the daemon at work on the simulated device: what it is told, what leaves the device, and
// what its logs say. Run inside the device: simulate DEFINITION_FILE [--once]

#include <poll.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#include "device/device.h"
#include "device/sinks.h"
#include "device/status_service.h"

namespace kovo::device {
namespace {

/// One receiver of the network, and what of it has been shown.
struct Watched {
  std::string label;
  const ArrivalLog* log;
  std::size_t shown = 0;
  std::size_t seen_before = 0;  // arrivals before the last thing told
};

/// One log file, and how much of it has been shown.
struct Tail {
  std::string path;
  std::string label;
  std::size_t shown = 0;
};

struct Demonstration {
  Clock::time_point start = Clock::now();
  StatusService service;
  UdpSink lamps;    // 10.0.0.5:5000
  TcpSink mixer;    // 10.0.0.6:23
  UdpSink panel;    // 10.0.0.7:6000
  TcpSink watcher;  // 127.0.0.1:5127, the client that hears of variable changes
  UdpSink replies;  // 127.0.0.1:9000
  TcpSink replies_tcp;
  std::vector<Watched> watched;
  std::vector<Tail> tails = {{"/var/tmp/log/kovo.log", "kovo.log"},
                             {"/var/tmp/log/kovoevent.log", "kovoevent.log"}};
  Daemon daemon;
};

std::string printable(const std::string& bytes) {
  std::string text;
  for (const char c : bytes) {
    if (c == '\n') {
      text += "\\n";
    } else if (c == '\r') {
      text += "\\r";
    } else if (std::isprint(static_cast<unsigned char>(c)) != 0) {
      text += c;
    } else {
      text += '.';
    }
  }
  return text;
}

void say(const Demonstration& show, Clock::time_point at, const std::string& label,
         const std::string& text) {
  const std::chrono::duration<double> passed = at - show.start;
  std::printf("%8.3f  %-20s %s\n", passed.count(), label.c_str(), text.c_str());
  std::fflush(stdout);
}

void show_arrivals(Demonstration& show) {
  for (Watched& sink : show.watched) {
    const std::lock_guard<std::mutex> held(sink.log->mutex);
    for (; sink.shown < sink.log->arrivals.size(); ++sink.shown) {
      const Arrival& arrival = sink.log->arrivals[sink.shown];
      say(show, arrival.at, sink.label, "\"" + printable(arrival.bytes) + "\"");
    }
  }
}

void show_logs(Demonstration& show) {
  for (Tail& tail : show.tails) {
    const std::string text = read_file(tail.path);
    if (text.size() < tail.shown) tail.shown = 0;  // rotated
    for (std::size_t end = text.find('\n', tail.shown); end != std::string::npos;
         end = text.find('\n', tail.shown)) {
      say(show, Clock::now(), tail.label, printable(text.substr(tail.shown, end - tail.shown)));
      tail.shown = end + 1;
    }
  }
}

void show_news(Demonstration& show) {
  show_arrivals(show);
  show_logs(show);
}

bool start_network(Demonstration& show) {
  for (const char* host : {"10.0.0.5/24", "10.0.0.6/24", "10.0.0.7/24"}) {
    if (!give_address("eth0peer", host)) return false;
  }
  show.watched = {
      {"-> lamps udp:5000", &show.lamps.log},   {"-> mixer tcp:23", &show.mixer.log},
      {"-> panel udp:6000", &show.panel.log},   {"-> client tcp:5127", &show.watcher.log},
      {"-> reply udp:9000", &show.replies.log}, {"-> reply tcp:9000", &show.replies_tcp.log}};
  return start_udp_sink(show.lamps, "10.0.0.5", 5000) &&
         start_tcp_sink(show.mixer, "10.0.0.6", 23, TcpSinkMode::kReply, "OK\r\n") &&
         start_udp_sink(show.panel, "10.0.0.7", 6000) &&
         start_tcp_sink(show.watcher, "127.0.0.1", 5127, TcpSinkMode::kSilent) &&
         start_udp_sink(show.replies, "127.0.0.1", 9000) &&
         start_tcp_sink(show.replies_tcp, "127.0.0.1", 9000, TcpSinkMode::kSilent) &&
         start_status_service(show.service, StatusMode::kAnswerAndClose, default_status_answer());
}

/// What one thing told to the daemon must make arrive.
struct Expectation {
  const char* channel;  // "tcp:2700", "udp:2727", "tcp:2727", "udp:2728", or "" for nothing told
  const char* message;
  std::vector<std::pair<std::string, std::string>> arrivals;  // label, start of the bytes
};

void tell(Demonstration& show, const std::string& channel, const std::string& message) {
  if (channel.empty()) return;
  for (Watched& sink : show.watched) {
    const std::lock_guard<std::mutex> held(sink.log->mutex);
    sink.seen_before = sink.log->arrivals.size();
  }
  say(show, Clock::now(), channel + " <-", "\"" + printable(message) + "\"");
  const int port = std::stoi(channel.substr(4));
  if (channel.substr(0, 3) == "udp") {
    send_udp(port, message);
  } else {
    send_tcp(port, message);
  }
}

bool arrived(const Demonstration& show, const std::string& label, const std::string& start) {
  for (const Watched& sink : show.watched) {
    if (sink.label != label) continue;
    const std::lock_guard<std::mutex> held(sink.log->mutex);
    for (std::size_t i = sink.seen_before; i < sink.log->arrivals.size(); ++i) {
      if (sink.log->arrivals[i].bytes.compare(0, start.size(), start) == 0) return true;
    }
  }
  return false;
}

/// Tells one thing and waits for what must arrive. False, with a message, when it does not.
bool demonstrate(Demonstration& show, const Expectation& expectation) {
  tell(show, expectation.channel, expectation.message);
  for (const auto& expected : expectation.arrivals) {
    const auto here = [&] {
      show_news(show);
      return arrived(show, expected.first, expected.second);
    };
    if (wait_for(here)) continue;
    say(show, Clock::now(), "MISSING", expected.first + " \"" + printable(expected.second) + "\"");
    return false;
  }
  return true;
}

/// Asks the status service through the daemon's client mode.
bool ask_status(Demonstration& show) {
  say(show, Clock::now(), "run", "kovotcp --client getStatus");
  DaemonOptions options;
  options.args = {"--client", "getStatus"};
  options.stdout_path = "/tmp/client.out";
  Daemon client = start_daemon(options);
  if (wait_exit(client) != 0) return false;
  const std::string answer = read_file("/tmp/client.out");
  std::size_t from = 0;
  for (std::size_t end = answer.find('\n'); end != std::string::npos;
       end = answer.find('\n', from)) {
    say(show, Clock::now(), "", answer.substr(from, end - from));
    from = end + 1;
  }
  return answer.find("name=Lobby\n") != std::string::npos;
}

bool demonstrate_all(Demonstration& show) {
  const Expectation road[] = {
      {"", "", {{"-> lamps udp:5000", "POWER ON\r"}, {"-> mixer tcp:23", "OK\r"}}},
      {"tcp:2700",
       "doorState=open\n",
       {{"-> panel udp:6000", "Door of Lobby at "},
        {"-> mixer tcp:23", "LIGHTS ON\r"},
        {"-> panel udp:6000", default_status_answer()}}},
      {"udp:2727",
       "e_param_set::DEVICE_NAME::Foyer\n",
       {{"-> client tcp:5127", "DEVICE_NAME=Foyer\n"}, {"-> panel udp:6000", "RENAMED"}}},
      {"udp:2727",
       "get_udp::DEVICE_NAME::127.0.0.1::9000",
       {{"-> reply udp:9000", "DEVICE_NAME=Foyer\n"}}},
      {"tcp:2727",
       "get_tcp::device_name::127.0.0.1::9000\n",
       {{"-> reply tcp:9000", "device_name=Foyer\n"}}},
      {"udp:2727",
       "renew_udp::127.0.0.1::9000",
       {{"-> reply udp:9000", "DEVICE_NAME=Foyer\n"}, {"-> reply udp:9000", "_RENEW_NUM=1\n"}}},
      {"tcp:2727", "renew_tcp::127.0.0.1::9000", {{"-> reply tcp:9000", "_RENEW_NUM=1\n"}}},
      {"udp:2728", "local:news.m3u\n", {{"-> panel udp:6000", "PLAY"}}},
  };
  for (const Expectation& expectation : road) {
    if (!demonstrate(show, expectation)) return false;
  }
  return ask_status(show);
}

/// Raises the events typed on standard input, until the program is ended.
void go_on(Demonstration& show) {
  std::puts("\nType an event name such as doorState; Ctrl-C ends.\n");
  bool open = true;
  while (true) {
    pollfd input{open ? STDIN_FILENO : -1, POLLIN, 0};
    if (poll(&input, 1, 100) > 0) {
      std::string line;
      open = static_cast<bool>(std::getline(std::cin, line));
      if (open && !line.empty()) tell(show, "tcp:2700", line + "\n");
    }
    show_news(show);
  }
}

int run(const std::string& definitions, bool once) {
  Demonstration show;
  set_param("ENABLE_KOVO_EVENT", "1");
  set_param("LIVE_PLAYLIST_CONTENT", "0");
  write_file("/www/pelm/kovo.txt", read_file(definitions));
  if (!start_network(show)) {
    std::fputs("simulate: cannot set up the network of the device\n", stderr);
    return 1;
  }
  show.daemon = start_daemon();
  const bool passed = demonstrate_all(show);
  if (!once) go_on(show);
  show_news(show);
  stop_daemon(show.daemon);
  std::puts(passed ? "\nEverything expected has arrived." : "\nNot everything has arrived.");
  return passed ? 0 : 1;
}

}  // namespace
}  // namespace kovo::device

int main(int argc, char** argv) {
  const std::string option = argc > 2 ? argv[2] : "";
  if (argc < 2 || argc > 3 || (argc == 3 && option != "--once")) {
    std::fputs("usage: simulate DEFINITION_FILE [--once]\n", stderr);
    return 2;
  }
  return kovo::device::run(argv[1], argc == 3);
}
