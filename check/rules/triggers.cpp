// Rules about triggers: what raises an event, and what never does.
#include "check/rules/context.h"
#include "core/text.h"

namespace kovo::check {
namespace {

/// Returns whether an XMLfield line gives the trigger; otherwise it is the name.
bool has_trigger_line(const NamedKeys& keys) {
  return keys.trigger != kNoEntry;
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

/// Returns a trigger as the fix of an event's XMLfield line; nothing without such a line, or when
/// the trigger would then be that of two events.
std::optional<std::string> trigger_fix(const CheckContext& context, const NamedKeys& keys,
                                       const std::string& right) {
  if (!has_trigger_line(keys) || context.found_by_trigger.count(right) > 0) return {};
  return right;
}

/// Calls a function with each event whose trigger nothing on the device raises, and the triggers of
/// the variable that has this name.
template <typename Function>
void for_each_unraised(const CheckContext& context, Function function) {
  for_each_event(context, [&](const NamedKeys& keys) {
    const std::string_view trigger = keys.event->trigger;
    if (&found_event(context, keys) != &keys) return;  // reported by "same-trigger"
    if (is_generic_events(keys)) return;               // reported by "no-effect"
    // Otherwise an XMLfield line of another name may be meant.
    if (keys.trigger == kNoEntry && is_unsure(context, keys)) return;
    if (!raised_by(context.triggers, trigger).empty()) return;
    function(keys, triggers_of_variable(context.triggers, trigger));
  });
}

void check_impossible_trigger(CheckContext& context, const NamedKeys& keys) {
  const std::string_view trigger = keys.event->trigger;
  const std::size_t equals = trigger.find('=');
  const bool is_logged = equals < trigger.size() && equals > 0 && trigger.substr(0, 2) != "__";
  add_finding(
      context, Severity::kWarning, trigger_range(context, keys),
      fmt::format("nothing can raise the trigger {}{}", quoted(trigger),
                  is_logged ? ": the part after \"=\" is only logged" : ""),
      is_logged ? "write " + shown(trigger.substr(0, equals))
                : "write a name that is not empty, holds no \"=\" and does not begin with \"__\"");
}

/// Reports a trigger of one's own, which may be meant for one of the device.
void check_own_trigger(CheckContext& context, const NamedKeys& keys) {
  const std::string_view trigger = keys.event->trigger;
  constexpr std::size_t kLong = 6;  // short words are near to many
  const std::string near =
      trigger.size() < kLong ? "" : nearest_name(context.triggers.suggester, trigger);
  const bool is_guess = !near.empty() && near != trigger;
  std::string hint = near.empty() ? "" : "other products raise it";
  if (is_guess) hint = fmt::format("{}{}?", kGuess, near);
  add_finding(context, is_guess ? Severity::kWarning : Severity::kNote,
              trigger_range(context, keys),
              keys.trigger == kNoEntry && near != trigger
                  ? shown(keys.name) + " has no XMLfield line: its name is its trigger"
                  : fmt::format("{} is not a trigger of the device: only a program can send it, "
                                "on tcp:2700",
                                quoted(trigger)),
              hint, is_guess ? trigger_fix(context, keys, near) : std::nullopt);
}

}  // namespace

void check_same_trigger(CheckContext& context) {
  for_each_event(context, [&](const NamedKeys& keys) {
    const NamedKeys& earlier = found_event(context, keys);
    if (&earlier == &keys) return;
    add_finding(context, Severity::kError, trigger_range(context, keys),
                fmt::format("{0} never raises {1}: it raises {2}, which is defined first ({3})",
                            quoted(keys.event->trigger), shown(keys.name), shown(earlier.name),
                            line_of(context, earlier.counts.front())),
                fmt::format("write another trigger, or give the steps of {} to {}",
                            shown(keys.name), shown(earlier.name)));
  });
}

void check_builtin_trigger(CheckContext& context) {
  for_each_event(context, [&](const NamedKeys& keys) {
    if (!is_builtin_event(keys.name) || keys.trigger == kNoEntry) return;
    const DefinitionEntry& entry = entry_at(context, keys.trigger);
    if (entry.value == keys.name) return;
    const std::string hint =
        fmt::format("remove this line, and define another event for {}", quoted(entry.value));
    if (keys.event->trigger == keys.name) {
      add_finding(context, Severity::kWarning, key_range(context, keys.trigger),
                  fmt::format("{} does nothing: the Delay on {} sets the trigger back to {}",
                              key_text(entry), line_of(context, keys.delay), shown(keys.name)),
                  hint);
    } else if (raised_spelling(context, entry.value) != keys.name) {  // reported by "trigger"
      add_finding(context, Severity::kWarning, value_range(context, keys.trigger),
                  fmt::format("the device no longer raises {}: only {} does", shown(keys.name),
                              quoted(entry.value)),
                  hint);
    }
  });
}

void check_variable_name(CheckContext& context) {
  for_each_unraised(context, [&](const NamedKeys& keys, const std::vector<std::string>& meant) {
    if (meant.empty()) return;
    add_finding(context, Severity::kError, trigger_range(context, keys),
                quoted(keys.event->trigger) + " is a device variable and raises nothing",
                fmt::format("write {}, which its change raises", fmt::join(meant, " or ")),
                meant.size() == 1 ? trigger_fix(context, keys, meant.front()) : std::nullopt);
  });
}

void check_trigger(CheckContext& context) {
  for_each_unraised(context, [&](const NamedKeys& keys, const std::vector<std::string>& meant) {
    if (!meant.empty()) return;  // reported by "variable-name"
    const std::string_view trigger = keys.event->trigger;
    if (cannot_be_named(trigger)) return check_impossible_trigger(context, keys);
    const std::string right = raised_spelling(context, trigger);
    if (!right.empty()) {
      add_finding(context, Severity::kWarning, trigger_range(context, keys),
                  fmt::format("{} is not the trigger {}: case, blanks and quotes matter",
                              quoted(trigger), right),
                  !has_trigger_line(keys)
                      ? fmt::format("write {}XMLfield={}", shown(keys.name), right)
                  : without_quotes(trigger) == right ? "write " + right
                                                     : fmt::format("{}{}?", kGuess, right),
                  trigger_fix(context, keys, right));
    } else if (!has_trigger_line(keys) || trimmed(trigger).empty() || trimmed(trigger) == trigger) {
      check_own_trigger(context, keys);  // otherwise reported by "blank"
    }
  });
}

}  // namespace kovo::check
