// The simulated device at work: what it is told, what leaves it, and what its logs say.
#pragma once

#include <string>
#include <vector>

#include "device/device.h"
#include "device/simulate/definitions.h"
#include "device/simulate/log_tail.h"
#include "device/simulate/network.h"
#include "device/simulate/screen.h"
#include "device/simulate/time_line.h"
#include "device/status_service.h"

namespace kovo::device {

struct Show {
  Screen screen = open_screen();
  Definitions definitions;
  StatusService service;
  Network network;
  std::vector<LogTail> tails = {{"/var/tmp/log/kovo.log", "kovo.log", false, 0, ""},
                                {"/var/tmp/log/kovoevent.log", "kovoevent.log", true, 0, ""}};
  TimeLines time_lines;
  Daemon daemon;
  Clock::time_point busy_until;  // what was told last has raised its events by then
};

/// Makes a device with that definition file and starts the daemon on it. False, with a message,
/// when that fails.
bool start_show(Show& show, const std::string& definition_path);

/// Shows what is new.
void show_news(Show& show);

/// Tells the daemon something; a channel is as in "udp:2727".
void tell(Show& show, const std::string& channel, const std::string& message);

/// Takes the definition file again when it was edited.
void follow_file(Show& show);

/// Lists the events with their steps.
void list_events(Show& show);

}  // namespace kovo::device
