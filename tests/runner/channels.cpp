// What comes out of the device, and how it is made the same for every run.
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <initializer_list>
#include <utility>

#include "tests/runner/play.h"

namespace kovo::device {
namespace {

using Range = std::pair<std::int64_t, std::int64_t>;  // the least and the most that fits

std::int64_t number(const std::smatch& found) {
  return std::stoll(found[found.size() - 1]);
}

std::int64_t local_time_ms(const std::smatch& found) {
  std::tm fields{};
  fields.tm_isdst = -1;
  strptime(found.str().c_str(), "%Y-%m-%d %H:%M:%S", &fields);
  return std::int64_t{mktime(&fields)} * 1000 + (found.size() > 1 ? std::stoi(found[1]) : 0);
}

std::int64_t queue_time_ms(const std::smatch& found) {
  const bool due = std::stoll(found[2]) <= std::stoll(found[1]);
  return due ? std::stoll(found[1]) : -1;
}

const struct {
  std::regex form;
  const char* replacement;
  std::string range;  // it is replaced if its value is in that one, or if there is none
  std::int64_t (*value)(const std::smatch&) = number;
} kForms[] = {
    {std::regex(R"(\[(\w+)(?::|(;))\d+\])"), "[$1$2]", ""},
    {std::regex(R"(/\S*/kovotcp:)"), "kovotcp:", ""},
    {std::regex(R"(Build: \w{3} [ \d]\d \d{4} \d\d:\d\d:\d\d \+)"), "Build: DATE +", ""},
    {std::regex("now-last=[0-4] sec"), "now-last=S sec", ""},
    {std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.(\d{3})  )"), "@ ", "@", local_time_ms},
    {std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)"), "NOW", "NOW", local_time_ms},
    {std::regex(R"((kovotcp\.pid=|run echo )(\d+))"), "$1PID", "PID"},
    {std::regex(R"((uptime=|skip \w+ \.\.\.)(\d+))"), "$1UP", "UP"},
    {std::regex(R"(network\.\.\.(\d+))"), "network...S", "S"},
    {std::regex(R"(now=(\d+) ms, t_exec=(\d+) ms)"), "now=N ms, t_exec=N ms", "N", queue_time_ms},
};
// What is told of a received message, with the lines that belong to it.
const std::regex kReceipt(R"((\[handle_\w+\] [rR]ecv\(|@ get (tcp:2700|udp:2728) event)[^\n]*\n)"
                          R"(([^\[@\n]*\n)*)");

std::int64_t wall_ms() {
  return std::chrono::system_clock::now().time_since_epoch() / std::chrono::milliseconds(1);
}

void look(Play& play) {
  play.looked_ms = wall_ms();
  for (auto& [name, channel] : play.channels) {
    channel.text.clear();
    for (const Arrival& arrival : channel.look()) channel.text += arrival.bytes + channel.end;
  }
}

std::string fresh_text(const Play& play, const std::string& name) {
  const std::int64_t from = play.compared_ms - 200;  // a stamp is older than its record
  const std::int64_t to = wall_ms() + 1;
  const std::int64_t age = ms_since(play.started);
  const std::int64_t least_s = std::max<std::int64_t>(age / 1000 - (to - from) / 1000 - 3, 0);
  const std::int64_t up_s = play.options.uptime_s;
  const std::map<std::string, Range> ranges = {{"@", {from, to}},
                                               {"NOW", {from - 999, to}},
                                               {"PID", {play.pid, play.pid}},
                                               {"UP", {up_s + least_s, up_s + age / 1000 + 2}},
                                               {"S", {0, age / 1000 + 1}},
                                               {"N", {0, age}}};
  const Channel& channel = play.channels.at(name);
  const bool goes_on = channel.text.rfind(channel.compared, 0) == 0;  // or the file was removed
  std::string fresh = channel.text.substr(goes_on ? channel.compared.size() : 0);
  for (const auto& form : kForms) {
    const auto range = ranges.find(form.range);
    fresh = replace_each(fresh, form.form, [&](const std::smatch& found) {
      const bool fits = range == ranges.end() || (form.value(found) >= range->second.first &&
                                                  form.value(found) <= range->second.second);
      return fits ? found.format(form.replacement) : found.str();
    });
  }
  return play.receipts ? fresh : std::regex_replace(fresh, kReceipt, "");
}

std::string first_of(const std::string& text, const std::string& end) {
  return text.substr(0, std::min(text.find(end), text.size()) + 1);
}

/// Tells the records of the logs by where they came out: stdout has most of them.
void add_log_records(Play& play, std::vector<Record>& records) {
  std::string main = fresh_text(play, "main");
  std::string events = fresh_text(play, "event");
  std::string out = fresh_text(play, "out");
  using Texts = std::initializer_list<std::string*>;
  const auto take = [&](const char* verb, const std::string& record, Texts from) {
    records.push_back({verb, escape_record(record), ""});
    for (std::string* const text : from) text->erase(0, record.size());
  };
  play.unfinished = out.empty() ? play.owed : "";
  if (out.rfind(play.owed, 0) == 0) {
    out.erase(0, play.owed.size());
  } else if (!out.empty()) {
    records.push_back({"out lacks", play.owed, ""});
  }
  while (!main.empty() || !events.empty() || !out.empty()) {
    const std::string log = first_of(main, "\n");
    const std::string event = first_of(events, "\n@ ");
    const std::string line = first_of(out, "\n");
    const auto shown = [&](const std::string& record) {
      return !record.empty() && out.rfind(record, 0) == 0 && line.back() == '\n';
    };
    if (shown(log)) {
      take("log", log, {&main, &out});
    } else if (shown(event)) {
      take("echo", event, {&events, &out});
    } else if (!event.empty() && (line.empty() ? log.empty() : line[0] == '@')) {
      take("event", event, {&events});
    } else if (!line.empty()) {
      take("out", line, {&out});
    } else {
      const bool ends = log.back() == '\n';
      if (!ends) play.unfinished += log;
      take(ends ? "main" : "log", log, {&main});
    }
  }
}

}  // namespace

std::int64_t ms_since(Clock::time_point then) {
  return (Clock::now() - then) / std::chrono::milliseconds(1);
}

void open_channels(Play& play) {
  const auto open_file = [&](const std::string& name, const std::string& path) {
    play.channels[name].look = [path] { return std::vector<Arrival>{{{}, read_file(path)}}; };
  };
  open_file("main", "/var/tmp/log/kovo.log");
  open_file("event", "/var/tmp/log/kovoevent.log");
  open_file("err", play.options.stderr_path);
  play.channels["out"].look = [&play, out = std::string()]() mutable {
    char buffer[4096];
    ssize_t size = 0;
    while ((size = read(play.terminal.fd, buffer, sizeof buffer)) > 0) {
      out.append(buffer, static_cast<std::size_t>(size));
    }
    return std::vector<Arrival>{{{}, out}};
  };
  play.compared_ms = wall_ms();
}

bool wait_looking(Play& play, const std::function<bool()>& condition) {
  return wait_for([&] { return look(play), condition(); }, kLimit);
}

std::vector<Record> records_of(Play& play) {
  std::vector<Record> records;
  add_log_records(play, records);
  for (const char* kind : {"err", "status", "udp:", "tcp:"}) {
    for (const auto& [name, channel] : play.channels) {
      std::string rest = name.rfind(kind, 0) == 0 ? fresh_text(play, name) : "";
      for (std::string record; !rest.empty(); rest.erase(0, record.size())) {
        record = first_of(rest, channel.end.empty() ? "\n" : channel.end);
        records.push_back({name, escape_record(record), ""});
      }
    }
  }
  return records;
}

bool is_record(const Play& play, const std::string& verb) {
  return verb == "log" || verb == "echo" || play.channels.count(verb) != 0;
}

std::string content_of(const Play& play, const std::string& path) {
  if (!file_exists(path)) return "no such file";
  const std::string bytes = read_file(path);
  return bytes == std::to_string(play.pid) + "\n" ? "PID\n" : bytes;
}

void consume(Play& play) {
  for (auto& [name, channel] : play.channels) channel.compared = channel.text;
  play.compared_ms = play.looked_ms;
  play.owed = play.unfinished;
  play.told = {};
}

}  // namespace kovo::device
