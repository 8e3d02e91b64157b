// The rule about steps that send to the daemon itself. What their messages raise comes from the
// rules of the daemon, whatever it remembers by then; a circle is a way from a message back to the
// event that sends it. A test event is looked up in the same file, since the test file is mostly a
// copy. docs/rules.md says which circles are not found.
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "check/payload.h"
#include "check/rules/context.h"
#include "core/change_rules.h"
#include "core/message.h"
#include "core/network.h"
#include "core/setting_rules.h"
#include "core/text.h"
#include "core/trigger_text.h"

namespace kovo::check {
namespace {

constexpr std::size_t kMaxVisited = 1000;  // events of one search: hostile files have long circles
constexpr std::size_t kMaxShownNames = 8;  // of a circle
constexpr std::int64_t kNowS = 1'000'000;  // long after everything that is remembered

/// What the rules of the daemon remember, product by product; it differs from every value that
/// raises something. Each message finds it so: it is copied.
using Memories = std::vector<ChangeMemory>;

Memories make_memories(unsigned products) {
  constexpr char kOther[] = "-";
  Memories memories;
  for (const Variant variant : variants_of(products)) {
    memories.push_back({mapping_rows(variant), {}, kOther, kOther, kOther, 0, 0, 0, kOther});
  }
  return memories;
}

struct Raised {
  const NamedKeys* event;
  std::string by;  // its trigger, or the command
};

/// A step that sends to the daemon, and what it raises.
struct LoopStep {
  const StepEntries& entries;
  std::string port;  // "tcp:2700"
  std::vector<Raised> raised;
};

using LoopSteps = std::unordered_map<const NamedKeys*, std::vector<LoopStep>>;  // by event

void add_pushed(const ChangeActions& actions, std::vector<std::string>& triggers) {
  for (const ChangeAction& action : actions) {
    if (action.kind == ActionKind::kPushSerial || action.kind == ActionKind::kPushDedicated ||
        action.kind == ActionKind::kPushMapped || action.kind == ActionKind::kPushPlayback) {
      triggers.push_back(action.name);
    }
  }
}

void add_setting(std::string_view line, std::vector<std::string>& triggers) {
  const std::optional<KeyValue> pair = split_setting_line(line);
  if (!pair) return;
  Settings settings = empty_settings();
  if (exchange_setting(settings, pair->key, pair->value).result == kSettingChanged) {
    triggers.emplace_back(pair->key);
  }
}

void add_message(const Memories& memories, std::string_view text,
                 std::vector<std::string>& triggers) {
  if (names_setting(text)) {
    add_setting(text, triggers);
    return;
  }
  const Message message = split_message(strip_newline(truncated(text, kMaxMessage)));
  if (message.splitting != Splitting::kOk) return;
  if (!equals_nocase(message.command, "e_param_set")) return;
  const std::string value = decode_value(message.arg2);
  for (ChangeMemory memory : memories) {
    for (const ChangeRule rule : change_rules(message.arg1)) {
      add_pushed(run_rule(rule, memory, {message.arg1, value}, kNowS), triggers);
    }
  }
}

void add_status_line(const Memories& memories, std::string_view text,
                     std::vector<std::string>& triggers) {
  add_setting(text, triggers);
  const KeyValue pair = split_key_value(strip_newline(truncated(text, kMaxStatusLine)));
  if (!is_playback(pair.key)) return;
  for (const char* last : {"local", "local:-"}) {
    ChangeMemory memory = memories.front();
    memory.playback = last;
    add_pushed(run_rule(playback_rule, memory, {pair.key}, kNowS), triggers);
  }
}

/// Adds an event, unless it is "PowerOn", which runs only once per boot.
void add_raised(const NamedKeys* event, std::string_view by, std::vector<Raised>& raised) {
  if (event == nullptr || equals_nocase(event->event->trigger, kPowerOn)) return;
  raised.push_back({event, std::string(by)});
}

void add_trigger(const CheckContext& context, std::string_view trigger,
                 std::vector<Raised>& raised) {
  const auto found = context.found_by_trigger.find(trigger);
  if (found != context.found_by_trigger.end()) add_raised(found->second, trigger, raised);
}

/// Adds the events that a text on tcp:2700 raises.
void add_command(const CheckContext& context, std::string_view text, std::vector<Raised>& raised) {
  const std::string_view key = split_command_line(text).key;
  if (!is_command(key)) {
    for (const std::string_view name : split_lines(strip_newline(key))) {
      add_trigger(context, name, raised);
    }
    return;
  }
  const auto names = tested_names(key);
  for (const std::string_view name : split_lines(strip_newline(names.value_or("")))) {
    add_raised(event_named(context.model, name), fmt::format("__TEST__:{}", name), raised);
  }
}

std::vector<Raised> raised_by_step(const CheckContext& context, const Memories& memories,
                                   const CompiledStep& step) {
  const std::optional<Sender> sender = choose_sender(step.protocol);
  const std::string data = s_hex_to_ascii(step.data);
  if (sender->status || !placeholders(data).empty()) return {};
  const std::string payload = expand_templates(context.known, data);
  const std::string_view text = sent_part(payload);
  const int port = sent_port(step.port);
  std::vector<Raised> raised;
  std::vector<std::string> triggers;
  if (port == kCommandPort) add_command(context, text, raised);
  if (port == kStatusPort) add_status_line(memories, text, triggers);
  if (port == kVariablePort) {
    const bool is_tcp = sender->transport == Transport::kTcp;
    add_message(memories, is_tcp ? until_newline(text) : text, triggers);
  }
  for (const std::string& trigger : triggers) add_trigger(context, trigger, raised);
  return raised;
}

/// Finds the steps that send to the daemon. The tables are made only if there is one.
LoopSteps steps_to_daemon(const CheckContext& context) {
  LoopSteps steps;
  Memories memories;
  for_each_event(context, [&](const NamedKeys& keys) {
    for (const auto& [index, step] : keys.steps) {
      if (step.compiled == nullptr) break;
      std::string port = daemon_port(*step.compiled);
      if (port.empty()) continue;
      if (memories.empty()) memories = make_memories(context.options.products);
      steps[&keys].push_back(
          {step, std::move(port), raised_by_step(context, memories, *step.compiled)});
    }
  });
  return steps;
}

/// Returns "Door -> doorState -> Lamp -> lampState -> Door"; a trigger that is the name of its
/// event is left out.
std::string circle_text(const NamedKeys& start, const std::vector<Raised>& way) {
  std::vector<std::string> names = {shown(start.name)};
  for (const auto& [event, by] : way) {
    if (by != event->name) names.push_back(shown(by));
    names.push_back(shown(event->name));
  }
  if (names.size() > kMaxShownNames) {
    names.resize(kMaxShownNames);
    names.emplace_back("...");
  }
  return fmt::format("{}", fmt::join(names, " -> "));
}

struct Search {
  const LoopSteps& steps;
  const NamedKeys* start;
  std::unordered_set<const NamedKeys*> visited{};
  std::vector<Raised> way{};
};

bool find_circle(Search& search, const LoopStep& step) {
  for (const Raised& next : step.raised) {
    search.way.push_back(next);
    if (next.event == search.start) return true;
    const auto steps = search.steps.find(next.event);
    const bool follows = steps != search.steps.end() && search.visited.size() < kMaxVisited &&
                         search.visited.insert(next.event).second;
    for (std::size_t at = 0; follows && at < steps->second.size(); ++at) {
      if (find_circle(search, steps->second[at])) return true;
    }
    search.way.pop_back();
  }
  return false;
}

void check_step(CheckContext& context, const LoopSteps& steps, const NamedKeys& event,
                const LoopStep& step) {
  const CompiledStep& compiled = *step.entries.compiled;
  if (!is_address(compiled.ip)) return;  // reported by "address"
  const std::string name = shown(event.name);
  std::string text =
      fmt::format("{} sends to the daemon itself ({})",
                  step_text(static_cast<std::uint32_t>(compiled.index), event.name), step.port);
  std::string hint = fmt::format(
      "write another address, or make sure that this message does not raise {} again", name);
  Search search{steps, &event};
  if (find_circle(search, step)) {
    text += fmt::format(" and can raise {} again: {}", name, circle_text(event, search.way));
    hint = "remove one of these messages: they can repeat endlessly";
  }
  add_finding(context, Severity::kWarning, value_range(context, step.entries.ip), std::move(text),
              std::move(hint));
}

}  // namespace

void check_loop(CheckContext& context) {
  const LoopSteps steps = steps_to_daemon(context);
  for (const auto& [event, own] : steps) {
    for (const LoopStep& step : own) check_step(context, steps, *event, step);
  }
}

}  // namespace kovo::check
