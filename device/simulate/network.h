// The network around the device: every address that its events send to is made local and listened
// on.
#pragma once

#include <deque>
#include <list>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "definitions/event_definition.h"
#include "device/simulate/screen.h"
#include "device/sinks.h"

namespace kovo::device {

struct Destination {
  bool by_udp = false;
  std::string ip;  // dotted
  int port = 0;
};

bool operator==(const Destination& a, const Destination& b);

/// As in "udp 10.0.0.7:6000".
std::string text_of(const Destination& where);

/// Where the daemon sends a step; nothing when no word of its protocol names a sender. What is no
/// address reaches the device itself, and a port is taken modulo 65536.
std::optional<Destination> destination_of(const SubCommand& step);

/// One receiver, and what of it has been shown.
struct Receiver {
  Destination where;
  UdpSink udp;
  TcpSink tcp;
  std::size_t shown = 0;
  std::size_t seen_before = 0;    // arrivals before the last thing told
  std::deque<Arrival> unclaimed;  // shown, but not yet taken for a step of an event
};

struct Network {
  std::list<Receiver> receivers;
  std::set<std::string> addresses;  // made local
  bool multicast = false;           // has a route
};

/// Listens at a destination, once. The reason when that is impossible, otherwise "".
std::string listen_at(Network& network, const Destination& where);

/// The receiver of a destination; null when nobody listens there.
Receiver* find_receiver(Network& network, const Destination& where);

/// Adds a line for each new arrival.
void collect_arrivals(Network& network, std::vector<Line>& news);

/// From now on arrived_since counts anew.
void forget_arrivals(Network& network);

/// True when something that begins with `start` has arrived there since forget_arrivals.
bool arrived_since(Network& network, const Destination& where, const std::string& start);

}  // namespace kovo::device
