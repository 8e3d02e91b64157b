#include "device/simulate/time_line.h"

#include <algorithm>

#include "engine/choose_sender.h"
#include "frame/text.h"

namespace kovo::device {
namespace {

constexpr std::chrono::seconds kPatience(5);    // behind the offset of the last step
constexpr std::chrono::seconds kEventLife(62);  // then the daemon has dropped it
constexpr std::chrono::milliseconds kStampError(1);

std::chrono::milliseconds milliseconds(std::int64_t nanoseconds) {
  return std::chrono::milliseconds(nanoseconds / 1'000'000);
}

/// How the event log begins the line of a step, up to the payload.
std::string head_of(const SubCommand& step) {
  return step.ip + ":" + step.port + " " + step.protocol + " ";
}

bool starts_with(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

void remember_push(TimeLines& lines, const EventList& events, std::string_view name, bool test,
                   Clock::time_point at) {
  for (const EventDefinition& event : events) {
    if ((test ? event.name : event.trigger) != name) continue;
    lines.pushed.push_back({event, at});
    if (test) lines.pushed.back().event.delay_s = 0;
    return;
  }
}

bool remember_pushes(TimeLines& lines, const EventList& events, const LogRecord& record) {
  constexpr std::string_view kPush = "push event: ";
  constexpr std::string_view kPowerOn = "auto push event: ";
  constexpr std::string_view kTest = ", test=1";
  std::string_view text = record.text;
  if (!starts_with(text, kPush) && !starts_with(text, kPowerOn)) return false;
  text.remove_prefix(text.find(kPush) + kPush.size());
  const bool test = text.size() > kTest.size() && text.substr(text.size() - kTest.size()) == kTest;
  if (test) text.remove_suffix(kTest.size());
  for (const std::string_view name : split_lines(text)) {
    remember_push(lines, events, name, test, record.at);
  }
  return true;
}

bool add_step(EventRun& run, const LogRecord& record) {
  if (run.steps.size() == run.event.commands.size()) return false;
  const SubCommand& command = run.event.commands[run.steps.size()];
  const std::string head = head_of(command);
  if (!starts_with(record.text, head)) return false;
  RunStep step;
  step.where = destination_of(command);
  step.payload = cut_text(until_nul(record.text), head.size() + kMaxCommand).substr(head.size());
  step.by_status = command.protocol.find("Status") != std::string::npos;
  step.offset = milliseconds(command.delay_from_exec_ns);
  run.steps.push_back(std::move(step));
  return true;
}

/// The pushed event whose first step this is, if its delay is over.
void begin_run(TimeLines& lines, const LogRecord& record) {
  for (auto pushed = lines.pushed.begin(); pushed != lines.pushed.end(); ++pushed) {
    if (record.at + kStampError < pushed->at + std::chrono::seconds(pushed->event.delay_s)) {
      continue;
    }
    EventRun run{pushed->event, record.at, {}};
    if (!add_step(run, record)) continue;
    lines.runs.push_back(std::move(run));
    lines.pushed.erase(pushed);
    return;
  }
}

/// Takes the arrival of a step from its receiver.
void claim(RunStep& step, const EventRun& run, Network& network) {
  Receiver* const receiver = step.where ? find_receiver(network, *step.where) : nullptr;
  if (step.arrived || receiver == nullptr) return;
  const auto found = std::find_if(receiver->unclaimed.begin(), receiver->unclaimed.end(),
                                  [&](const Arrival& arrival) {
                                    return arrival.at + kStampError >= run.at + step.offset &&
                                           (step.by_status || arrival.bytes == step.payload);
                                  });
  if (found == receiver->unclaimed.end()) return;
  step.arrived = found->at;
  receiver->unclaimed.erase(found);
}

/// What a step has come to; "" while it may still arrive.
std::string fate_of(const RunStep& step, const EventRun& run, Network& network) {
  using std::chrono::duration_cast;
  using std::chrono::milliseconds;
  if (step.arrived) {
    return std::to_string(duration_cast<milliseconds>(*step.arrived - run.at).count()) + " ms";
  }
  if (!step.where) return "not sent";
  if (find_receiver(network, *step.where) == nullptr) return "not shown";
  if (!step.where->by_udp && !step.by_status && step.payload.empty()) return "no bytes";
  return Clock::now() > run.at + step.offset + kPatience ? "missing" : "";
}

/// The offsets as a text; "" while something is under way.
std::string offsets_of(EventRun& run, Network& network) {
  if (run.steps.size() < run.event.commands.size() && Clock::now() < run.at + kPatience) return "";
  std::string text;
  for (RunStep& step : run.steps) {
    claim(step, run, network);
    const std::string fate = fate_of(step, run, network);
    if (fate.empty()) return "";
    text += (text.empty() ? "" : ", ") + fate;
  }
  return text;
}

}  // namespace

void follow_event_log(TimeLines& lines, const EventList& events, const LogRecord& record) {
  while (!lines.pushed.empty() && lines.pushed.front().at + kEventLife < record.at) {
    lines.pushed.pop_front();
  }
  if (remember_pushes(lines, events, record)) return;
  if (record.text.find(", disabled uptime=") != std::string::npos) return;
  if (!lines.runs.empty() && add_step(lines.runs.back(), record)) return;
  begin_run(lines, record);
}

bool awaits_more(const TimeLines& lines) {
  const auto runs_soon = [](const PushedEvent& pushed) {
    return Clock::now() < pushed.at + std::chrono::seconds(pushed.event.delay_s + 1);
  };
  return !lines.runs.empty() || std::any_of(lines.pushed.begin(), lines.pushed.end(), runs_soon);
}

void collect_time_lines(TimeLines& lines, Network& network, std::vector<Line>& news) {
  for (auto run = lines.runs.begin(); run != lines.runs.end();) {
    const std::string offsets = offsets_of(*run, network);
    if (offsets.empty()) {
      ++run;
      continue;
    }
    const bool missing = offsets.find("missing") != std::string::npos;
    news.push_back({Clock::now(), missing ? Tone::kAlarm : Tone::kNote, "time line",
                    printable(run->event.name) + ": " + offsets});
    run = lines.runs.erase(run);
  }
}

}  // namespace kovo::device
