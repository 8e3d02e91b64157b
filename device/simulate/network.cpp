#include "device/simulate/network.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdint>

#include "engine/choose_sender.h"
#include "frame/text.h"

namespace kovo::device {
namespace {

constexpr std::size_t kMostUnclaimed = 1000;

const ArrivalLog& log_of(const Receiver& receiver) {
  return receiver.where.by_udp ? receiver.udp.log : receiver.tcp.log;
}

int first_byte(const std::string& ip) {
  return to_int32(ip);
}

/// The daemon's own ports and the status service, which is there already.
bool is_taken(const Destination& where) {
  const std::set<int> udp = {2727, 2728};
  const std::set<int> tcp = {2700, 2727, 50003};
  return first_byte(where.ip) == 127 && (where.by_udp ? udp : tcp).count(where.port) != 0;
}

bool is_multicast(const std::string& ip) {
  return first_byte(ip) >= 224 && first_byte(ip) < 240;
}

bool make_local(Network& network, const std::string& ip) {
  if (first_byte(ip) == 127 || network.addresses.count(ip) != 0) return true;
  if (is_multicast(ip)) {
    network.multicast = network.multicast || route_multicast("eth0peer");
    return network.multicast;
  }
  if (!give_address("eth0peer", ip + "/32")) return false;
  network.addresses.insert(ip);
  return true;
}

bool start(Receiver& receiver) {
  const Destination& where = receiver.where;
  return where.by_udp
             ? start_udp_sink(receiver.udp, where.ip, where.port)
             : start_tcp_sink(receiver.tcp, where.ip, where.port, TcpSinkMode::kReply, "OK\r\n");
}

}  // namespace

bool operator==(const Destination& a, const Destination& b) {
  return a.by_udp == b.by_udp && a.ip == b.ip && a.port == b.port;
}

std::string text_of(const Destination& where) {
  return (where.by_udp ? "udp " : "tcp ") + where.ip + ":" + std::to_string(where.port);
}

std::optional<Destination> destination_of(const SubCommand& step) {
  const SendKind kind = choose_sender(step.protocol);
  if (kind == SendKind::kNone) return std::nullopt;
  Destination where;
  where.by_udp = kind == SendKind::kUdp || kind == SendKind::kUdpStatus;
  in_addr address{};
  const bool numeric = inet_pton(AF_INET, step.ip.c_str(), &address) == 1;
  where.ip = numeric && address.s_addr != 0 ? step.ip : "127.0.0.1";
  where.port = static_cast<std::uint16_t>(to_int32(step.port));
  return where;
}

std::string listen_at(Network& network, const Destination& where) {
  if (find_receiver(network, where) != nullptr || is_taken(where)) return "";
  if (where.port == 0) return "nothing receives at port 0";
  if (first_byte(where.ip) >= 240) return "the daemon cannot send there";
  if (!make_local(network, where.ip)) return "cannot make the address local";
  Receiver& receiver = network.receivers.emplace_back();
  receiver.where = where;
  if (start(receiver)) return "";
  network.receivers.pop_back();
  return "cannot listen there";
}

Receiver* find_receiver(Network& network, const Destination& where) {
  const auto found = std::find_if(network.receivers.begin(), network.receivers.end(),
                                  [&](const Receiver& one) { return one.where == where; });
  return found == network.receivers.end() ? nullptr : &*found;
}

void collect_arrivals(Network& network, std::vector<Line>& news) {
  for (Receiver& receiver : network.receivers) {
    const ArrivalLog& log = log_of(receiver);
    const std::lock_guard<std::mutex> held(log.mutex);
    for (; receiver.shown < log.arrivals.size(); ++receiver.shown) {
      const Arrival& arrival = log.arrivals[receiver.shown];
      news.push_back({arrival.at, Tone::kLeft, "-> " + text_of(receiver.where),
                      "\"" + printable(arrival.bytes) + "\""});
      receiver.unclaimed.push_back(arrival);
    }
    while (receiver.unclaimed.size() > kMostUnclaimed) receiver.unclaimed.pop_front();
  }
}

void forget_arrivals(Network& network) {
  for (Receiver& receiver : network.receivers) {
    const ArrivalLog& log = log_of(receiver);
    const std::lock_guard<std::mutex> held(log.mutex);
    receiver.seen_before = log.arrivals.size();
  }
}

bool arrived_since(Network& network, const Destination& where, const std::string& start) {
  const Receiver* const receiver = find_receiver(network, where);
  if (receiver == nullptr) return false;
  const ArrivalLog& log = log_of(*receiver);
  const std::lock_guard<std::mutex> held(log.mutex);
  return std::any_of(
      log.arrivals.begin() + static_cast<std::ptrdiff_t>(receiver->seen_before), log.arrivals.end(),
      [&](const Arrival& arrival) { return arrival.bytes.compare(0, start.size(), start) == 0; });
}

}  // namespace kovo::device
