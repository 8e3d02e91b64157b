// Rules about steps: protocol, address and port, and what is missing.
#include <algorithm>

#include "check/payload.h"
#include "check/rules/context.h"
#include "core/text.h"

namespace kovo::check {
namespace {

bool contains_nocase(std::string_view text, const char* word) {
  return contains(lower_ascii(text), lower_ascii(word));
}

/// Returns a protocol in the case that the daemon expects: "UDP", "TCPStatus"; "" for others.
std::string right_protocol(std::string_view text) {
  const bool tcp = contains_nocase(text, "TCP");
  if (!tcp && !contains_nocase(text, "UDP")) return {};
  return std::string(tcp ? "TCP" : "UDP") + (contains_nocase(text, "Status") ? "Status" : "");
}

void check_protocol_value(CheckContext& context, const StepValue& step) {
  const std::string_view value = step.entry.value;
  const std::string right = right_protocol(value);
  if (!choose_sender(value)) {
    add_error(
        context, step.range,
        fmt::format("{} sends nothing: {} is not a supported protocol", step.step, quoted(value)),
        right.empty() ? "write UDP or TCP, or UDPStatus or TCPStatus to send the device's status"
                      : "write " + right,
        right.empty() ? std::nullopt : std::optional(right));
    return;
  }
  const bool both = contains(value, "TCP") && contains(value, "UDP");
  const bool no_status = right.size() > 3 && !contains(value, "Status");
  if (!both && !no_status) return;
  add_warning(context, step.range,
              both ? fmt::format("{} is ambiguous: {} uses TCP", quoted(value), step.step)
                   : quoted(value) + " sends the payload, not the device's status",
              "write " + right, right);
}

/// Reports the steps of an event that have no line. If that is only step 0 and the others go up to
/// the Count, "index" reports it.
void check_empty_steps(CheckContext& context, const NamedKeys& keys) {
  const std::int32_t step_count = keys.event->most_steps;
  std::vector<std::int32_t> empty;
  for (std::int32_t index = 0; index < step_count; ++index) {
    if (keys.steps.count(static_cast<std::uint32_t>(index)) == 0) empty.push_back(index);
  }
  const bool from_one = keys.steps.count(static_cast<std::uint32_t>(step_count)) > 0;
  if (empty.empty() || is_generic_events(keys) ||
      (from_one && empty.size() == 1 && empty[0] == 0)) {
    return;
  }
  const std::string name = shown(keys.name);
  const bool at_end = empty.front() + static_cast<std::int32_t>(empty.size()) == step_count;
  add_error(
      context, value_range(context, keys.counts.back()),
      empty.size() == 1
          ? fmt::format("step {} of {} has no lines: nothing is sent", empty.front(), name)
          : fmt::format("{} steps of {} have no lines (the first is {}): nothing is sent",
                        empty.size(), name, empty.front()),
      at_end && empty.front() > 0
          ? fmt::format("write {}Count={}, or the lines of the other steps", name, empty.front())
          : fmt::format("write {}Protocol{} and the other lines of the step", name, empty.front()));
}

/// Returns a dotted address without the zeros before its decimal numbers.
std::string without_zeros(std::string_view text) {
  std::string address;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const bool begins = address.empty() || address.back() == '.';
    if (begins && text[at] == '0' && is_digits(text.substr(at + 1, 1))) continue;
    address += text[at];
  }
  return address;
}

void check_broadcast(CheckContext& context, const StepValue& step) {
  constexpr std::string_view kEnd = ".255";
  const std::string_view value = step.entry.value;
  if (is_broadcast(value)) {
    add_error(context, step.range, step.step + " sends nothing: the daemon does not broadcast",
              "write the address of one device, and give each other device a step of its own");
  } else if (value.substr(value.size() - kEnd.size()) == kEnd) {
    add_note(context, step.range,
             quoted(value) +
                 " is the broadcast address of many networks: the daemon does not "
                 "broadcast",
             "write the address of one device, unless this is the address of a device");
  }
}

/// Returns the edits that write the port of an address to the Port line of its step, or add one.
void move_port(const CheckContext& context, const StepValue& step, const std::string& port,
               std::string& address, std::vector<Edit>& edits) {
  std::uint32_t index = 0;
  read_index(step.entry, index);
  const NamedKeys* keys = event_named(context.model, step.entry.name);
  const auto entries = keys == nullptr ? nullptr : find_step(*keys, index);
  if (entries != nullptr && entries->port != kNoEntry) {
    edits.push_back({value_range(context, entries->port), port});
  } else {
    address += fmt::format("\n{}{}{}={}", step.entry.name, kPortField, step.entry.index, port);
  }
}

void check_address_value(CheckContext& context, const StepValue& step) {
  const std::string value(step.entry.value);
  if (is_address(value)) {
    check_broadcast(context, step);
    return;
  }
  const std::string_view inner = without_quotes(value);
  const std::size_t end = std::min(inner.find_first_of(":/"), inner.size());
  std::string host = without_zeros(inner.substr(0, end));
  const std::string port(inner.substr(std::min(end + 1, inner.size())));
  std::string hint =
      "write four numbers from 0 to 255 such as 10.0.0.5: host names are not resolved";
  std::vector<Edit> others;
  const bool is_known_host = is_address(host);
  if (is_known_host && end == inner.size()) {
    hint = "write " + host;
  } else if (is_known_host && inner[end] == ':' && is_digits(port)) {
    hint = fmt::format("{}{}, and {}{}{}={}?", kGuess, host, shown(step.entry.name), kPortField,
                       step.entry.index, port);
    move_port(context, step, port, host, others);
  } else if (is_known_host) {
    hint = fmt::format("{}{}?", kGuess, host);
  }
  add_error(context, step.range,
            fmt::format("{} is not a valid IPv4 address: {} goes to 0.0.0.0, the device itself",
                        quoted(value), step.step),
            hint, is_known_host ? std::optional(host) : std::nullopt, std::move(others));
}

}  // namespace

void check_protocol(CheckContext& context) {
  for_each_value(context, kProtocolField,
                 [&](const StepValue& step) { check_protocol_value(context, step); });
  for_each_event(context, [&](const NamedKeys& keys) {
    if (!is_unsure(context, keys)) check_empty_steps(context, keys);
  });
  check_missing_field(context, kProtocolField);
}

void check_address(CheckContext& context) {
  for_each_value(context, kIpField,
                 [&](const StepValue& step) { check_address_value(context, step); });
  check_missing_field(context, kIpField);
  for_each_step(context, [&](const NamedStep& step) {
    const std::uint32_t ip = step.entries.ip;
    if (ip == kNoEntry || entry_at(context, ip).value != "0.0.0.0") return;
    if (!daemon_port(*step.entries.compiled).empty()) return;  // reported by "loop"
    add_warning(context, value_range(context, ip), step.text + " sends to the device itself",
                "write the address of another device, or 127.0.0.1 if it is meant");
  });
}

}  // namespace kovo::check
