// Which push executed which lines.
#include <algorithm>

#include "check/log/maker.h"
#include "core/templates.h"

namespace kovo::check {
namespace {

constexpr LogTime kSamePassMs = 200;     // between lines of a pass; passes are 250 ms apart
constexpr LogTime kLookupMs = 2500;      // a name, when the status service does not answer
constexpr LogTime kSlowLookupMs = 1900;  // a pause after a push that shows this

bool holds_lock(const LogRecord& record) {
  return is_step(record.kind) || record.kind == RecordKind::kPush ||
         record.kind == RecordKind::kTestPush || record.kind == RecordKind::kCommand ||
         record.kind == RecordKind::kStart || record.kind == RecordKind::kPowerOnSkip;
}

/// Returns the records of the steps of a pass.
std::vector<std::size_t> pass_lines(const TimelineMaker& maker, std::size_t first) {
  std::vector<std::size_t> lines;
  LogTime last = maker.records[first].elapsed;
  for (std::size_t at = first; at < maker.records.size(); ++at) {
    const LogRecord& record = maker.records[at];
    if (at > first && record.clock_set_back) break;
    if (!holds_lock(record)) continue;
    if (!is_step(record.kind) || record.elapsed - last > kSamePassMs) break;
    last = record.elapsed;
    lines.push_back(at);
  }
  return lines;
}

/// Returns whether a push may have left the lines that end before `end`.
bool may_have_left(const TimelineMaker& maker, const Push& push,
                   const std::vector<std::size_t>& lines, std::size_t end) {
  const LogTime now = maker.records[lines.front()].elapsed;
  if (push.event == nullptr || push.due > now || now > push.due + patience(maker, push))
    return false;
  const std::vector<StepPattern>& steps = steps_of(*push.event);
  if (steps.empty() || steps.size() > end) return false;
  for (std::size_t step = 0; step < steps.size(); ++step) {
    const LogRecord& record = maker.records[lines[end - steps.size() + step]];
    if (!fits_step(steps[step], record.name)) return false;
  }
  return true;
}

TimelineStep step_of(std::string_view text, std::size_t address, std::size_t port,
                     std::size_t protocol) {
  TimelineStep step;
  step.address = text.substr(0, address);
  step.port = text.substr(address + 1, port);
  step.protocol = text.substr(address + port + 2, protocol);
  step.payload = text.substr(address + port + protocol + 3);
  return step;
}

/// Returns a step by the form of its line only.
TimelineStep unknown_step(std::string_view text) {
  const std::size_t colon = text.find(':');
  const std::size_t port_end = text.find(' ', colon);
  const std::size_t protocol_end = text.find(' ', port_end + 1);
  return step_of(text, colon, port_end - colon - 1, protocol_end - port_end - 1);
}

TimelineStep known_step(const StepPattern& pattern, std::string_view text, bool is_slow) {
  const std::size_t before = pattern.address_size + pattern.port_size + 3;
  TimelineStep step =
      step_of(text, pattern.address_size, pattern.port_size, pattern.head.size() - before);
  step.offset_known = true;
  step.offset_ms = std::max<std::int64_t>(0, pattern.offset_ms);
  std::vector<std::string> empty;
  fits_step(pattern, text, &empty);
  for (const std::string& name : empty) add_note(step, "{{" + shown(name) + "}} was empty");
  const bool uses_status =
      std::any_of(pattern.names.begin(), pattern.names.end(),
                  [](const std::string& name) { return !is_clock_placeholder(name); });
  if (is_slow && uses_status) {
    add_note(step, "old values: the status service did not answer in time");
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
  block.verdict = "executed";
  block.steps.push_back(std::move(step));
}

void execute(TimelineMaker& maker, Push& push, const std::size_t* lines) {
  TimelineBlock& block = maker.timeline.blocks[push.block];
  const bool is_slow = push.due == push.at && was_slow(maker, push);
  for (const StepPattern& pattern : steps_of(*push.event)) {
    add_step(maker, block, *lines, known_step(pattern, maker.records[*lines].name, is_slow));
    ++lines;
  }
  push.is_done = true;
}

/// Adds the lines that no event of the file explains. They are those of the push since the last
/// pass if there is only one.
void add_unexplained(TimelineMaker& maker, const std::vector<std::size_t>& lines) {
  const LogRecord& first = maker.records[lines.front()];
  std::vector<Push*> recent;
  std::size_t waiting = 0;
  for (Push& push : maker.queue) {
    if (push.is_done) continue;
    ++waiting;
    if (push.due <= first.elapsed && !push.maybe) push.maybe = first.time;
    if (push.due <= first.elapsed && push.record > maker.last_pass) recent.push_back(&push);
  }
  TimelineBlock* block = nullptr;
  if (recent.size() == 1) {
    block = &maker.timeline.blocks[recent.front()->block];
    block->text =
        maker.definitions == nullptr ? "" : "executed with other steps than the given file";
    block->is_probable = first.elapsed < maker.certain_from || waiting > 1;
    recent.front()->is_done = true;
  } else {
    block = &maker.timeline.blocks.emplace_back();
    block->time = first.time;
    block->record = lines.front();
    block->text = "steps of a push that is not known";
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
  const std::vector<std::size_t> lines = pass_lines(maker, first);
  const std::size_t end_record = lines.back() + 1;
  const bool may_be_cut =
      end_record == maker.records.size() || maker.records[end_record].clock_set_back;
  std::vector<std::size_t> rest;
  auto next_push = maker.queue.rbegin();
  for (std::size_t end = lines.size(); end > 0;) {
    const auto fits = [&](const Push& push) { return may_have_left(maker, push, lines, end); };
    const auto found = std::find_if(next_push, maker.queue.rend(), fits);
    if (found == maker.queue.rend()) {
      rest.push_back(lines[--end]);
      continue;
    }
    next_push = std::next(found);
    maker.timeline.blocks[found->block].is_probable =
        may_be_cut && std::any_of(next_push, maker.queue.rend(), fits);
    end -= steps_of(*found->event).size();
    execute(maker, *found, &lines[end]);
  }
  std::reverse(rest.begin(), rest.end());
  if (!rest.empty()) add_unexplained(maker, rest);
  maker.last_pass = first;
  return lines.back();
}

}  // namespace kovo::check
