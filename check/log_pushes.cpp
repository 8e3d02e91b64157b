// What raised a name, which event its push finds, and what became of an event without a step.
#include <algorithm>
#include <utility>

#include "check/log_parts.h"
#include "check/triggers.h"
#include "core/text.h"

namespace kovo::check {
namespace {

constexpr std::size_t kMaxQueue = 4096;  // bounds the memory
constexpr std::size_t kMaxSources = 16;  // a push follows its source closely

std::string joined(const std::vector<std::string>& texts) {
  std::string result;
  for (const std::string& text : texts) result += (result.empty() ? "" : " or ") + text;
  return result;
}

/// Returns what raises a trigger by the daemon's tables: only variables, or everything else.
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

/// Returns the source of a push that is not logged: the playback selection, or the serial format.
std::string silent_source(std::string_view name) {
  std::string usual = joined(usual_sources(name, false));
  if (usual.empty()) usual = joined(usual_sources(name, true));
  return usual.empty() ? "by what is not in the log" : usual;
}

/// Removes and returns the logged source of a push; all possible ones if several fit.
std::string pop_source(Timeline& timeline, const std::string& name) {
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

/// Queues the event that a push finds, or settles its block if it finds none.
void queue_push(Timeline& timeline, TimelineBlock& block, LogTime lookup_ms) {
  LogDefinitions* const definitions = timeline.definitions;
  LogEvent* const event =
      definitions == nullptr ? nullptr : pushed_event(*definitions, block.trigger, block.is_test);
  if (event == nullptr && definitions != nullptr && !block.is_test) {
    std::string text = "no event of the definitions given has this trigger";
    const std::string near = nearest_name(definitions->triggers, block.trigger);
    if (!near.empty()) text += "; did you mean " + shown(near) + "?";
    settle(block, BlockVerdict::kNoEvent, text, true);
    return;
  }
  if (event != nullptr) {
    block.event = event->compiled->name;
    block.step_count = step_count(*event);
  }
  timeline.queue.push_back({&block, event, timeline.now, timeline.elapsed, lookup_ms});
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
  if (queued.event->compiled->delay_s >= kEventLifeS) {
    text += ": its delay is not shorter than the " + std::to_string(kEventLifeS) +
            " s that an event waits";
  }
  settle(block, BlockVerdict::kNotExecuted, text, true);
}

}  // namespace

std::string variable_source(std::string_view name) {
  const std::string usual = joined(usual_sources(name, true));
  return usual.empty() ? "by a variable" : usual;
}

void add_source(Timeline& timeline, std::string name, std::string text) {
  timeline.sources.push_back({std::move(name), std::move(text)});
  if (timeline.sources.size() > kMaxSources) timeline.sources.pop_front();
}

void on_push(Timeline& timeline, const EventLineParts& parts) {
  close_execution(timeline);
  std::string text(parts.name);
  bool is_test = parts.number != 0;
  if (is_test) {  // a name may end like that, too
    const std::string whole = text + ", test=" + std::to_string(parts.number);
    is_test = std::none_of(timeline.sources.begin(), timeline.sources.end(),
                           [&](const PushSource& source) { return source.name == whole; });
    if (!is_test) text = whole;
  }
  const std::string source = is_test ? "as a test" : pop_source(timeline, text);
  LogTime lookup_ms = 0;
  for (const std::string_view name : split_lines(text)) {
    TimelineBlock& block = add_block(timeline);
    block.trigger = name;
    block.source = source;
    block.is_test = is_test;
    block.is_renewed = timeline.record < timeline.renewed_until;
    queue_push(timeline, block, lookup_ms += kLookupMs);
  }
  if (lookup_ms == 0) {
    add_settled(timeline, "", source, BlockVerdict::kNoEvent, "no name was given", true);
  }
}

void push_power_on(Timeline& timeline) {
  close_execution(timeline);
  TimelineBlock& block = add_block(timeline);
  block.trigger = kPowerOn;
  block.source = "by the first start after boot";
  queue_push(timeline, block, kLookupMs);
  if (block.is_done) block.has_failed = false;  // most files have no PowerOn event
}

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
    settle(block, BlockVerdict::kExpired, "dropped: it was " + expired_text(), true);
    return true;
  }
  return false;
}

void settle_old(Timeline& timeline) {
  while (!timeline.queue.empty()) {
    const QueuedEvent queued = timeline.queue.front();
    const bool is_old = timeline.elapsed - queued.elapsed_at_push > kLifeMs + queued.lookup_ms;
    if (!is_old && timeline.queue.size() <= kMaxQueue) return;
    close_execution(timeline);
    if (timeline.queue.empty() || timeline.queue.front().block != queued.block) continue;
    settle_unexecuted(timeline, queued);
    timeline.queue.pop_front();
  }
}

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
    const std::string_view trigger =
        queued.event == nullptr ? queued.block->trigger : queued.event->compiled->trigger;
    if (!equals_nocase(trigger, kPowerOn)) continue;
    settle(*queued.block, BlockVerdict::kOncePerBoot, text, false);
    remove_queued(timeline, queued.block);
    return;
  }
  add_settled(timeline, kPowerOn, "by a push that is not known", BlockVerdict::kOncePerBoot, text,
              false);
}

void on_start(Timeline& timeline) {
  settle_all(timeline, BlockVerdict::kRestart,
             "not executed: the daemon was restarted at " + clock_text(timeline.now), true);
  timeline.marker_created = false;
  add_settled(timeline, "", "", BlockVerdict::kNote, "the daemon starts", false);
}

}  // namespace kovo::check
