// What a typed line is meant for.
#pragma once

#include <string>
#include <string_view>

#include "definitions/event_definition.h"

namespace kovo::device {

/// What to tell the daemon, and what is wrong with the line.
struct Typed {
  std::string channel;  // "tcp:2700", "udp:2727", "tcp:2727" or "udp:2728"; "" when told nothing
  std::string message;
  std::string complaint;  // "" when nothing is
};

/// The line may name its channel in front, as in "udp:2728 mute". Otherwise a text with "::" is a
/// message of port 2727, names of events and commands such as __TEST__:Door go to port 2700, and
/// name=value or a playlist to port 2728.
Typed read_typed(const EventList& events, std::string_view line);

constexpr char kTypingHelp[] =
    "Type one of these; Ctrl-D ends:\n"
    "  doorState                   raises the event of that name\n"
    "  doorState=open              the same; the value goes to the event log\n"
    "  __TEST__:Door               runs the event Door itself, at once\n"
    "  e_param_set::MY_IP::1.2.3.4 a variable changes; so all messages of port 2727\n"
    "  CUR_HDCP=1                  a status line; so sysName=Lobby and local:news.m3u\n"
    "  udp:2728 mute               a text to that port: tcp:2700, udp:2727, tcp:2727\n"
    "  help                        this, and the events\n";

}  // namespace kovo::device
