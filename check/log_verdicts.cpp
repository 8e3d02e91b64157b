// Gives the steps their verdicts: by the line of a step, by the end of the daemon or of a log
// before the step was due, and by the errors of the main log.
//
// An error names a destination and a payload, not a step. It belongs to a step that was due shortly
// before it. If more equal steps than errors fit, any of them may have failed, and no verdict says
// more than that. So errors are searched only when the following steps are known. UDP leaves no
// error, and the reply of a receiver is not logged: "no error logged" is the best verdict.
#include <algorithm>

#include "check/log_parts.h"
#include "check/payload.h"
#include "core/event_rules.h"
#include "core/text.h"

namespace kovo::check {
namespace {

constexpr LogTime kConnectMs = 2000;  // the timeout of a connect
constexpr LogTime kTightMs = 1500;    // the usual difference between the records of an anchor

constexpr char kUdpExecuted[] = "executed (UDP leaves no trace)";

/// Returns whether the clock was set back after a record and up to another one.
bool is_set_back_between(const Timeline& timeline, std::uint64_t record, std::uint64_t end) {
  const std::vector<std::uint64_t>& steps = timeline.index->steps_back;
  const auto next = std::upper_bound(steps.begin(), steps.end(), record);
  return next != steps.end() && *next <= end;
}

enum class Fit { kNo, kLoose, kTight };

/// Returns whether a record of the main log certainly comes before one of the event log.
bool is_before(const PlacedRecord& placed, std::uint64_t record) {
  return placed.before && !placed.before->is_first && placed.before->record < record;
}

/// Returns whether an error may be that of a step: logged after the step was due and before its
/// timeout. The anchor before the error may be older than the error.
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

struct FoundError {
  const MainRecord* record = nullptr;
  bool is_certain = false;  // otherwise it may be that of an equal step
};

/// Returns how many steps an error fits tightly.
std::size_t count_tight(const Timeline& timeline, const PlacedRecord& error,
                        const std::vector<OpenStep>& steps) {
  return static_cast<std::size_t>(std::count_if(
      steps.begin(), steps.end(),
      [&](const OpenStep& step) { return fit_of(timeline, error, step) == Fit::kTight; }));
}

/// Returns whether an error found by a key without payload belongs to a step with that payload.
bool has_plain_step(const Timeline& timeline, const PlacedRecord& error, const std::string& key) {
  const MainRecord& record = *error.record;
  const std::string plain = target_key(record.name, record.number, record.value);
  return plain != key && timeline.open_steps.count(plain) > 0;
}

/// Finds the error of a step. It is certain if at least as many errors as equal steps fit.
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
    if (error.is_taken || has_plain_step(timeline, error, key)) continue;
    const Fit fit = fit_of(timeline, error, step);
    if (fit == Fit::kTight && ++tight_count == 1) tight = &error;
    if (fit == Fit::kLoose && loose == nullptr) loose = &error;
  }
  PlacedRecord* const error = tight != nullptr ? tight : loose;
  if (error == nullptr) return {};
  const std::size_t equal = count_tight(timeline, *error, steps);
  if (tight == nullptr && equal > 0) return {};
  error->is_explained = true;
  error->is_taken = tight != nullptr && equal <= tight_count;
  return {error->record, error->is_taken};
}

