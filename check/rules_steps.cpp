// Rules about steps: which sender, where to, and what is missing.
#include <algorithm>

#include "check/keys.h"
#include "check/payload.h"
#include "check/rules.h"
#include "frame/text.h"

namespace kovo::check {
namespace {

bool contains_nocase(std::string_view text, const char* word) {
  return lower_ascii(text).find(lower_ascii(word)) != std::string::npos;
}

/// The protocol in the letter case that names a sender: "UDP", "TCPStatus"; "" for other texts.
std::string right_protocol(std::string_view text) {
  const bool tcp = contains_nocase(text, "TCP");
  if (!tcp && !contains_nocase(text, "UDP")) return {};
  return std::string(tcp ? "TCP" : "UDP") + (contains_nocase(text, "Status") ? "Status" : "");
}

void check_protocol(Checking& checking, const StepValue& step) {
  const std::string_view value = step.entry.value;
  const std::string right = right_protocol(value);
  if (!choose_sender(value)) {
    Finding& finding =
        tell(checking, Rule::kProtocol, step.place,
             step.step + " sends nothing: " + quoted(value) + " names no sender",
             "write UDP or TCP, or UDPStatus or TCPStatus to send the device's status");
    if (right.empty()) return;
    finding.hint = right.size() == 3 ? "write UDP or TCP in capitals" : "write " + right;
    finding.mend = right;
    return;
  }
  const bool both =
      value.find("TCP") != std::string::npos && value.find("UDP") != std::string::npos;
  const bool no_status = right.size() > 3 && value.find("Status") == std::string::npos;
  if (!both && !no_status) return;
  Finding& finding =
      tell(checking, Rule::kProtocol, step.place,
           both ? quoted(value) + " names both senders: " + step.step + " goes by TCP"
                : quoted(value) + " sends the payload, not the device's status",
           "write " + right);
  finding.severity = Severity::kWarning;
  finding.mend = right;
}

void check_address(Checking& checking, const StepValue& step) {
  const std::string value(step.entry.value);
  if (value.size() > kMaxShortText) {
    tell(checking, Rule::kAddress, step.place,
         step.line + " has more than 63 characters and is cut there",
         "write four numbers from 0 to 255 such as 10.0.0.5");
    return;
  }
  if (is_address(value)) return;
  Finding& finding = tell(
      checking, Rule::kAddress, step.place,
      quoted(value) + " is no IPv4 address: " + step.step + " goes to 0.0.0.0, the device itself",
      "write four numbers such as 10.0.0.5: names are not looked up");
  std::string inner(trimmed(value));
  inner.erase(std::remove(inner.begin(), inner.end(), '"'), inner.end());
  const std::string host = inner.substr(0, inner.find(':'));
  if (!is_address(host)) return;
  finding.hint = "write " + host;
  finding.mend = host;
  if (host.size() < inner.size()) finding.hint += ", and the port in a Port line";
}

void check_port(Checking& checking, const StepValue& step) {
  const ReadNumber number = read_number(step.entry.value);
  const std::string goes = ": " + step.step + " goes to port ";
  const std::string port = std::to_string(sent_port(step.entry.value));
  if (!number.has_digits) {
    tell(checking, Rule::kPort, step.place, quoted(step.entry.value) + " is no number" + goes + "0",
         "write a number from 1 to 65535");
  } else if (number.value < 1 || number.value > 65535) {
    tell(checking, Rule::kPort, step.place,
         step.line + " is no port" + (port == std::to_string(number.value) ? "" : goes + port),
         "write a number from 1 to 65535");
  } else if (!number.rest.empty()) {
    tell(checking, Rule::kPort, step.place, step.line + " is read as " + port, "write " + port)
        .mend = port;
  }
}

void check_value(Checking& checking, std::uint32_t position) {
  const DefinitionEntry& entry = checking.source.entries[position];
  if (entry.parts != 2 || !is_known(entry)) return;
  const StepValue step = step_value(checking, position);
  if (entry.field == "Protocol") check_protocol(checking, step);
  if (entry.field == "IP") check_address(checking, step);
  if (entry.field == "Port") check_port(checking, step);
  if (entry.field == "Data") check_data(checking, step);
}

void check_missing(Checking& checking, const NamedKeys& keys, std::uint32_t index,
                   const StepEntries& step) {
  const std::string name = shown(keys.name);
  const std::string number = std::to_string(index);
  const Place place = key_place(checking, step.first);
  const std::optional<Sender> sender = choose_sender(step.command->protocol);
  const std::string text = step_text(index, keys.name);
  if (step.protocol == kNoEntry) {
    const std::string key = name + "Protocol" + number;
    tell(checking, Rule::kProtocol, place, text + " sends nothing: " + key + " is missing",
         "add " + key + "=UDP or " + key + "=TCP");
  }
  if (step.ip == kNoEntry) {
    tell(checking, Rule::kAddress, place,
         text + " has no address and goes to 0.0.0.0, the device itself",
         "add " + name + "IP" + number + "= and an address such as 10.0.0.5");
  }
  if (step.port == kNoEntry) {
    tell(checking, Rule::kPort, place, text + " has no port and goes to port 0",
         "add " + name + "Port" + number + "= and a number from 1 to 65535");
  }
  if (step.data == kNoEntry && sender && !sender->status) {
    tell(checking, Rule::kData, place, text + " has no Data and sends an empty payload",
         "add " + name + "Data" + number + "= and the payload in hexadecimal")
        .severity = Severity::kWarning;
  }
  if (step.data != kNoEntry && sender && sender->status) {
    tell(checking, Rule::kData, key_place(checking, step.data),
         key_text(checking.source.entries[step.data]) +
             " is not sent: the step sends the device's status",
         "remove it, or write a Protocol without Status")
        .severity = Severity::kWarning;
  }
}

/// Steps of which no line says anything. Indexes from 1 are told by another rule.
void check_empty_steps(Checking& checking, const NamedKeys& keys) {
  std::vector<std::int32_t> empty;
  for (std::int32_t index = 0; index < keys.step_count; ++index) {
    if (keys.steps.count(static_cast<std::uint32_t>(index)) == 0) empty.push_back(index);
  }
  const bool from_one = keys.steps.count(static_cast<std::uint32_t>(keys.step_count)) > 0;
  if (empty.empty() || is_generic_events(keys) ||
      (from_one && empty.size() == 1 && empty[0] == 0)) {
    return;
  }
  const std::string name = shown(keys.name);
  const std::string first = std::to_string(empty.front());
  const std::string text = empty.size() == 1 ? "step " + first + " of " + name + " has no line"
                                             : std::to_string(empty.size()) + " steps of " + name +
                                                   " have no line (the first is " + first + ")";
  const bool at_end = empty.front() + static_cast<std::int32_t>(empty.size()) == keys.step_count;
  tell(checking, Rule::kProtocol, value_place(checking, keys.counts.back()),
       text + ": nothing is sent",
       at_end && empty.front() > 0
           ? "write " + name + "Count=" + first + ", or the lines of the other steps"
           : "write " + name + "Protocol" + first + " and the other lines of the step");
}

}  // namespace

void check_steps(Checking& checking) {
  for (std::uint32_t at = 0; at < checking.source.entries.size(); ++at) check_value(checking, at);
  for (const std::uint32_t position : checking.model.in_event_order) {
    const NamedKeys& keys = checking.model.names[position];
    if (checking.cut_names.count(std::string(keys.name)) > 0) continue;  // its lines went elsewhere
    check_empty_steps(checking, keys);
    for (const auto& [index, step] : keys.steps) {
      if (!step.command) break;
      check_missing(checking, keys, index, step);
    }
  }
}

}  // namespace kovo::check
