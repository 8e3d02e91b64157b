// Rules about triggers: what raises an event, and what never does.
#include "check/rules.h"
#include "frame/text.h"

namespace kovo::check {
namespace {

using FirstOfTrigger = std::unordered_map<std::string_view, const NamedKeys*>;  // by trigger

/// The trigger stands in an XMLfield line; otherwise it is the name.
bool has_trigger_line(const NamedKeys& keys) {
  return keys.trigger != kNoEntry && keys.compiled_trigger != keys.name;
}

Place trigger_place(const Checking& checking, const NamedKeys& keys) {
  return has_trigger_line(keys) ? value_place(checking, keys.trigger) : event_place(checking, keys);
}

/// True when the trigger is an earlier event's.
bool check_same_trigger(Checking& checking, const NamedKeys& keys, FirstOfTrigger& first) {
  const auto [found, is_new] = first.emplace(keys.compiled_trigger, &keys);
  if (is_new) return false;
  const NamedKeys& earlier = *found->second;
  const std::string name = shown(keys.name);
  tell(checking, Rule::kSameTrigger, trigger_place(checking, keys),
       quoted(keys.compiled_trigger) + " never raises " + name + ": it raises " +
           shown(earlier.name) + ", which stands before it (" +
           line_of(checking, earlier.counts.front()) + ")",
       "write another trigger, or give the steps of " + name + " to " + shown(earlier.name));
  return true;
}

void check_builtin_trigger(Checking& checking, const NamedKeys& keys) {
  if (!is_builtin_event(keys.name) || keys.trigger == kNoEntry ||
      keys.compiled_trigger != keys.name) {
    return;
  }
  const DefinitionEntry& entry = checking.source.entries[keys.trigger];
  if (entry.value == keys.name) return;
  tell(checking, Rule::kBuiltinTrigger, key_place(checking, keys.trigger),
       key_text(entry) + " does nothing: the Delay on " + line_of(checking, keys.delay) +
           " sets the trigger back to " + shown(keys.name),
       "write this line behind " + shown(keys.name) + "Delay, or remove it");
}

/// A name that not even a program can push.
bool cannot_be_named(std::string_view trigger) {
  return trigger.empty() || trigger.find('=') != std::string_view::npos ||
         trigger.substr(0, 2) == "__" || trigger.size() > kMaxCommand;
}

void check_trigger(Checking& checking, const NamedKeys& keys) {
  const std::string_view trigger = keys.compiled_trigger;
  if (is_generic_events(keys)) return;  // told by another rule
  if (!raised_by(checking.triggers, trigger).empty()) return;
  const Place place = trigger_place(checking, keys);
  const std::vector<std::string> meant = triggers_of_variable(checking.triggers, trigger);
  if (!meant.empty()) {
    std::string names = meant.front();
    for (std::size_t at = 1; at < meant.size(); ++at) names += " or " + meant[at];
    Finding& finding = tell(checking, Rule::kVariableName, place,
                            quoted(trigger) + " is a device variable and raises nothing",
                            "write " + names + ", which its change raises");
    if (meant.size() == 1 && has_trigger_line(keys)) finding.mend = meant.front();
    return;
  }
  if (cannot_be_named(trigger)) {
    tell(checking, Rule::kTrigger, place, "nothing can raise the trigger " + quoted(trigger),
         "write a name that is not empty, holds no \"=\" and does not begin with \"__\"")
        .severity = Severity::kWarning;
    return;
  }
  Finding& finding = tell(checking, Rule::kTrigger, place,
                          "nothing on the device raises " + quoted(trigger) +
                              " by itself, only a program that names it on tcp:2700");
  const std::string near = nearest_name(checking.triggers.speller, trigger);
  if (looks_like_comment(trigger)) {
    finding.hint = kNoComments;
  } else if (near == trigger) {
    finding.hint = "other products raise it";
  } else if (!near.empty()) {
    finding.hint = "did you mean " + near + "?";
    if (has_trigger_line(keys)) finding.mend = near;
  }
}

/// Told once a file.
void check_display_period(Checking& checking) {
  for (const std::uint32_t position : checking.model.in_event_order) {
    const NamedKeys& keys = checking.model.names[position];
    if (!is_display_event(keys.name)) continue;
    tell(checking, Rule::kDisplayPeriod, event_place(checking, keys),
         "DVIConnected and DVIDisconnected are skipped in the first 120 s after boot");
    return;
  }
}

}  // namespace

void check_triggers(Checking& checking) {
  FirstOfTrigger first_of_trigger;
  for (const std::uint32_t position : checking.model.in_event_order) {
    const NamedKeys& keys = checking.model.names[position];
    check_builtin_trigger(checking, keys);
    if (!check_same_trigger(checking, keys, first_of_trigger)) check_trigger(checking, keys);
  }
  check_display_period(checking);
}

}  // namespace kovo::check
