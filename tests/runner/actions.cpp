// What the lines at the margin do.
#include <fcntl.h>
#include <pty.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <memory>
#include <sstream>

#include "tests/runner/play.h"

namespace kovo::device {

void fail(const Play& play, const std::string& text) {
  std::cerr << play.path << ":" << play.line << ": " << text << std::endl;
  _exit(1);
}

namespace {

constexpr char kSyncMarker[] = "/var/tmp/plinth_sync_ok";
const std::map<std::string, StatusMode> kModes = {{"answer", StatusMode::kAnswerAndClose},
                                                  {"hold", StatusMode::kAnswerAndHold},
                                                  {"silent", StatusMode::kSilent},
                                                  {"close", StatusMode::kCloseAtOnce},
                                                  {"endless", StatusMode::kEndless}};

void set_service(Play& play, const std::string& mode, const std::string& text) {
  const std::string answer = text.empty() ? default_status_answer() : text;
  if (mode == "off") return stop_status_service(play.service);
  if (kModes.count(mode) == 0) fail(play, "unknown: " + mode);
  if (play.service.thread.joinable()) return set_status(play.service, kModes.at(mode), answer);
  if (!start_status_service(play.service, kModes.at(mode), answer)) fail(play, "port taken");
}

void start(Play& play, const std::string& arguments) {
  termios raw{};
  cfmakeraw(&raw);
  char name[64];
  int ends[2];
  if (openpty(&ends[0], &ends[1], name, &raw, nullptr) != 0) fail(play, "no terminal");
  fcntl(ends[0], F_SETFL, O_NONBLOCK);
  play.terminal = Descriptor(ends[0]);
  play.terminal_end = Descriptor(ends[1]);
  play.options.stdout_path = name;
  play.options.args.clear();
  std::istringstream words(arguments);
  for (std::string word; words >> word;) {
    play.options.args.push_back(word == "\"\"" ? "" : unescape(word));
  }
  play.started = Clock::now();
  play.daemon = start_daemon(play.options);
  play.pid = play.daemon.pid;
}

void wait_supervision(Play& play) {
  std::remove(kSyncMarker);
  if (!wait_looking(play, [] { return file_exists(kSyncMarker); })) fail(play, "no supervision");
}

/// A start on a device that has all it waits for; what comes out meanwhile is passed over.
void boot(Play& play, const std::string& arguments) {
  if (std::system("ip addr replace 10.0.0.2/24 dev eth0") != 0) fail(play, "no network");
  if (!play.service.thread.joinable()) set_service(play, "answer", "");
  start(play, arguments);
  wait_supervision(play);
  consume(play);
}

/// "udp:PORT" or "tcp:PORT", with an address before the port if it is not 127.0.0.1.
void listen(Play& play, const std::string& name, const std::string& reply) {
  const std::size_t colon = name.rfind(':');
  const std::string ip = colon == 3 ? "127.0.0.1" : name.substr(4, colon - 4);
  const int port = std::stoi(name.substr(colon + 1));
  const TcpSinkMode mode = reply.empty() ? TcpSinkMode::kSilent : TcpSinkMode::kReply;
  const bool is_udp = name[0] == 'u';
  const auto udp = std::make_shared<UdpSink>();
  const auto tcp = std::make_shared<TcpSink>();
  const bool listens =
      is_udp ? start_udp_sink(*udp, ip, port) : start_tcp_sink(*tcp, ip, port, mode, reply);
  if (!listens) fail(play, "cannot listen");
  play.channels[name].look = [=] { return is_udp ? arrivals(*udp) : arrivals(*tcp); };
  play.channels[name].end = kArrivalEnd;
}

void count_requests(Play& play) {
  play.channels["status"].end = kArrivalEnd;
  play.channels["status"].look = [&play] {
    std::vector<Arrival> all;
    for (const std::string& request : requests(play.service)) all.push_back({{}, request});
    return all;
  };
}

void tell(Play& play, const std::string& channel, const std::string& bytes) {
  const int port = std::stoi(channel.substr(4));
  if (channel[0] == 'u') return send_udp(port, bytes);
  if (send_tcp(port, bytes) != 0) fail(play, "no connection");
}

}  // namespace

void act(Play& play, const ScriptLine& line) {
  if (play.told == Clock::time_point{}) play.told = Clock::now();
  if (line.verb == "tell") {
    for (const std::string& text : split_texts(line.text)) tell(play, line.name, text);
  } else if (line.verb == "write") {
    write_file(line.name + ".new", line.text);
    std::rename((line.name + ".new").c_str(), line.name.c_str());  // nobody reads half of it
  } else if (line.verb == "run") {
    if (std::system(("{ " + line.rest + "; } >&2").c_str()) != 0) fail(play, "failed");
  } else if (line.verb == "param") {
    set_param(line.name, line.text);
  } else if (line.verb == "uptime") {
    play.options.uptime_s = std::stol(line.rest);
  } else if (line.verb == "status") {
    set_service(play, line.name, line.text);
  } else if (line.verb == "listen") {
    std::istringstream names(line.rest);
    for (std::string name; names >> name;) listen(play, name, "");
  } else if (line.verb == "reply") {
    listen(play, line.name, line.text);
  } else if (line.verb == "start") {
    start(play, line.rest);
  } else if (line.verb == "boot") {
    boot(play, line.rest);
  } else if (line.verb == "pass") {
    wait_supervision(play);
    wait_supervision(play);  // a whole one
  } else if (line.verb == "kill") {
    stop_daemon(play.daemon);
  } else if (line.verb == "receipts") {
    play.receipts = true;
  } else if (line.verb == "requests") {
    count_requests(play);
  } else if (!line.verb.empty() && line.verb != "serial") {
    fail(play, "unknown: " + line.verb);
  }
}

}  // namespace kovo::device
