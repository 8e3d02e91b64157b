// Edits of the steps and events of a definition file. They change no byte of other lines.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "check/findings.h"
#include "check/rules.h"
#include "check/source.h"

namespace kovo::tryout {

/// A definition file; `source` refers to `text`.
struct Definition {
  std::string text;
  check::Source source;
};

/// Bytes of the file to replace; a length of 0 inserts.
struct Edit {
  std::size_t offset;
  std::size_t length;
  std::string text;
};

/// Edits in the order of their offsets, without overlaps; or `error`, which says why there are
/// none.
struct Edits {
  std::vector<Edit> list;
  std::string error;
};

/// A step to be added, as it was typed.
struct NewStep {
  std::string event;
  std::string trigger;      // the event's, if it is new; "" for its name
  std::string event_delay;  // seconds, if it is new; "" for none
  std::string protocol;     // UDP or TCP
  std::string address;
  std::string port;
  std::string delay;    // milliseconds after the previous step; "" for 0
  std::string payload;  // bytes
  bool sends_status = false;
};

/// Adds a step to an event, or a new event at the end of the file. The step gets the index
/// after the last one, and Count is adapted.
Edits add_step(const Definition& definition, const NewStep& step);

/// Replaces the hexadecimal text of a step's payload.
Edits set_payload(const Definition& definition, std::string_view event, std::uint32_t index,
                  std::string_view bytes);

/// Exchanges a step with the next one: lines, delays included, and indexes.
Edits move_step_down(const Definition& definition, std::string_view event, std::uint32_t index);

/// Deletes a step, and adapts Count and the indexes of the steps after it.
Edits delete_step(const Definition& definition, std::string_view event, std::uint32_t index);

/// Deletes all lines of an event.
Edits delete_event(const Definition& definition, std::string_view event);

/// Returns the errors and warnings that the inserted text would cause.
check::Findings check_edits(const Definition& definition, const Edits& edits,
                            const check::CheckOptions& options);

}  // namespace kovo::tryout
