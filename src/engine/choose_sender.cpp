#include "engine/choose_sender.h"

#include "frame/text.h"

namespace kovo {

SendKind choose_sender(std::string_view protocol) {
  const bool by_status = contains(protocol, "Status");
  if (contains(protocol, "TCP")) return by_status ? SendKind::kTcpStatus : SendKind::kTcp;
  if (contains(protocol, "UDP")) return by_status ? SendKind::kUdpStatus : SendKind::kUdp;
  return SendKind::kNone;
}

}  // namespace kovo
