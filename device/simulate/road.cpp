#include "device/simulate/road.h"

#include "frame/text.h"

namespace kovo::device {
namespace {

const Destination kLamps = {true, "10.0.0.5", 5000};
const Destination kMixer = {false, "10.0.0.6", 23};
const Destination kPanel = {true, "10.0.0.7", 6000};
const Destination kClient = {false, "127.0.0.1", 5127};
const Destination kReplies = {true, "127.0.0.1", 9000};
const Destination kTcpReplies = {false, "127.0.0.1", 9000};

struct Expected {
  Destination where;
  std::string start;  // of the bytes
};

/// What one thing told to the daemon must make arrive.
struct Station {
  const char* channel;  // "" when nothing is told
  const char* message;
  std::vector<Expected> arrivals;
};

bool pass(Show& show, const Station& station) {
  if (*station.channel != '\0') tell(show, station.channel, station.message);
  for (const Expected& expected : station.arrivals) {
    const bool arrived = wait_for([&] {
      show_news(show);
      return arrived_since(show.network, expected.where, expected.start);
    });
    if (arrived) continue;
    show_line(show.screen, {Clock::now(), Tone::kAlarm, "MISSING",
                            text_of(expected.where) + " \"" + printable(expected.start) + "\""});
    return false;
  }
  return true;
}

/// Asks the status service through the daemon's client mode.
bool ask_status(Show& show) {
  show_line(show.screen, {Clock::now(), Tone::kTold, "run", "kovotcp --client getStatus"});
  DaemonOptions options;
  options.args = {"--client", "getStatus"};
  options.stdout_path = "/tmp/client.out";
  Daemon client = start_daemon(options);
  if (wait_exit(client) != 0) return false;
  const std::string answer = read_file("/tmp/client.out");
  for (const std::string_view line : split_lines(answer)) {
    show_line(show.screen, {Clock::now(), Tone::kLeft, "", std::string(line)});
  }
  return answer.find("name=Lobby\n") != std::string::npos;
}

}  // namespace

bool demonstrate(Show& show) {
  const Station road[] = {
      {"", "", {{kLamps, "POWER ON\r"}, {kMixer, "OK\r"}}},
      {"tcp:2700",
       "doorState=open\n",
       {{kPanel, "Door of Lobby at "}, {kMixer, "LIGHTS ON\r"}, {kPanel, default_status_answer()}}},
      {"udp:2727",
       "e_param_set::DEVICE_NAME::Foyer\n",
       {{kClient, "DEVICE_NAME=Foyer\n"}, {kPanel, "RENAMED"}}},
      {"udp:2727", "get_udp::DEVICE_NAME::127.0.0.1::9000", {{kReplies, "DEVICE_NAME=Foyer\n"}}},
      {"tcp:2727",
       "get_tcp::device_name::127.0.0.1::9000\n",
       {{kTcpReplies, "device_name=Foyer\n"}}},
      {"udp:2727",
       "renew_udp::127.0.0.1::9000",
       {{kReplies, "DEVICE_NAME=Foyer\n"}, {kReplies, "_RENEW_NUM=1\n"}}},
      {"tcp:2727", "renew_tcp::127.0.0.1::9000", {{kTcpReplies, "_RENEW_NUM=1\n"}}},
      {"udp:2728", "local:news.m3u\n", {{kPanel, "PLAY"}}},
  };
  for (const Station& station : road) {
    if (!pass(show, station)) return false;
  }
  return ask_status(show);
}

}  // namespace kovo::device
