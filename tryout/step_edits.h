// Edits of the events of a definition file. They change no byte of other events.
#pragma once

#include <string>
#include <vector>

#include "check/findings.h"
#include "check/json.h"
#include "check/source.h"

namespace kovo::tryout {

/// A definition file; `source` refers to `text`.
struct Definition {
  std::string text;
  check::Source source;
};

/// Edits in their order, without overlaps; or `error`, which says why there are none.
struct Edits {
  std::vector<check::Edit> list;
  std::string error;
};

/// Changes the form of an event and replaces its lines by those of the form. `change` has the name
/// "event" and "do", which is one of:
/// add_step     adds "step"; a new event gets "with", too
/// change_event changes the values of "with"
/// change_step  changes the values of "with" in the step "at"
/// move_step    exchanges the step "at" with the next one
/// delete_step  deletes the step "at"
/// delete_event
Edits edit_event(const Definition& definition, const check::Json& change);

}  // namespace kovo::tryout
