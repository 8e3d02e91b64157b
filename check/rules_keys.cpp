// Rules about keys: those that the daemon does not read, reads as others, or reads twice.
#include "check/keys.h"
#include "check/rules.h"
#include "definitions/event_compiler.h"
#include "frame/text.h"

namespace kovo::check {
namespace {

constexpr char kForms[] =
    "write NameCount, NameXMLfield, NameDelay, or for step 0 NameProtocol0, NameIP0, NamePort0, "
    "NameData0, NameDelay0";

std::string text_of(const MeantKey& meant) {
  return meant.name + meant.field + meant.index;
}

Finding& suggest(Finding& finding, const std::string& key) {
  finding.hint = "did you mean " + shown(key) + "?";
  finding.mend = key;
  return finding;
}

/// The end of the key is right, but a field word before it cuts the name. Told once a name.
void check_cut_name(Checking& checking, std::uint32_t position, const DefinitionEntry& entry,
                    const MeantKey& meant) {
  if (!checking.cut_names.insert(meant.name).second) return;
  const Place key = key_place(checking, position);
  const std::string name = shown(meant.name);
  if (entry.parts == 0) {
    tell(checking, Rule::kCutName, part_of(key, 0, meant.name.size()),
         "the event name " + name + " begins with the field word \"" + meant.field +
             "\": " + key_text(entry) + " is not read",
         "give the event a name that holds no field word");
    return;
  }
  const std::string field(entry.field);
  tell(checking, Rule::kCutName, part_of(key, entry.name.size(), entry.field.size()),
       "the event name " + name + " is cut at \"" + field + "\": " + key_text(entry) +
           " is read as a " + field + " of " + shown(entry.name),
       "give the event a name that holds none of Count, XMLfield, Protocol, Delay, IP, Port, Data");
}

void check_letter_case(Checking& checking, std::uint32_t position, const DefinitionEntry& entry,
                       const std::string& right) {
  tell(checking, Rule::kLetterCase, key_place(checking, position),
       key_text(entry) + " is not read: letter case counts", "write " + shown(right))
      .mend = right;
}

void check_unknown_key(Checking& checking, std::uint32_t position, const DefinitionEntry& entry,
                       const MeantKey& meant) {
  Finding& finding = tell(checking, Rule::kUnknownKey, key_place(checking, position),
                          quoted(raw_key(entry)) + " is no key that the daemon reads", kForms);
  Speller globals{{std::begin(kGlobalKeys), std::end(kGlobalKeys)}};
  const std::string global = nearest_name(globals, entry.name);
  if (looks_like_comment(entry.name)) {
    finding.hint = kNoComments;
  } else if (!global.empty()) {
    suggest(finding, global);
  } else if (!meant.name.empty()) {
    suggest(finding, text_of(meant));
  }
}

/// A field word with text behind it that is no index, or without the index that it needs.
void check_index_text(Checking& checking, std::uint32_t position, const DefinitionEntry& entry,
                      const MeantKey& meant) {
  const Place key = key_place(checking, position);
  if (entry.parts == 1) {
    tell(checking, Rule::kIndex, key, key_text(entry) + " has no step index and is not read",
         "write " + shown(raw_key(entry) + "0") + " for the first step")
        .mend = raw_key(entry) + "0";
    return;
  }
  const Place place = part_of(key, entry.name.size() + entry.field.size(), entry.index.size());
  const std::string field(entry.field);
  std::uint32_t index = 0;
  if (takes_no_index(field)) {
    suggest(tell(checking, Rule::kUnknownKey, key,
                 key_text(entry) + " is not read: " + field + " takes no step index"),
            without_index(entry))
        .hint = "write " + shown(without_index(entry));
  } else if (read_index(entry, index) && index < kMaxSteps) {
    const std::string right = without_index(entry) + std::to_string(index);
    Finding& finding = tell(checking, Rule::kIndex, place,
                            quoted(entry.index) + " is read as step " + std::to_string(index),
                            "write " + shown(right));
    finding.severity = Severity::kWarning;
    finding.mend = std::to_string(index);
  } else {
    Finding& finding =
        tell(checking, Rule::kIndex, place,
             quoted(entry.index) + " is no step index: " + key_text(entry) + " is not read",
             "write a number from 0 behind " + field);
    if (meant.name == entry.name) {
      suggest(finding, text_of(meant));
      finding.place = key;
    }
  }
}

void check_key(Checking& checking, std::uint32_t position, const DefinitionEntry& entry) {
  const std::string key = raw_key(entry);
  if (is_known(entry)) return;
  if (trimmed(key).size() != key.size() && !trimmed(key).empty()) return;  // told by "blank"
  const char* global = find_global_key(key);
  const MeantKey meant = meant_key(key);
  if (global != nullptr) {
    check_letter_case(checking, position, entry, global);
  } else if (!meant.name.empty() && meant.distance == 0 && meant.same_case) {
    check_cut_name(checking, position, entry, meant);
  } else if (!meant.name.empty() && meant.distance == 0 &&
             is_known(split_definition_key(text_of(meant), {}))) {
    check_letter_case(checking, position, entry, text_of(meant));
  } else if (entry.parts == 0) {
    check_unknown_key(checking, position, entry, meant);
  } else {
    check_index_text(checking, position, entry, meant);
  }
}

/// Keys that two lines give; those of events that do not exist are told by other rules.
void check_duplicate(Checking& checking, const Duplicate& duplicate) {
  const std::vector<DefinitionEntry>& entries = checking.source.entries;
  const DefinitionEntry& entry = entries[duplicate.later];
  const std::string again =
      key_text(entry) + " stands on " + line_of(checking, duplicate.earlier) + " already: ";
  const Place place = key_place(checking, duplicate.later);
  if (entry.field == "Count") {
    const bool first = read_number(entries[duplicate.earlier].value).value > 0;
    const bool second = read_number(entry.value).value > 0;
    std::string outcome = "only one of them makes an event";
    if (first && second) {
      outcome = "two events " + shown(entry.name) + " come out, and only the first is ever found";
    }
    if (!first && !second) outcome = "none of them makes an event";
    tell(checking, Rule::kDuplicateKey, place, again + outcome, "remove one of the lines");
    return;
  }
  const NamedKeys* event = event_named(checking.model, entry.name);
  std::uint32_t index = 0;
  if (entry.parts != 0 && event == nullptr) return;
  if (entry.parts == 2 &&
      (!read_index(entry, index) || index >= static_cast<std::uint32_t>(event->step_count))) {
    return;
  }
  tell(checking, Rule::kDuplicateKey, place, again + "this one counts", "remove one of the lines");
}

void check_no_effect(Checking& checking, std::uint32_t position, const DefinitionEntry& entry) {
  const std::string line = key_text(entry) + "=" + shown(entry.value);
  const Place place = key_place(checking, position);
  if (entry.name == "EnableEvents" && entry.parts == 0 && entry.value != "true") {
    tell(checking, Rule::kNoEffect, place, line + " does not switch the events off",
         "the device parameter ENABLE_KOVO_EVENT switches them");
  }
  if (entry.name == "FastCableDetectEvents" && entry.parts == 0) {
    tell(checking, Rule::kNoEffect, place, "FastCableDetectEvents does nothing");
  }
  if (entry.name == "DataEncode" && entry.parts == 0 && entry.value != "HEX") {
    tell(checking, Rule::kNoEffect, place, line + " changes nothing: Data is hexadecimal always",
         "write DataEncode=HEX, and the Data values in hexadecimal");
  }
  const NamedKeys* event = event_named(checking.model, entry.name);
  if (event != nullptr && entry.field == "Count" && is_generic_events(*event)) {
    tell(checking, Rule::kNoEffect, place,
         line + " makes an event GenericEvents of empty steps, no room for others",
         "write GenericEventsCount=0; every event has its own Count");
  }
}

}  // namespace

void check_keys(Checking& checking) {
  std::uint32_t position = 0;
  for (const DefinitionEntry& entry : checking.source.entries) {
    check_key(checking, position, entry);
    check_no_effect(checking, position, entry);
    ++position;
  }
  for (const Duplicate& duplicate : checking.model.duplicates) check_duplicate(checking, duplicate);
}

}  // namespace kovo::check
