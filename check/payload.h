// What a step sends, and where to.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "definitions/templates.h"

namespace kovo::check {

enum class Sends { kNothing, kPayload, kStatus };

/// What the protocol text of a step chooses.
struct Sender {
  Sends sends;
  const char* transport;  // "UDP" or "TCP"; "" when nothing is sent
};
Sender sender_of(std::string_view protocol);

/// One placeholder of a payload, cut out as the daemon does.
struct Placeholder {
  std::size_t at;         // of its first brace
  std::string_view name;  // between the braces, as it stands
};
std::vector<Placeholder> placeholders(std::string_view payload);

/// The position behind the last placeholder: what follows it is literal text.
std::size_t literal_end(const std::vector<Placeholder>& found);

/// True for date, time and uptime in any letter case.
bool is_clock_word(std::string_view name);

/// What is known of the values that placeholders stand for.
struct KnownValues {
  TemplateValues values;
  bool whole_status = false;  // a name that is not in the status stands for nothing
  bool clock = false;         // the moment of sending
};

/// The values of a device's whole status, or of none; the clock at its shortest, and not known.
KnownValues known_values(const StatusVars* status);

/// Returns whether the values of all placeholders of a payload are known.
bool all_known(std::string_view payload, const KnownValues& known);

/// A payload with the known values filled in; what is not known stays as its placeholder. The
/// values come back as they were.
std::string filled(std::string_view payload, KnownValues& known);

/// The bytes of a payload that leave: at most 1023, up to a zero byte.
std::string_view sent_part(std::string_view payload);

/// True for a dotted IPv4 address: everything else goes to 0.0.0.0.
bool is_address(const std::string& text);

/// The port that a number ends up at.
int sent_port(std::string_view text);

}  // namespace kovo::check
