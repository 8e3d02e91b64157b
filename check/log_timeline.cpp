#include "check/log_timeline.h"

#include <algorithm>
#include <utility>

#include "check/payload.h"
#include "check/triggers.h"
#include "engine/event_fate.h"
#include "frame/text.h"

namespace kovo::check {
namespace {

constexpr LogTime kLifeMs = kEventLifeNs / 1'000'000;
constexpr LogTime kLookupMs = 5000;       // of one name: the status service, and the mirror line
constexpr LogTime kConnectMs = 2000;      // the time-out of a connection
constexpr LogTime kSendMs = 4000;         // to connect and to send
constexpr LogTime kSkewMs = 10'000;       // by which an anchor's two records may differ
constexpr LogTime kLongPauseMs = 15'000;  // a longer one counts as this
constexpr LogTime kSameScanMs = 250;      // between the lines of steps of an unknown event
constexpr std::size_t kMaxQueue = 4096;
constexpr std::size_t kMaxBlocks = 10'000;
constexpr LogTime kTightMs = 1500;  // by which they differ as a rule
constexpr std::size_t kMaxSources = 16;
constexpr std::size_t kMaxJoined = 8;

TimelineBlock& add_block(Timeline& timeline) {
  TimelineBlock& block = *timeline.blocks.emplace_back(std::make_unique<TimelineBlock>());
  block.time = timeline.now;
  return block;
}

void settle(TimelineBlock& block, BlockVerdict verdict, std::string text, bool failed) {
  block.verdict = verdict;
  block.text = std::move(text);
  block.has_failed = failed;
  block.is_done = true;
}

void add_settled(Timeline& timeline, std::string trigger, std::string source, BlockVerdict verdict,
                 std::string text, bool failed) {
  TimelineBlock& block = add_block(timeline);
  block.trigger = std::move(trigger);
  block.source = std::move(source);
  settle(block, verdict, std::move(text), failed);
}

// The main log.

std::string target_key(std::string_view address, std::int64_t port, const std::string* payload) {
  std::string key(cut_text(address, kMaxShortText));
  key += "\n" + std::to_string(port);
  return payload == nullptr ? key : key + "\n" + std::string(sent_part(*payload));
}

bool is_send_error(MainLine kind) {
  return kind == MainLine::kConnectError || kind == MainLine::kSendError;
}

/// Whether the clock was set back after a record and up to another one.
bool is_set_back_between(const Timeline& timeline, std::uint64_t record, std::uint64_t end) {
  const std::vector<std::uint64_t>& steps = timeline.index->steps_back;
  const auto next = std::upper_bound(steps.begin(), steps.end(), record);
  return next != steps.end() && *next <= end;
}

enum class Fit { kNo, kLoose, kTight };

/// Whether a record of the main log certainly comes before one of the event log.
bool is_before(const PlacedRecord& placed, std::uint64_t record) {
  return placed.before && !placed.before->is_first && placed.before->record < record;
}

/// Whether an error may be that of a step: logged after the step was due, and before it had to be
/// sent. The record before it may itself have waited.
Fit fit_of(const Timeline& timeline, const PlacedRecord& error, const OpenStep& step) {
  if (is_before(error, step.record)) return Fit::kNo;
  const std::uint64_t end = error.before ? error.before->record : UINT64_MAX;
  if (!error.after || is_set_back_between(timeline, step.record, end)) return Fit::kLoose;
  if (error.before && error.before->time + kTightMs < step.due) return Fit::kNo;
  const LogTime most = error.record->kind == MainLine::kConnectError ? kConnectMs : kSendMs;
  const LogTime late = error.after->time - step.due - most;
  if (late <= kTightMs) return Fit::kTight;
  return late <= (step.offset_known ? kSkewMs : kLifeMs) ? Fit::kLoose : Fit::kNo;
}

enum class ErrorMatch { kNone, kMaybe, kCertain };

struct FoundError {
  ErrorMatch match = ErrorMatch::kNone;
  const MainRecord* record = nullptr;
};

std::size_t count_fitting(const Timeline& timeline, const PlacedRecord& error,
                          const std::vector<OpenStep>& steps, Fit least) {
  return static_cast<std::size_t>(
      std::count_if(steps.begin(), steps.end(),
                    [&](const OpenStep& step) { return fit_of(timeline, error, step) >= least; }));
}

/// Whether a payload is that of a plain step, which a step that sends the status may not claim.
bool is_plain(const Timeline& timeline, const PlacedRecord& error, const std::string& key) {
  const MainRecord& record = *error.record;
  const std::string plain = target_key(record.name, record.number, &record.value);
  return plain != key && timeline.open_steps.count(plain) > 0;
}

/// Finds the error of a step. It is certain when as many errors as equal steps fit.
FoundError find_error(Timeline& timeline, const std::string& key, const OpenStep& step) {
  const auto found = timeline.errors.find(key);
  if (found == timeline.errors.end()) return {};
  const std::vector<OpenStep>& steps = timeline.open_steps[key];
  PlacedRecord* tight = nullptr;
  PlacedRecord* loose = nullptr;
  std::size_t tight_count = 0;
  for (const std::size_t at : found->second) {
    PlacedRecord& error = timeline.main_log.records[at];
    const bool is_past = error.after && error.after->time > step.due + kLifeMs + kSendMs;
    if (is_past && timeline.index->steps_back.empty()) break;
    if (error.is_taken || is_plain(timeline, error, key)) continue;
    const Fit fit = fit_of(timeline, error, step);
    if (fit == Fit::kTight && ++tight_count == 1) tight = &error;
    if (fit == Fit::kLoose && loose == nullptr) loose = &error;
  }
  if (tight != nullptr) {
    tight->is_explained = true;
    if (count_fitting(timeline, *tight, steps, Fit::kTight) > tight_count) {
      return {ErrorMatch::kMaybe, tight->record};
    }
    tight->is_taken = true;
    return {ErrorMatch::kCertain, tight->record};
  }
  if (loose == nullptr || count_fitting(timeline, *loose, steps, Fit::kTight) > 0) return {};
  loose->is_explained = true;
  return {ErrorMatch::kMaybe, loose->record};
}

/// Forgets the errors that come before all steps which may still have one.
void forget_errors(Timeline& timeline, const std::string& key) {
  const auto found = timeline.errors.find(key);
  if (found == timeline.errors.end()) return;
  std::uint64_t first = timeline.record;
  for (const OpenStep& step : timeline.open_steps[key]) first = std::min(first, step.record);
  std::deque<std::size_t>& errors = found->second;
  while (!errors.empty()) {
    const PlacedRecord& error = timeline.main_log.records[errors.front()];
    if (!error.is_taken && !is_before(error, first)) return;
    errors.pop_front();
  }
}

/// Takes a step off the open ones and finds its error.
FoundError close_step(Timeline& timeline, const std::string& key, const TimelineBlock& block) {
  std::vector<OpenStep>& steps = timeline.open_steps[key];
  const auto step = std::find_if(steps.begin(), steps.end(),
                                 [&](const OpenStep& one) { return one.block == &block; });
  if (step == steps.end()) return {};
  forget_errors(timeline, key);
  const FoundError error = find_error(timeline, key, *step);
  steps.erase(step);
  if (steps.empty()) timeline.open_steps.erase(key);
  return error;
}

std::string reason_of(const MainRecord& error) {
  if (contains(error.error, "Operation now in progress")) return "no answer (" + error.error + ")";
  return error.error;
}

// Steps.

void judge(TimelineStep& step, StepVerdict verdict, std::string text) {
  step.verdict = verdict;
  step.text = std::move(text);
}

/// Judges a step by what ended the daemon, or the log, before it was due. Returns whether it did.
bool judge_by_break(const Timeline& timeline, const ExecutedLine& line, LogTime due,
                    TimelineStep& step) {
  const std::vector<Break>& breaks = timeline.index->breaks;
  const auto next =
      std::upper_bound(breaks.begin(), breaks.end(), line.record,
                       [](std::uint64_t record, const Break& one) { return record < one.record; });
  if (next == breaks.end()) {
    if (due <= timeline.index->last) return false;
    judge(step, StepVerdict::kNotKnown, "not known: due after the end of the log");
    return true;
  }
  if (due <= next->last || !step.offset_known) return false;
  const bool certain = !next->is_gap && due >= next->time &&
                       !is_set_back_between(timeline, line.record, next->record);
  if (certain) {
    judge(
        step, StepVerdict::kNotSent,
        "NOT SENT: the daemon was restarted at " + clock_text(next->time) + ", before it was due");
  } else {
    judge(step, StepVerdict::kNotKnown,
          next->is_gap
              ? "not known: a part of the log is missing"
              : "not known: the daemon ended at some time before " + clock_text(next->time));
  }
  return true;
}

/// Whether the main log is there from a record on, up to a time.
std::string missing_main_log(const Timeline& timeline, std::uint64_t record, LogTime until) {
  const PlacedLog& log = timeline.main_log;
  if (log.records.empty()) return "kovo.log is missing";
  if (!log.first) return "nothing in kovo.log is in the event log";
  if (record < log.first->record) return "kovo.log does not reach back to it";
  if (log.end && (record >= log.end->record || until > log.end->time)) {
    return "kovo.log ends before it";
  }
  return "";
}

const std::string kStatusRequest = "getStatus";

std::string status_key() {
  return target_key("127.0.0.1", 50003, &kStatusRequest);
}

bool is_tcp(SendKind sender) {
  return sender == SendKind::kTcp || sender == SendKind::kTcpStatus;
}

bool is_status(SendKind sender) {
  return sender == SendKind::kUdpStatus || sender == SendKind::kTcpStatus;
}

std::string key_of(const TimelineStep& step) {
  return target_key(step.address, to_int32(step.port),
                    step.sender == SendKind::kTcpStatus ? nullptr : &step.payload);
}

/// What is said of a step that leaves an error when it fails, without one.
void judge_without_error(Timeline& timeline, const ExecutedLine& line, LogTime due,
                         TimelineStep& step) {
  const std::string missing = missing_main_log(timeline, line.record, due + kSendMs);
  if (!missing.empty() && step.sender == SendKind::kUdpStatus) {
    judge(step, StepVerdict::kExecuted, "executed (UDP leaves no trace)");
  } else if (!missing.empty()) {
    judge(step, StepVerdict::kNotKnown, "not known: " + missing);
  } else if (timeline.main_log.last->time < due + kSendMs) {
    judge(step, StepVerdict::kNoErrorYet, "no error logged before the log ends");
  } else {
    judge(step, StepVerdict::kNoError,
          step.offset_known ? "no error logged"
                            : "no error logged soon after (its delay is not known)");
  }
}

void judge_error(const FoundError& error, TimelineStep& step) {
  if (error.match == ErrorMatch::kCertain) {
    judge(step, StepVerdict::kNotSent, "NOT SENT: " + reason_of(*error.record));
  } else if (error.match == ErrorMatch::kMaybe) {
    judge(step, StepVerdict::kNotKnown,
          "not known: this step or an equal one was not sent: " + reason_of(*error.record));
  }
}

void judge_status_error(const FoundError& error, TimelineStep& step) {
  if (error.match == ErrorMatch::kNone) return;
  const bool without_error =
      step.verdict == StepVerdict::kNoError || step.verdict == StepVerdict::kNoErrorYet;
  if (step.sender == SendKind::kUdpStatus && without_error) {
    judge(step, StepVerdict::kExecuted, "executed (UDP leaves no trace)");
  }
  step.text += std::string("; the status service ") +
               (error.match == ErrorMatch::kMaybe ? "may have failed: " : "failed: ") +
               error.record->error + ", sent in place of the status";
}

/// Finds the errors of a block's steps.
void close_steps(Timeline& timeline, TimelineBlock& block) {
  for (TimelineStep& step : block.steps) {
    if (step.verdict == StepVerdict::kSkipped) continue;
    if (is_tcp(step.sender)) judge_error(close_step(timeline, key_of(step), block), step);
    if (is_status(step.sender)) {
      judge_status_error(close_step(timeline, status_key(), block), step);
    }
  }
  if (!block.was_executed) return;
  block.has_failed =
      std::any_of(block.steps.begin(), block.steps.end(), [](const TimelineStep& step) {
        return step.verdict == StepVerdict::kNotSent || step.verdict == StepVerdict::kSkipped;
      });
}

void show_done(Timeline& timeline) {
  while (!timeline.blocks.empty()) {
    TimelineBlock& block = *timeline.blocks.front();
    const bool crowded = timeline.blocks.size() > kMaxBlocks;
    if (!block.is_done || (timeline.elapsed < block.hold_until && !crowded)) return;
    close_steps(timeline, block);
    const PlacedRecord* error = block.error;
    if (error == nullptr || !(error->is_taken || error->is_explained)) timeline.sink(block);
    timeline.blocks.pop_front();
  }
}

/// Judges a step by its line, the end of the daemon and what the main log covers; its error is
/// found later, when equal steps are known.
void judge_step(Timeline& timeline, const ExecutedLine& line, const TimelineBlock& block,
                TimelineStep& step) {
  if (line.parts.kind == EventLine::kDisabledStep) {
    judge(step, StepVerdict::kSkipped, "NOT SENT: events are disabled");
    return;
  }
  if (line.parts.kind == EventLine::kPeriodSkip) {
    judge(step, StepVerdict::kSkipped,
          "NOT SENT: within " + std::to_string(kPowerOnPeriodS) + " s of uptime after boot");
    return;
  }
  if (step.sender == SendKind::kNone) {
    judge(step, StepVerdict::kNotSent, "NOT SENT: " + quoted(step.protocol) + " is no protocol");
    return;
  }
  const LogTime due = line.time + std::max<LogTime>(0, step.offset_ms);
  const OpenStep open{line.record, due, step.offset_known, &block};
  if (is_tcp(step.sender)) timeline.open_steps[key_of(step)].push_back(open);
  if (is_status(step.sender)) timeline.open_steps[status_key()].push_back(open);
  if (judge_by_break(timeline, line, due, step)) return;
  if (step.sender == SendKind::kUdp) {
    judge(step, StepVerdict::kExecuted,
          step.offset_known ? "executed (UDP leaves no trace)"
                            : "executed (UDP leaves no trace; its delay is not known)");
  } else {
    judge_without_error(timeline, line, due, step);
  }
}

/// Splits "address:port protocol payload" by its pattern, or at its blanks.
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

// Executions.

bool is_step_line(EventLine kind) {
  return kind == EventLine::kStep || kind == EventLine::kDisabledStep ||
         kind == EventLine::kPeriodSkip;
}

/// A payload that is sent may end as the line of a disabled step does: the pattern decides.
bool fits_line(const StepPattern& pattern, ExecutedLine& line) {
  if (fits_step(pattern, line.parts.step)) return true;
  if (line.parts.kind != EventLine::kDisabledStep) return false;
  const std::string whole =
      line.parts.step + ", disabled uptime=" + std::to_string(line.parts.number);
  if (!fits_step(pattern, whole)) return false;
  line.parts.kind = EventLine::kStep;
  line.parts.step = whole;
  return true;
}

void remove_queued(Timeline& timeline, const TimelineBlock* block) {
  const auto found = std::find_if(timeline.queue.begin(), timeline.queue.end(),
                                  [&](const QueuedEvent& one) { return one.block == block; });
  if (found != timeline.queue.end()) timeline.queue.erase(found);
}

/// The one push without an event of the definitions that the steps of an unknown event may follow.
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
                      const std::vector<StepPattern>* patterns) {
  block.was_executed = true;
  block.executed_at = execution.lines.front().time;
  std::int64_t longest = 0;
  for (std::size_t at = 0; at < execution.lines.size(); ++at) {
    const ExecutedLine& line = execution.lines[at];
    TimelineStep step = step_of(line.parts.step, patterns == nullptr ? nullptr : &(*patterns)[at]);
    judge_step(timeline, line, block, step);
    longest = std::max(longest, step.offset_ms);
    block.steps.push_back(std::move(step));
  }
  std::string text;
  if (patterns != nullptr && block.steps.size() < patterns->size()) {
    text = "only " + std::to_string(block.steps.size()) + " of them in the log";
  }
  settle(block, BlockVerdict::kExecuted, text, false);
  block.hold_until =
      timeline.elapsed + std::min<std::int64_t>(longest, kLifeMs) + kSendMs + kSkewMs;
}

void close_execution(Timeline& timeline) {
  const Execution execution = std::exchange(timeline.execution, {});
  if (execution.lines.empty()) return;
  TimelineBlock* block = nullptr;
  const std::vector<StepPattern>* patterns = nullptr;
  if (execution.candidates.empty()) {
    block = only_unknown_push(timeline, execution.lines.front().time);
  } else {
    const ExecutionCandidate& best = execution.candidates.front();
    block = best.block;
    patterns = &steps_of(*best.event);
  }
  const bool has_push = block != nullptr;
  if (!has_push) {
    block = &add_block(timeline);
    block->time = execution.lines.front().time;
    block->source = "by a push that is not known";
  }
  remove_queued(timeline, block);
  if (patterns != nullptr) {
    const LogEvent& event = *execution.candidates.front().event;
    block->event = event.name;
    if (!has_push) block->trigger = event.trigger;
    block->has_step_count = true;
    block->step_count = event.step_count;
    block->is_probable =
        !has_push || execution.candidates.size() > 1 || execution.lines.size() < patterns->size();
  } else {
    block->is_probable = true;
  }
  settle_execution(timeline, *block, execution, patterns);
}

/// Whether an event that was pushed then may be executed now, by the clock.
bool is_in_time(const QueuedEvent& queued, LogTime time) {
  const LogTime delay = queued.block->is_test ? 0 : LogTime{queued.event->delay_s} * 1000;
  const LogTime names = static_cast<LogTime>(queued.names_before + 1);
  const LogTime since = time - queued.pushed_at;
  // The clock that delays are measured by is not that of the log, which may run a little slower.
  return since >= delay - delay / 1000 - 5 && since <= kLifeMs + names * kLookupMs;
}

void add_candidate(Execution& execution, TimelineBlock* block, LogEvent& event,
                   ExecutedLine& line) {
  for (const ExecutionCandidate& other : execution.candidates) {
    if (other.event == &event) return;
  }
  if (fits_line(steps_of(event).front(), line)) execution.candidates.push_back({block, &event});
}

/// "address:port protocol " of a line of a step.
std::string head_of(std::string_view step) {
  const std::size_t port_end = step.find(' ', std::min(step.find(':'), step.size()));
  const std::size_t protocol_end = step.find(' ', std::min(port_end, step.size() - 1) + 1);
  return std::string(step.substr(0, std::min(protocol_end, step.size() - 1) + 1));
}

/// The events that a line may begin: of those in the queue that are due, else of those that are not
/// by the clock, else any.
void find_candidates(Timeline& timeline, Execution& execution, ExecutedLine& line) {
  if (timeline.definitions == nullptr) return;
  for (const bool in_time : {true, false}) {
    for (const QueuedEvent& queued : timeline.queue) {
      if (queued.event == nullptr || is_in_time(queued, line.time) != in_time) continue;
      add_candidate(execution, queued.block, *queued.event, line);
    }
    if (!execution.candidates.empty()) return;
  }
  const auto [begin, end] = timeline.definitions->by_head.equal_range(head_of(line.parts.step));
  for (auto event = begin; event != end; ++event) {
    add_candidate(execution, nullptr, *event->second, line);
  }
}

/// Adds a line to the execution that is being read, if it fits.
bool continues(Execution& execution, ExecutedLine& line) {
  if (execution.lines.empty()) return false;
  if (execution.candidates.empty()) return line.time - execution.lines.back().time <= kSameScanMs;
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
  const LogEvent& event = *execution.candidates.front().event;
  if (execution.lines.size() == event.step_count) close_execution(timeline);
}

// Pushes.

std::string joined(const std::vector<std::string>& texts) {
  std::string result;
  for (const std::string& text : texts) result += (result.empty() ? "" : " or ") + text;
  return result;
}

/// What raises a trigger, by the daemon's own tables: variables, or else everything but them.
std::vector<std::string> usual_sources(std::string_view name, bool variables) {
  static const Triggers triggers = make_triggers(kAnyProduct);
  std::vector<std::string> result;
  const auto found = triggers.raisers.find(std::string(name));
  if (found == triggers.raisers.end()) return result;
  for (const Raiser& raiser : found->second) {
    if (starts_with_nocase(raiser.what, "variable ") == variables) {
      result.push_back("by " + raiser.what);
    }
  }
  return result;
}

std::string variable_source(std::string_view name) {
  const std::string usual = joined(usual_sources(name, true));
  return usual.empty() ? "by a variable" : usual;
}

/// The source of a push without a line that gives it: the playback selection, or the serial format.
std::string silent_source(std::string_view name) {
  std::string usual = joined(usual_sources(name, false));
  if (usual.empty()) usual = joined(usual_sources(name, true));
  return usual.empty() ? "by what is not in the log" : usual;
}

void add_source(Timeline& timeline, std::string name, std::string text) {
  timeline.sources.push_back({std::move(name), std::move(text)});
  if (timeline.sources.size() > kMaxSources) timeline.sources.pop_front();
}

/// What is logged as the reason of a push; several when threads ran past each other.
std::string take_source(Timeline& timeline, const std::string& name) {
  std::vector<std::string> fitting;
  auto first = timeline.sources.end();
  for (auto source = timeline.sources.begin(); source != timeline.sources.end(); ++source) {
    if (source->name != name) continue;
    if (fitting.empty()) first = source;
    if (fitting.empty() || fitting.back() != source->text) fitting.push_back(source->text);
  }
  if (fitting.empty()) return silent_source(name);
  timeline.sources.erase(first);
  return joined(fitting);
}

void settle_no_event(Timeline& timeline, TimelineBlock& block) {
  std::string text = "no event of the definitions given has this trigger";
  const std::string near = nearest_name(timeline.definitions->triggers, block.trigger);
  if (!near.empty()) text += "; did you mean " + shown(near) + "?";
  settle(block, BlockVerdict::kNoEvent, text, true);
}

void queue_push(Timeline& timeline, TimelineBlock& block, std::size_t names_before) {
  LogEvent* event = timeline.definitions == nullptr
                        ? nullptr
                        : pushed_event(*timeline.definitions, block.trigger, block.is_test);
  if (event == nullptr && timeline.definitions != nullptr && !block.is_test) {
    settle_no_event(timeline, block);
    return;
  }
  if (event != nullptr) {
    block.event = event->name;
    block.has_step_count = true;
    block.step_count = event->step_count;
  }
  timeline.queue.push_back({&block, event, timeline.now, timeline.elapsed, names_before});
}

void on_push(Timeline& timeline, const EventLineParts& parts) {
  close_execution(timeline);
  std::string text = parts.name;
  bool is_test = parts.number != 0;
  if (is_test) {  // a name may end as the line of a test does
    const std::string whole = text + ", test=" + std::to_string(parts.number);
    for (const PushSource& source : timeline.sources) {
      if (source.name != whole) continue;
      text = whole;
      is_test = false;
      break;
    }
  }
  const std::string source = is_test ? "as a test" : take_source(timeline, text);
  std::size_t number = 0;
  for (const std::string_view name : split_lines(text)) {
    TimelineBlock& block = add_block(timeline);
    block.trigger = name;
    block.source = source;
    block.is_test = is_test;
    block.is_renewed = timeline.record < timeline.renewed_until;
    queue_push(timeline, block, number++);
  }
  if (number == 0) {
    add_settled(timeline, "", source, BlockVerdict::kNoEvent, "no name was given", true);
  }
}

void push_power_on(Timeline& timeline) {
  close_execution(timeline);
  TimelineBlock& block = add_block(timeline);
  block.trigger = "PowerOn";
  block.source = "by the first start after boot";
  queue_push(timeline, block, 0);
  if (block.is_done) block.has_failed = false;  // nobody asked for it
}

/// Settles a queued event whose expiry is in the main log. Returns whether it is.
bool settle_expired(Timeline& timeline, const QueuedEvent& queued) {
  TimelineBlock& block = *queued.block;
  for (const std::size_t at : timeline.expiries) {
    PlacedRecord& placed = timeline.main_log.records[at];
    const MainRecord& record = *placed.record;
    const bool is_name = record.name == block.trigger || record.value == block.trigger;
    if (placed.is_taken || !is_name) continue;
    const LogTime earliest = queued.pushed_at + kLifeMs;
    if (placed.before && placed.before->time < earliest) continue;
    if (placed.after && placed.after->time > earliest + kSkewMs + kLookupMs) continue;
    placed.is_taken = true;
    block.event = record.value;
    settle(block, BlockVerdict::kExpired, "dropped: it was not executed within 60 s", true);
    return true;
  }
  return false;
}

/// Settles a queued event of which no step was executed.
void settle_unexecuted(Timeline& timeline, const QueuedEvent& queued) {
  TimelineBlock& block = *queued.block;
  if (settle_expired(timeline, queued)) return;
  if (queued.event == nullptr) {
    const bool is_test = block.is_test && timeline.definitions != nullptr;
    settle(block, BlockVerdict::kNotKnown,
           is_test ? "not known: a test runs the events of kovotest.txt"
                   : "not known: no definitions are given",
           false);
    return;
  }
  std::string text = "no line of its steps is in the log";
  if (queued.event->delay_s * LogTime{1000} >= kLifeMs) {
    text += ": its delay is not shorter than the 60 s that an event waits";
  }
  settle(block, BlockVerdict::kNotExecuted, text, true);
}

void settle_old(Timeline& timeline) {
  while (!timeline.queue.empty()) {
    const QueuedEvent queued = timeline.queue.front();
    const std::int64_t life =
        kLifeMs + static_cast<std::int64_t>(queued.names_before + 1) * kLookupMs;
    const bool is_old = timeline.elapsed - queued.elapsed_at_push > life;
    if (!is_old && timeline.queue.size() <= kMaxQueue) return;
    close_execution(timeline);
    if (timeline.queue.empty() || timeline.queue.front().block != queued.block) continue;
    settle_unexecuted(timeline, queued);
    timeline.queue.pop_front();
  }
}

/// Settles all queued events: nothing of them follows.
void settle_all(Timeline& timeline, BlockVerdict verdict, const std::string& text, bool failed) {
  close_execution(timeline);
  for (const QueuedEvent& queued : timeline.queue) {
    if (queued.event == nullptr) {
      settle_unexecuted(timeline, queued);
    } else if (!settle_expired(timeline, queued)) {
      settle(*queued.block, verdict, text, failed);
    }
  }
  timeline.queue.clear();
  timeline.sources.clear();
}

void on_power_on_skip(Timeline& timeline) {
  close_execution(timeline);
  const std::string text = "skipped: it runs once per boot";
  for (const QueuedEvent& queued : timeline.queue) {
    const std::string& trigger =
        queued.event == nullptr ? queued.block->trigger : queued.event->trigger;
    if (!equals_nocase(trigger, "PowerOn")) continue;
    settle(*queued.block, BlockVerdict::kOncePerBoot, text, false);
    remove_queued(timeline, queued.block);
    return;
  }
  add_settled(timeline, "PowerOn", "by a push that is not known", BlockVerdict::kOncePerBoot, text,
              false);
}

void on_start(Timeline& timeline) {
  settle_all(timeline, BlockVerdict::kRestart,
             "not executed: the daemon was restarted at " + clock_text(timeline.now), true);
  timeline.marker_created = false;
  add_settled(timeline, "", "", BlockVerdict::kNote, "the daemon starts", false);
}

// Records of the main log that nothing in the event log explains.

void add_main_block(Timeline& timeline, const PlacedRecord& placed, BlockVerdict verdict,
                    std::string trigger, std::string source, std::string text) {
  TimelineBlock& block = add_block(timeline);
  const std::optional<Anchor>& near = placed.after ? placed.after : placed.before;
  block.time_known = near.has_value();
  block.is_about = true;
  if (near) block.time = near->time;
  block.trigger = std::move(trigger);
  block.source = std::move(source);
  settle(block, verdict, std::move(text), verdict != BlockVerdict::kNote);
}

std::string target_of(const MainRecord& record) {
  return shown(record.name) + ":" + std::to_string(record.number) + " " + quoted(record.value);
}

void show_main_record(Timeline& timeline, const PlacedRecord& placed) {
  const MainRecord& record = *placed.record;
  switch (record.kind) {
    case MainLine::kDisabled:
      add_main_block(timeline, placed, BlockVerdict::kDisabled, record.name, "on tcp:2700",
                     "dropped: events are disabled");
      break;
    case MainLine::kExpired:
      add_main_block(timeline, placed, BlockVerdict::kExpired, record.name, "",
                     "dropped: " + shown(record.value) + " was not executed within 60 s");
      break;
    case MainLine::kConnectError:
    case MainLine::kSendError:
      add_main_block(timeline, placed, BlockVerdict::kDropped, "", "",
                     "NOT SENT: TCP " + target_of(record) + ": " + reason_of(record) +
                         " (its step is not in the event log)");
      timeline.blocks.back()->error = &placed;
      break;
    case MainLine::kSenderError:
      add_main_block(timeline, placed, BlockVerdict::kDropped, "", "",
                     "NOT SENT: a step of " + shown(record.name) + ": " + record.error);
      break;
    case MainLine::kDropped:
      add_main_block(
          timeline, placed, BlockVerdict::kDropped, record.name, "",
          record.name.empty() ? "dropped: " + record.error : "dropped: too many events are queued");
      break;
    case MainLine::kRefused:
      add_main_block(timeline, placed, BlockVerdict::kDropped, record.name, "on port 2727",
                     "refused: no command, or malformed");
      break;
    case MainLine::kSettingRefused:
      add_main_block(timeline, placed, BlockVerdict::kNote, record.name, "by setting",
                     "a setting needs a value: nothing is raised");
      break;
    default:
      break;
  }
}

/// An expiry is that of the first queued event of its name that is old enough.
bool expires_queued(Timeline& timeline, const PlacedRecord& placed) {
  for (const QueuedEvent& queued : timeline.queue) {
    if (!settle_expired(timeline, queued)) continue;
    remove_queued(timeline, queued.block);
    return placed.is_taken;
  }
  return false;
}

/// Shows what the main log alone has, up to a record of the event log.
void show_main_log(Timeline& timeline, std::uint64_t record) {
  const std::vector<PlacedRecord>& records = timeline.main_log.records;
  if (!timeline.execution.lines.empty()) return;  // it may explain an error
  for (; timeline.next_placed < records.size(); ++timeline.next_placed) {
    const PlacedRecord& placed = records[timeline.next_placed];
    if (record != UINT64_MAX && (!placed.before || placed.before->record > record)) return;
    if (placed.record->kind == MainLine::kExpired && expires_queued(timeline, placed)) continue;
    show_main_record(timeline, placed);
  }
}

// Records of the event log.

void on_status_line(Timeline& timeline, const std::string& text) {
  if (starts_with_nocase(text, "port") || starts_with_nocase(text, "sys")) return;
  const char* result = starts_with_nocase(text, "local")
                           ? "the playback selection: a change raises what follows"
                           : "a status line raises no event";
  add_settled(timeline, text, "on udp:2728", BlockVerdict::kNote, result, false);
}

void on_skip(Timeline& timeline, const EventLineParts& parts, std::string source,
             const std::string& what) {
  add_settled(timeline, parts.name, std::move(source), BlockVerdict::kHoldOff,
              "skipped: hold-off time, the last " + what + " came " + std::to_string(parts.number) +
                  " s before",
              false);
}

void on_clock(Timeline& timeline, LogTime time) {
  constexpr LogTime kSecond = 1000;
  if (timeline.record > 0 && timeline.now - time >= kSecond) {
    const LogTime back = (timeline.now - time) / kSecond;
    timeline.now = time;
    add_settled(timeline, "", "", BlockVerdict::kNote,
                "the clock was set back by " + std::to_string(back) + " s", false);
  }
  const LogTime pause = timeline.record == 0 ? 0 : time - timeline.now;
  timeline.elapsed += std::clamp<LogTime>(pause, 0, kLongPauseMs);
  timeline.now = time;
}

void on_record(Timeline& timeline, const EventRecord& record) {
  on_clock(timeline, record.time);
  const EventLineParts parts = parse_event_line(record.text);
  if (is_step_line(parts.kind)) {
    on_step(timeline, {parts, record.time, timeline.record});
    return;
  }
  switch (parts.kind) {
    case EventLine::kStart:
      on_start(timeline);
      break;
    case EventLine::kMarkerCreated:
      push_power_on(timeline);
      timeline.marker_created = true;
      break;
    case EventLine::kAutoPush:
      if (!std::exchange(timeline.marker_created, false)) push_power_on(timeline);
      break;
    case EventLine::kPush:
      on_push(timeline, parts);
      break;
    case EventLine::kCommand:
      close_execution(timeline);
      add_source(timeline, std::string(strip_newline(parts.name)), "on tcp:2700");
      break;
    case EventLine::kStatusLine:
      on_status_line(timeline, parts.name);
      break;
    case EventLine::kVariable:
    case EventLine::kBareName:
      add_source(timeline, parts.name, variable_source(parts.name));
      break;
    case EventLine::kVariableSkip:
      on_skip(timeline, parts, variable_source(parts.name), "message of its row");
      break;
    case EventLine::kStatusSkip:
      on_skip(timeline, parts, "on udp:2728", "line of its row");
      break;
    case EventLine::kSettingChanged:
      add_source(timeline, parts.name, "by setting " + shown(parts.name));
      break;
    case EventLine::kSettingSame:
      add_settled(timeline, parts.name, "by setting " + shown(parts.name), BlockVerdict::kSameValue,
                  "skipped: the setting has this value already", false);
      break;
    case EventLine::kPowerOnSkip:
      on_power_on_skip(timeline);
      break;
    case EventLine::kMilestone:
      break;
    default:
      ++timeline.unknown_records;
  }
}

/// Notes a received text in which a line looks like a record of the event log.
void note_long_text(Timeline& timeline, const std::string& text) {
  if (!contains(text, "\n")) return;
  EventLogReader reader;
  std::deque<EventRecord> records;
  read_event_log(reader, logged_line({0, text}) + "\n", records);
  end_event_log(reader, records);
  if (records.size() > 1) timeline.long_texts[records.front().text] = text;
}

void note_received(Timeline& timeline, const MainRecord& record) {
  if (record.kind == MainLine::kStatusLine) {
    note_long_text(timeline, "get udp:2728 event " + record.name);
  }
  if (record.kind != MainLine::kCommand) return;
  const KeyValue pair = split_key_value(cut_text(strip_newline(record.name), kMaxCommand));
  const std::string key(pair.key);
  note_long_text(timeline, "get tcp:2700 event: key=" + key + ",value=" + std::string(pair.value));
  note_long_text(timeline, "push event: " + std::string(strip_newline(key)));
}

bool has_newline(const StepPattern& pattern) {
  return std::any_of(pattern.literals.begin(), pattern.literals.end(),
                     [](const std::string& literal) { return contains(literal, "\n"); });
}

/// Whether a whole text is that of a step which may come next and holds newlines.
bool is_expected_step(Timeline& timeline, const std::string& text) {
  const EventLineParts parts = parse_event_line(text);
  if (!is_step_line(parts.kind)) return false;
  ExecutedLine line{parts, timeline.now, timeline.record};
  const auto fits = [&](LogEvent& event, std::size_t step) {
    const std::vector<StepPattern>& steps = steps_of(event);
    return step < steps.size() && has_newline(steps[step]) && fits_line(steps[step], line);
  };
  for (const ExecutionCandidate& candidate : timeline.execution.candidates) {
    if (fits(*candidate.event, timeline.execution.lines.size())) return true;
  }
  const bool is_queued = std::any_of(
      timeline.queue.begin(), timeline.queue.end(),
      [&](const QueuedEvent& queued) { return queued.event != nullptr && fits(*queued.event, 0); });
  if (is_queued) return true;
  const auto [begin, end] = timeline.definitions->by_head.equal_range(head_of(line.parts.step));
  return std::any_of(begin, end, [&](const auto& event) { return fits(*event.second, 0); });
}

bool carries_text(EventLine kind) {
  return is_step_line(kind) || kind == EventLine::kCommand || kind == EventLine::kStatusLine ||
         kind == EventLine::kPush || kind == EventLine::kSettingChanged;
}

/// How many records after the first one are out of order, while the one after them is not: lines of
/// its text. Clocks do not jump there and back.
std::size_t count_out_of_order(const std::deque<EventRecord>& records) {
  const LogTime time = records.front().time;
  const std::size_t most = std::min(records.size(), kMaxJoined);
  for (std::size_t next = 1; next < most; ++next) {
    const LogTime other = records[next].time;
    if (parse_event_line(records[next].text).kind == EventLine::kStart) return 0;
    if (other < time || next + 1 >= most) continue;
    std::size_t fitting = 0;
    for (std::size_t at = 1; at < next; ++at) {
      if (records[at].time >= time && records[at].time <= other) ++fitting;
    }
    return fitting == 0 ? next - 1 : 0;
  }
  return 0;
}

/// How many records after the first one are part of its text: because a received text or a payload
/// says so, or because of their times.
std::size_t count_embedded(Timeline& timeline, const std::deque<EventRecord>& records,
                           std::string& text) {
  const EventLine kind = parse_event_line(text).kind;
  if (!carries_text(kind)) return 0;
  const auto known = timeline.long_texts.find(text);
  const bool is_known = known != timeline.long_texts.end();
  const bool is_step = timeline.definitions != nullptr && is_step_line(kind);
  if (is_step && is_expected_step(timeline, text)) return 0;
  std::string whole = text;
  const std::size_t most = is_known || is_step ? std::min(records.size(), kMaxJoined) : 0;
  for (std::size_t taken = 1; taken < most; ++taken) {
    whole += "\n" + logged_line(records[taken]);
    if (is_known ? whole != known->second : !is_expected_step(timeline, whole)) continue;
    text = whole;
    return taken;
  }
  const std::size_t count = count_out_of_order(records);
  for (std::size_t taken = 1; taken <= count; ++taken) text += "\n" + logged_line(records[taken]);
  return count;
}

}  // namespace

