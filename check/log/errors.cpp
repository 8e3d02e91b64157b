// Gives the steps their verdicts. An error of the main log names a destination and a payload, not a
// step, and its time is known only roughly. It belongs to a step that was due when it may have been
// logged. Errors are assigned to steps twice, one error a step: to the earliest that each may
// belong to, and to the latest. Where both agree, the step failed for certain.
#include <algorithm>
#include <unordered_map>

#include "check/log/maker.h"
#include "check/payload.h"
#include "core/network.h"
#include "core/text.h"

namespace kovo::check {
namespace {

constexpr LogTime kEarlyMs = 150;  // an error may seem to be logged before its step was due
constexpr LogTime kLateMs = 1500;  // or after its timeout, with some load
constexpr LogTime kMostWaits = LogTime{4} * kReplyTimeoutMs;  // of a step until its error
constexpr LogTime kNoSenderMs = 1500;                         // the Error line comes once a second
constexpr char kInProgress[] = "Operation now in progress";   // a connect that timed out

struct StepRef {
  TimelineStep* step;
  LogTime due;
  std::size_t starts;  // of the daemon before it, as Pairing::starts
  bool asks_status;    // before it sends
};

struct Group {
  std::vector<StepRef> steps;
  std::vector<std::size_t> errors;  // records of the main log
  std::vector<std::size_t> strays;  // errors that may also belong to a step that no log has
};

using Groups = std::unordered_map<std::string, Group>;

std::string target_key(std::string_view address, std::int64_t port) {
  return std::string(truncated(address, kMaxShortText)) + "\n" + std::to_string(port);
}

std::string payload_key(std::string_view address, std::int64_t port, std::string_view payload) {
  return target_key(address, port) + "\n" + std::string(sent_part(payload));
}

std::string service_key() {
  return payload_key(kStatusServiceAddress, kStatusServicePort, kStatusRequest);
}

std::size_t starts_before(const TimelineMaker& maker, std::size_t record) {
  const std::vector<std::size_t>& starts = maker.pairing.starts;
  return static_cast<std::size_t>(std::upper_bound(starts.begin(), starts.end(), record) -
                                  starts.begin());
}

bool may_be(const TimelineMaker& maker, std::size_t error, const StepRef& ref) {
  const LogRecord& record = maker.main[error];
  const Span& span = maker.pairing.spans[error];
  if (span.starts != ref.starts) return false;
  const bool timed_out = record.error == kInProgress;
  if (span.latest < ref.due + (timed_out ? kReplyTimeoutMs : 0) - kEarlyMs) return false;
  if (!ref.step->offset_known) return true;
  const LogTime waits = (record.kind == RecordKind::kSendError ? 2 : 1) + (ref.asks_status ? 2 : 0);
  return span.earliest <= ref.due + waits * kReplyTimeoutMs + kLateMs;
}

/// Returns for each error the first step that it may belong to, in the order of the errors; `last`:
/// the last one, from the end. The number of steps if there is none.
std::vector<std::size_t> steps_of(const TimelineMaker& maker, const Group& group, bool last) {
  const std::size_t count = group.steps.size();
  const auto place = [&](std::size_t at) { return last ? count - 1 - at : at; };
  std::vector<std::size_t> found(group.errors.size(), count);
  std::size_t next = 0;
  for (std::size_t turn = 0; turn < found.size(); ++turn) {
    const std::size_t error = last ? found.size() - 1 - turn : turn;
    std::size_t at = next;
    while (at < count && !may_be(maker, group.errors[error], group.steps[place(at)])) ++at;
    if (at == count) continue;
    found[error] = place(at);
    next = at + 1;
  }
  return found;
}

void set_verdict(TimelineStep& step, std::string_view verdict, std::string text) {
  step.verdict = verdict;
  step.text = std::move(text);
}

void set_failed(TimelineStep& step, const LogRecord& error, bool is_certain, bool is_service) {
  const bool timed_out = error.error == kInProgress;
  const std::string reason = timed_out ? "connection timed out" : std::string(error.error);
  if (is_service) {
    const char* failed = is_certain ? "failed (" : "may have failed (";
    add_note(step, "the status service " + (failed + reason) + "): the step sends this text");
  } else if (is_certain) {
    set_verdict(step, "not_sent", "NOT SENT: " + reason);
  } else if (step.verdict != "not_sent") {
    set_verdict(step, "not_known", "unknown: this or an equal step failed: " + reason);
  }
}

/// Returns whether the event log has all steps to which an error may belong.
bool has_steps_of(const TimelineMaker& maker, std::size_t error) {
  const Span& span = maker.pairing.spans[error];
  const auto lacks = [&](std::size_t end) {
    const LogTime from = maker.records[end].elapsed;
    return maker.records[end].kind != RecordKind::kStart && from >= span.earliest - kMostWaits &&
           from <= span.latest;
  };
  return error <= maker.pairing.last && !lacks(0) &&
         std::none_of(maker.ends.begin(), std::prev(maker.ends.end()), lacks);
}

/// Settles the steps of a range that an error may belong to.
void set_failed_between(const TimelineMaker& maker, Group& group, std::size_t error,
                        std::size_t from, std::size_t to, bool is_service) {
  for (std::size_t step = from; step <= to && step < group.steps.size(); ++step) {
    if (!may_be(maker, error, group.steps[step])) continue;
    set_failed(*group.steps[step].step, maker.main[error], from == to, is_service);
  }
}

void settle_group(const TimelineMaker& maker, Group& group, bool is_service) {
  std::stable_sort(group.steps.begin(), group.steps.end(),
                   [](const StepRef& a, const StepRef& b) { return a.due < b.due; });
  const std::vector<std::size_t> first = steps_of(maker, group, false);
  const std::vector<std::size_t> last = steps_of(maker, group, true);
  for (std::size_t at = 0; at < group.errors.size(); ++at) {
    const std::size_t from = std::min(first[at], last[at]);
    const std::size_t to = std::max(first[at], last[at]);
    set_failed_between(maker, group, group.errors[at], from, to, is_service);
  }
  for (const std::size_t stray : group.strays) {
    set_failed_between(maker, group, stray, 0, group.steps.size(), is_service);
  }
}

/// Returns whether a step of a time may be one of those for which no sender was free.
bool may_lack_sender(const TimelineMaker& maker, LogTime at) {
  return std::any_of(maker.no_sender.begin(), maker.no_sender.end(), [&](std::size_t error) {
    const Span& span = maker.pairing.spans[error];
    return at >= span.earliest - kNoSenderMs && at <= span.latest;
  });
}

/// Returns the verdict on a step for which the main log has no error; `end` is the next start or
/// set-back of the clock, or the end of the event log.
void settle_without_error(const TimelineMaker& maker, std::size_t end, LogTime due,
                          TimelineStep& step) {
  const LogRecords& records = maker.records;
  const auto unknown = [&](const std::string& text) {
    set_verdict(step, "not_known", "unknown: " + text);
  };
  const bool is_end = end == records.size();
  const bool is_clock = !is_end && records[end].clock_set_back;
  if (is_clock && due + kMostWaits > records[end - 1].elapsed) return unknown(kClockSetBack);
  if (due > records[end - 1].elapsed) {
    if (is_end) return unknown("the log ends before it is due");
    const std::string start = clock_text(records[end].time);
    if (due <= records[end].elapsed) return unknown("the daemon ended before " + start);
    return set_verdict(step, "not_sent", "NOT SENT: restart at " + start + ", before it was due");
  }
  if (may_lack_sender(maker, records[step.record].elapsed)) {
    return unknown("steps of this time had no sender");
  }
  if (!is_tcp(step)) return set_verdict(step, "executed", "sent?");
  const std::string missing = missing_records(maker, due, due);
  if (!missing.empty()) return unknown(missing);
  set_verdict(step, "no_error", "sent?");
}

/// Returns what switched events off before a record of the event log.
std::string disabled_before(const TimelineMaker& maker, std::size_t record) {
  const std::vector<Span>& spans = maker.pairing.spans;
  const auto after =
      std::upper_bound(spans.begin(), spans.end(), record,
                       [](std::size_t wanted, const Span& span) { return wanted < span.next; });
  return disabled_by(maker.main, static_cast<std::size_t>(after - spans.begin()));
}

/// Settles a step that was not started; otherwise returns false.
bool settle_unstarted(const TimelineMaker& maker, TimelineStep& step) {
  const LogRecord& line = maker.records[step.record];
  if (line.kind == RecordKind::kDisabledStep) {
    set_verdict(step, "skipped", "NOT SENT: events are off" + disabled_before(maker, step.record));
  } else if (line.kind == RecordKind::kPeriodSkip) {
    set_verdict(step, "skipped",
                line.number <= kPowerOnPeriodS
                    ? "NOT SENT: within " + std::to_string(kPowerOnPeriodS) + " s after boot"
                    : "NOT SENT: the status service has not answered yet");
  } else if (!step.sender) {
    set_verdict(step, "not_sent",
                "NOT SENT: " + quoted(step.protocol) + " is not a supported protocol");
  } else if (!is_tcp(step) && step.address == "255.255.255.255") {
    set_verdict(step, "not_sent", "NOT SENT: a broadcast is not permitted");
  } else {
    return false;
  }
  return true;
}

void note_address(TimelineStep& step) {
  if (!step.sender || is_address(std::string(step.address))) return;
  add_note(step, quoted(step.address) + " is not an IPv4 address: it goes to the device itself");
}

void add_errors(const TimelineMaker& maker, Groups& groups) {
  for (std::size_t at = 0; at < maker.main.size(); ++at) {
    const LogRecord& record = maker.main[at];
    if (record.kind != RecordKind::kConnectError && record.kind != RecordKind::kSendError) continue;
    auto group = groups.find(payload_key(record.name, record.number, record.value));
    if (group == groups.end()) group = groups.find(target_key(record.name, record.number));
    if (group == groups.end()) continue;
    (has_steps_of(maker, at) ? group->second.errors : group->second.strays).push_back(at);
  }
}

}  // namespace

std::string disabled_by(const LogRecords& records, std::size_t position) {
  for (std::size_t at = std::min(position, records.size()); at-- > 0;) {
    const LogRecord& record = records[at];
    if (record.kind == RecordKind::kStart) break;
    if (record.kind == RecordKind::kRenewed) return ": device parameter ENABLE_KOVO_EVENT";
    const bool is_set = record.kind == RecordKind::kCommand &&
                        starts_with_nocase(record.name, "__SET__:network.kovo.enable");
    if (is_set) return ": switched off by " + shown(record.name) + "=" + shown(record.value);
  }
  return "";
}

std::string missing_records(const TimelineMaker& maker, LogTime from, LogTime to) {
  const Pairing& pairing = maker.pairing;
  if (maker.main.empty()) return "kovo.log is missing";
  if (!pairing.has_pairs) return "kovo.log has too little in common with the event log";
  if (from < pairing.since) return "kovo.log does not reach back to it";
  if (to > pairing.until) return "kovo.log ends before it";
  return "";
}

void settle_steps(TimelineMaker& maker) {
  Groups groups;
  for (TimelineBlock& block : maker.timeline.blocks) {
    for (TimelineStep& step : block.steps) {
      note_address(step);
      if (settle_unstarted(maker, step)) continue;
      const LogRecord& line = maker.records[step.record];
      const LogTime due = line.elapsed + step.offset_ms;
      const std::size_t end = *std::upper_bound(maker.ends.begin(), maker.ends.end(), step.record);
      settle_without_error(maker, end, due, step);
      const bool is_lost = end < maker.records.size() && due > maker.records[end].elapsed;
      if (is_lost || !maker.pairing.has_pairs) continue;
      const StepRef ref{&step, due, starts_before(maker, step.record), is_status(step)};
      const std::int64_t port = to_int32(step.port);
      if (is_tcp(step)) {
        const std::string key = is_status(step) ? target_key(step.address, port)
                                                : payload_key(step.address, port, step.payload);
        groups[key].steps.push_back(ref);
      }
      if (is_status(step)) groups[service_key()].steps.push_back({&step, due, ref.starts, false});
    }
  }
  add_errors(maker, groups);
  for (auto& [key, group] : groups) settle_group(maker, group, key == service_key());
  for (TimelineBlock& block : maker.timeline.blocks) {
    for (const TimelineStep& step : block.steps) {
      const bool is_skipped = step.verdict == "skipped";
      block.has_failed = block.has_failed || is_skipped || step.verdict == "not_sent";
    }
  }
}

}  // namespace kovo::check
