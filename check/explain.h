// What the events of a definition file will do.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "check/payload.h"
#include "check/source.h"
#include "check/triggers.h"

namespace kovo::check {

struct ExplainedStep {
  std::int32_t index = 0;
  std::int64_t offset_ms = 0;  // from the start of the event; below 0 it is sent at once too
  std::optional<Sender> sender;
  std::string why_not;      // why the step sends nothing; "" when it sends something
  std::string protocol;     // as in the file
  std::string address;      // to which the daemon sends
  int port = 0;             // likewise
  std::string payload;      // with what is known filled in; empty when the status is sent
  bool is_complete = true;  // false: a placeholder's value is not known, nor are the bytes
  bool truncated = false;   // to 1023 bytes
  bool ends_at_zero = false;
};

struct ExplainedEvent {
  std::string name;
  std::string trigger;
  std::int32_t line = 0;               // of its Count
  std::vector<std::string> raised_by;  // empty when only a program that names it raises it
  std::string shadowed_by;             // the event that its trigger raises in its place, or ""
  std::int32_t delay_s = 0;
  bool never_runs = false;  // its delay is as long as an event lives
  bool once_per_boot = false;
  bool display_period = false;  // skipped in the first 120 s after boot
  std::int32_t step_count = 0;
  std::vector<ExplainedStep> steps;  // those with lines, in the order in which they are sent
};

/// Returns the events of a file as the daemon compiles them, in its order, with known values filled
/// in.
std::vector<ExplainedEvent> explain(const Source& source, unsigned products,
                                    const KnownValues& known);

}  // namespace kovo::check
