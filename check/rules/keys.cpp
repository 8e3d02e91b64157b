// Rules about keys: those that the daemon ignores, reads as others, or reads twice.
#include <algorithm>

#include "check/rules/context.h"
#include "core/event_compiler.h"
#include "core/text.h"

namespace kovo::check {
namespace {

constexpr char kForms[] =
    "write NameCount, NameXMLfield, NameDelay, or for step 0 NameProtocol0, NameIP0, NamePort0, "
    "NameData0, NameDelay0";

/// Returns " and 3 more lines"; "" for none.
std::string and_more(std::size_t lines) {
  return lines == 0 ? "" : " and " + counted(lines, "more line");
}

std::string question(const std::string& key) {
  return fmt::format("{}{}?", kGuess, shown(key));
}

template <typename Function>
void for_each_faulty(const CheckContext& context, KeyFault fault, Function function) {
  for (const FaultyKey& key : context.faulty_keys) {
    if (key.fault == fault) function(key, entry_at(context, key.entry));
  }
}

/// Reports a field word with text after it that is not its index, or without the index it needs.
void check_index_text(CheckContext& context, const FaultyKey& key, const DefinitionEntry& entry) {
  Severity severity = Severity::kError;
  std::uint32_t index = 0;
  std::string hint = "write " + shown(key.right);
  std::string text = "is ignored: it has no step number";
  if (entry.parts == 2 && index_of(entry.field) == Index::kForbidden) {
    severity = severity_of_missed(context, key.right);
    text = fmt::format("is ignored: {} takes no step number", entry.field);
  } else if (entry.parts == 2 && read_index(entry, index) && index < kMaxSteps) {
    severity = Severity::kWarning;
    text = fmt::format("is read as step {}", index);
  } else if (entry.parts == 2) {
    text = fmt::format("is ignored: {} is not a valid step number", quoted(entry.index));
    hint = key.right.empty() ? fmt::format("write a number from 0 after {}", entry.field)
                             : question(key.right);
  }
  add_finding(context, severity, key_range(context, key.entry), key_text(entry) + " " + text, hint,
              key.right.empty() ? std::nullopt : std::optional(key.right));
}

/// Reports the step numbers of an event at or beyond its Count, once.
void check_index_numbers(CheckContext& context, const NamedKeys& keys) {
  const auto step_count = static_cast<std::uint32_t>(keys.event->step_count);
  std::size_t lines = 0;
  std::uint32_t first = kNoEntry;  // of them
  std::uint32_t last = 0;          // the largest number
  for (const std::uint32_t at : keys.entries) {
    const DefinitionEntry& entry = entry_at(context, at);
    std::uint32_t index = 0;
    if (entry.parts != 2 || !acts_on(entry)) continue;
    if (!read_index(entry, index)) index = kMaxSteps;
    if (index < step_count) continue;
    if (lines++ == 0) first = at;
    last = std::max(last, index);
  }
  if (lines == 0) return;
  const std::string name = shown(keys.name);
  std::string hint =
      fmt::format("write {}Count={} if it has that many steps; the first one is 0", name, last + 1);
  if (last >= kMaxSteps) hint = "an event has at most 128 steps: move the others to another event";
  if (keys.steps.begin()->first == 1) {
    hint = fmt::format("number the steps of {} from 0, not from 1", name);
  }
  add_finding(context, Severity::kError, key_range(context, first),
              fmt::format("{}{}: there is no such step; with {}Count={}, the last one is {}",
                          key_text(entry_at(context, first)), and_more(lines - 1), name, step_count,
                          step_count - 1),
              hint);
}

/// Reports the lines that repeat keys of one name, once.
void check_duplicates(CheckContext& context, const std::vector<Duplicate>& repeated) {
  const DefinitionEntry& entry = entry_at(context, repeated.front().later);
  bool has_count = false;
  bool differs = false;
  for (const auto& [earlier, later] : repeated) {
    has_count = has_count || entry_at(context, later).field == kCountField;
    differs = differs || entry_at(context, earlier).value != entry_at(context, later).value;
  }
  const bool is_single = repeated.size() == 1;
  const bool is_event = event_named(context.model, entry.name) != nullptr;
  const bool is_lost = is_event && has_count && differs && !is_single;  // by other steps
  std::string_view hint = is_single ? "remove one of the lines" : "remove one of each";
  std::string effect =
      has_count && is_single ? "the first positive one counts" : "the last line counts";
  if (is_lost) {
    effect = fmt::format("the first event {} is lost", shown(entry.name));
    hint = "write another event name, and another trigger";
  }
  const std::string line = line_of(context, repeated.front().earlier);
  add_finding(
      context, is_lost ? Severity::kError : Severity::kWarning,
      key_range(context, repeated.front().later),
      fmt::format("{}{} {}: {}", key_text(entry), and_more(repeated.size() - 1),
                  is_single ? "is already on " + line : "repeat keys from " + line + " on", effect),
      std::string(hint));
}

/// A key that looks as if a value of it had an effect. In its text, {} is the line.
struct KeyWithoutEffect {
  std::string_view key;
  std::string_view usual;  // the value that is not reported
  const char* text;
  const char* hint;
};
constexpr KeyWithoutEffect kWithoutEffect[] = {
    {"EnableEvents", "true", "{} does not disable the events",
     "set the device parameter ENABLE_KOVO_EVENT instead"},
    {"DataEncode", "HEX", "{} has no effect: Data is always hexadecimal",
     "write DataEncode=HEX, and the Data values in hexadecimal"},
};

/// Reports all lines of an event as one mistake: they were commented out together.
void check_comment(CheckContext& context, std::uint32_t position) {
  const DefinitionEntry& entry = entry_at(context, position);
  const SourceRange range = key_range(context, position);
  const NamedKeys* event = entry.parts == 0 ? nullptr : event_named(context.model, entry.name);
  const char* hint = "delete it, or remove each \"=\" to make it a comment";
  if (event == nullptr) {
    add_finding(context, Severity::kNote, range, "this line has no effect, but it is not a comment",
                hint);
  } else if (event->entries.front() == position) {
    add_finding(context, Severity::kError, range,
                fmt::format("this is not a comment: the event {} is defined, by {}",
                            quoted(entry.name), counted(event->entries.size(), "line")),
                hint);
  }
}

}  // namespace

void check_commented_out(CheckContext& context) {
  for (std::uint32_t at = 0; at < context.source.entries.size(); ++at) {
    if (looks_like_comment(entry_at(context, at).name)) check_comment(context, at);
  }
}

void check_unknown_key(CheckContext& context) {
  const NameSuggester globals = make_suggester({std::begin(kGlobalKeys), std::end(kGlobalKeys)});
  for_each_faulty(context, KeyFault::kUnknown, [&](const FaultyKey& key, const auto& entry) {
    std::string right = nearest_name(globals, entry.name);
    if (right.empty()) right = key.right;
    add_finding(context, severity_of_missed(context, right), key_range(context, key.entry),
                quoted(raw_key(entry)) + " is not a known key and is ignored",
                right.empty() ? kForms : question(right),
                right.empty() ? std::nullopt : std::optional(right));
  });
}

void check_letter_case(CheckContext& context) {
  for_each_faulty(context, KeyFault::kLetterCase, [&](const FaultyKey& key, const auto& entry) {
    add_finding(context, Severity::kError, key_range(context, key.entry),
                key_text(entry) + " is ignored: keys are case-sensitive",
                "write " + shown(key.right), key.right);
  });
  check_similar(context, false);
}

/// Reports an event name once: the end of a key is right, but the name contains a field word.
void check_truncated_name(CheckContext& context) {
  std::unordered_set<std::string_view> reported;
  for_each_faulty(context, KeyFault::kTruncatedName, [&](const FaultyKey& key, const auto& entry) {
    const std::string& name = key.meant.name;
    if (!reported.insert(name).second) return;
    add_finding(context, Severity::kError, part_of(key_range(context, key.entry), 0, name.size()),
                fmt::format("the event name {} contains a field word: {} is not read as its {}",
                            shown(name), key_text(entry), key.meant.field),
                "rename the event: its name must not contain Count, XMLfield, Protocol, Delay, IP, "
                "Port or Data");
  });
}

void check_index(CheckContext& context) {
  for_each_faulty(context, KeyFault::kIndex, [&](const FaultyKey& key, const auto& entry) {
    check_index_text(context, key, entry);
  });
  for_each_event(context, [&](const NamedKeys& keys) { check_index_numbers(context, keys); });
}

void check_duplicate_key(CheckContext& context) {
  std::vector<std::vector<Duplicate>> repeated;  // by name
  std::unordered_map<std::string_view, std::size_t> positions;
  for (const Duplicate& duplicate : context.model.duplicates) {
    const DefinitionEntry& entry = entry_at(context, duplicate.later);
    const bool is_event = event_named(context.model, entry.name) != nullptr;
    if (looks_like_comment(entry.name)) continue;
    if (entry.parts > 0 && entry.field != kCountField && !is_event) continue;  // "no-count"
    const std::size_t position = positions.emplace(entry.name, repeated.size()).first->second;
    if (position == repeated.size()) repeated.emplace_back();
    repeated[position].push_back(duplicate);
  }
  for (const std::vector<Duplicate>& each : repeated) check_duplicates(context, each);
}

void check_no_effect(CheckContext& context) {
  for (std::uint32_t at = 0; at < context.source.entries.size(); ++at) {
    const DefinitionEntry& entry = entry_at(context, at);
    for (const auto& [key, usual, text, hint] : kWithoutEffect) {
      if (entry.name != key || entry.parts != 0 || equals_nocase(entry.value, usual)) continue;
      add_finding(context, Severity::kNote, key_range(context, at),
                  fmt::format(fmt::runtime(text), line_text(entry)), hint);
    }
  }
  for_each_event(context, [&](const NamedKeys& keys) {
    if (!is_generic_events(keys)) return;
    add_finding(context, Severity::kNote, event_range(context, keys),
                "GenericEventsCount defines an event GenericEvents whose steps are empty",
                "write GenericEventsCount=0; every event has its own Count");
  });
}

}  // namespace kovo::check