/// Removes the errors before all open steps, so that a search does not go through all of them.
void remove_old_errors(Timeline& timeline, const std::string& key) {
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

/// Removes a step from the open ones and finds its error.
FoundError close_step(Timeline& timeline, const std::string& key, const TimelineBlock& block) {
  std::vector<OpenStep>& steps = timeline.open_steps[key];
  const auto step = std::find_if(steps.begin(), steps.end(),
                                 [&](const OpenStep& one) { return one.block == &block; });
  if (step == steps.end()) return {};
  remove_old_errors(timeline, key);
  const FoundError error = find_error(timeline, key, *step);
  steps.erase(step);
  if (steps.empty()) timeline.open_steps.erase(key);
  return error;
}

void set_verdict(TimelineStep& step, StepVerdict verdict, std::string text) {
  step.verdict = verdict;
  step.text = std::move(text);
}

/// Gives a step its verdict if the daemon or the log ended before it was due; otherwise returns
/// false.
bool settle_by_break(const Timeline& timeline, const ExecutedLine& line, LogTime due,
                     TimelineStep& step) {
  const std::vector<Break>& breaks = timeline.index->breaks;
  const auto next =
      std::upper_bound(breaks.begin(), breaks.end(), line.record,
                       [](std::uint64_t record, const Break& one) { return record < one.record; });
  if (next == breaks.end()) {
    if (due <= timeline.index->last) return false;
    set_verdict(step, StepVerdict::kNotKnown, "not known: due after the end of the log");
    return true;
  }
  if (due <= next->last || !step.offset_known) return false;
  const std::string time = clock_text(next->time);
  if (next->is_gap) {
    set_verdict(step, StepVerdict::kNotKnown, "not known: a part of the log is missing");
  } else if (due >= next->time && !is_set_back_between(timeline, line.record, next->record)) {
    set_verdict(step, StepVerdict::kNotSent,
                "NOT SENT: the daemon was restarted at " + time + ", before it was due");
  } else {
    set_verdict(step, StepVerdict::kNotKnown,
                "not known: the daemon ended at some time before " + time);
  }
  return true;
}

/// Returns why the main log does not have the errors from a record on, up to a time; "" if it does.
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

std::string status_key() {
  return target_key("127.0.0.1", 50003, kStatusRequest);
}

std::string key_of(const TimelineStep& step) {
  std::optional<std::string_view> payload;
  if (!is_tcp(step) || !is_status(step)) payload = step.payload;
  return target_key(step.address, to_int32(step.port), payload);
}

/// Gives a step that logs its errors the verdict that it has without one.
void settle_without_error(Timeline& timeline, const ExecutedLine& line, LogTime due,
                          TimelineStep& step) {
  const std::string missing = missing_main_log(timeline, line.record, due + kSendMs);
  if (!missing.empty() && !is_tcp(step)) {
    set_verdict(step, StepVerdict::kExecuted, kUdpExecuted);
  } else if (!missing.empty()) {
    set_verdict(step, StepVerdict::kNotKnown, "not known: " + missing);
  } else if (timeline.main_log.last->time < due + kSendMs) {
    set_verdict(step, StepVerdict::kNoErrorYet, "no error logged before the log ends");
  } else {
    set_verdict(step, StepVerdict::kNoError,
                step.offset_known ? "no error logged"
                                  : "no error logged soon after (its delay is not known)");
  }
}

void add_error(const FoundError& error, TimelineStep& step) {
  if (error.record == nullptr) return;
  const std::string reason = reason_of(*error.record);
  if (error.is_certain) {
    set_verdict(step, StepVerdict::kNotSent, "NOT SENT: " + reason);
  } else {
    set_verdict(step, StepVerdict::kNotKnown,
                "not known: this step or an equal one was not sent: " + reason);
  }
}

void add_status_error(const FoundError& error, TimelineStep& step) {
  if (error.record == nullptr) return;
  const bool without_error =
      step.verdict == StepVerdict::kNoError || step.verdict == StepVerdict::kNoErrorYet;
  if (!is_tcp(step) && without_error) set_verdict(step, StepVerdict::kExecuted, kUdpExecuted);
  step.text += std::string("; the status service ") +
               (error.is_certain ? "failed: " : "may have failed: ") + error.record->error +
               ", sent in place of the status";
}

}  // namespace

std::string target_key(std::string_view address, std::int64_t port,
                       std::optional<std::string_view> payload) {
  std::string key(truncated(address, kMaxShortText));
  key += "\n" + std::to_string(port);
  return payload ? key + "\n" + std::string(sent_part(*payload)) : key;
}

std::string reason_of(const MainRecord& error) {
  // A connect that SO_SNDTIMEO ends fails with EINPROGRESS.
  if (contains(error.error, "Operation now in progress")) return "connection timed out";
  return error.error;
}

void settle_errors(Timeline& timeline, TimelineBlock& block) {
  for (TimelineStep& step : block.steps) {
    if (step.verdict == StepVerdict::kSkipped) continue;
    if (is_tcp(step)) add_error(close_step(timeline, key_of(step), block), step);
    if (is_status(step)) add_status_error(close_step(timeline, status_key(), block), step);
  }
  if (!block.was_executed) return;
  block.has_failed =
      std::any_of(block.steps.begin(), block.steps.end(), [](const TimelineStep& step) {
        return step.verdict == StepVerdict::kNotSent || step.verdict == StepVerdict::kSkipped;
      });
}

void settle_step(Timeline& timeline, const ExecutedLine& line, const TimelineBlock& block,
                 TimelineStep& step) {
  if (line.kind == EventLine::kDisabledStep) {
    return set_verdict(step, StepVerdict::kSkipped, "NOT SENT: events are disabled");
  }
  if (line.kind == EventLine::kPeriodSkip) {
    return set_verdict(
        step, StepVerdict::kSkipped,
        "NOT SENT: within " + std::to_string(kPowerOnPeriodS) + " s of uptime after boot");
  }
  if (!step.sender) {
    return set_verdict(step, StepVerdict::kNotSent,
                       "NOT SENT: " + quoted(step.protocol) + " is not a supported protocol");
  }
  const LogTime due = line.time + std::max<LogTime>(0, step.offset_ms);
  const OpenStep open{line.record, due, step.offset_known, &block};
  if (is_tcp(step)) timeline.open_steps[key_of(step)].push_back(open);
  if (is_status(step)) timeline.open_steps[status_key()].push_back(open);
  if (settle_by_break(timeline, line, due, step)) return;
  if (is_tcp(step) || is_status(step)) return settle_without_error(timeline, line, due, step);
  set_verdict(
      step, StepVerdict::kExecuted,
      step.offset_known ? kUdpExecuted : "executed (UDP leaves no trace; its delay is not known)");
}

}  // namespace kovo::check
