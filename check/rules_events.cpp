// Rules about whole events: whether they exist, what raises them, and when they and their steps
// run.
#include "check/keys.h"
#include "check/rules.h"
#include "definitions/event_compiler.h"
#include "frame/text.h"

namespace kovo::check {
namespace {

using LowerNames = std::unordered_map<std::string, const NamedKeys*>;  // lower case

const DefinitionEntry& entry_at(const Checking& checking, std::uint32_t position) {
  return checking.source.entries[position];
}

/// The Count that the keys of a name need: one more than their largest index.
std::string needed_count(const NamedKeys& keys) {
  const std::uint32_t last = keys.steps.empty() ? 0 : keys.steps.rbegin()->first;
  return std::to_string(last >= kMaxSteps ? kMaxSteps : last + 1);
}

std::uint32_t first_other_key(const Checking& checking, const NamedKeys& keys) {
  for (const std::uint32_t position : keys.entries) {
    const DefinitionEntry& entry = entry_at(checking, position);
    if (is_known(entry) && entry.field != "Count") return position;
  }
  return kNoEntry;
}

/// The default file holds "Count=0" and a Delay for each built-in event.
bool is_switched_off(const Checking& checking, const NamedKeys& keys) {
  return keys.counts.size() == 1 && entry_at(checking, keys.counts.front()).value == "0" &&
         keys.steps.empty() && keys.trigger == kNoEntry;
}

/// A Count that is no number or negative is told in its own line.
bool told_by_count(const DefinitionEntry& entry) {
  const ReadNumber number = read_number(entry.value);
  return !number.has_digits || number.value < 0;
}

void check_no_count(Checking& checking, const NamedKeys& keys, const LowerNames& events) {
  const std::uint32_t position = first_other_key(checking, keys);
  const std::string name(keys.name);
  if (keys.exists || position == kNoEntry || checking.cut_names.count(name) > 0) return;
  const Place place = part_of(key_place(checking, position), 0, name.size());
  const std::string missing = shown(name) + " does not exist: ";

  const auto other = events.find(lower_ascii(name));
  if (other != events.end()) {
    const NamedKeys& event = *other->second;
    const bool many = event.entries.size() >= keys.entries.size();
    tell(checking, Rule::kLetterCase, place,
         missing + "the Count on " + line_of(checking, event.counts.front()) + " is of " +
             shown(event.name),
         many ? "write " + shown(event.name) + " in place of " + shown(name)
              : "write " + shown(name) + "Count on " + line_of(checking, event.counts.front()));
    return;
  }
  const std::string count_key = shown(name) + "Count";
  if (!keys.counts.empty()) {
    if (told_by_count(entry_at(checking, keys.counts.back()))) return;
    const std::string count = count_key + "=" + shown(entry_at(checking, keys.counts.back()).value);
    Finding& finding =
        tell(checking, Rule::kNoCount, place, missing + count + " is not positive",
             "write " + count_key + "=" + needed_count(keys) + ", the number of its steps");
    if (is_switched_off(checking, keys)) {
      finding.severity = Severity::kNote;
      finding.hint.clear();
    }
    return;
  }
  std::string hint = "add " + count_key + "=" + needed_count(keys) + ", the number of its steps";
  const std::string near = nearest_name(checking.event_names, name);
  if (!near.empty()) hint = "did you mean " + shown(near) + "? Otherwise " + hint;
  if (looks_like_comment(name)) hint = kNoComments;
  tell(checking, Rule::kNoCount, place, missing + "there is no " + count_key + " line", hint);
}

void check_count(Checking& checking, std::uint32_t position) {
  const DefinitionEntry& entry = entry_at(checking, position);
  const ReadNumber number = read_number(entry.value);
  const std::string line = key_text(entry) + "=" + shown(entry.value);
  const Place place = value_place(checking, position);
  if (!number.has_digits) {
    tell(checking, Rule::kCount, place, line + " is no number and makes no event",
         "write the number of steps, from 1 to 128");
  } else if (number.value < 0) {
    tell(checking, Rule::kCount, place, line + " is negative and makes no event",
         "write the number of steps, from 1 to 128");
  } else if (number.value > kMaxSteps) {
    tell(checking, Rule::kCount, place, line + " counts as 128, the most steps of an event",
         "write at most 128, and give the other steps to another event");
  } else if (!number.rest.empty()) {
    const std::string value = std::to_string(number.value);
    tell(checking, Rule::kCount, place, line + " is read as " + value,
         "write " + key_text(entry) + "=" + value)
        .mend = value;
  }
}

void check_delay(Checking& checking, std::uint32_t position) {
  const DefinitionEntry& entry = entry_at(checking, position);
  const ReadNumber number = read_number(entry.value);
  const std::string line = key_text(entry) + "=" + shown(entry.value);
  const std::string value = std::to_string(number.value);
  const Place place = value_place(checking, position);
  const std::string unit = entry.parts == 1 ? "seconds" : "milliseconds";
  const std::string advice = "write a whole number of " + unit + ", from 0";
  if (!number.has_digits) {
    tell(checking, Rule::kDelay, place, line + " is no number and counts as 0", advice);
  } else if (number.value < 0) {
    tell(checking, Rule::kDelay, place, line + " is negative", advice);
  } else if (!number.in_range || !number.rest.empty()) {
    tell(checking, Rule::kDelay, place, line + " is read as " + value + " " + unit, advice);
  }
}

/// The indexes of an event's steps run from 1 to its count.
bool runs_from_one(const NamedKeys& keys) {
  return !keys.steps.empty() && keys.steps.begin()->first == 1 &&
         keys.steps.rbegin()->first == static_cast<std::uint32_t>(keys.step_count);
}

void check_index(Checking& checking, const NamedKeys& keys, std::uint32_t position) {
  const DefinitionEntry& entry = entry_at(checking, position);
  std::uint32_t index = 0;
  if (entry.parts != 2 || !is_known(entry)) return;
  if (read_index(entry, index) && index < static_cast<std::uint32_t>(keys.step_count)) return;
  const std::string name = shown(keys.name);
  const std::string count = std::to_string(keys.step_count);
  const std::string last = std::to_string(keys.step_count - 1);
  const std::string steps = keys.step_count == 1   ? "its only step is 0"
                            : keys.step_count == 2 ? "its steps are 0 and 1"
                                                   : "its steps are 0 to " + last;
  std::string hint = "write " + name + "Count=" + std::to_string(index + 1) +
                     " if it has so many steps; the first one is 0";
  if (index >= kMaxSteps) hint = "an event has at most 128 steps: give this one to another event";
  if (runs_from_one(keys)) {
    hint = "the steps of " + name + " run from 1 to " + count + ": count them from 0 (" +
           shown(without_index(entry) + std::to_string(index - 1)) + ")";
  }
  tell(checking, Rule::kIndex, key_place(checking, position),
       key_text(entry) + " is beyond " + name + "Count=" + count + ": " + steps, hint);
}

std::string offsets_text(const std::vector<std::int64_t>& offsets_ns) {
  constexpr std::size_t kMostShown = 8;
  constexpr std::int64_t kNanosecondsPerMillisecond = 1'000'000;
  std::string text;
  for (std::size_t at = 0; at < offsets_ns.size() && at < kMostShown; ++at) {
    if (at > 0) text += at + 1 == offsets_ns.size() ? " and " : ", ";
    text += std::to_string(offsets_ns[at] / kNanosecondsPerMillisecond);
  }
  return text + (offsets_ns.size() > kMostShown ? ", ..." : "") + " ms";
}

/// Steps without any line are told by another rule.
void check_delay_order(Checking& checking, const NamedKeys& keys) {
  std::int64_t sum = 0;
  std::vector<std::int64_t> offsets;
  std::vector<std::int64_t> sums;
  const StepEntries* wrong = nullptr;
  for (const auto& [index, step] : keys.steps) {
    if (!step.command) break;
    sum += step.command->delay_ns;
    offsets.push_back(step.command->delay_from_exec_ns);
    sums.push_back(sum);
    if (wrong == nullptr && offsets.back() != sum) wrong = &step;
  }
  if (wrong == nullptr) return;
  const bool gap = wrong->delay == kNoEntry;
  const std::string name = shown(keys.name);
  tell(checking, Rule::kDelayOrder, key_place(checking, gap ? wrong->first : wrong->delay),
       "the steps of " + name + " leave after " + offsets_text(offsets) + ", not after " +
           offsets_text(sums),
       gap ? "give every step of " + name + " a Delay line, in the order of the steps"
           : "write the Delay lines of " + name + " in the order of its steps");
}

void check_never_runs(Checking& checking, const NamedKeys& keys) {
  if (keys.delay_s < kEventLifeS) return;
  tell(checking, Rule::kNeverRuns, value_place(checking, keys.delay),
       shown(keys.name) + " never runs: 60 s after it was raised an event is dropped",
       "write a Delay below 60, or let the steps wait: their delays have no such limit");
}

}  // namespace

void check_events(Checking& checking) {
  LowerNames events;
  for (const NamedKeys& keys : checking.model.names) {
    if (keys.exists) events.emplace(lower_ascii(keys.name), &keys);
  }
  for (const NamedKeys& keys : checking.model.names) {
    check_no_count(checking, keys, events);
    for (const std::uint32_t position : keys.entries) {
      const DefinitionEntry& entry = entry_at(checking, position);
      if (!is_known(entry)) continue;
      if (entry.field == "Count") check_count(checking, position);
      if (entry.field == "Delay") check_delay(checking, position);
      if (keys.exists) check_index(checking, keys, position);
    }
  }
  for (const std::uint32_t position : checking.model.in_event_order) {
    const NamedKeys& keys = checking.model.names[position];
    check_delay_order(checking, keys);
    check_never_runs(checking, keys);
  }
}

}  // namespace kovo::check
