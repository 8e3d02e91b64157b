// The definition file that the simulated device runs with, read by the daemon's own rules.
#pragma once

#include <filesystem>
#include <string>

#include "definitions/event_definition.h"

namespace kovo::device {

struct Definitions {
  std::string path;  // the user's file
  std::filesystem::file_time_type changed = std::filesystem::file_time_type::min();
  EventList events;
};

/// Puts the file on the device, as its definition file and its test definition file, if it was not
/// there or has changed. True when it did; a file that cannot be read changes nothing.
bool take_definitions(Definitions& definitions);

/// The names that raise the events, as in "PowerOn, doorState".
std::string known_names(const EventList& events);

/// The steps of an event, as in "UDP 10.0.0.7:6000, TCP 10.0.0.6:23 +100 ms".
std::string steps_of(const EventDefinition& event);

}  // namespace kovo::device
