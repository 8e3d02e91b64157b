// A simulated device to try a definition file on: what it remembers between messages, and what
// follows from each message. The rules and their numbers are the daemon's.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "check/explain.h"
#include "core/change_rules.h"
#include "core/setting_rules.h"

namespace kovo::tryout {

/// When something happens.
struct Moment {
  std::int64_t ms = 0;       // on a steady clock
  std::int64_t local_s = 0;  // local wall clock, as seconds since 1970
};

/// A sender of the daemon is busy from the start of an event until its message is sent.
struct BusySender {
  std::int64_t from_ms;
  std::int64_t until_ms;
};

struct TrialDevice {
  ChangeMemory changes;
  Settings settings;
  std::map<std::string, std::string> variables;  // by their names in lower case
  std::int64_t booted_ms = 0;
  bool events_enabled = true;
  bool power_on_done = false;
  std::vector<BusySender> busy_senders;
};

/// Returns a device as it is after its start.
TrialDevice started_device(Variant variant, std::int64_t booted_ms);

std::int32_t uptime_s(const TrialDevice& device, const Moment& now);

struct StepOutcome {
  std::int64_t leaves_ms = 0;
  std::string why_not;  // "" when it is sent
};

struct Run {
  std::int64_t raised_ms = 0;
  std::int64_t starts_ms = 0;
  std::string why_not;             // "" when the event runs
  std::vector<StepOutcome> steps;  // those of the event, in its order; none when it does not run
};

enum class RaisedBy { kName, kDevice };

/// Raises an event. While events are disabled, one raised by its name on tcp:2700 is dropped, and
/// one raised by the device runs without its steps.
Run raise_event(TrialDevice& device, const check::ExplainedEvent& event, RaisedBy by,
                const Moment& now);

/// The triggers that a message raises, and why it does not raise others.
struct Reaction {
  std::vector<std::string> triggers;
  std::vector<std::string> notes;
};

/// Processes a text to port 2700: the triggers that it raises, or a command for events.
Reaction process_trigger_text(TrialDevice& device, std::string_view text);

/// Processes a message to port 2727: a setting, or a change of a variable.
Reaction process_message(TrialDevice& device, std::string_view message, const Moment& now);

/// Processes a status line to port 2728.
Reaction process_status_line(TrialDevice& device, std::string_view line, const Moment& now);

}  // namespace kovo::tryout
