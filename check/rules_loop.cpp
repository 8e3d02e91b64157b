// The rule about steps that send to the daemon itself. What their messages raise comes from the
// rules of the daemon, whatever it remembers by then; a circle is the shortest way from a message
// back to the event that sends it. A test event is looked up in the same file, since the test file
// is mostly a copy. Not followed: messages with placeholders, the replies of remote commands, and
// what other programs do.
#include <string>
#include <vector>

#include "check/check_context.h"
#include "check/payload.h"
#include "core/change_rules.h"
#include "core/message.h"
#include "core/network.h"
#include "core/setting_rules.h"
#include "core/text.h"
#include "core/trigger_text.h"

namespace kovo::check {
namespace {

constexpr std::size_t kMaxFollowed = 1000;  // of one search: hostile files have long circles
constexpr std::size_t kMaxShownNames = 8;   // of a circle
constexpr std::int64_t kLongerThanPauses = 60;

/// What the rules of the daemon remember, product by product.
struct Memories {
  std::vector<ChangeMemory> products;
  std::int64_t now_s = 0;
};

/// An event that a message raises.
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

struct Loops {
  const CheckContext& context;
  Memories memories;
  std::vector<LoopStep> steps{};
  std::vector<std::vector<std::uint32_t>> steps_of{};  // by the position of their event
  std::vector<std::uint32_t> visited_by{};             // the search that came to an event last
};

std::size_t position_of(const CheckContext& context, const NamedKeys& keys) {
  return static_cast<std::size_t>(&keys - context.model.names.data());
}

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

/// Adds the triggers that a message on port 2727 may raise.
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

/// Adds the triggers that a status line may raise.
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

/// Returns the events that a step's message may raise.
std::vector<Raised> raised_by_step(Loops& loops, const CompiledStep& step, const Sender& sender) {
  const std::string data = s_hex_to_ascii(step.data);
  if (sender.status || !placeholders(data).empty()) return {};
  const std::string payload = expand_templates(loops.context.known, data);
  const std::string_view text = sent_part(payload);
  std::vector<Raised> raised;
  std::vector<std::string> triggers;
  loops.memories.now_s += kLongerThanPauses;
  switch (sent_port(step.port)) {
    case kCommandPort:
      add_command(loops.context, text, raised);
      break;
    case kVariablePort:
      add_message(loops.memories, sender.transport == Transport::kTcp ? until_newline(text) : text,
                  triggers);
      break;
    default:
      add_status_line(loops.memories, text, triggers);
      break;
  }
  for (const std::string& trigger : triggers) add_trigger(loops.context, trigger, raised);
  return raised;
}

Memories make_memories(unsigned products) {
  Memories memories;
  for (const Variant variant : variants_of(products)) {
    memories.products.emplace_back().mapping_table = mapping_rows(variant);
  }
  return memories;
}

/// Finds the steps that send to the daemon. The tables are made only if there is one.
Loops find_loops(const CheckContext& context) {
  Loops loops{context, {}};
  for_each_event(context, [&](const NamedKeys& keys) {
    for (const auto& [index, step] : keys.steps) {
      if (step.compiled == nullptr) break;
      std::string port = daemon_port(*step.compiled);
      if (port.empty()) continue;
      if (loops.steps.empty()) loops.memories = make_memories(context.options.products);
      const std::optional<Sender> sender = choose_sender(step.compiled->protocol);
      std::vector<Raised> raised = raised_by_step(loops, *step.compiled, *sender);
      loops.steps.push_back({keys, step, std::move(port), std::move(raised)});
    }
  });
  if (loops.steps.empty()) return loops;
  loops.steps_of.resize(context.model.names.size());
  loops.visited_by.resize(context.model.names.size(), UINT32_MAX);
  for (std::uint32_t at = 0; at < loops.steps.size(); ++at) {
    loops.steps_of[position_of(context, loops.steps[at].event)].push_back(at);
  }
  return loops;
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

/// Returns the shortest circle that begins with a step, as text; "" when none is found.
std::string circle_of(Loops& loops, std::uint32_t search) {
  struct Visit {
    Raised raised;
    std::size_t from;  // position of the visit before it; its own for the first ones
  };
  const NamedKeys& start = loops.steps[search].event;
  std::vector<Visit> visits;
  std::size_t followed = 0;
  const auto add = [&](const std::vector<Raised>& all, std::size_t from) {
    for (const Raised& raised : all) {
      if (++followed > kMaxFollowed) return;
      std::uint32_t& last = loops.visited_by[position_of(loops.context, *raised.event)];
      if (last == search) continue;
      last = search;
      visits.push_back({raised, std::min(from, visits.size())});
    }
  };
  add(loops.steps[search].raised, SIZE_MAX);
  for (std::size_t at = 0; at < visits.size(); ++at) {
    const NamedKeys& event = *visits[at].raised.event;
    if (&event != &start) {
      for (const std::uint32_t step : loops.steps_of[position_of(loops.context, event)]) {
        add(loops.steps[step].raised, at);
      }
      continue;
    }
    std::vector<Raised> way = {visits[at].raised};
    for (std::size_t next = at; visits[next].from != next;) {
      next = visits[next].from;
      way.insert(way.begin(), visits[next].raised);
    }
    return circle_text(start, way);
  }
  return {};
}

}  // namespace

void check_loop(CheckContext& context) {
  Loops loops = find_loops(context);
  for (std::uint32_t at = 0; at < loops.steps.size(); ++at) {
    const LoopStep& step = loops.steps[at];
    const CompiledStep& compiled = *step.entries.compiled;
    if (!is_address(compiled.ip)) continue;  // reported by "address"
    const std::string name = shown(step.event.name);
    const std::string circle = circle_of(loops, at);
    std::string text = step_text(static_cast<std::uint32_t>(compiled.index), step.event.name);
    text += " sends to the daemon itself (" + step.port + ")";
    std::string hint =
        "write another address, or make sure that this message does not raise " + name + " again";
    if (!circle.empty()) {
      text.append(" and can raise ").append(name).append(" again: ").append(circle);
      hint = "remove one of these messages: they can repeat endlessly";
    }
    add_finding(context, value_range(context, step.entries.ip), std::move(text), std::move(hint));
  }
}

}  // namespace kovo::check
