// Rules about steps: which sender, where to, and what leaves.
#include <algorithm>

#include "check/keys.h"
#include "check/payload.h"
#include "check/rules.h"
#include "definitions/event_compiler.h"
#include "frame/text.h"

namespace kovo::check {
namespace {

/// One value of a step.
struct StepValue {
  const DefinitionEntry& entry;
  Place place;       // of the value
  std::string step;  // "step 0 of Door"
  std::string line;  // "DoorData0=41"
};

std::string step_text(std::uint32_t index, std::string_view name) {
  return "step " + std::to_string(index) + " of " + shown(name);
}

bool contains_nocase(const std::string& text, const char* word) {
  return lower_ascii(text).find(lower_ascii(word)) != std::string::npos;
}

/// The protocol in the letter case that names a sender: "UDP", "TCPStatus"; "" for other texts.
std::string right_protocol(const std::string& text) {
  const bool tcp = contains_nocase(text, "TCP");
  if (!tcp && !contains_nocase(text, "UDP")) return {};
  return std::string(tcp ? "TCP" : "UDP") + (contains_nocase(text, "Status") ? "Status" : "");
}

void check_protocol(Checking& checking, const StepValue& step) {
  const std::string& value = step.entry.value;
  const std::string right = right_protocol(value);
  if (sender_of(value).sends == Sends::kNothing) {
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
  const std::string& value = step.entry.value;
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
  const std::string inner(trimmed(value));
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

std::string leaving(std::string_view payload) {
  constexpr std::size_t kMostShown = 16;
  const std::string_view sent = sent_part(payload);
  if (sent.empty()) return "nothing would leave";
  return "the bytes " + as_hex(sent.substr(0, kMostShown), " ") +
         (sent.size() > kMostShown ? " ... would leave" : " would leave");
}

bool is_hex_digit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}

bool is_printable(char c) {
  return c >= ' ' && c <= '~';
}

/// Pairs of digits with something between them: "50 4F", "0x50,0x4F", "50:4F".
std::string without_separators(std::string_view text) {
  std::string digits;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (std::string_view(" \t,:;-").find(text[at]) != std::string_view::npos) continue;
    if (text[at] == '0' && (text.substr(at + 1, 1) == "x" || text.substr(at + 1, 1) == "X")) {
      ++at;
      continue;
    }
    if (!is_hex_digit(text[at])) return {};
    digits += text[at];
  }
  return digits.size() % 2 == 0 ? digits : std::string();
}

/// False when the value is no hexadecimal text, which has been told then.
bool check_digits(Checking& checking, const StepValue& step) {
  const std::string& value = step.entry.value;
  const auto wrong = std::find_if_not(value.begin(), value.end(), is_hex_digit);
  const std::string leaves = "as it is, " + leaving(s_hex_to_ascii(value));
  if (wrong == value.end()) {
    if (value.size() % 2 == 0) return true;
    tell(checking, Rule::kData, step.place,
         key_text(step.entry) + " has an odd number of digits (" + std::to_string(value.size()) +
             ")",
         "write two digits for each byte; " + leaves);
    return false;
  }
  const auto at = static_cast<std::size_t>(wrong - value.begin());
  std::string digits = without_separators(value);
  if (digits.empty() && std::all_of(value.begin(), value.end(), is_printable)) {
    digits = as_hex(value);
  }
  Finding& finding = tell(
      checking, Rule::kData, part_of(step.place, at, 1),
      key_text(step.entry) + " is not hexadecimal: " + quoted({&value[at], 1}) + " is no digit",
      "write two hexadecimal digits for each byte; " + leaves);
  if (digits.empty()) return false;
  finding.hint = "write " + key_text(step.entry) + "=" + digits + "; " + leaves;
  finding.mend = digits;
  finding.place = step.place;
  return false;
}

/// The place of payload bytes, two digits each.
Place bytes_place(const StepValue& step, std::size_t at, std::size_t length) {
  return part_of(step.place, 2 * at, 2 * length);
}

void check_payload(Checking& checking, const StepValue& step, const std::string& payload) {
  const std::string expanded = expand_templates(checking.known, payload);
  const std::size_t zero = expanded.find('\0');
  if (zero != std::string::npos) {
    const std::size_t at = payload.find('\0');
    tell(checking, Rule::kPayload, at == std::string::npos ? step.place : bytes_place(step, at, 1),
         "the payload of " + step.step + " ends at its zero byte: " + counted(zero, "byte") +
             (zero == 1 ? " leaves" : " leave"),
         "a payload cannot hold a zero byte: write it without");
  } else if (expanded.size() > kMaxCommand) {
    tell(checking, Rule::kPayload, step.place,
         "the payload of " + step.step + " has " + std::to_string(expanded.size()) +
             " bytes and is cut at 1023",
         "send the rest in another step");
  }
}

void check_placeholder(Checking& checking, const StepValue& step, const Placeholder& placeholder) {
  const std::string name(placeholder.name);
  const std::string text = quoted("{{" + name + "}}");
  const Place place = bytes_place(step, placeholder.at + 2, name.size());
  const bool status_known = checking.options.status != nullptr;
  const std::string_view inner = trimmed(name);
  if (inner.empty()) {
    tell(checking, Rule::kPlaceholder, bytes_place(step, placeholder.at, name.size() + 4),
         text + " names nothing and disappears", "write a name of the device's status");
    return;
  }
  if (inner.size() < name.size()) {
    tell(checking, Rule::kPlaceholder, place, text + " disappears: the blanks count as its name",
         "write {{" + shown(inner) + "}}")
        .mend = as_hex(inner);
    return;
  }
  if (is_clock_word(name) || checking.in_status.count(name) > 0) return;
  const std::string near = nearest_name(checking.placeholders, name);
  if (near == name || (near.empty() && !status_known)) return;
  Finding& finding =
      tell(checking, Rule::kPlaceholder, place, text + " disappears: the status has no such name",
           near.empty() ? "write a name of the device's status"
                        : "did you mean {{" + shown(near) + "}}?");
  if (!near.empty()) finding.mend = as_hex(near);
  if (status_known) return;
  finding.severity = Severity::kNote;
  finding.text = text + " disappears unless the device's status has that very name";
}

void check_placeholders(Checking& checking, const StepValue& step, const std::string& payload) {
  const std::vector<Placeholder> found = placeholders(payload);
  for (const Placeholder& placeholder : found) check_placeholder(checking, step, placeholder);
  const std::size_t open = payload.find("{{", literal_end(found));
  if (open == std::string::npos) return;
  tell(checking, Rule::kPlaceholder, bytes_place(step, open, payload.size() - open),
       quoted(payload.substr(open)) + " is sent as it is: its \"}}\" is missing",
       "write }} (hexadecimal 7D7D) behind the name");
}

void check_data(Checking& checking, const StepValue& step) {
  if (!check_digits(checking, step)) return;
  const std::string payload = s_hex_to_ascii(step.entry.value);
  check_placeholders(checking, step, payload);
  check_payload(checking, step, payload);
}

void check_value(Checking& checking, std::uint32_t position) {
  const DefinitionEntry& entry = checking.source.entries[position];
  std::uint32_t index = 0;
  if (entry.parts != 2 || !is_known(entry) || !read_index(entry, index)) return;
  const StepValue step{entry, value_place(checking, position), step_text(index, entry.name),
                       key_text(entry) + "=" + shown(entry.value)};
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
  const Sends sends = sender_of(step.command->protocol).sends;
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
  if (step.data == kNoEntry && sends == Sends::kPayload) {
    tell(checking, Rule::kData, place, text + " has no Data and sends an empty payload",
         "add " + name + "Data" + number + "= and the payload in hexadecimal")
        .severity = Severity::kWarning;
  }
  if (step.data != kNoEntry && sends == Sends::kStatus) {
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
      if (step.command == nullptr) break;
      check_missing(checking, keys, index, step);
    }
  }
}

}  // namespace kovo::check
