// Rules about whole events: whether they exist, and when they and their steps run.
#include <algorithm>

#include "check/rules/context.h"
#include "core/event_compiler.h"
#include "core/text.h"

namespace kovo::check {
namespace {

/// Returns the Count that the keys of a name need: one more than their largest index.
std::string needed_count(const NamedKeys& keys) {
  const std::uint32_t last = keys.steps.empty() ? 0 : keys.steps.rbegin()->first;
  return std::to_string(last >= kMaxSteps ? kMaxSteps : last + 1);
}

/// Returns whether a name only has "Count=0" and perhaps a Delay, as in the default file.
bool is_switched_off(const CheckContext& context, const NamedKeys& keys) {
  return keys.counts.size() == 1 && entry_at(context, keys.counts.front()).value == "0" &&
         keys.steps.empty() && keys.trigger == kNoEntry;
}

std::string offsets_text(const std::vector<std::int64_t>& offsets_ms) {
  constexpr std::size_t kMostShown = 8;
  std::string text;
  for (std::size_t at = 0; at < offsets_ms.size() && at < kMostShown; ++at) {
    if (at > 0) text += at + 1 == offsets_ms.size() ? " and " : ", ";
    text += std::to_string(offsets_ms[at]);
  }
  return text + (offsets_ms.size() > kMostShown ? ", ..." : "") + " ms";
}

/// Looks only at steps that have a line: another rule reports the others.
void check_offsets(CheckContext& context, const NamedKeys& keys) {
  std::int64_t sum = 0;
  std::vector<std::int64_t> offsets;
  std::vector<std::int64_t> sums;
  const StepEntries* wrong = nullptr;
  for (const auto& [index, step] : keys.steps) {
    if (step.compiled == nullptr) break;
    sum += step.compiled->delay_ms;
    offsets.push_back(step.compiled->offset_ms);
    sums.push_back(sum);
    if (wrong == nullptr && offsets.back() != sum) wrong = &step;
  }
  if (wrong == nullptr) return;
  const bool gap = wrong->delay == kNoEntry;
  const std::string name = shown(keys.name);
  add_warning(context, key_range(context, gap ? wrong->first : wrong->delay),
              fmt::format("the steps of {} are sent after {}, not after {}", name,
                          offsets_text(offsets), offsets_text(sums)),
              fmt::format(gap ? "give every step of {} a Delay line, in the order of the steps"
                              : "write the Delay lines of {} in the order of its steps",
                          name));
}

void check_missing(CheckContext& context, const MissingEvent& missing) {
  if (missing.similar != nullptr) return;  // reported by "letter-case" or "blank"
  const NamedKeys& keys = missing.keys;
  const std::string name = shown(keys.name);
  const std::string count =
      fmt::format("{}Count={}, the number of its steps", name, needed_count(keys));
  if (keys.counts.empty()) {
    const std::string near = nearest_name(context.event_names, keys.name);
    add_error(context, missing.range,
              fmt::format("{0} does not exist: there is no {0}Count line", name),
              near.empty() ? "add " + count
                           : fmt::format("{}{}? Otherwise add {}", kGuess, shown(near), count));
    return;
  }
  const std::string_view value = entry_at(context, keys.counts.back()).value;
  const ReadNumber number = read_number(value);
  if (!number.has_digits || number.value < 0) return;  // reported by "count"
  const bool is_off = is_switched_off(context, keys);
  add_finding(context, is_off ? Severity::kNote : Severity::kError, missing.range,
              fmt::format("{0} does not exist: {0}Count={1} is not positive", name, shown(value)),
              is_off ? "" : "write " + count);
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
  add_warning(context, {1, 1, 0}, "the file defines no event",
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
    add_error(context, value_range(context, keys.delay),
              shown(keys.name) + " never runs: events are dropped 60 s after their trigger",
              "write a Delay below 60, or delay the steps instead: they have no such limit");
  });
}

}  // namespace kovo::check
