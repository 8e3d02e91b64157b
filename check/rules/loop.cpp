// The rule about steps that send to the daemon itself. What their messages raise comes from the
// rules of the daemon, whatever it remembers by then; a circle is a way from a message back to the
// event that sends it. A test event is looked up in the same file, since the test file is mostly a
// copy. docs/rules.md says which circles are not found.
#include <algorithm>
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
constexpr std::int64_t kLongerThanPauses = 60;

/// What the rules of the daemon remember, product by product.
struct Memories {
  std::vector<ChangeMemory> products;
  std::int64_t now_s = 0;
};

struct Raised {
  const NamedKeys* event;
  bool test;
};

/// A step that sends to the daemon, and what it raises.
struct LoopStep {
  const NamedKeys& event;
  const StepEntries& entries;
  std::string port;  // "tcp:2700"
  std::vector<Raised> raised;
};

using Steps = std::vector<LoopStep>;
using RaisedBy = std::unordered_map<const NamedKeys*, std::vector<const LoopStep*>>;

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

/// Makes a memory differ from every value that raises something.
void reset_memory(ChangeMemory& memory) {
  constexpr char kOther[] = "-";
  memory.yuv_out = memory.wpa_eap_mode = memory.p8021_status = kOther;
  memory.serial_format = kOther;
}

void add_message(Memories& memories, std::string_view text, std::vector<std::string>& triggers) {
  if (names_setting(text)) {
    add_setting(text, triggers);
    return;
  }
  const Message message = split_message(strip_newline(truncated(text, kMaxMessage)));
  if (message.splitting != Splitting::kOk) return;
  if (!equals_nocase(message.command, "e_param_set")) return;
  const std::string value = decode_value(message.arg2);
  for (ChangeMemory& memory : memories.products) {
    reset_memory(memory);
    for (const ChangeRule rule : change_rules(message.arg1)) {
      add_pushed(run_rule(rule, memory, {message.arg1, value}, memories.now_s), triggers);
    }
  }
}

void add_status_line(Memories& memories, std::string_view text,
                     std::vector<std::string>& triggers) {
  add_setting(text, triggers);
  const KeyValue pair = split_key_value(strip_newline(truncated(text, kMaxStatusLine)));
  if (!is_playback(pair.key)) return;
  for (const char* last : {"local", "local:-"}) {
    ChangeMemory& memory = memories.products.front();
    memory.playback = last;
    add_pushed(run_rule(playback_rule, memory, {pair.key}, memories.now_s), triggers);
  }
}

/// Adds an event, unless it is "PowerOn", which runs only once per boot.
void add_raised(const NamedKeys* event, bool is_test, std::vector<Raised>& raised) {
  if (event == nullptr || equals_nocase(event->event->trigger, kPowerOn)) return;
  raised.push_back({event, is_test});
}

void add_trigger(const CheckContext& context, std::string_view trigger,
                 std::vector<Raised>& raised) {
  const auto found = context.found_by_trigger.find(trigger);
  if (found != context.found_by_trigger.end()) add_raised(found->second, false, raised);
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
    add_raised(event_named(context.model, name), true, raised);
  }
}

std::vector<Raised> raised_by_step(const CheckContext& context, Memories& memories,
                                   const CompiledStep& step, const Sender& sender) {
  const std::string data = s_hex_to_ascii(step.data);
  if (sender.status || !placeholders(data).empty()) return {};
  const std::string payload = expand_templates(context.known, data);
  const std::string_view text = sent_part(payload);
  std::vector<Raised> raised;
  std::vector<std::string> triggers;
  memories.now_s += kLongerThanPauses;
  switch (sent_port(step.port)) {
    case kCommandPort:
      add_command(context, text, raised);
      break;
    case kVariablePort:
      add_message(memories, sender.transport == Transport::kTcp ? until_newline(text) : text,
                  triggers);
      break;
    default:
      add_status_line(memories, text, triggers);
      break;
  }
  for (const std::string& trigger : triggers) add_trigger(context, trigger, raised);
  return raised;
}

/// Finds the steps that send to the daemon. The tables are made only if there is one.
Steps steps_to_daemon(const CheckContext& context) {
  Steps steps;
  Memories memories;
  for_each_event(context, [&](const NamedKeys& keys) {
    for (const auto& [index, step] : keys.steps) {
      if (step.compiled == nullptr) break;
      std::string port = daemon_port(*step.compiled);
      if (port.empty()) continue;
      if (memories.products.empty()) {
        for (const Variant variant : variants_of(context.options.products)) {
          memories.products.emplace_back().mapping_table = mapping_rows(variant);
        }
      }
      const std::optional<Sender> sender = choose_sender(step.compiled->protocol);
      std::vector<Raised> raised = raised_by_step(context, memories, *step.compiled, *sender);
      steps.push_back({keys, step, std::move(port), std::move(raised)});
    }
  });
  return steps;
}

/// Returns "Door -> doorState -> Lamp -> lampState -> Door"; a trigger that is the name of its
/// event is left out.
std::string circle_text(const NamedKeys& start, const std::vector<Raised>& way) {
  std::vector<std::string> names = {shown(start.name)};
  for (const auto& [event, test] : way) {
    if (test) {
      names.push_back("__TEST__:" + shown(event->name));
    } else if (event->event->trigger != event->name) {
      names.push_back(shown(event->event->trigger));
    }
    names.push_back(shown(event->name));
  }
  std::string text = names.front();
  for (std::size_t at = 1; at < names.size(); ++at) {
    if (at == kMaxShownNames - 1 && at + 1 < names.size()) text += " -> ...";
    if (at < kMaxShownNames - 1 || at + 1 == names.size()) text += " -> " + names[at];
  }
  return text;
}

struct Search {
  const RaisedBy& raised_by;  // the steps of each event
  const NamedKeys& start;
  std::unordered_set<const NamedKeys*> visited{};
  std::vector<Raised> way{};
};

bool find_circle(Search& search, const std::vector<Raised>& raised) {
  for (const Raised& next : raised) {
    search.way.push_back(next);
    if (next.event == &search.start) return true;
    const auto steps = search.raised_by.find(next.event);
    const bool follows = steps != search.raised_by.end() && search.visited.size() < kMaxVisited &&
                         search.visited.insert(next.event).second;
    for (std::size_t at = 0; follows && at < steps->second.size(); ++at) {
      if (find_circle(search, steps->second[at]->raised)) return true;
    }
    search.way.pop_back();
  }
  return false;
}

}  // namespace

void check_loop(CheckContext& context) {
  const Steps steps = steps_to_daemon(context);
  RaisedBy raised_by;
  for (const LoopStep& step : steps) raised_by[&step.event].push_back(&step);
  for (const LoopStep& step : steps) {
    const CompiledStep& compiled = *step.entries.compiled;
    if (!is_address(compiled.ip)) continue;  // reported by "address"
    const std::string name = shown(step.event.name);
    Search search{raised_by, step.event};
    std::string text = fmt::format(
        "{} sends to the daemon itself ({})",
        step_text(static_cast<std::uint32_t>(compiled.index), step.event.name), step.port);
    std::string hint = fmt::format(
        "write another address, or make sure that this message does not raise {} again", name);
    if (find_circle(search, step.raised)) {
      text += fmt::format(" and can raise {} again: {}", name, circle_text(step.event, search.way));
      hint = "remove one of these messages: they can repeat endlessly";
    }
    add_warning(context, value_range(context, step.entries.ip), std::move(text), std::move(hint));
  }
}

}  // namespace kovo::check
