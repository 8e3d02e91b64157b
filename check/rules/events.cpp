// Rules about whole events: whether they exist, and when they and their steps run.
#include <algorithm>

#include "check/rules/context.h"

namespace kovo::check {
namespace {

/// Returns whether a name only has "Count=0" and perhaps a Delay, as in the default file.
bool is_switched_off(const CheckContext& context, const NamedKeys& keys) {
  return keys.counts.size() == 1 && entry_at(context, keys.counts.front()).value == "0" &&
         keys.steps.empty() && keys.trigger == kNoEntry;
}

/// Reports the first step whose delays do not add up. Looks only at steps that have a line: another
/// rule reports the others.
void check_offsets(CheckContext& context, const NamedKeys& keys) {
  std::int64_t sum = 0;
  for (const auto& [index, step] : keys.steps) {
    if (step.compiled == nullptr) return;
    sum += step.compiled->delay_ms;
    if (step.compiled->offset_ms == sum) continue;
    const bool gap = step.delay == kNoEntry;
    add_finding(context, Severity::kWarning, key_range(context, gap ? step.first : step.delay),
                fmt::format("{} is sent after {} ms, not after {} ms", step_text(index, keys.name),
                            step.compiled->offset_ms, sum),
                gap ? "give every step a Delay line, in the order of the steps"
                    : "write the Delay lines in the order of the steps");
    return;
  }
}

void check_missing(CheckContext& context, const MissingEvent& missing) {
  const NamedKeys& keys = missing.keys;
  if (missing.similar != nullptr) return;  // reported by "letter-case" or "blank"
  if (is_switched_off(context, keys)) return;
  const std::string name = shown(keys.name);
  if (keys.counts.empty()) {
    const std::string near = nearest_name(context.event_names, keys.name);
    add_finding(context, Severity::kError, missing.range,
                fmt::format("{0} does not exist: there is no {0}Count line", name),
                near.empty() ? fmt::format("add {}Count= with the number of its steps", name)
                             : fmt::format("{}{}?", kGuess, shown(near)));
    return;
  }
  const std::string_view value = entry_at(context, keys.counts.back()).value;
  const ReadNumber number = read_number(value);
  if (!number.has_digits || number.value < 0) return;  // reported by "count"
  add_finding(context, Severity::kError, missing.range,
              fmt::format("{0} does not exist: {0}Count={1} is not positive", name, shown(value)),
              "write the number of its steps");
}

}  // namespace

/// Reports a file without any event, unless another rule reports what it lacks.
void check_no_event(CheckContext& context) {
  const auto is_count = [](const std::string& key) {
    return split_definition_key(key, {}).field == kCountField;
  };
  const std::vector<NamedKeys>& names = context.model.names;
  if (std::any_of(names.begin(), names.end(),
                  [](const NamedKeys& keys) { return !keys.counts.empty(); }) ||
      std::any_of(context.meant_keys.begin(), context.meant_keys.end(), is_count) ||
      !context.missing_events.empty()) {
    return;
  }
  add_finding(context, Severity::kWarning, {1, 1, 0}, "the file defines no event",
              "an event needs a line NameCount= with the number of its steps");
}

void check_no_count(CheckContext& context) {
  for (const MissingEvent& missing : context.missing_events) check_missing(context, missing);
}

void check_delay_order(CheckContext& context) {
  for_each_event(context, [&](const NamedKeys& keys) { check_offsets(context, keys); });
}

void check_never_runs(CheckContext& context) {
  for_each_event(context, [&](const NamedKeys& keys) {
    if (keys.event->delay_s < kEventLifeS) return;
    add_finding(context, Severity::kError, value_range(context, keys.delay),
                shown(keys.name) + " never runs: events are dropped 60 s after their trigger",
                "write a Delay below 60, or delay the steps instead: they have no such limit");
  });
}

}  // namespace kovo::check
