// Plays a scenario inside a throw-away device: `scenario_runner FILE [--accept]`. With --accept the
// scenario is printed anew, with what came out in the place of what was expected.
#include <fcntl.h>
#include <pty.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <regex>
#include <set>
#include <utility>

#include "device/device.h"
#include "device/sinks.h"
#include "device/status_service.h"
#include "tests/runner/script.h"
#include "tests/runner/transcript.h"

namespace kovo::device {
namespace {

using std::chrono::milliseconds;
using Block = std::vector<const ScriptLine*>;

#if defined(KOVO_SANITIZED)
constexpr milliseconds kLimit(60'000);
#else
constexpr milliseconds kLimit(30'000);
#endif
constexpr milliseconds kSettling(1'200);  // when accepting: nothing more comes after that
constexpr char kSyncMarker[] = "/var/tmp/plinth_sync_ok";

/// The transcripts that a record of the daemon belongs to.
const std::map<std::string, std::vector<std::string>> kRecords = {
    {"log", {"main", "out"}}, {"echo", {"event", "out"}}, {"event", {"event"}},
    {"out", {"out"}},         {"main", {"main"}},         {"err", {"err"}}};
const std::map<std::string, std::string> kFiles = {{"main", "/var/tmp/log/kovo.log"},
                                                   {"event", "/var/tmp/log/kovoevent.log"},
                                                   {"err", "/tmp/daemon.err"}};
const std::map<std::string, StatusMode> kModes = {{"answer", StatusMode::kAnswerAndClose},
                                                  {"hold", StatusMode::kAnswerAndHold},
                                                  {"silent", StatusMode::kSilent},
                                                  {"close", StatusMode::kCloseAtOnce},
                                                  {"endless", StatusMode::kEndless}};

struct Play {
  std::string path;
  std::vector<ScriptLine> script;
  bool accept = false;
  int line = 0;           // being played
  bool receipts = false;  // what the daemon tells of received messages counts
  bool requests = false;  // so do its requests to the status service

  StatusService service;
  std::map<std::string, UdpSink> udp;
  std::map<std::string, TcpSink> tcp;
  Daemon daemon;
  DaemonOptions options;
  Clock::time_point started;
  bool on_network = false;
  int terminal = -1;
  int terminal_end = -1;  // kept open, so that the terminal lives before and after the daemon

  std::string out;                              // all of stdout
  std::map<std::string, std::string> read;      // of each channel, by the latest look
  std::map<std::string, std::string> consumed;  // what has been compared
  std::int64_t read_ms = 0;
  std::int64_t consumed_ms = 0;
  std::string open_end;    // of the main log: a line without end shows on stdout with the next one
  Clock::time_point told;  // when the first action since the last comparison began

  std::string printed;  // when accepting: the line under way
  std::set<std::string> floating;
};

std::int64_t wall_ms() {
  using std::chrono::system_clock;
  return std::chrono::duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

std::int64_t ms_between(Clock::time_point from, Clock::time_point to) {
  return std::chrono::duration_cast<milliseconds>(to - from).count();
}

[[noreturn]] void fail(const Play& play, const std::string& text) {
  std::cerr << play.path << ":" << play.line << ": " << text << std::endl;
  _exit(1);  // ends the device, the daemon with it
}

// Looking.

void read_terminal(Play& play) {
  char buffer[4096];
  ssize_t size = 0;
  while ((size = read(play.terminal, buffer, sizeof buffer)) > 0) {
    play.out.append(buffer, static_cast<std::size_t>(size));
  }
}

/// Like wait_for, and stdout is read meanwhile: it must not run full.
bool wait_reading(Play& play, const std::function<bool()>& condition) {
  return wait_for([&] { return read_terminal(play), condition(); }, kLimit);
}

std::vector<std::string> channels(const Play& play) {
  std::vector<std::string> names = {"main", "event", "out", "err"};
  if (play.requests) names.emplace_back("status");
  for (const auto& [name, sink] : play.udp) names.push_back(name);
  for (const auto& [name, sink] : play.tcp) names.push_back(name);
  return names;
}

std::vector<Arrival> arrivals_of(Play& play, const std::string& channel) {
  return channel[0] == 'u' ? arrivals(play.udp[channel]) : arrivals(play.tcp[channel]);
}

std::string text_of(Play& play, const std::string& channel) {
  if (channel == "out") return play.out;
  if (kFiles.count(channel) != 0) return read_file(kFiles.at(channel));
  std::string text;
  if (channel == "status") {
    for (const std::string& request : requests(play.service)) text += request + kEnd;
  } else {
    for (const Arrival& arrival : arrivals_of(play, channel)) text += arrival.bytes + kEnd;
  }
  return text;
}

/// What has come since the last comparison. A log that was removed begins anew.
std::string fresh_text(Play& play, const std::string& channel) {
  const std::string& text = play.read[channel] = text_of(play, channel);
  const std::string& old = play.consumed[channel];
  return text.compare(0, old.size(), old) == 0 ? text.substr(old.size()) : text;
}

std::string plain_text(Play& play, const std::string& channel) {
  static const std::regex binary("/\\S*/kovotcp:");
  static const std::regex receipt(
      "(\\[handle_\\w+\\] [rR]ecv\\(|@ get (tcp:2700|udp:2728) event)[^\\n]*\\n([^\\[@\\n]*\\n)*");
  const Moment moment = {play.consumed_ms - 200,  // stamped before it was written
                         wall_ms() + 1, ms_between(play.started, Clock::now()),
                         play.options.uptime_s, play.daemon.pid};
  if (play.read_ms == 0) play.read_ms = moment.to_ms;
  std::string text = normalise(fresh_text(play, channel), moment);
  if (channel == "err") text = std::regex_replace(text, binary, "kovotcp:");
  return play.receipts ? text : std::regex_replace(text, receipt, "");
}

/// What the latest look has read counts as compared.
void consume_read(Play& play) {
  play.consumed = play.read;
  play.consumed_ms = std::exchange(play.read_ms, 0);
  play.told = {};
}

void pass_over(Play& play) {
  read_terminal(play);
  play.read_ms = wall_ms();
  for (const std::string& channel : channels(play)) fresh_text(play, channel);
  consume_read(play);
}

// What is expected.

bool is_record(const Play& play, const std::string& verb) {
  return kRecords.count(verb) + play.udp.count(verb) + play.tcp.count(verb) != 0 ||
         verb == "status";
}

void compare_records(Play& play, const Block& block) {
  std::map<std::string, std::vector<Expected>> transcripts;
  for (const std::string& channel : channels(play)) transcripts[channel];
  std::vector<Expected>& out = transcripts["out"];
  if (!play.open_end.empty()) out.push_back({std::exchange(play.open_end, "")});
  for (const ScriptLine* line : block) {
    if (!is_record(play, line->verb)) continue;
    const auto record = kRecords.find(line->verb);
    for (const std::string& text : split_texts(line->rest)) {
      if (record == kRecords.end()) {
        transcripts[line->verb].push_back({unescape(text) + kEnd, line->floating, line->optional});
        continue;
      }
      const std::string stamp = record->second[0] == "event" ? "@ " : "";
      for (const std::string& channel : record->second) {
        transcripts[channel].push_back(
            {stamp + unescape_line(text), line->floating, line->optional});
      }
    }
  }
  for (; !out.empty() && out.back().text.back() != '\n'; out.pop_back()) {
    play.open_end.insert(0, out.back().text);
  }

  std::string differences;
  Clock::time_point right = Clock::now();
  wait_reading(play, [&] {
    differences.clear();
    play.read_ms = 0;
    bool wrong = false;
    for (const auto& [channel, expected] : transcripts) {
      const std::string lines = difference(plain_text(play, channel), expected, wrong);
      if (!lines.empty()) differences += "\n" + channel + " lacks (-), has (+):\n" + lines;
    }
    if (!wrong) right = Clock::now();
    return differences.empty() || Clock::now() - right > milliseconds(500);
  });
  if (!differences.empty()) fail(play, differences);
}

/// "CHANNEL MS MS ... within MS": when its arrivals came, counted from the first one.
void expect_offsets(Play& play, const ScriptLine& line) {
  const std::vector<Arrival> all = arrivals_of(play, line.name);
  const std::string& old = play.consumed[line.name];
  const auto first = static_cast<std::size_t>(std::count(old.begin(), old.end(), kEnd));
  std::string words = line.text;
  const std::int64_t within = std::stol(words.substr(words.find("within ") + 7));
  for (std::size_t i = first; i < all.size(); ++i) {
    const std::int64_t offset = std::stol(take_word(words));
    const std::int64_t measured = ms_between(all[first].at, all[i].at);
    if (std::abs(measured - offset) > within) fail(play, std::to_string(measured) + " ms");
  }
}

/// "LEAST..MOST" milliseconds until all had come.
void expect_time(const Play& play, const std::string& range, std::int64_t took) {
  const std::int64_t most = std::stol(range.substr(range.find("..") + 2));
  if (took < std::stol(range) || took > most) fail(play, std::to_string(took) + " ms");
}

std::string content_of(const Play& play, const std::string& path) {
  const std::string bytes = read_file(path);
  return bytes == std::to_string(play.daemon.pid) + "\n" ? "PID\n" : bytes;
}

void expect_file(Play& play, const ScriptLine& line) {
  const auto as_wanted = [&] {
    return file_exists(line.name) && content_of(play, line.name) == line.text;
  };
  if (line.verb == "still" ? as_wanted() : wait_reading(play, as_wanted)) return;
  fail(play, "it holds\n" + content_of(play, line.name));
}

void compare(Play& play, const Block& block) {
  compare_records(play, block);
  const std::int64_t took = ms_between(play.told, Clock::now());
  for (const ScriptLine* line : block) {
    play.line = line->number;
    if (line->verb == "file" || line->verb == "still") {
      expect_file(play, *line);
    } else if (line->verb == "took") {
      expect_time(play, line->rest, took);
    } else if (line->verb == "offsets") {
      expect_offsets(play, *line);
    } else if (line->verb == "exit") {
      const int status = wait_exit(play.daemon, kLimit);
      if (status != std::stoi(line->rest)) fail(play, "status " + std::to_string(status));
    } else if (!is_record(play, line->verb)) {
      fail(play, "unknown: " + line->verb);
    }
  }
  consume_read(play);
}

/// Sends a word down each road that messages take; when it has come out everywhere, nothing that
/// was told before can still be on its way, and nothing else may have come.
void fence(Play& play) {
  send_tcp(2700, "fence\n");
  send_udp(2727, "fence:");
  send_tcp(2727, "fence2:");
  send_udp(2728, "fence");
  const bool through = wait_reading(play, [&] {
    const std::string out = fresh_text(play, "out");
    const auto shows = [&](const char* text) { return out.find(text) != std::string::npos; };
    const bool pushed = fresh_text(play, "event").find("push event: fence\n") != std::string::npos;
    return shows("cmd=fence\n") && shows("cmd=fence2\n") && shows("mapping event fence\n") &&
           (pushed || shows("disable, skip fence\n"));
  });
  if (!through) fail(play, "the daemon does not take messages any more");
  for (const std::string& channel : channels(play)) {
    std::string extra;
    for (const std::string& piece : pieces_of(plain_text(play, channel))) {
      const bool of_fence = piece.find("fence") != std::string::npos || channel == "status" ||
                            piece.find("[renew_macro_var] save") == 0;
      if (!of_fence) extra += "  + " + escape(piece) + "\n";
    }
    if (!extra.empty()) fail(play, channel + " has too much at the end:\n" + extra);
  }
}

// Accepting.

void print(Play& play, const std::string& line) {
  if (!play.printed.empty()) std::cout << play.printed << "\n";
  play.printed = line;
}

void print_record(Play& play, const std::string& verb, const std::string& text) {
  constexpr std::size_t kWidth = 100;
  const bool has_end = text.back() == '\n' || text.back() == kEnd;
  const std::string written =
      escape(text.substr(0, text.size() - (has_end ? 1 : 0))) + (has_end ? "" : "\\");
  const bool same = play.printed.compare(0, verb.size() + 3, "  " + verb + " ") == 0;
  if (play.floating.count(written) != 0) {
    print(play, "  ~" + verb + " " + written);
  } else if (same && play.printed.size() + written.size() + 4 <= kWidth) {
    play.printed += " ;; " + written;
  } else {
    print(play, "  " + verb + (written.empty() ? "" : " ") + written);
  }
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
  const auto comes = [&](const std::vector<std::string>& pieces) {
    return !pieces.empty() && out.compare(0, pieces[0].size(), pieces[0]) == 0;
  };
  const auto take = [&](const char* verb, std::vector<std::string>& pieces, bool on_stdout) {
    const std::string piece = pieces.front();
    pieces.erase(pieces.begin());
    if (on_stdout) out.erase(0, piece.size());
    print_record(play, verb, piece.substr(piece.compare(0, 2, "@ ") == 0 ? 2 : 0));
  };
  while (!out.empty()) {
    std::vector<std::string> lines = pieces_of(out);
    const bool echo = lines[0].compare(0, 2, "@ ") == 0;
    while (echo && !events.empty() && !comes(events)) take("event", events, false);
    if (echo && comes(events)) {
      take("echo", events, true);
    } else if (comes(main)) {
      take("log", main, true);
    } else {
      take("out", lines, true);
    }
  }
  if (main.size() == 1 && main[0].back() != '\n') {
    play.open_end += main[0];
    take("log", main, false);
  }
  while (!main.empty()) take("main", main, false);
  while (!events.empty()) take("event", events, false);
}

void settle(Play& play, milliseconds settling) {
  std::size_t before = 0;
  Clock::time_point latest = Clock::now();
  wait_reading(play, [&] {
    std::size_t size = 0;
    for (const std::string& channel : channels(play)) size += text_of(play, channel).size();
    if (std::exchange(before, size) != size) latest = Clock::now();
    return Clock::now() - latest > settling;
  });
}

void accept(Play& play, const Block& block) {
  milliseconds settling = kSettling;
  play.floating.clear();
  for (const ScriptLine* line : block) {
    if (line->floating) play.floating.insert(line->rest);
    if (line->verb == "took")
      settling = milliseconds(std::stol(line->rest.substr(line->rest.find("..") + 2)));
    if (line->verb == "exit") wait_exit(play.daemon, kLimit);
  }
  settle(play, settling);
  print_records(play);
  for (const std::string& channel : channels(play)) {
    if (channel == "main" || channel == "event" || channel == "out") continue;
    for (const std::string& piece : pieces_of(plain_text(play, channel)))
      print_record(play, channel, piece);
  }
  for (const ScriptLine* line : block) {
    if (line->verb == "file" || line->verb == "still") {
      print(play,
            "  " + line->verb + " " + line->name + " " + escape(content_of(play, line->name)));
    } else if (!is_record(play, line->verb) && !line->verb.empty()) {
      print(play, line->source.substr(0, line->source.size() - 1));
    }
  }
  print(play, "");
  pass_over(play);
}

// What is told.

void start(Play& play, std::string words) {
  if (play.terminal >= 0) close(play.terminal);
  if (play.terminal_end >= 0) close(play.terminal_end);
  termios raw{};
  cfmakeraw(&raw);
  char name[64];
  if (openpty(&play.terminal, &play.terminal_end, name, &raw, nullptr) != 0)
    fail(play, "no terminal");
  fcntl(play.terminal, F_SETFL, O_NONBLOCK);
  play.options.stdout_path = name;
  play.options.args.clear();
  while (!words.empty()) {
    const std::string word = unescape(take_word(words));
    play.options.args.push_back(word == "\"\"" ? "" : word);
  }
  play.started = Clock::now();
  play.daemon = start_daemon(play.options);
}

void set_service(Play& play, const std::string& mode, const std::string& text) {
  if (mode == "off") return stop_status_service(play.service);
  if (kModes.count(mode) == 0) fail(play, "unknown: " + mode);
  const std::string answer = text.empty() ? default_status_answer() : text;
  if (play.service.thread.joinable()) return set_status(play.service, kModes.at(mode), answer);
  if (!start_status_service(play.service, kModes.at(mode), answer)) fail(play, "port taken");
}

void wait_supervision(Play& play) {
  if (!wait_reading(play, [] { return file_exists(kSyncMarker); })) fail(play, "no supervision");
}

/// A start on a device that has all it waits for; what came out until it supervises is passed over.
void boot(Play& play, const std::string& words) {
  if (!std::exchange(play.on_network, true)) give_address("eth0", "10.0.0.2/24");
  if (!play.service.thread.joinable()) set_service(play, "answer", "");
  std::remove(kSyncMarker);
  start(play, words);
  wait_supervision(play);
  pass_over(play);
}

/// Two passes of the supervision loop: the second one is whole.
void pass(Play& play) {
  for (int times = 0; times < 2; ++times) {
    std::remove(kSyncMarker);
    wait_supervision(play);
  }
}

/// "udp:PORT" or "tcp:PORT", with an address before the port if it is not 127.0.0.1.
void listen(Play& play, const std::string& channel, const std::string& reply) {
  const std::size_t colon = channel.rfind(':');
  const std::string ip = colon == 3 ? "127.0.0.1" : channel.substr(4, colon - 4);
  const int port = std::stoi(channel.substr(colon + 1));
  const TcpSinkMode mode = reply.empty() ? TcpSinkMode::kSilent : TcpSinkMode::kReply;
  const bool listening = channel[0] == 'u'
                             ? start_udp_sink(play.udp[channel], ip, port)
                             : start_tcp_sink(play.tcp[channel], ip, port, mode, reply);
  if (!listening) fail(play, "cannot listen");
}

void tell(Play& play, const std::string& channel, const std::string& bytes) {
  const int port = std::stoi(channel.substr(4));
  if (channel[0] == 'u') return send_udp(port, bytes);
  const int error = send_tcp(port, bytes);
  if (error != 0) fail(play, std::strerror(error));
}

void act(Play& play, const ScriptLine& line) {
  const std::string& verb = line.verb;
  if (verb == "tell") {
    for (const std::string& text : split_texts(line.text)) tell(play, line.name, text);
  } else if (verb == "write") {
    write_file(line.name + ".new", line.text);
    std::rename((line.name + ".new").c_str(), line.name.c_str());  // nobody reads half of it
  } else if (verb == "run") {
    if (std::system(("{ " + line.rest + "; } >&2").c_str()) != 0) fail(play, "failed");
  } else if (verb == "param") {
    set_param(line.name, line.text);
  } else if (verb == "uptime") {
    play.options.uptime_s = std::stol(line.rest);
  } else if (verb == "status") {
    set_service(play, line.name, line.text);
  } else if (verb == "listen") {
    listen(play, line.name, line.text);
  } else if (verb == "start") {
    start(play, line.rest);
  } else if (verb == "boot") {
    boot(play, line.rest);
  } else if (verb == "pass") {
    pass(play);
  } else if (verb == "kill") {
    stop_daemon(play.daemon);
  } else if (verb == "receipts") {
    play.receipts = true;
  } else if (verb == "requests") {
    play.requests = true;
  } else if (verb != "serial") {
    fail(play, "unknown: " + verb);
  }
}

void play_script(Play& play) {
  Block block;
  const auto end_block = [&] {
    if (block.empty()) return;
    play.line = block[0]->number;
    play.accept ? accept(play, block) : compare(play, block);
    block.clear();
  };
  for (const ScriptLine& line : play.script) {
    if (line.expected) {
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
  setenv("TZ", "KOV-05:45", 1);  // local time must differ from the world's
  tzset();
  rlimit files{};
  getrlimit(RLIMIT_NOFILE, &files);
  files.rlim_cur = 1000;  // about what a login gives
  setrlimit(RLIMIT_NOFILE, &files);
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
