// Which sender a step's protocol text names.
#pragma once

#include <string_view>

namespace kovo {

enum class SendKind { kNone, kUdp, kTcp, kUdpStatus, kTcpStatus };

/// Chooses the sender by the words "Status", "TCP" and "UDP" in a protocol text, in that letter
/// case; TCP goes before UDP.
SendKind choose_sender(std::string_view protocol);

}  // namespace kovo
