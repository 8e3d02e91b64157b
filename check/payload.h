// What a step sends, and to where.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/event_rules.h"
#include "core/templates.h"

namespace kovo::check {

/// Returns "UDP" or "TCP"; "" when nothing is sent.
const char* transport_name(const std::optional<Sender>& sender);

/// Returns "payload", "status" or "nothing".
const char* sent_name(const std::optional<Sender>& sender);

/// One placeholder of a payload, as the daemon finds it.
struct Placeholder {
  std::size_t at;         // of its first brace
  std::string_view name;  // between the braces
};
std::vector<Placeholder> placeholders(std::string_view payload);

/// Returns the position after the last placeholder: what follows it is literal text.
std::size_t literal_end(const std::vector<Placeholder>& found);

/// What is known of the values of placeholders.
struct KnownValues {
  TemplateValues values;
  bool whole_status = false;  // a name that is not in the status has no value
  bool clock = false;         // the time of sending
};

/// Returns the values of a device's whole status, or of none; the clock at its shortest, and not
/// known.
KnownValues known_values(const StatusVars* status);

struct FilledPayload {
  std::string text;
  bool is_complete;  // the values of all placeholders are known
};

/// Fills in the known values of a payload; an unknown one remains a placeholder. Adds to `known`
/// while it runs, and restores it.
FilledPayload filled(std::string_view payload, KnownValues& known);

/// Returns the bytes of a payload that are sent: at most 1023, up to its first NUL.
std::string_view sent_part(std::string_view payload);

/// Returns whether a text is a dotted IPv4 address: everything else goes to 0.0.0.0.
bool is_address(const std::string& text);

/// Returns whether this is the address to which the daemon cannot send.
bool is_broadcast(std::string_view address);

/// Returns the port to which the daemon sends for a text.
int sent_port(std::string_view text);

/// Returns the port of the daemon itself to which a step sends, as "tcp:2700"; "" for other steps.
std::string daemon_port(const CompiledStep& step);

/// Reads lines name=value, as /tmp/kovo_var.txt has them, or lines name:value, as the status
/// service answers; the first line decides which. Lines may end in CR, LF or both. Ignores what is
/// beyond kMaxStatusVars or kMaxStatusBytes, as the daemon does, and a prompt on the first line.
/// Returns "", or what is wrong: also fewer lines than kMinStatusVars.
std::string parse_status(std::string_view text, StatusVars& status);

}  // namespace kovo::check
