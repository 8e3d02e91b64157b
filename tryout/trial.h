// A device to try a definition file on: what it remembers from one message to the next, and what
// follows from each. The rules and their numbers are the daemon's.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "check/explain.h"
#include "definitions/setting_rules.h"
#include "variables/change_rules.h"

namespace kovo::tryout {

/// When something happens.
struct Moment {
  std::int64_t ms = 0;       // on a steady clock
  std::int64_t local_s = 0;  // local wall clock, as seconds since 1970
};

/// A message under way keeps one of the daemon's senders busy.
struct Flight {
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
  std::vector<Flight> flights;
};

/// A device as it is after its start.
TrialDevice started_device(Variant variant, std::int64_t booted_ms);

std::int32_t uptime_s(const TrialDevice& device, const Moment& now);

/// What becomes of one step: "" when it is sent, or why not.
struct StepOutcome {
  std::int64_t leaves_ms = 0;
  bool sent = false;
  std::string why;
};

/// What becomes of one raised event.
struct Run {
  std::int64_t raised_ms = 0;
  std::int64_t starts_ms = 0;
  bool runs = false;
  std::string why;                 // when it does not
  std::vector<StepOutcome> steps;  // those of the explained event, in its order
};

enum class RaisedBy { kName, kDevice };

/// Raises an event. By its name on tcp:2700 it is dropped at once while events are switched off;
/// raised by the device, its steps are.
Run raise_event(TrialDevice& device, const check::ExplainedEvent& event, RaisedBy by,
                const Moment& now);

/// What follows from a message: the triggers that it raises, and why it does not raise others.
struct Reaction {
  std::vector<std::string> triggers;
  std::vector<std::string> notes;
};

/// Takes a message to port 2727: a setting, or a change of a variable.
Reaction take_message(TrialDevice& device, std::string_view message, const Moment& now);

/// Takes a status line to port 2728.
Reaction take_status_line(TrialDevice& device, std::string_view line, const Moment& now);

}  // namespace kovo::tryout
