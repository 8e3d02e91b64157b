// Plays a scenario inside a throw-away device: `scenario_runner FILE [--accept]`. With --accept the
// scenario is printed anew, with what came out in the place of what was expected.
#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <utility>

#include "device/device.h"
#include "device/sinks.h"
#include "device/status_service.h"
#include "tests/runner/script.h"
#include "tests/runner/transcript.h"

namespace kovo::device {
namespace {

using std::chrono::milliseconds;

#if defined(KOVO_SANITIZED)
constexpr milliseconds kLimit(40'000);
#else
constexpr milliseconds kLimit(15'000);
#endif
constexpr milliseconds kSettling(1'200);  // when accepting: nothing more comes after that
constexpr char kSyncMarker[] = "/var/tmp/plinth_sync_ok";

/// Which transcripts a record belongs to.
const std::map<std::string, std::vector<std::string>> kRecords = {
    {"log", {"main", "out"}}, {"echo", {"event", "out"}}, {"event", {"event"}},
    {"out", {"out"}},         {"main", {"main"}},         {"err", {"err"}}};
const std::map<std::string, std::string> kFiles = {{"main", "/var/tmp/log/kovo.log"},
                                                   {"event", "/var/tmp/log/kovoevent.log"},
                                                   {"err", "/tmp/daemon.err"}};

using Transcripts = std::map<std::string, std::vector<Expected>>;

struct Play {
  std::string path;
  std::vector<ScriptLine> script;
  bool accept = false;
  int line = 0;  // being played

  StatusService service;
  bool receipts = false;  // what the daemon tells of received messages counts
  bool on_network = false;
  bool with_status = false;  // the scenario tells the requests
  std::map<std::string, UdpSink> udp;
  std::map<std::string, TcpSink> tcp;
  Daemon daemon;
  DaemonOptions options;
  Clock::time_point started;
  std::set<std::string> floating;  // records of the block being accepted
  int terminal = -1;
  int terminal_end = -1;  // kept open, so that the terminal lives before and after the daemon

  std::string out;                              // all of stdout
  std::map<std::string, std::string> read;      // of each channel, by the latest look
  std::map<std::string, std::string> consumed;  // what has been compared
  std::string open_end;    // of the main log: a line without end shows on stdout with the next one
  Clock::time_point told;  // when the first action since the last comparison began
  std::int64_t read_ms = 0;
  std::int64_t consumed_ms = 0;
};

std::int64_t wall_ms() {
  using std::chrono::system_clock;
  return std::chrono::duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

[[noreturn]] void fail(const Play& play, const std::string& text) {
  std::cerr << play.path << ":" << play.line << ": " << text << std::endl;
  _exit(1);  // ends the device, the daemon with it
}

void read_terminal(Play& play) {
  char buffer[4096];
  ssize_t size = 0;
  while ((size = read(play.terminal, buffer, sizeof buffer)) > 0) {
    play.out.append(buffer, static_cast<std::size_t>(size));
  }
}

/// Like wait_for, and stdout is read meanwhile: it must not run full.
bool wait_reading(Play& play, const std::function<bool()>& condition, milliseconds limit = kLimit) {
  return wait_for(
      [&] {
        read_terminal(play);
        return condition();
      },
      limit);
}

template <class Sink>
std::string bytes_of(const Sink& sink) {
  std::string text;
  for (const Arrival& arrival : arrivals(sink)) text += arrival.bytes + kEnd;
  return text;
}

std::string text_of(Play& play, const std::string& channel) {
  if (channel == "out") return play.out;
  if (channel == "status") {
    std::string text;
    for (const std::string& request : requests(play.service)) text += request + kEnd;
    return text;
  }
  if (play.udp.count(channel) != 0) return bytes_of(play.udp[channel]);
  if (play.tcp.count(channel) != 0) return bytes_of(play.tcp[channel]);
  return read_file(kFiles.at(channel));
}

/// What has come since the last comparison. A log that was removed begins anew.
std::string fresh_text(Play& play, const std::string& channel) {
  const std::string& text = play.read[channel] = text_of(play, channel);
  const std::string& old = play.consumed[channel];
  return text.compare(0, old.size(), old) == 0 ? text.substr(old.size()) : text;
}

std::string plain_text(Play& play, const std::string& channel) {
  Moment moment;
  moment.from_ms = play.consumed_ms - 50;  // stamped before it was written
  moment.to_ms = wall_ms() + 1;
  moment.age_ms = std::chrono::duration_cast<milliseconds>(Clock::now() - play.started).count();
  moment.uptime_s = play.options.uptime_s;
  moment.pid = play.daemon.pid;
  if (play.read_ms == 0) play.read_ms = moment.to_ms;
  std::string text = fresh_text(play, channel);
  if (channel == "err") text = std::regex_replace(text, std::regex("/\\S*/kovotcp:"), "kovotcp:");
  text = normalise(text, moment);
  if (play.receipts) return text;
  static const std::regex receipt(
      "(\\[handle_\\w+\\] [rR]ecv\\(|@ get (tcp:2700|udp:2728) event)[^\\n]*\\n([^\\[@\\n]*\\n)*");
  return std::regex_replace(text, receipt, "");
}

std::vector<std::string> channels(const Play& play) {
  std::vector<std::string> names = {"main", "event", "out", "err"};
  if (play.with_status) names.emplace_back("status");
  for (const auto& [name, sink] : play.udp) names.push_back(name);
  for (const auto& [name, sink] : play.tcp) names.push_back(name);
  return names;
}

/// What has been read by the latest look counts as compared.
void consume_read(Play& play) {
  play.consumed = play.read;
  play.consumed_ms = std::exchange(play.read_ms, 0);
  play.told = {};
}

void pass_over(Play& play) {
  read_terminal(play);
  play.read_ms = wall_ms();
  for (const std::string& channel : channels(play)) play.read[channel] = text_of(play, channel);
  consume_read(play);
}

// What is expected.

bool is_record(const Play& play, const std::string& verb) {
  return kRecords.count(verb) + play.udp.count(verb) + play.tcp.count(verb) != 0 ||
         verb == "status";
}

/// Sorts the records of a block into the transcripts of its channels.
Transcripts transcripts_of(Play& play, const std::vector<const ScriptLine*>& block) {
  Transcripts transcripts;
  for (const std::string& channel : channels(play)) transcripts[channel] = {};
  if (!play.open_end.empty()) transcripts["out"].push_back({play.open_end});
  for (const ScriptLine* line : block) {
    if (!is_record(play, line->verb)) continue;
    const auto record = kRecords.find(line->verb);
    if (record == kRecords.end()) {
      transcripts[line->verb].push_back(
          {unescape(line->rest) + line->more + kEnd, line->floating, line->optional});
      continue;
    }
    const std::string stamp = record->second[0] == "event" ? "@ " : "";
    const std::string text = stamp + unescape_line(line->rest) + line->more;
    for (const std::string& channel : record->second) {
      transcripts[channel].push_back({text, line->floating, line->optional});
    }
  }
  std::vector<Expected>& out = transcripts["out"];
  play.open_end.clear();
  for (; !out.empty() && out.back().text.back() != '\n'; out.pop_back()) {
    play.open_end.insert(0, out.back().text);
  }
  return transcripts;
}

std::string difference(const std::vector<Expected>& missing, const std::string& extra) {
  std::string text;
  for (const Expected& one : missing) {
    text += "  - " + std::string(one.floating ? "~ " : "") + escape(one.text) + "\n";
  }
  for (const std::string& piece : pieces_of(extra)) text += "  + " + escape(piece) + "\n";
  return text;
}

void compare_transcripts(Play& play, const Transcripts& transcripts) {
  std::string differences;
  Clock::time_point wrong_since{};
  wait_reading(play, [&] {
    differences.clear();
    play.read_ms = 0;
    bool wrong = false;
    for (const auto& [channel, expected] : transcripts) {
      std::vector<Expected> missing;
      std::string extra;
      if (matches(plain_text(play, channel), expected, missing, extra)) continue;
      differences +=
          channel + ": missing (-), or too much or changed (+):\n" + difference(missing, extra);
      wrong |= !extra.empty();
    }
    if (!wrong) wrong_since = Clock::now();
    return differences.empty() || Clock::now() - wrong_since > milliseconds(500);
  });
  if (!differences.empty()) fail(play, differences);
}

/// "CHANNEL MS MS ... within MS": when its arrivals came, counted from the first one.
void expect_offsets(Play& play, std::string words) {
  const std::string channel = take_word(words);
  const std::size_t tolerance = words.find("within ");
  const long within = std::stol(words.substr(tolerance + 7));
  const auto all =
      play.udp.count(channel) != 0 ? arrivals(play.udp[channel]) : arrivals(play.tcp[channel]);
  const std::string& old = play.consumed[channel];
  const auto first = static_cast<std::size_t>(std::count(old.begin(), old.end(), kEnd));
  words.resize(tolerance);
  for (std::size_t i = first; !words.empty(); ++i) {
    const long offset = std::stol(take_word(words));
    const auto measured =
        std::chrono::duration_cast<milliseconds>(all.at(i).at - all.at(first).at).count();
    if (std::labs(measured - offset) <= within) continue;
    fail(play, std::to_string(measured) + " ms, not " + std::to_string(offset));
  }
}

void expect_range(const Play& play, long value, const std::string& range) {
  char* end = nullptr;
  const long least = std::strtol(range.c_str(), &end, 10);
  const long most = std::strtol(end + 2, nullptr, 10);
  if (value >= least && value <= most) return;
  fail(play, "it was " + std::to_string(value) + " ms, not " + range);
}

std::string content_of(const Play& play, const std::string& path) {
  const std::string bytes = read_file(path);
  return bytes == std::to_string(play.daemon.pid) + "\n" ? "PID\n" : bytes;
}

void expect_file(Play& play, const ScriptLine& line) {
  ScriptLine wanted = line;
  const std::string path = take_word(wanted.rest);
  const std::string text = unescape(wanted.rest) + wanted.more;
  const auto as_wanted = [&] { return file_exists(path) && content_of(play, path) == text; };
  if (line.verb == "still" ? as_wanted() : wait_reading(play, as_wanted)) return;
  fail(play, path + " holds\n" + difference({}, content_of(play, path)));
}

void expect_other(Play& play, const ScriptLine& line, milliseconds took) {
  if (line.verb == "file" || line.verb == "still") {
    expect_file(play, line);
  } else if (line.verb == "took") {  // RANGE: until all has come
    expect_range(play, took.count(), line.rest);
  } else if (line.verb == "offsets") {
    expect_offsets(play, line.rest);
  } else if (line.verb == "exit") {
    const int status = wait_exit(play.daemon, kLimit);
    if (status != std::stoi(line.rest)) fail(play, "exit status " + std::to_string(status));
  } else if (!is_record(play, line.verb)) {
    fail(play, "unknown: " + line.verb);
  }
}

void compare(Play& play, const std::vector<const ScriptLine*>& block) {
  play.line = block[0]->number;
  compare_transcripts(play, transcripts_of(play, block));
  const auto took = std::chrono::duration_cast<milliseconds>(Clock::now() - play.told);
  for (const ScriptLine* line : block) {
    play.line = line->number;
    expect_other(play, *line, took);
  }
  consume_read(play);
}

// Accepting.

std::string written(const std::string& text) {
  const bool has_end = text.back() == '\n' || text.back() == kEnd;
  return escape(text.substr(0, text.size() - has_end)) + (has_end ? "" : "\\");
}

void print_record(const Play& play, const std::string& verb, const std::string& text) {
  const std::string shown = written(text);
  const std::string record = verb + (shown.empty() ? "" : " ") + shown;
  std::cout << (play.floating.count(record) != 0 ? "  ~" : "  ") << record << "\n";
}

std::string take_piece(std::vector<std::string>& pieces) {
  const std::string piece = pieces.front();
  pieces.erase(pieces.begin());
  return piece;
}

bool starts_with(const std::string& text, const std::vector<std::string>& pieces) {
  return !pieces.empty() && text.compare(0, pieces[0].size(), pieces[0]) == 0;
}

/// Tells the records of the logs by where they came out: stdout has most of them.
void print_records(Play& play) {
  std::vector<std::string> main = pieces_of(plain_text(play, "main"));
  std::vector<std::string> events;
  for (const std::string& piece : pieces_of(plain_text(play, "event"))) {
    if (piece.compare(0, 2, "@ ") == 0 || events.empty()) events.emplace_back();
    events.back() += piece;
  }
  std::string out = plain_text(play, "out");
  if (!out.empty()) out.erase(0, std::exchange(play.open_end, "").size());
  const auto take = [&](const char* verb, std::vector<std::string>& pieces, bool on_stdout) {
    const std::string piece = take_piece(pieces);
    if (on_stdout) out.erase(0, piece.size());
    print_record(play, verb, piece.substr(piece.compare(0, 2, "@ ") == 0 ? 2 : 0));
  };
  while (!out.empty()) {
    const bool echo = out.compare(0, 2, "@ ") == 0;
    while (echo && !events.empty() && !starts_with(out, events)) take("event", events, false);
    if (echo && starts_with(out, events)) {
      take("echo", events, true);
    } else if (starts_with(out, main)) {
      take("log", main, true);
    } else {
      const std::string line = pieces_of(out)[0];
      out.erase(0, line.size());
      print_record(play, "out", line);
    }
  }
  if (main.size() == 1 && main[0].back() != '\n') {
    play.open_end += main[0];
    take("log", main, false);
  }
  while (!main.empty()) take("main", main, false);
  while (!events.empty()) take("event", events, false);
}

void accept(Play& play, const std::vector<const ScriptLine*>& block) {
  play.floating.clear();
  for (const ScriptLine* line : block) {
    if (line->floating) play.floating.insert(line->verb + " " + line->rest);
  }
  milliseconds settling = kSettling;
  for (const ScriptLine* line : block) {
    if (line->verb != "took") continue;
    settling = milliseconds(std::stol(line->rest.substr(line->rest.find("..") + 2)));
  }
  std::size_t before = 0;
  auto latest = Clock::now();
  wait_reading(play, [&] {
    std::size_t size = 0;
    for (const std::string& channel : channels(play)) size += text_of(play, channel).size();
    if (size != before) latest = Clock::now();
    before = size;
    return Clock::now() - latest > settling;
  });
  print_records(play);
  for (const std::string& channel : channels(play)) {
    if (kFiles.count(channel) != 0 || channel == "out") continue;
    for (const std::string& piece : pieces_of(plain_text(play, channel)))
      print_record(play, channel, piece);
  }
  for (const std::string& piece : pieces_of(plain_text(play, "err")))
    print_record(play, "err", piece);
  for (const ScriptLine* line : block) {
    if (is_record(play, line->verb) || line->verb.empty()) continue;
    std::string rest = line->rest;
    const std::string path = take_word(rest);
    if (line->verb == "exit") wait_exit(play.daemon, kLimit);
    if (line->verb != "file" && line->verb != "still") {
      std::cout << line->source;
      continue;
    }
    const std::string content = content_of(play, path);
    const bool short_one = escape(content).size() < 70;
    std::cout << "  " << line->verb << " " << path << (short_one ? " " + escape(content) : "")
              << "\n";
    for (const std::string& one : pieces_of(short_one ? "" : content)) {
      std::cout << "    | " << written(one) << "\n";
    }
  }
  pass_over(play);
}

// What is told.

void open_terminal(Play& play) {
  if (play.terminal >= 0) close(play.terminal);
  if (play.terminal_end >= 0) close(play.terminal_end);
  play.terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
  if (grantpt(play.terminal) + unlockpt(play.terminal) != 0) fail(play, "no terminal");
  play.options.stdout_path = ptsname(play.terminal);
  play.terminal_end = open(play.options.stdout_path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  termios raw{};
  tcgetattr(play.terminal_end, &raw);
  cfmakeraw(&raw);
  tcsetattr(play.terminal_end, TCSANOW, &raw);
}

void start(Play& play, std::string words) {
  open_terminal(play);
  play.options.args.clear();
  while (!words.empty()) {
    const std::string word = unescape(take_word(words));
    play.options.args.push_back(word == "\"\"" ? "" : word);
  }
  play.started = Clock::now();
  play.daemon = start_daemon(play.options);
}

void set_service(Play& play, std::string rest) {
  const std::map<std::string, StatusMode> modes = {{"answer", StatusMode::kAnswerAndClose},
                                                   {"hold", StatusMode::kAnswerAndHold},
                                                   {"silent", StatusMode::kSilent},
                                                   {"close", StatusMode::kCloseAtOnce},
                                                   {"endless", StatusMode::kEndless}};
  const std::string word = take_word(rest);
  if (word == "off") return stop_status_service(play.service);
  if (modes.count(word) == 0) fail(play, "unknown: " + word);
  const std::string answer = rest.empty() ? default_status_answer() : unescape(rest);
  if (play.service.thread.joinable()) return set_status(play.service, modes.at(word), answer);
  if (!start_status_service(play.service, modes.at(word), answer)) fail(play, "port taken");
}

/// A start on a device that has all it waits for; what came out until it supervises is passed over.
void boot(Play& play, const std::string& words) {
  if (!std::exchange(play.on_network, true)) give_address("eth0", "10.0.0.2/24");
  if (!play.service.thread.joinable()) set_service(play, "answer");
  std::remove(kSyncMarker);
  start(play, words);
  if (!wait_reading(play, [] { return file_exists(kSyncMarker); })) fail(play, "no supervision");
  pass_over(play);
}

/// Two passes of the supervision loop: the second one is whole.
void pass(Play& play) {
  for (int times = 0; times < 2; ++times) {
    std::remove(kSyncMarker);
    if (!wait_reading(play, [] { return file_exists(kSyncMarker); })) fail(play, "no pass");
  }
}

struct Address {
  bool udp = false;
  std::string ip = "127.0.0.1";
  int port = 0;
};

Address address_of(const std::string& text) {
  const std::size_t first = text.find(':');
  const std::size_t last = text.rfind(':');
  Address address;
  address.udp = text.compare(0, first, "udp") == 0;
  if (last > first) address.ip = text.substr(first + 1, last - first - 1);
  address.port = std::stoi(text.substr(last + 1));
  return address;
}

void listen(Play& play, std::string rest) {
  const std::string channel = take_word(rest);
  const Address at = address_of(channel);
  const std::string word = take_word(rest);
  const TcpSinkMode mode = word == "reply"  ? TcpSinkMode::kReply
                           : word == "deaf" ? TcpSinkMode::kDeaf
                                            : TcpSinkMode::kSilent;
  const bool listening =
      at.udp ? start_udp_sink(play.udp[channel], at.ip, at.port)
             : start_tcp_sink(play.tcp[channel], at.ip, at.port, mode, unescape(rest));
  if (!listening) fail(play, "cannot listen");
}

void tell(Play& play, const ScriptLine& line) {
  ScriptLine told = line;
  const Address to = address_of(take_word(told.rest));
  const std::string bytes = unescape(told.rest) + told.more;
  if (to.udp) return send_udp(to.port, bytes);
  const int error = send_tcp(to.port, bytes);
  if (error != 0) fail(play, std::strerror(error));
}

/// Nobody listens at that address.
void expect_refusal(Play& play, const std::string& text) {
  const Address at = address_of(text);
  const Descriptor client(socket(AF_INET, at.udp ? SOCK_DGRAM : SOCK_STREAM, 0));
  sockaddr_in to{};
  to.sin_family = AF_INET;
  to.sin_port = htons(static_cast<std::uint16_t>(at.port));
  inet_pton(AF_INET, at.ip.c_str(), &to.sin_addr);
  int result = connect(client.fd, reinterpret_cast<const sockaddr*>(&to), sizeof to);
  if (at.udp) {
    char byte = 'x';
    pollfd refusal{client.fd, POLLIN, 0};
    send(client.fd, "refuse", 6, 0);
    result = poll(&refusal, 1, 1000) == 1 ? static_cast<int>(recv(client.fd, &byte, 1, 0)) : 0;
  }
  if (result >= 0 || errno != ECONNREFUSED) fail(play, "not refused");
}

void write_whole(const ScriptLine& line) {
  ScriptLine written = line;
  const std::string path = take_word(written.rest);
  write_file(path + ".new", unescape(written.rest) + written.more);
  std::rename((path + ".new").c_str(), path.c_str());  // nobody reads half of it
}

void act(Play& play, const ScriptLine& line) {
  const std::string& verb = line.verb;
  std::string rest = line.rest;
  const std::string name = take_word(rest);
  if (verb == "tell") return tell(play, line);
  if (verb == "write") return write_whole(line);
  if (verb == "param") return set_param(name, unescape(rest));
  if (verb == "uptime")
    play.options.uptime_s = std::stol(name);
  else if (verb == "status")
    set_service(play, line.rest);
  else if (verb == "listen")
    listen(play, line.rest);
  else if (verb == "start")
    start(play, line.rest);
  else if (verb == "boot")
    boot(play, line.rest);
  else if (verb == "pass")
    pass(play);
  else if (verb == "kill")
    stop_daemon(play.daemon);
  else if (verb == "receipts")
    play.receipts = true;
  else if (verb == "refused")
    expect_refusal(play, name);
  else if (verb == "run") {
    if (std::system(("{ " + line.rest + "; } >&2").c_str()) != 0) fail(play, "failed");
  } else if (verb != "serial")
    fail(play, "unknown: " + verb);
}

/// Sends a word down each road that messages take; when it has come out everywhere, nothing that
/// was told before can still be on its way, and nothing else may have come.
void fence(Play& play) {
  const char* word = "fence";
  send_tcp(2700, "fence\n");
  send_udp(2727, "fence:");
  send_tcp(2727, "fence:");
  send_udp(2728, "fence");
  const auto has = [&](const std::string& channel, const std::string& text) {
    return fresh_text(play, channel).find(text) != std::string::npos;
  };
  const bool through = wait_reading(play, [&] {
    const std::string main = fresh_text(play, "main");
    const std::size_t command = main.find("Error cmd=fence\n");
    return command != std::string::npos &&
           main.find("Error cmd=fence\n", command + 1) != std::string::npos &&
           has("main", "no mapping event fence\n") && has("out", "no mapping event fence\n") &&
           (has("event", "push event: fence\n") || has("main", "KOVO disable, skip fence\n"));
  });
  if (!through) fail(play, "the daemon does not take messages any more");
  for (const std::string& channel : channels(play)) {
    std::string text = plain_text(play, channel);
    if (channel == "out") text.erase(0, play.open_end.size());
    std::string extra;
    for (const std::string& piece : pieces_of(text)) {
      const bool of_fence = piece.find(word) != std::string::npos || channel == "status" ||
                            piece == "[renew_macro_var] save /tmp/kovo_var.txt\n";
      if (!of_fence) extra += piece;
    }
    if (!extra.empty()) fail(play, channel + ": too much at the end:\n" + difference({}, extra));
  }
}

void play_script(Play& play) {
  std::vector<const ScriptLine*> block;
  const auto end_block = [&] {
    if (block.empty()) return;
    play.accept ? accept(play, block) : compare(play, block);
    block.clear();
  };
  for (const ScriptLine& line : play.script) {
    if (line.expected && line.source.find_first_not_of(" \n") != std::string::npos) {
      block.push_back(&line);
      continue;
    }
    end_block();
    if (play.accept) std::cout << line.source;
    if (line.verb.empty()) continue;
    play.line = line.number;
    if (play.told == Clock::time_point{}) play.told = Clock::now();
    act(play, line);
  }
  end_block();
  if (!play.accept && play.daemon.pid > 0) fence(play);
}

int run(int argc, char** argv) {
  Play play;
  if (argc > 1) play.path = argv[1];
  play.accept = argc > 2 && std::string(argv[2]) == "--accept";
  play.script = read_script(read_file(play.path));
  if (play.script.empty()) fail(play, "nothing to play");
  play.with_status =
      std::any_of(play.script.begin(), play.script.end(),
                  [](const ScriptLine& line) { return line.expected && line.verb == "status"; });
  setenv("TZ", "KOV-05:45", 1);  // local time must differ from the world's
  tzset();
  set_param("ENABLE_KOVO_EVENT", "1");
  play.consumed_ms = wall_ms();
  play_script(play);
  stop_daemon(play.daemon);
  return 0;
}

}  // namespace
}  // namespace kovo::device

int main(int argc, char** argv) {
  return kovo::device::run(argc, argv);
}
