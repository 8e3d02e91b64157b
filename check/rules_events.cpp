// Rules about whole events: whether they exist, and when they and their steps run.
#include <algorithm>

#include "check/check_context.h"
#include "core/event_compiler.h"
#include "core/text.h"

namespace kovo::check {
namespace {

constexpr std::int32_t kLongDelayMs = 600'000;  // a longer one was probably meant to be shorter

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

/// Returns the number for a Delay with a unit: 100 for "100 ms", 5000 for "5 s" of a step; nothing
/// for any other text after the number.
std::optional<std::string> without_unit(const DefinitionEntry& entry, const ReadNumber& number) {
  const bool of_event = entry.parts == 1;
  const std::string unit = lower_ascii(trimmed(number.rest));
  if (!number.in_range) return {};
  if (unit == (of_event ? "s" : "ms")) return std::to_string(number.value);
  if (of_event || unit != "s" || number.value > INT32_MAX / 1000) return {};
  return std::to_string(number.value * 1000);
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
  add_finding(context, key_range(context, gap ? wrong->first : wrong->delay),
              "the steps of " + name + " are sent after " + offsets_text(offsets) + ", not after " +
                  offsets_text(sums),
              gap ? "give every step of " + name + " a Delay line, in the order of the steps"
                  : "write the Delay lines of " + name + " in the order of its steps");
}

void check_missing(CheckContext& context, const MissingEvent& missing) {
  if (missing.similar != nullptr) return;  // reported by "letter-case"
  const NamedKeys& keys = missing.keys;
  const std::string name = shown(keys.name);
  const std::string count_key = name + "Count";
  const std::string count = count_key + "=" + needed_count(keys) + ", the number of its steps";
  if (keys.counts.empty()) {
    const std::string near = nearest_name(context.event_names, keys.name);
    std::string hint = "add " + count;
    if (!near.empty()) hint = "did you mean " + shown(near) + "? Otherwise " + hint;
    add_finding(context, missing.range,
                name + " does not exist: there is no " + count_key + " line", hint);
    return;
  }
  const std::string_view value = entry_at(context, keys.counts.back()).value;
  const ReadNumber number = read_number(value);
  if (!number.has_digits || number.value < 0) return;  // reported by "count"
  const std::string text =
      name + " does not exist: " + count_key + "=" + shown(value) + " is not positive";
  if (is_switched_off(context, keys)) {
    add_finding(context, context.rule->other, missing.range, text);
  } else {
    add_finding(context, missing.range, text, "write " + count);
  }
}

}  // namespace

/// Reports a file without any event, unless it has a Count line or "no-count" reports what it
/// lacks.
void check_no_event(CheckContext& context) {
  const Model& model = context.model;
  const bool has_count = std::any_of(model.names.begin(), model.names.end(),
                                     [](const NamedKeys& keys) { return !keys.counts.empty(); });
  if (has_count || !context.missing_events.empty()) return;
  add_finding(context, {1, 1, 0}, "the file defines no event",
              "an event needs a line NameCount= with the number of its steps");
}

void check_no_count(CheckContext& context) {
  for (const MissingEvent& missing : context.missing_events) check_missing(context, missing);
}

void check_count(CheckContext& context) {
  for_each_entry(context, kCountField, [&](std::uint32_t at) {
    const DefinitionEntry& entry = entry_at(context, at);
    const ReadNumber number = read_number(entry.value);
    const std::string line = line_text(entry);
    const SourceRange range = value_range(context, at);
    const char* advice = "write the number of steps, from 1 to 128";
    if (!number.has_digits) {
      add_finding(context, range, line + " is not a number: there is no such event", advice);
    } else if (number.value < 0) {
      add_finding(context, range, line + " is negative: there is no such event", advice);
    } else if (number.value > kMaxSteps) {
      add_finding(context, range, line + " is read as 128, the maximum",
                  "write at most 128, and move the other steps to another event");
    } else if (!number.rest.empty()) {
      const std::string value = std::to_string(number.value);
      add_finding(context, range, line + " is read as " + value,
                  "write " + key_text(entry) + "=" + value, value);
    }
  });
}

void check_delay(CheckContext& context) {
  for_each_entry(context, kDelayField, [&](std::uint32_t at) {
    const DefinitionEntry& entry = entry_at(context, at);
    const ReadNumber number = read_number(entry.value);
    const std::string line = line_text(entry);
    const SourceRange range = value_range(context, at);
    const std::string unit = entry.parts == 1 ? "seconds" : "milliseconds";
    const std::string advice = "write a whole number of " + unit + ", from 0";
    if (!number.has_digits) {
      add_finding(context, range, line + " is not a number: it is read as 0", advice);
    } else if (number.value < 0) {
      add_finding(context, range, line + " is negative", advice);
    } else if (!number.in_range || !number.rest.empty()) {
      const std::optional<std::string> right = without_unit(entry, number);
      add_finding(context, range, line + " is read as " + std::to_string(number.value) + " " + unit,
                  right ? "write " + key_text(entry) + "=" + *right : advice, right);
    } else if (entry.parts == 2 && number.value > kLongDelayMs) {
      add_finding(context, context.rule->other, range,
                  line + " is " + counted(static_cast<std::size_t>(number.value / 1000), "second"),
                  "the Delay of a step is in milliseconds");
    }
  });
}

void check_delay_order(CheckContext& context) {
  for_each_event(context, [&](const NamedKeys& keys) { check_offsets(context, keys); });
}

void check_never_runs(CheckContext& context) {
  for_each_event(context, [&](const NamedKeys& keys) {
    if (keys.event->delay_s < kEventLifeS) return;
    add_finding(context, value_range(context, keys.delay),
                shown(keys.name) + " never runs: events are dropped 60 s after their trigger",
                "write a Delay below 60, or delay the steps instead: they have no such limit");
  });
}

}  // namespace kovo::check
