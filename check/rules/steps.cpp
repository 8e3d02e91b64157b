// Rules about steps: protocol, address and port, and what is missing.
#include "check/payload.h"
#include "check/rules/context.h"
#include "core/text.h"

namespace kovo::check {
namespace {

/// Returns a protocol in the case that the daemon expects: "UDP", "TCPStatus"; "" for others.
std::string right_protocol(std::string_view text) {
  const std::string lower = lower_ascii(text);
  const bool tcp = contains(lower, "tcp");
  if (!tcp && !contains(lower, "udp")) return {};
  return std::string(tcp ? "TCP" : "UDP") + (contains(lower, "status") ? "Status" : "");
}

bool names_both(std::string_view protocol) {
  const std::string lower = lower_ascii(protocol);
  return contains(lower, "tcp") && contains(lower, "udp");
}

void check_protocol_value(CheckContext& context, const StepValue& step) {
  const std::string_view value = step.entry.value;
  const std::string right = right_protocol(value);
  if (!choose_sender(value)) {
    add_finding(
        context, Severity::kError, step.range,
        fmt::format("{} sends nothing: {} is not a supported protocol", step.step, quoted(value)),
        right.empty() ? "write UDP or TCP, or UDPStatus or TCPStatus to send the device's status"
        : names_both(value) ? fmt::format("{}{}?", kGuess, right)
                            : "write " + right,
        right.empty() ? std::nullopt : std::optional(right));
    return;
  }
  const bool both = names_both(value);
  const bool no_status = right.size() > 3 && !contains(value, "Status");
  if (!both && !no_status) return;
  add_finding(context, Severity::kWarning, step.range,
              both ? fmt::format("{} is ambiguous: {} uses TCP", quoted(value), step.step)
                   : quoted(value) + " sends the payload, not the device's status",
              both ? fmt::format("{}{}?", kGuess, right) : "write " + right, right);
}

/// Reports the steps of an event that have no line. If that is only step 0 and the others go up to
/// the Count, "index" reports it.
void check_empty_steps(CheckContext& context, const NamedKeys& keys) {
  const std::int32_t step_count = keys.event->step_count;
  std::vector<std::int32_t> empty;
  for (std::int32_t index = 0; index < step_count; ++index) {
    if (keys.steps.count(static_cast<std::uint32_t>(index)) == 0) empty.push_back(index);
  }
  const bool from_one = keys.steps.count(static_cast<std::uint32_t>(step_count)) > 0;
  if (empty.empty() || is_generic_events(keys) ||
      (from_one && empty.size() == 1 && empty[0] == 0)) {
    return;
  }
  const auto is_positive = [&](std::uint32_t at) {
    return to_int32(entry_at(context, at).value) > 0;
  };
  const auto count = std::find_if(keys.counts.begin(), keys.counts.end(), is_positive);
  add_finding(context, Severity::kError, value_range(context, *count),
              fmt::format("{} has {} without lines, the first is step {}: nothing is sent",
                          shown(keys.name), counted(empty.size(), "step"), empty.front()),
              "write a smaller Count, or the lines of each step");
}

void check_broadcast(CheckContext& context, const StepValue& step) {
  const std::string_view value = step.entry.value;
  if (is_broadcast(value)) {
    add_finding(context, Severity::kError, step.range,
                step.step + " sends nothing: the daemon does not broadcast",
                "write the address of one device, and give each other device a step of its own");
  } else if (value.substr(value.rfind('.')) == ".255") {
    add_finding(context, Severity::kNote, step.range,
                quoted(value) + " is often a broadcast address: the daemon does not broadcast",
                "write the address of one device, unless this is the address of a device");
  }
}

void check_address_value(CheckContext& context, const StepValue& step) {
  const std::string value(step.entry.value);
  if (is_address(value)) {
    check_broadcast(context, step);
    return;
  }
  const std::string_view inner = without_quotes(value);
  const std::string host(inner.substr(0, inner.find_first_of(":/")));
  const std::string_view rest = inner.substr(host.size());
  std::string hint =
      "write four numbers from 0 to 255 such as 10.0.0.5: host names are not resolved";
  if (is_address(host)) {
    hint = rest.empty() ? "write " + host : fmt::format("{}{}?", kGuess, host);
    if (rest.substr(0, 1) == ":" && is_digits(rest.substr(1))) {
      hint = fmt::format("{}{}, and {}{}{}={}?", kGuess, host, shown(step.entry.name), kPortField,
                         step.entry.index, rest.substr(1));
    }
  }
  add_finding(context, Severity::kError, step.range,
              fmt::format("{} is not a valid IPv4 address: {} goes to 0.0.0.0, the device itself",
                          quoted(value), step.step),
              hint,
              is_address(host) && rest.substr(0, 1) != ":" ? std::optional(host) : std::nullopt);
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
    add_finding(context, Severity::kWarning, value_range(context, ip),
                step.text + " sends to the device itself",
                "write the address of another device, or 127.0.0.1 if it is meant");
  });
}

}  // namespace kovo::check
