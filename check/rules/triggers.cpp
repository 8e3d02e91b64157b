// Rules about triggers: what raises an event, and what never does.
#include <algorithm>

#include "check/rules/context.h"
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
  return fmt::format("write {}, which its change raises", names);
}

/// Returns the trigger of the device that a long text is nearly; short words are near to many.
std::string near_miss(const CheckContext& context, std::string_view trigger) {
  constexpr std::size_t kLong = 6;
  return trigger.size() < kLong ? std::string() : nearest_name(context.triggers.suggester, trigger);
}

bool has_second_key(const CheckContext& context, const NamedKeys& keys) {
  return context.second_keys.count(keys.trigger) > 0;
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
    if (keys.trigger == kNoEntry ? is_unsure(context, keys) : has_second_key(context, keys)) return;
    if (!raised_by(context.triggers, trigger).empty()) return;
    function(keys, triggers_of_variable(context.triggers, trigger));
  });
}

void check_impossible_trigger(CheckContext& context, const NamedKeys& keys) {
  const std::string_view trigger = keys.event->trigger;
  const std::size_t equals = trigger.find('=');
  const bool is_logged = equals < trigger.size() && equals > 0 && trigger.substr(0, 2) != "__";
  add_warning(
      context, trigger_range(context, keys),
      fmt::format("nothing can raise the trigger {}{}", quoted(trigger),
                  is_logged ? ": the part after \"=\" is only logged" : ""),
      is_logged ? "write " + shown(trigger.substr(0, equals))
                : "write a name that is not empty, holds no \"=\" and does not begin with \"__\"");
}

/// Reports a trigger of one's own, which may be meant for one of the device.
void check_own_trigger(CheckContext& context, const NamedKeys& keys) {
  const std::string_view trigger = keys.event->trigger;
  const std::vector<std::string> words =
      triggers_of(context.triggers.by_word, without_quotes(trigger));
  const std::string near = near_miss(context, trigger);
  Severity severity = Severity::kNote;
  std::string hint;
  std::optional<std::string> fix;
  if (!words.empty()) {
    hint = advice_to_write(words);
  } else if (near == trigger) {
    hint = "other products raise it";
  } else if (!near.empty()) {
    severity = Severity::kWarning;
    hint = fmt::format("{}{}?", kGuess, near);
    fix = trigger_fix(context, keys, near);
  }
  const std::string name = shown(keys.name);
  add_finding(context, severity, trigger_range(context, keys),
              keys.trigger == kNoEntry && near != trigger
                  ? fmt::format("{} has no XMLfield line: its name is its trigger", name)
                  : fmt::format("{} is not a trigger of the device: only a program can send it, "
                                "on tcp:2700",
                                quoted(trigger)),
              hint, fix);
}

}  // namespace

void check_same_trigger(CheckContext& context) {
  for_each_event(context, [&](const NamedKeys& keys) {
    const NamedKeys& earlier = found_event(context, keys);
    if (&earlier == &keys) return;
    add_error(context, trigger_range(context, keys),
              fmt::format("{0} never raises {1}: it raises {2}, which is defined first ({3})",
                          quoted(keys.event->trigger), shown(keys.name), shown(earlier.name),
                          line_of(context, earlier.counts.front())),
              fmt::format("write another trigger, or give the steps of {} to {}", shown(keys.name),
                          shown(earlier.name)));
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
      add_warning(context, key_range(context, keys.trigger),
                  fmt::format("{} does nothing: the Delay on {} sets the trigger back to {}",
                              key_text(entry), line_of(context, keys.delay), shown(keys.name)),
                  hint);
    } else if (raised_spelling(context, entry.value) != keys.name) {  // reported by "trigger"
      add_warning(
          context, value_range(context, keys.trigger),
          fmt::format("{} no longer runs {}: only {} raises it", shown(keys.name),
                      keys.name == kPowerOn ? "at boot" : "when the display connection changes",
                      quoted(entry.value)),
          hint);
    }
  });
}

void check_variable_name(CheckContext& context) {
  for_each_unraised(context, [&](const NamedKeys& keys, const std::vector<std::string>& meant) {
    if (meant.empty()) return;
    add_error(context, trigger_range(context, keys),
              quoted(keys.event->trigger) + " is a device variable and raises nothing",
              advice_to_write(meant),
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
      add_warning(context, trigger_range(context, keys),
                  fmt::format("{} is not the trigger {}: case, blanks and quotes matter",
                              quoted(trigger), right),
                  has_trigger_line(keys)
                      ? "write " + right
                      : fmt::format("write {}XMLfield={}", shown(keys.name), right),
                  trigger_fix(context, keys, right));
    } else if (!has_outer_blanks(trigger) || !has_trigger_line(keys)) {
      check_own_trigger(context, keys);  // otherwise reported by "blank"
    }
  });
}

/// Reports the first display event of a file.
void check_display_period(CheckContext& context) {
  for (const std::uint32_t at : context.model.in_event_order) {
    const NamedKeys& keys = context.model.names[at];
    if (!is_display_event(keys.name)) continue;
    add_note(context, event_range(context, keys),
             "DVIConnected and DVIDisconnected are skipped in the first 120 s after boot");
    return;
  }
}

}  // namespace kovo::check
