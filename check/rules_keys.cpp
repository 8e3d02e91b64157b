// Rules about keys: those that the daemon does not read, reads as others, or reads twice.
#include "check/check_context.h"
#include "definitions/event_compiler.h"

namespace kovo::check {
namespace {

constexpr char kForms[] =
    "write NameCount, NameXMLfield, NameDelay, or for step 0 NameProtocol0, NameIP0, NamePort0, "
    "NameData0, NameDelay0";

std::string question(const std::string& key) {
  return "did you mean " + shown(key) + "?";
}

/// Calls a function with each key that has a fault, and its entry.
template <typename Function>
void for_each_faulty(const CheckContext& context, KeyFault fault, Function function) {
  for (const FaultyKey& key : context.faulty_keys) {
    if (key.fault == fault) function(key, entry_at(context, key.entry));
  }
}

/// Reports a field word that is followed by text that is not an index, or lacks the index it needs.
void check_index_text(CheckContext& context, const FaultyKey& key, const DefinitionEntry& entry) {
  const SourceRange range = key_range(context, key.entry);
  if (entry.parts == 1) {
    const std::string right = raw_key(entry) + "0";
    add_finding(context, range, key_text(entry) + " has no step index and is not read",
                "write " + shown(right) + " for the first step", right);
    return;
  }
  std::uint32_t index = 0;
  if (takes_no_index(entry.field)) return;  // an unknown key
  const std::size_t at = entry.name.size() + entry.field.size();
  const SourceRange index_range = part_of(range, at, entry.index.size());
  if (read_index(entry, index) && index < kMaxSteps) {
    const std::string number = std::to_string(index);
    add_finding(context, context.rule->other, index_range,
                quoted(entry.index) + " is read as step " + number,
                "write " + shown(without_index(entry) + number), number);
    return;
  }
  const std::string text =
      quoted(entry.index) + " is no step index: " + key_text(entry) + " is not read";
  if (key.meant.name == entry.name) {
    add_finding(context, range, text, question(key.right), key.right);
  } else {
    add_finding(context, index_range, text,
                "write a number from 0 behind " + std::string(entry.field));
  }
}

/// Returns whether the indexes of an event's steps run from 1 to its count.
bool runs_from_one(const NamedKeys& keys) {
  return !keys.steps.empty() && keys.steps.begin()->first == 1 &&
         keys.steps.rbegin()->first == static_cast<std::uint32_t>(keys.event->most_steps);
}

/// Returns the edits that number the steps of an event from 0 instead of from 1, except for the
/// key at `reported`, whose finding has its own.
std::vector<Edit> numbered_from_zero(const CheckContext& context, const NamedKeys& keys,
                                     std::uint32_t reported) {
  std::vector<Edit> edits;
  for (const std::uint32_t at : keys.entries) {
    const DefinitionEntry& entry = entry_at(context, at);
    std::uint32_t index = 0;
    if (at == reported || entry.parts != 2 || !is_known(entry) || !read_index(entry, index))
      continue;
    const std::size_t from = entry.name.size() + entry.field.size();
    edits.push_back(
        {part_of(key_range(context, at), from, entry.index.size()), std::to_string(index - 1)});
  }
  return edits;
}

/// Reports a step index at or beyond the Count.
void check_index_number(CheckContext& context, std::uint32_t position) {
  const DefinitionEntry& entry = entry_at(context, position);
  const NamedKeys* keys = event_named(context.model, entry.name);
  if (entry.parts != 2 || keys == nullptr || !is_known(entry)) return;
  const std::int32_t step_count = keys->event->most_steps;
  std::uint32_t index = 0;
  if (read_index(entry, index) && index < static_cast<std::uint32_t>(step_count)) return;
  const std::string name = shown(keys->name);
  const std::string count = std::to_string(step_count);
  const std::string steps = step_count == 1 ? "its only step is 0"
                            : step_count == 2
                                ? "its steps are 0 and 1"
                                : "its steps are 0 to " + std::to_string(step_count - 1);
  std::string hint = "write " + name + "Count=" + std::to_string(index + 1) +
                     " if it has so many steps; the first one is 0";
  if (index >= kMaxSteps) hint = "an event has at most 128 steps: give this one to another event";
  std::optional<std::string> fix;
  std::vector<Edit> others;
  if (runs_from_one(*keys)) {
    if (position == keys->steps.rbegin()->second.first) {  // one fix for all of them
      fix = without_index(entry) + std::to_string(index - 1);
      others = numbered_from_zero(context, *keys, position);
    }
    hint = "the steps of " + name + " run from 1 to " + count + ": count them from 0 (" +
           shown(without_index(entry) + std::to_string(index - 1)) + ")";
  }
  add_finding(context, key_range(context, position),
              key_text(entry) + " is beyond " + name + "Count=" + count + ": " + steps, hint, fix,
              std::move(others));
}

/// Reports a key that two lines have, unless another rule reports that its event does not exist.
void check_duplicate(CheckContext& context, const Duplicate& duplicate) {
  const std::vector<DefinitionEntry>& entries = context.source.entries;
  const DefinitionEntry& entry = entries[duplicate.later];
  const std::string again =
      key_text(entry) + " stands on " + line_of(context, duplicate.earlier) + " already: ";
  const SourceRange range = key_range(context, duplicate.later);
  if (entry.field == kCountField) {
    const bool first = read_number(entries[duplicate.earlier].value).value > 0;
    const bool second = read_number(entry.value).value > 0;
    std::string outcome = "only one of them makes an event";
    if (first && second) {
      outcome = "two events " + shown(entry.name) + " come out, and only the first is ever found";
    }
    if (!first && !second) outcome = "none of them makes an event";
    add_finding(context, range, again + outcome, "remove one of the lines");
    return;
  }
  const NamedKeys* keys = event_named(context.model, entry.name);
  std::uint32_t index = 0;
  if (entry.parts != 0 && keys == nullptr) return;
  if (entry.parts == 2 &&
      (!read_index(entry, index) || index >= static_cast<std::uint32_t>(keys->event->most_steps))) {
    return;
  }
  add_finding(context, range, again + "this one counts", "remove one of the lines");
}

void check_global_key(CheckContext& context, std::uint32_t position) {
  const DefinitionEntry& entry = entry_at(context, position);
  const std::string line = line_text(entry);
  const SourceRange range = key_range(context, position);
  if (entry.name == "EnableEvents" && entry.parts == 0 && entry.value != "true") {
    add_finding(context, range, line + " does not switch the events off",
                "the device parameter ENABLE_KOVO_EVENT switches them");
  }
  if (entry.name == "FastCableDetectEvents" && entry.parts == 0) {
    add_finding(context, range, "FastCableDetectEvents does nothing");
  }
  if (entry.name == "DataEncode" && entry.parts == 0 && entry.value != "HEX") {
    add_finding(context, range, line + " changes nothing: Data is hexadecimal always",
                "write DataEncode=HEX, and the Data values in hexadecimal");
  }
  const NamedKeys* event = event_named(context.model, entry.name);
  if (event != nullptr && entry.field == kCountField && is_generic_events(*event)) {
    add_finding(context, range,
                line + " makes an event GenericEvents of empty steps, no room for others",
                "write GenericEventsCount=0; every event has its own Count");
  }
}

/// Reports a name that is that of an event but for its letter case.
void check_similar(CheckContext& context, const MissingEvent& missing) {
  if (missing.similar == nullptr) return;
  const NamedKeys& event = *missing.similar;
  const std::string count_line = line_of(context, event.counts.front());
  const std::string name = shown(missing.keys.name);
  const bool has_more_keys = event.entries.size() >= missing.keys.entries.size();
  const std::string_view right = has_more_keys ? event.name : missing.keys.name;
  std::vector<Edit> others;
  for (const std::uint32_t at : has_more_keys ? missing.keys.entries : event.entries) {
    const SourceRange range = part_of(key_range(context, at), 0, right.size());
    if (range.line != missing.range.line) others.push_back({range, std::string(right)});
  }
  add_finding(context, missing.range,
              name + " does not exist: the Count on " + count_line + " is of " + shown(event.name),
              has_more_keys ? "write " + shown(event.name) + " in place of " + name
                            : "write " + name + "Count on " + count_line,
              std::string(right), std::move(others));
}

}  // namespace

void check_unknown_key(CheckContext& context) {
  const NameSuggester globals = make_suggester({std::begin(kGlobalKeys), std::end(kGlobalKeys)});
  for_each_faulty(context, KeyFault::kUnknown, [&](const FaultyKey& key, const auto& entry) {
    std::string right = nearest_name(globals, entry.name);
    if (right.empty() && !key.meant.name.empty()) right = key.right;
    if (looks_like_comment(entry.name)) right.clear();
    const std::string advice = looks_like_comment(entry.name) ? kNoComments : kForms;
    add_finding(context, key_range(context, key.entry),
                quoted(raw_key(entry)) + " is no key that the daemon reads",
                right.empty() ? advice : question(right),
                right.empty() ? std::nullopt : std::optional(right));
  });
  for_each_faulty(context, KeyFault::kIndex, [&](const FaultyKey& key, const auto& entry) {
    if (entry.parts != 2 || !takes_no_index(entry.field)) return;
    const std::string right = without_index(entry);
    add_finding(
        context, key_range(context, key.entry),
        key_text(entry) + " is not read: " + std::string(entry.field) + " takes no step index",
        "write " + shown(right), right);
  });
}

void check_letter_case(CheckContext& context) {
  for_each_faulty(context, KeyFault::kLetterCase, [&](const FaultyKey& key, const auto& entry) {
    add_finding(context, key_range(context, key.entry),
                key_text(entry) + " is not read: letter case counts", "write " + shown(key.right),
                key.right);
  });
  for (const MissingEvent& missing : context.missing_events) check_similar(context, missing);
}

/// Reports an event name once: the end of a key is right, but the name contains a field word.
void check_cut_name(CheckContext& context) {
  std::unordered_set<std::string_view> reported;
  for_each_faulty(context, KeyFault::kCutName, [&](const FaultyKey& key, const auto& entry) {
    const std::string& whole_name = key.meant.name;
    if (!reported.insert(whole_name).second) return;
    const SourceRange range = key_range(context, key.entry);
    const std::string name = shown(whole_name);
    if (entry.parts == 0) {
      add_finding(context, part_of(range, 0, whole_name.size()),
                  "the event name " + name + " begins with the field word \"" + key.meant.field +
                      "\": " + key_text(entry) + " is not read",
                  "give the event a name that holds no field word");
      return;
    }
    const std::string field(entry.field);
    add_finding(context, part_of(range, entry.name.size(), field.size()),
                "the event name " + name + " is cut at \"" + field + "\": " + key_text(entry) +
                    " is read as a " + field + " of " + shown(entry.name),
                "give the event a name that holds none of Count, XMLfield, Protocol, Delay, IP, "
                "Port, Data");
  });
}

void check_index(CheckContext& context) {
  for_each_faulty(context, KeyFault::kIndex, [&](const FaultyKey& key, const auto& entry) {
    check_index_text(context, key, entry);
  });
  for (std::uint32_t at = 0; at < context.source.entries.size(); ++at) {
    check_index_number(context, at);
  }
}

void check_duplicate_key(CheckContext& context) {
  for (const Duplicate& duplicate : context.model.duplicates) check_duplicate(context, duplicate);
}

void check_no_effect(CheckContext& context) {
  for (std::uint32_t at = 0; at < context.source.entries.size(); ++at) {
    check_global_key(context, at);
  }
}

}  // namespace kovo::check
