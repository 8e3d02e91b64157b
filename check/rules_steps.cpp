// Rules about steps: protocol, address and port, and what is missing.
#include <algorithm>

#include "check/check_context.h"
#include "check/payload.h"
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
    std::string hint = "write UDP or TCP, or UDPStatus or TCPStatus to send the device's status";
    if (!right.empty()) hint = "write " + right;
    add_finding(context, step.range,
                step.step + " sends nothing: " + quoted(value) + " is not a supported protocol",
                hint, right.empty() ? std::nullopt : std::optional(right));
    return;
  }
  const bool both = contains(value, "TCP") && contains(value, "UDP");
  const bool no_status = right.size() > 3 && !contains(value, "Status");
  if (!both && !no_status) return;
  add_finding(context, context.rule->other, step.range,
              both ? quoted(value) + " is ambiguous: " + step.step + " uses TCP"
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
  const std::string first = std::to_string(empty.front());
  const std::string text = empty.size() == 1 ? "step " + first + " of " + name + " has no lines"
                                             : std::to_string(empty.size()) + " steps of " + name +
                                                   " have no lines (the first is " + first + ")";
  const bool at_end = empty.front() + static_cast<std::int32_t>(empty.size()) == step_count;
  add_finding(context, value_range(context, keys.counts.back()), text + ": nothing is sent",
              at_end && empty.front() > 0
                  ? "write " + name + "Count=" + first + ", or the lines of the other steps"
                  : "write " + name + "Protocol" + first + " and the other lines of the step");
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
  if (value == "255.255.255.255") {
    add_finding(context, step.range, step.step + " sends nothing: the daemon does not broadcast",
                "write the address of one device, and give each other device a step of its own");
  } else if (value.substr(value.size() - kEnd.size()) == kEnd) {
    add_finding(context, Severity::kNote, step.range,
                quoted(value) +
                    " is the broadcast address of many networks: the daemon does not "
                    "broadcast",
                "write the address of one device, unless this is the address of a device");
  }
}

void check_address_value(CheckContext& context, const StepValue& step) {
  const std::string value(step.entry.value);
  if (value.size() > kMaxShortText) {
    add_finding(context, step.range,
                step.line + " has more than 63 characters and is truncated there",
                "write four numbers from 0 to 255 such as 10.0.0.5");
    return;
  }
  if (is_address(value)) {
    check_broadcast(context, step);
    return;
  }
  std::string inner(trimmed(value));
  inner.erase(std::remove(inner.begin(), inner.end(), '"'), inner.end());
  const std::string host = without_zeros(inner.substr(0, inner.find_first_of(":/")));
  std::string hint =
      "write four numbers from 0 to 255 such as 10.0.0.5: host names are not resolved";
  std::optional<std::string> fix;
  if (is_address(host)) {
    hint = "write " + host + (contains(inner, ":") ? ", and the port in a Port line" : "");
    fix = host;
  }
  add_finding(context, step.range,
              quoted(value) + " is not a valid IPv4 address: " + step.step +
                  " goes to 0.0.0.0, the device itself",
              hint, fix);
}

void check_port_value(CheckContext& context, const StepValue& step) {
  const ReadNumber number = read_number(step.entry.value);
  const std::string goes = ": " + step.step + " is sent to port ";
  const std::string port = std::to_string(sent_port(step.entry.value));
  if (!number.has_digits) {
    add_finding(context, step.range, quoted(step.entry.value) + " is not a valid port" + goes + "0",
                "write a number from 1 to 65535");
  } else if (number.value < 1 || number.value > 65535) {
    add_finding(context, step.range,
                step.line + " is not a valid port" +
                    (port == std::to_string(number.value) ? "" : goes + port),
                "write a number from 1 to 65535");
  } else if (!number.rest.empty()) {
    add_finding(context, step.range, step.line + " is read as " + port, "write " + port, port);
  }
}

}  // namespace

void check_protocol(CheckContext& context) {
  for_each_value(context, kProtocolField,
                 [&](const StepValue& step) { check_protocol_value(context, step); });
  for_each_event(context, [&](const NamedKeys& keys) {
    if (context.truncated_names.count(std::string(keys.name)) == 0)
      check_empty_steps(context, keys);
  });
  for_each_step(context, [&](const NamedStep& step) {
    if (step.entries.protocol != kNoEntry) return;
    const std::string key = step.name + "Protocol" + step.number;
    add_finding(context, step.range, step.text + " sends nothing: " + key + " is missing",
                "add " + key + "=UDP or " + key + "=TCP");
  });
}

void check_address(CheckContext& context) {
  for_each_value(context, kIpField,
                 [&](const StepValue& step) { check_address_value(context, step); });
  for_each_step(context, [&](const NamedStep& step) {
    const std::uint32_t ip = step.entries.ip;
    if (ip != kNoEntry) {
      if (entry_at(context, ip).value != "0.0.0.0") return;
      if (!daemon_port(*step.entries.compiled).empty()) return;  // reported by "loop"
      add_finding(context, context.rule->other, value_range(context, ip),
                  step.text + " sends to the device itself",
                  "write the address of another device, or 127.0.0.1 if it is meant");
      return;
    }
    add_finding(context, step.range,
                step.text + " has no address and goes to 0.0.0.0, the device itself",
                "add " + step.name + "IP" + step.number + "= and an address such as 10.0.0.5");
  });
}

void check_port(CheckContext& context) {
  for_each_value(context, kPortField,
                 [&](const StepValue& step) { check_port_value(context, step); });
  for_each_step(context, [&](const NamedStep& step) {
    if (step.entries.port != kNoEntry) return;
    add_finding(context, step.range, step.text + " has no port and is sent to port 0",
                "add " + step.name + "Port" + step.number + "= and a number from 1 to 65535");
  });
}

}  // namespace kovo::check
