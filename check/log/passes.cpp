// Which push executed which lines.
#include <algorithm>

#include "check/log/maker.h"
#include "check/payload.h"
#include "core/text.h"

namespace kovo::check {
namespace {

constexpr LogTime kSamePassMs = 200;        // between lines of a pass; passes are 250 ms apart
constexpr LogTime kLookupMs = 2500;         // a name, when the status service does not answer
constexpr LogTime kSlowLookupMs = 1900;     // a pause after a push that shows this
constexpr std::size_t kMostFits = 250'000;  // bounds the time of a pass of many equal pushes

bool holds_lock(const LogRecord& record) {
  return is_step(record.kind) || record.kind == RecordKind::kPush ||
         record.kind == RecordKind::kTestPush || record.kind == RecordKind::kCommand ||
         record.kind == RecordKind::kStart || record.kind == RecordKind::kPowerOnSkip;
}

struct Pass {
  std::vector<std::size_t> lines;       // records of steps
  std::vector<std::size_t> candidates;  // positions in the queue
  bool is_last = false;                 // the log may end within it
};

Pass find_pass(const TimelineMaker& maker, std::size_t first) {
  const LogRecords& records = maker.records;
  Pass pass;
  std::size_t at = first;
  for (LogTime last = records[first].elapsed; at < records.size(); ++at) {
    const LogRecord& record = records[at];
    if (at > first && record.gap != Gap::kNone) break;
    if (!holds_lock(record)) continue;
    if (!is_step(record.kind) || record.elapsed - last > kSamePassMs) break;
    last = record.elapsed;
    pass.lines.push_back(at);
  }
  pass.is_last = at == records.size() || records[at].gap != Gap::kNone;
  const LogTime now = records[first].elapsed;
  for (std::size_t place = 0; place < maker.queue.size(); ++place) {
    const Push& push = maker.queue[place];
    const bool is_due = push.due <= now && now <= push.due + patience(maker, push);
    if (push.event != nullptr && is_due) pass.candidates.push_back(place);
  }
  const std::size_t most = kMostFits / pass.lines.size() + 1;
  if (pass.candidates.size() > most) {
    pass.candidates.erase(pass.candidates.begin(),
                          pass.candidates.end() - static_cast<std::ptrdiff_t>(most));
  }
  return pass;
}

/// Returns how many lines from `line` on are all steps of an event; 0 when they do not fit. At the
/// end of the log, its last steps may be missing.
std::size_t fitting_lines(const TimelineMaker& maker, const Pass& pass, std::size_t line,
                          LogEvent& event) {
  const std::vector<StepPattern>& steps = steps_of(event);
  const std::size_t count = std::min(steps.size(), pass.lines.size() - line);
  if (count < steps.size() && !pass.is_last) return 0;
  for (std::size_t step = 0; step < count; ++step) {
    const LogRecord& record = maker.records[pass.lines[line + step]];
    if (!fits_step(steps[step], record.name)) return 0;
  }
  return count;
}

struct Execution {
  std::size_t place;  // in the queue
  std::size_t line;   // the first one in the pass
  std::size_t count;
};

/// Explains as many lines as possible by the pushes in their order; of equal ones, by the last.
std::vector<Execution> explain(const TimelineMaker& maker, const Pass& pass) {
  const std::size_t lines = pass.lines.size();
  const std::size_t width = lines + 1;
  const std::size_t count = pass.candidates.size();
  std::vector<std::uint32_t> explained((count + 1) * width, 0);
  std::vector<std::uint32_t> used(explained.size(), 0);  // lines of the candidate itself
  for (std::size_t candidate = count; candidate-- > 0;) {
    LogEvent& event = *maker.queue[pass.candidates[candidate]].event;
    for (std::size_t line = lines; line-- > 0;) {
      const std::size_t at = candidate * width + line;
      explained[at] = std::max(explained[at + 1], explained[at + width]);
      const std::size_t own = fitting_lines(maker, pass, line, event);
      const auto all = static_cast<std::uint32_t>(own + explained[at + width + own]);
      if (own == 0 || all <= explained[at + width] || all < explained[at]) continue;
      explained[at] = all;
      used[at] = static_cast<std::uint32_t>(own);
    }
  }
  std::vector<Execution> executions;
  std::size_t line = 0;
  for (std::size_t candidate = 0; candidate < count && line < lines;) {
    const std::size_t at = candidate * width + line;
    if (explained[at] == explained[at + width]) {
      ++candidate;
    } else if (used[at] > 0) {
      executions.push_back({pass.candidates[candidate++], line, used[at]});
      line += used[at];
    } else {
      ++line;
    }
  }
  return executions;
}

/// Returns a step by the form of its line only.
TimelineStep unknown_step(std::string_view text) {
  TimelineStep step;
  const std::size_t colon = text.find(':');
  const std::size_t port_end = text.find(' ', colon);
  const std::size_t protocol_end = text.find(' ', port_end + 1);
  step.address = text.substr(0, colon);
  step.port = text.substr(colon + 1, port_end - colon - 1);
  step.protocol = text.substr(port_end + 1, protocol_end - port_end - 1);
  step.payload = text.substr(protocol_end + 1);
  return step;
}

std::string joined(const std::vector<std::string>& texts, const char* between) {
  std::string result;
  for (const std::string& text : texts) result += (result.empty() ? "" : between) + text;
  return result;
}

TimelineStep known_step(const StepPattern& pattern, std::string_view text, bool is_slow) {
  TimelineStep step;
  step.address = text.substr(0, pattern.address_size);
  step.port = text.substr(pattern.address_size + 1, pattern.port_size);
  const std::size_t before = pattern.address_size + pattern.port_size + 2;
  step.protocol = text.substr(before, pattern.head.size() - before - 1);
  step.payload = text.substr(pattern.head.size());
  step.offset_known = true;
  step.offset_ms = std::max<std::int64_t>(0, pattern.offset_ms);
  std::vector<std::string> empty;
  fits_step(pattern, text, &empty);
  for (std::string& name : empty) name = "{{" + shown(name) + "}}";
  if (!empty.empty()) step.note = joined(empty, ", ") + " was empty";
  const bool uses_status =
      std::any_of(pattern.names.begin(), pattern.names.end(),
                  [](const std::string& name) { return !is_clock_placeholder(name); });
  if (is_slow && uses_status) {
    step.note += std::string(step.note.empty() ? "" : "; ") +
                 "old values: the status service did not answer in time";
  }
  if (!pattern.is_defined) step.note = "the file has no lines for this step";
  return step;
}

/// Returns whether the pause after a push shows that the status service did not answer in time.
bool was_slow(const TimelineMaker& maker, const Push& push) {
  const LogRecords& records = maker.records;
  for (std::size_t at = push.record + 1; at < records.size(); ++at) {
    if (holds_lock(records[at])) return records[at].elapsed - push.at >= kSlowLookupMs;
  }
  return false;
}

void add_step(const TimelineMaker& maker, TimelineBlock& block, std::size_t record,
              TimelineStep step) {
  step.record = record;
  step.sender = choose_sender(step.protocol);
  block.executed = block.executed.value_or(maker.records[record].time);
  block.verdict = BlockVerdict::kExecuted;
  block.steps.push_back(std::move(step));
}

void execute(TimelineMaker& maker, const Pass& pass, const Execution& execution) {
  Push& push = maker.queue[execution.place];
  TimelineBlock& block = maker.timeline.blocks[push.block];
  const std::vector<StepPattern>& steps = steps_of(*push.event);
  const bool is_slow = push.due == push.at && was_slow(maker, push);
  for (std::size_t step = 0; step < execution.count; ++step) {
    const std::size_t record = pass.lines[execution.line + step];
    add_step(maker, block, record, known_step(steps[step], maker.records[record].name, is_slow));
  }
  if (execution.count < steps.size()) {
    block.is_probable = true;
    block.text = "the log ends within its steps";
  }
  push.is_done = true;
}

/// Returns the pushes that may have left lines which the given file does not explain: those since
/// the last pass, or else all.
std::vector<Push*> unexplained(TimelineMaker& maker, LogTime now) {
  std::vector<Push*> recent;
  std::vector<Push*> all;
  for (Push& push : maker.queue) {
    if (push.is_done || push.due > now) continue;
    all.push_back(&push);
    if (push.record > maker.last_pass) recent.push_back(&push);
  }
  return recent.empty() ? all : recent;
}

/// Adds the lines that no event of the file explains, by their position.
void add_unexplained(TimelineMaker& maker, const std::vector<std::size_t>& lines) {
  const LogRecord& first = maker.records[lines.front()];
  const std::vector<Push*> pushes = unexplained(maker, first.elapsed);
  TimelineBlock* block = nullptr;
  if (pushes.size() == 1) {
    block = &maker.timeline.blocks[pushes.front()->block];
    block->text =
        maker.definitions == nullptr ? "" : "executed with other steps than the given file";
    block->is_probable = first.elapsed < maker.certain_from ||
                         std::count_if(maker.queue.begin(), maker.queue.end(),
                                       [](const Push& push) { return !push.is_done; }) > 1;
    pushes.front()->is_done = true;
  } else {
    block = &maker.timeline.blocks.emplace_back();
    block->time = first.time;
    block->record = lines.front();
    block->text = "steps of a push that is not known";
    std::vector<std::string> names;
    for (Push* push : pushes) {
      push->maybe = first.time;
      names.push_back(quoted(maker.timeline.blocks[push->block].trigger));
    }
    if (!names.empty() && names.size() <= 5) block->text = "steps of " + joined(names, " or ");
  }
  for (const std::size_t line : lines) {
    add_step(maker, *block, line, unknown_step(maker.records[line].name));
  }
}

}  // namespace

LogTime patience(const TimelineMaker& maker, const Push& push) {
  const auto names = static_cast<LogTime>(maker.names - push.names_before);
  return std::min<LogTime>(kPassMs + names * kLookupMs, kLifeMs + kPassMs);
}

std::size_t run_pass(TimelineMaker& maker, std::size_t first) {
  const Pass pass = find_pass(maker, first);
  std::vector<std::size_t> rest;
  std::size_t line = 0;
  const std::vector<Execution> executions = explain(maker, pass);
  for (const Execution& execution : executions) {
    for (; line < execution.line; ++line) rest.push_back(pass.lines[line]);
    execute(maker, pass, execution);
    line += execution.count;
  }
  for (; line < pass.lines.size(); ++line) rest.push_back(pass.lines[line]);
  if (!rest.empty()) add_unexplained(maker, rest);
  maker.last_pass = first;
  return pass.lines.back();
}

}  // namespace kovo::check
