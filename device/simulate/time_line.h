// How long after its start each step of an event arrived.
#pragma once

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "definitions/event_definition.h"
#include "device/simulate/log_tail.h"
#include "device/simulate/network.h"

namespace kovo::device {

struct PushedEvent {
  EventDefinition event;
  Clock::time_point at;
};

/// One step that the event log says is sent.
struct RunStep {
  std::optional<Destination> where;
  std::string payload;
  bool by_status = false;  // what is sent is not known beforehand
  std::chrono::milliseconds offset{};
  std::optional<Clock::time_point> arrived;
};

struct EventRun {
  EventDefinition event;
  Clock::time_point at;  // when it ran
  std::vector<RunStep> steps;
};

struct TimeLines {
  std::deque<PushedEvent> pushed;
  std::deque<EventRun> runs;  // not all has arrived
};

/// Learns from a record of the event log which event was pushed or has begun a step.
void follow_event_log(TimeLines& lines, const EventList& events, const LogRecord& record);

/// True while an event is to run soon or has steps under way.
bool awaits_more(const TimeLines& lines);

/// Adds a line for each event of which all has arrived or should have: its offsets.
void collect_time_lines(TimeLines& lines, Network& network, std::vector<Line>& news);

}  // namespace kovo::device
