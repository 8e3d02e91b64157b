// Rules about triggers: what raises an event, and what never does.
#include <algorithm>

#include "check/check_context.h"
#include "core/text.h"

namespace kovo::check {
namespace {

/// Returns whether an XMLfield line gives the trigger; otherwise it is the name.
bool has_trigger_line(const NamedKeys& keys) {
  return keys.trigger != kNoEntry && keys.event->trigger != keys.name;
}

SourceRange trigger_range(const CheckContext& context, const NamedKeys& keys) {
  return has_trigger_line(keys) ? value_range(context, keys.trigger) : event_range(context, keys);
}

/// Returns the event that a push finds by the trigger of an event.
const NamedKeys& found_event(const CheckContext& context, const NamedKeys& keys) {
  return *context.found_by_trigger.find(keys.event->trigger)->second;
}

/// Returns whether not even a program can push a name.
bool cannot_be_named(std::string_view trigger) {
  return trigger.empty() || trigger.find('=') != std::string_view::npos ||
         trigger.substr(0, 2) == "__" || trigger.size() > kMaxCommand;
}

/// Returns a trigger as it is usually written wrong: in lower case, without blanks and quotes.
std::string bare(std::string_view trigger) {
  std::string text = lower_ascii(trigger);
  const auto is_extra = [](char c) { return c == '"' || c == '\'' || trimmed({&c, 1}).empty(); };
  text.erase(std::remove_if(text.begin(), text.end(), is_extra), text.end());
  return text;
}

/// Returns the trigger that the device raises and that differs from a text only in case, blanks or
/// quotes; "" when there is none.
std::string raised_spelling(const CheckContext& context, std::string_view trigger) {
  const NameSuggester& known = context.triggers.suggester;
  const auto found = known.by_lower.find(bare(trigger));
  if (found == known.by_lower.end()) return {};
  const std::string& name = known.names[found->second];
  return raised_by(context.triggers, name).empty() ? std::string() : name;
}

/// Returns a trigger as the fix of an event's XMLfield line; nothing without such a line, or when
/// the trigger would then be that of two events.
std::optional<std::string> trigger_fix(const CheckContext& context, const NamedKeys& keys,
                                       const std::string& right) {
  if (!has_trigger_line(keys) || context.found_by_trigger.count(right) > 0) return {};
  return right;
}

/// Returns "write a or b, which its change raises".
std::string advice_to_write(const std::vector<std::string>& triggers) {
  std::string names = triggers.front();
  for (std::size_t at = 1; at < triggers.size(); ++at) names += " or " + triggers[at];
  return "write " + names + ", which its change raises";
}

/// Calls a function with each event whose trigger nothing on the device raises, and the triggers of
/// the variable that has this name.
template <typename Function>
void for_each_unraised(const CheckContext& context, Function function) {
  for_each_event(context, [&](const NamedKeys& keys) {
    const std::string_view trigger = keys.event->trigger;
    if (&found_event(context, keys) != &keys) return;  // reported by "same-trigger"
    if (is_generic_events(keys)) return;               // reported by "no-effect"
    if (!raised_by(context.triggers, trigger).empty()) return;
    function(keys, triggers_of_variable(context.triggers, trigger));
  });
}

}  // namespace

void check_same_trigger(CheckContext& context) {
  for_each_event(context, [&](const NamedKeys& keys) {
    const NamedKeys& earlier = found_event(context, keys);
    if (&earlier == &keys) return;
    const std::string name = shown(keys.name);
    add_finding(
        context, trigger_range(context, keys),
        quoted(keys.event->trigger) + " never raises " + name + ": it raises " +
            shown(earlier.name) + ", which is defined first (" +
            line_of(context, earlier.counts.front()) + ")",
        "write another trigger, or give the steps of " + name + " to " + shown(earlier.name));
  });
}

void check_builtin_trigger(CheckContext& context) {
  for_each_event(context, [&](const NamedKeys& keys) {
    if (!is_builtin_event(keys.name) || keys.trigger == kNoEntry) return;
    const DefinitionEntry& entry = entry_at(context, keys.trigger);
    if (entry.value == keys.name) return;
    if (keys.event->trigger != keys.name) {
      if (bare(entry.value) == lower_ascii(keys.name)) return;  // reported by "trigger"
      add_finding(context, value_range(context, keys.trigger),
                  shown(keys.name) + " no longer runs " +
                      (keys.name == kPowerOn ? "at boot" : "when the display connection changes") +
                      ": only " + quoted(entry.value) + " raises it",
                  "remove this line, and give the steps to an event of another name");
      return;
    }
    add_finding(context, key_range(context, keys.trigger),
                key_text(entry) + " does nothing: the Delay on " + line_of(context, keys.delay) +
                    " sets the trigger back to " + shown(keys.name),
                "write this line after " + shown(keys.name) + "Delay, or remove it");
  });
}

void check_variable_name(CheckContext& context) {
  for_each_unraised(context, [&](const NamedKeys& keys, const std::vector<std::string>& meant) {
    if (meant.empty()) return;
    add_finding(context, trigger_range(context, keys),
                quoted(keys.event->trigger) + " is a device variable and raises nothing",
                advice_to_write(meant),
                meant.size() == 1 ? trigger_fix(context, keys, meant.front()) : std::nullopt);
  });
}

void check_trigger(CheckContext& context) {
  for_each_unraised(context, [&](const NamedKeys& keys, const std::vector<std::string>& meant) {
    if (!meant.empty()) return;  // reported by "variable-name"
    const std::string_view trigger = keys.event->trigger;
    if (cannot_be_named(trigger)) {
      add_finding(context, context.rule->other, trigger_range(context, keys),
                  "nothing can raise the trigger " + quoted(trigger),
                  "write a name that is not empty, holds no \"=\" and does not begin with \"__\"");
      return;
    }
    const std::string right = raised_spelling(context, trigger);
    if (!right.empty()) {
      add_finding(
          context, context.rule->other, trigger_range(context, keys),
          quoted(trigger) + " is not the trigger " + right + ": case, blanks and quotes matter",
          "write " + (has_trigger_line(keys) ? right : shown(keys.name) + "XMLfield=" + right),
          trigger_fix(context, keys, right));
      return;
    }
    const std::vector<std::string> words = triggers_of_word(context.triggers, bare(trigger));
    const std::string near = nearest_name(context.triggers.suggester, trigger);
    std::string hint;
    std::optional<std::string> fix;
    if (!words.empty()) {
      hint = advice_to_write(words);
    } else if (near == trigger) {
      hint = "other products raise it";
    } else if (!near.empty()) {
      hint = "did you mean " + near + "?";
      fix = trigger_fix(context, keys, near);
    }
    add_finding(context, trigger_range(context, keys),
                quoted(trigger) +
                    " is not a trigger of the device: only a program can send it, on tcp:2700",
                hint, fix);
  });
}

/// Reports the first display event of a file.
void check_display_period(CheckContext& context) {
  for (const std::uint32_t at : context.model.in_event_order) {
    const NamedKeys& keys = context.model.names[at];
    if (!is_display_event(keys.name)) continue;
    add_finding(context, event_range(context, keys),
                "DVIConnected and DVIDisconnected are skipped in the first 120 s after boot");
    return;
  }
}

}  // namespace kovo::check
