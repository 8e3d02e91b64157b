// Finds which lines of steps are one execution, and of which event.
//
// A line does not name its event, and events may have equal steps. So an execution keeps every
// event that all of its lines fit, and ends when the likeliest one has all its steps, or with the
// first line that fits none of them. Events in the queue that are due come before those that are
// not by the clock, and those before events whose push is not in the log. Lines that fit no event
// are one unknown event while they follow each other closely. Steps of two events that are executed
// at once are not separated: the daemon executes one after the other.
#include <algorithm>
#include <utility>

#include "check/log_parts.h"
#include "core/text.h"

namespace kovo::check {
namespace {

constexpr LogTime kMaxPauseMs = 250;  // between two lines of an unknown event

/// Splits "address:port protocol payload" by its pattern or, without one, at its blanks.
TimelineStep step_of(std::string_view text, const StepPattern* pattern) {
  TimelineStep step;
  if (pattern != nullptr) {
    step.address = pattern->address;
    step.port = pattern->port;
    step.protocol = pattern->protocol;
    step.payload = text.substr(pattern->head.size());
    step.offset_known = true;
    step.offset_ms = pattern->offset_ms;
  } else {
    const std::size_t colon = text.find(':');
    const std::size_t port_end = text.find(' ', colon);
    const std::size_t protocol_end = text.find(' ', port_end + 1);
    step.address = text.substr(0, colon);
    step.port = text.substr(colon + 1, port_end - colon - 1);
    step.protocol = text.substr(port_end + 1, protocol_end - port_end - 1);
    step.payload = text.substr(protocol_end + 1);
  }
  step.sender = choose_sender(step.protocol);
  return step;
}

/// Returns the push that an unknown event belongs to, if there is only one without a known event.
TimelineBlock* only_unknown_push(Timeline& timeline, LogTime time) {
  TimelineBlock* block = nullptr;
  for (const QueuedEvent& queued : timeline.queue) {
    if (queued.event != nullptr || queued.pushed_at + kLifeMs < time) continue;
    if (block != nullptr) return nullptr;
    block = queued.block;
  }
  return block;
}

void settle_execution(Timeline& timeline, TimelineBlock& block, const Execution& execution,
                      LogEvent* event) {
  block.was_executed = true;
  block.executed_at = execution.lines.front().time;
  std::int64_t longest = 0;
  for (std::size_t at = 0; at < execution.lines.size(); ++at) {
    const ExecutedLine& line = execution.lines[at];
    TimelineStep step = step_of(line.step, event == nullptr ? nullptr : &steps_of(*event)[at]);
    settle_step(timeline, line, block, step);
    longest = std::max(longest, step.offset_ms);
    block.steps.push_back(std::move(step));
  }
  std::string text;
  if (event != nullptr && block.steps.size() < step_count(*event)) {
    text = "only " + std::to_string(block.steps.size()) + " of them in the log";
  }
  settle(block, BlockVerdict::kExecuted, text, false);
  block.hold_until =
      timeline.elapsed + std::min<std::int64_t>(longest, kLifeMs) + kSendMs + kSkewMs;
}

/// Returns whether a queued event may be executed at a time, by the clock.
bool is_in_time(const QueuedEvent& queued, LogTime time) {
  const LogTime delay = queued.block->is_test ? 0 : LogTime{queued.event->compiled->delay_s} * 1000;
  const LogTime since = time - queued.pushed_at;
  // Delays are measured by another clock than that of the log, which may run a little slower.
  return since >= delay - delay / 1000 - 5 && since <= kLifeMs + queued.lookup_ms;
}

void add_candidate(Execution& execution, TimelineBlock* block, LogEvent& event,
                   ExecutedLine& line) {
  for (const ExecutionCandidate& other : execution.candidates) {
    if (other.event == &event) return;
  }
  if (fits_line(steps_of(event).front(), line)) execution.candidates.push_back({block, &event});
}

/// Finds the events that a line may begin.
void find_candidates(Timeline& timeline, Execution& execution, ExecutedLine& line) {
  if (timeline.definitions == nullptr) return;
  for (const bool in_time : {true, false}) {
    for (const QueuedEvent& queued : timeline.queue) {
      if (queued.event == nullptr || is_in_time(queued, line.time) != in_time) continue;
      add_candidate(execution, queued.block, *queued.event, line);
    }
    if (!execution.candidates.empty()) return;
  }
  const auto [begin, end] = timeline.definitions->by_head.equal_range(head_of(line.step));
  for (auto event = begin; event != end; ++event) {
    add_candidate(execution, nullptr, *event->second, line);
  }
}

/// Returns whether a line continues an execution; keeps only the candidates that it fits.
bool continues(Execution& execution, ExecutedLine& line) {
  if (execution.lines.empty()) return false;
  if (execution.candidates.empty()) return line.time - execution.lines.back().time <= kMaxPauseMs;
  std::vector<ExecutionCandidate> fitting;
  for (const ExecutionCandidate& candidate : execution.candidates) {
    const std::vector<StepPattern>& steps = steps_of(*candidate.event);
    if (steps.size() <= execution.lines.size()) continue;
    if (fits_line(steps[execution.lines.size()], line)) fitting.push_back(candidate);
  }
  if (fitting.empty()) return false;
  execution.candidates = std::move(fitting);
  return true;
}

}  // namespace

bool is_step_line(EventLine kind) {
  return kind == EventLine::kStep || kind == EventLine::kDisabledStep ||
         kind == EventLine::kPeriodSkip;
}

bool fits_line(const StepPattern& pattern, ExecutedLine& line) {
  if (fits_step(pattern, line.step)) return true;
  if (line.kind != EventLine::kDisabledStep) return false;
  const std::string whole = line.step + ", disabled uptime=" + std::to_string(line.uptime);
  if (!fits_step(pattern, whole)) return false;
  line.kind = EventLine::kStep;
  line.step = whole;
  return true;
}

void remove_queued(Timeline& timeline, const TimelineBlock* block) {
  const auto found = std::find_if(timeline.queue.begin(), timeline.queue.end(),
                                  [&](const QueuedEvent& one) { return one.block == block; });
  if (found != timeline.queue.end()) timeline.queue.erase(found);
}

void close_execution(Timeline& timeline) {
  const Execution execution = std::exchange(timeline.execution, {});
  if (execution.lines.empty()) return;
  const LogTime time = execution.lines.front().time;
  const std::vector<ExecutionCandidate>& candidates = execution.candidates;
  LogEvent* const event = candidates.empty() ? nullptr : candidates.front().event;
  TimelineBlock* block =
      candidates.empty() ? only_unknown_push(timeline, time) : candidates.front().block;
  const bool has_push = block != nullptr;
  if (!has_push) {
    block = &add_block(timeline);
    block->time = time;
    block->source = "by a push that is not known";
  }
  remove_queued(timeline, block);
  block->is_probable =
      !has_push || candidates.size() != 1 || execution.lines.size() < step_count(*event);
  if (event != nullptr) {
    block->event = event->compiled->name;
    if (!has_push) block->trigger = event->compiled->trigger;
    block->step_count = step_count(*event);
  }
  settle_execution(timeline, *block, execution, event);
}

std::string head_of(std::string_view step) {
  const std::size_t port_end = step.find(' ', step.find(':'));
  return std::string(step.substr(0, step.find(' ', port_end + 1) + 1));
}

void on_step(Timeline& timeline, ExecutedLine line) {
  Execution next;
  if (timeline.execution.candidates.empty() || !continues(timeline.execution, line)) {
    find_candidates(timeline, next, line);
    const bool same_unknown = next.candidates.empty() && timeline.execution.candidates.empty() &&
                              continues(timeline.execution, line);
    if (!same_unknown) {
      close_execution(timeline);
      timeline.execution = std::move(next);
    }
  }
  Execution& execution = timeline.execution;
  execution.lines.push_back(std::move(line));
  if (execution.candidates.empty()) return;
  const std::size_t steps = step_count(*execution.candidates.front().event);
  if (execution.lines.size() == steps) close_execution(timeline);
}

}  // namespace kovo::check
