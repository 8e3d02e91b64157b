// A step typed by hand, as lines of a definition file.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "check/findings.h"
#include "check/source.h"

namespace kovo::tryout {

/// What was typed, as text.
struct NewStep {
  std::string event;
  std::string trigger;  // for an event that the file does not have yet
  std::string protocol;
  std::string address;
  std::string port;
  std::string delay;    // milliseconds behind the step before it
  std::string payload;  // with \r, \n, \t, \xNN, \\ and placeholders
  bool sends_status = false;
};

/// Bytes of a file to put others in the place of; a length of 0 inserts.
struct Edit {
  check::Place place;
  std::string text;
};

/// The edits that add a step to an event of the file, or a new event behind its end: the Count is
/// raised, and the step gets the first index that no line has. Empty, with the reason, when it
/// cannot be added.
std::vector<Edit> add_step(const check::Source& source, const NewStep& step, std::string& error);

/// The bytes of a typed payload. A backslash before anything else stands for itself.
std::string typed_bytes(std::string_view text);

}  // namespace kovo::tryout
