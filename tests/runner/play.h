// A scenario under way: the device it is played in, what goes into it and what comes out.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "device/device.h"
#include "device/sinks.h"
#include "device/status_service.h"
#include "tests/runner/script.h"

namespace kovo::device {

constexpr char kArrivalEnd = '\x1e';
constexpr std::chrono::milliseconds kLimit(40'000);  // for whatever must come

/// A log, stdout, a receiver.
struct Channel {
  std::function<std::vector<Arrival>()> look;  // all that has come; a log is one
  std::string end;                             // of each of them in the texts
  std::string text;                            // all that has come, by the latest look
  std::string compared;                        // what had come by the latest comparison
};

struct Record {
  std::string verb;
  std::string text;  // as written in a scenario, after a stamp "@ " if it is of the event log
  std::string mark;
};

struct Play {
  std::string path;
  int line = 0;  // under way
  StatusService service;
  DaemonOptions options;
  Daemon daemon;
  int pid = 0;  // of the daemon, also when it has ended
  Clock::time_point started;
  Descriptor terminal;
  Descriptor terminal_end;  // kept open: the daemon's terminal is there before and after it
  bool receipts = false;    // what is told of received messages counts

  std::map<std::string, Channel> channels;
  std::int64_t looked_ms = 0;  // wall clock
  std::int64_t compared_ms = 0;
  // A line of the main log without an end, which stdout shows with the next one: by the latest
  // look and comparison.
  std::string unfinished;
  std::string owed;
  Clock::time_point told;    // when the first action since the latest comparison began
  std::int64_t took_ms = 0;  // from then on until all had come
};

/// Ends the program, and with it the device.
[[noreturn]] void fail(const Play& play, const std::string& text);

/// Does what a line at the margin says.
void act(Play& play, const ScriptLine& line);

void open_channels(Play& play);

/// Looks at all channels until the condition holds; false when it does not within the limit.
bool wait_looking(Play& play, const std::function<bool()>& condition);

/// What the latest look found since the latest comparison, the same for every run.
std::vector<Record> records_of(Play& play);

/// What the latest look found counts as compared.
void consume(Play& play);

/// Whether a verb is that of a record.
bool is_record(const Play& play, const std::string& verb);

/// The bytes of a file, with PID for the daemon's.
std::string content_of(const Play& play, const std::string& path);

std::int64_t ms_since(Clock::time_point then);

/// Prints a block anew from what comes out.
void accept(Play& play, const Block& block);

}  // namespace kovo::device
