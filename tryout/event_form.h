// The lines of an event as JSON, which the page's forms show and change, and back.
#pragma once

#include <string>
#include <string_view>

#include "check/json.h"
#include "check/source.h"

namespace kovo::tryout {

/// Returns the values of an event's lines: "name", "count", "delay", "trigger", and "steps" by
/// index with "protocol", "address", "port", "data", "delay" and "payload", the typed text. A line
/// that is missing has no value; the trigger is the effective one. "others" are the lines that the
/// form does not know, without the event's name. "error" says why the event cannot be edited
/// without a loss, "" when it can.
check::Json read_form(const check::Source& source, std::string_view event);

/// Returns the lines of an event: those of the form, then the others.
std::string lines_of(const check::Json& form);

}  // namespace kovo::tryout