const char* verdict_name(StepVerdict verdict) {
  constexpr const char* kNames[] = {"executed",  "no_error", "no_error_yet",
                                    "not_known", "not_sent", "skipped"};
  return kNames[static_cast<std::size_t>(verdict)];
}

const char* verdict_name(BlockVerdict verdict) {
  constexpr const char* kNames[] = {"executed", "no_event",   "not_executed",  "not_known",
                                    "hold_off", "same_value", "once_per_boot", "disabled",
                                    "expired",  "restart",    "log_end",       "dropped",
                                    "note"};
  return kNames[static_cast<std::size_t>(verdict)];
}

void begin_timeline(Timeline& timeline) {
  bool is_started = false;  // the next reading of the definitions is that of the start
  for (std::size_t at = 0; at < timeline.main_log.records.size(); ++at) {
    const PlacedRecord& placed = timeline.main_log.records[at];
    const MainRecord& record = *placed.record;
    note_received(timeline, record);
    if (record.kind == MainLine::kBanner) is_started = true;
    if (record.kind == MainLine::kExpired) timeline.expiries.push_back(at);
    if (record.kind == MainLine::kRenewed && !contains(record.name, "kovotest")) {
      const std::uint64_t next = placed.before ? placed.before->record : UINT64_MAX;
      if (!std::exchange(is_started, false) && timeline.main_log.first)
        timeline.renewed_until = next;
    }
    if (!is_send_error(record.kind)) continue;
    timeline.errors[target_key(record.name, record.number, &record.value)].push_back(at);
    timeline.errors[target_key(record.name, record.number, nullptr)].push_back(at);
  }
}

std::size_t add_record(Timeline& timeline, const std::deque<EventRecord>& records) {
  show_main_log(timeline, timeline.record);
  EventRecord record = records.front();
  const std::size_t embedded = count_embedded(timeline, records, record.text);
  for (std::size_t at = 1; at <= embedded; ++at) {
    timeline.embedded.push_back(timeline.record + at);
  }
  on_record(timeline, record);
  timeline.record += 1 + embedded;
  settle_old(timeline);
  show_done(timeline);
  return 1 + embedded;
}

void add_gap(Timeline& timeline) {
  settle_all(timeline, BlockVerdict::kNotKnown, "not known: a part of the log is missing", false);
  add_settled(timeline, "", "", BlockVerdict::kNote, "a part of the event log is missing", false);
}

void end_timeline(Timeline& timeline) {
  close_execution(timeline);
  show_main_log(timeline, UINT64_MAX);
  settle_all(timeline, BlockVerdict::kLogEnd, "not known: the log ends before its steps", false);
  timeline.elapsed = INT64_MAX;
  show_done(timeline);
}

}  // namespace kovo::check
