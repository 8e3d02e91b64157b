// The network as every program of the project sees it: ports, time-outs and how a message travels.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kovo {

enum class Transport : std::int32_t { kUdp = 0, kTcp = 1 };

// The daemon's ports, on the loopback address.
constexpr std::uint16_t kCommandPort = 2700;   // TCP: triggers, commands for events
constexpr std::uint16_t kVariablePort = 2727;  // UDP and TCP: variables, remote commands, settings
constexpr std::uint16_t kStatusPort = 2728;    // UDP: status lines

// The device's status service.
constexpr char kStatusServiceAddress[] = "127.0.0.1";
constexpr int kStatusServicePort = 50003;
constexpr char kStatusRequest[] = "getStatus";
constexpr std::size_t kMinStatusVars = 6;  // an answer of fewer lines is not used

// How long a TCP sender waits, for the connection and for each transfer.
constexpr int kReplyTimeoutMs = 2000;    // of a step, which reads a reply
constexpr int kNoReplyTimeoutMs = 1500;  // of a notification or a reply

constexpr int kSenderPauseMs = 10;  // after a datagram, a notification or a reply

}  // namespace kovo
