// The rules: everything that a definition file says and the daemon silently reads otherwise.
#pragma once

#include <bitset>
#include <string>
#include <string_view>
#include <unordered_set>

#include "check/findings.h"
#include "check/model.h"
#include "check/source.h"
#include "check/triggers.h"
#include "definitions/templates.h"
#include "engine/event_rules.h"

namespace kovo::check {

struct CheckOptions {
  unsigned products = kAnyProduct;
  const StatusVars* status = nullptr;  // of the device, if it is known
  bool strict = false;                 // warnings count as errors
  std::bitset<kRuleCount> disabled;
};

/// The rule of a name; false when there is none.
bool find_rule(std::string_view name, Rule& rule);

/// All findings of a file, in the order of its lines.
Findings check_source(const Source& source, const CheckOptions& options);

/// What the rules look at, and where they put what they find.
struct Checking {
  const Source& source;
  const Model& model;
  const CheckOptions& options;
  Triggers triggers;
  Speller event_names{};  // of the file
  Speller placeholders{};
  TemplateValues known{};                            // what placeholders stand for
  std::unordered_set<std::string_view> in_status{};  // the names of the status
  std::unordered_set<std::string> cut_names{};       // told by cut-name: their Count may be there
  Findings findings{};
  Finding not_kept{};  // the last one beyond the most that are kept
};

// The families, each in a file of its own.
void check_lines(Checking& checking);     // rules_lines.cpp
void check_keys(Checking& checking);      // rules_keys.cpp
void check_events(Checking& checking);    // rules_events.cpp
void check_triggers(Checking& checking);  // rules_triggers.cpp
void check_steps(Checking& checking);     // rules_steps.cpp

/// One value of a step, and how it is called in texts.
struct StepValue {
  const DefinitionEntry& entry;
  Place place;       // of the value
  std::string step;  // "step 0 of Door"
  std::string line;  // "DoorData0=41"
};
void check_data(Checking& checking, const StepValue& step);  // rules_payload.cpp
StepValue step_value(const Checking& checking, std::uint32_t entry);
std::string step_text(std::uint32_t index, std::string_view name);

/// Adds a finding with the severity of its rule; valid until the next one.
Finding& tell(Checking& checking, Rule rule, const Place& place, std::string text,
              std::string hint = {});

/// The bytes of an entry's key, and of its value.
Place key_place(const Checking& checking, std::uint32_t entry);
Place value_place(const Checking& checking, std::uint32_t entry);

/// Where to tell something about an event as a whole: at the name in its Count line.
Place event_place(const Checking& checking, const NamedKeys& keys);

/// A part of a place: `length` bytes from the one at `from`.
Place part_of(const Place& place, std::size_t from, std::size_t length);

/// The line of an entry, for texts.
std::string line_of(const Checking& checking, std::uint32_t entry);

/// An entry's key as it stands in the file, and the same for texts.
std::string raw_key(const DefinitionEntry& entry);
std::string without_index(const DefinitionEntry& entry);
std::string key_text(const DefinitionEntry& entry);

/// The event that a GenericEventsCount above 0 makes: without any line for its steps.
bool is_generic_events(const NamedKeys& keys);

/// Tells "comments" apart: keys that begin like one in other files.
bool looks_like_comment(std::string_view text);

constexpr char kNoComments[] = "there are no comments in a definition file: remove the line";

}  // namespace kovo::check
