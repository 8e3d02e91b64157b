#include "engine/sender_threads.h"

#include <cstring>

#include "engine/senders.h"
#include "frame/globals.h"
#include "frame/host.h"
#include "frame/log.h"
#include "frame/worker.h"

namespace kovo {
namespace {

using ThreadBody = void* (*)(void*);

constexpr char kStatusRequest[] = "getStatus";

/// Gives a taken slot back, unless its thread has started: out of memory, a log record may throw.
struct SlotGuard {
  explicit SlotGuard(std::atomic<std::int32_t>* taken) : state(taken) {}
  ~SlotGuard() {
    if (state != nullptr) *state = kSlotFree;
  }
  SlotGuard(const SlotGuard&) = delete;
  SlotGuard& operator=(const SlotGuard&) = delete;

  std::atomic<std::int32_t>* state;
};

void print_task(const char* routine, const SenderTask& task, const char* ip, const char* data) {
  if (debug == 0) return;
  print_stdout("[%s:%d] %s data=[%d]%s, sleep for=%lld\n", routine, __LINE__, ip,
               static_cast<int>(std::strlen(data)), data, static_cast<long long>(task.delay_ns));
}

std::string ask_status() {
  std::string answer;
  tcpclient(kStatusServiceAddress, kStatusServicePort, kStatusRequest, answer);
  return answer;
}

/// What the four bodies share: the slot is copied before the wait. A text up to its first zero byte
/// is what goes out.
void run_sender(const SenderTask& task, const char* routine, SendKind kind) {
  const char* slot_ip = task.queue->sender_ip[task.slot];
  const char* slot_data = task.queue->sender_data[task.slot];
  const bool by_status = kind == SendKind::kUdpStatus || kind == SendKind::kTcpStatus;
  if (kind == SendKind::kUdp || kind == SendKind::kUdpStatus) {
    print_task(routine, task, slot_ip, slot_data);
  }
  if (kind == SendKind::kTcpStatus && debug != 0) {
    print_stdout("[%s:%d] sleep for=%lld\n", routine, __LINE__,
                 static_cast<long long>(task.delay_ns));
  }
  const std::string ip(slot_ip);
  std::string payload(slot_data);
  if (!by_status) print_task(routine, task, ip.c_str(), payload.c_str());
  sleep_ns(task.delay_ns);
  if (by_status) payload = ask_status();
  if (kind == SendKind::kUdp || kind == SendKind::kUdpStatus) {
    udpclient(ip, task.port, payload);
    return;
  }
  std::string reply;
  tcpclient(ip, task.port, payload, reply);
}

void* sender_body(void* argument, const char* routine, SendKind kind) {
  const SenderTask& task = *static_cast<const SenderTask*>(argument);
  guarded(routine, [&] { run_sender(task, routine, kind); });
  *task.state = kSlotFinished;
  return nullptr;
}

ThreadBody body_of(SendKind kind) {
  switch (kind) {
    case SendKind::kUdp:
      return udpclient_thread;
    case SendKind::kTcp:
      return tcpclient_thread;
    case SendKind::kUdpStatus:
      return udpclient_getStatus_thread;
    case SendKind::kTcpStatus:
      return tcpclient_getStatus_thread;
    case SendKind::kNone:
      break;
  }
  return nullptr;
}

bool contains(std::string_view text, std::string_view word) {
  return text.find(word) != std::string_view::npos;
}

void fill_slot(EventQueue& queue, int slot, const SubCommand& command, int port, SendKind kind) {
  const bool by_status = kind == SendKind::kUdpStatus || kind == SendKind::kTcpStatus;
  copy_text(queue.sender_ip[slot], sizeof queue.sender_ip[slot], command.ip);
  if (!by_status) copy_text(queue.sender_data[slot], sizeof queue.sender_data[slot], command.data);
  queue.sender_tasks[slot] = {&queue, slot, port, command.delay_from_exec_ns,
                              &queue.sender_state[slot]};
}

}  // namespace

void* udpclient_thread(void* task) {
  return sender_body(task, "udpclient_thread", SendKind::kUdp);
}

void* tcpclient_thread(void* task) {
  return sender_body(task, "tcpclient_thread", SendKind::kTcp);
}

void* udpclient_getStatus_thread(void* task) {
  return sender_body(task, "udpclient_getStatus_thread", SendKind::kUdpStatus);
}

void* tcpclient_getStatus_thread(void* task) {
  return sender_body(task, "tcpclient_getStatus_thread", SendKind::kTcpStatus);
}

SendKind choose_sender(std::string_view protocol) {
  const bool by_status = contains(protocol, "Status");
  if (contains(protocol, "TCP")) return by_status ? SendKind::kTcpStatus : SendKind::kTcp;
  if (contains(protocol, "UDP")) return by_status ? SendKind::kUdpStatus : SendKind::kUdp;
  return SendKind::kNone;
}

int get_new_ret_thread(EventQueue& queue, const std::string& event_name) {
  for (int slot = 0; slot < kSenderSlots; ++slot) {
    std::atomic<std::int32_t>& state = queue.sender_state[slot];
    if (state == kSlotFree) {
      if (debug != 0) {
        print_stdout("[%s:%d] get thread id=%d\n", "get_new_ret_thread", __LINE__, slot);
      }
      state = kSlotTaken;
      return slot;
    }
    if (state == kSlotFinished) {
      pthread_join(queue.sender_threads[slot], nullptr);
      state = kSlotFree;
      if (debug != 0) {
        print_stdout("[%s:%d] free thread id=%d\n", "get_new_ret_thread", __LINE__, slot);
      }
    }
  }
  if (debug != 0) {
    print_stdout("[%s:%d] Error: skip %s, event thead over %d\n", "get_new_ret_thread", __LINE__,
                 event_name.c_str(), kSenderSlots);
  }
  return -1;
}

void start_sender(EventQueue& queue, const std::string& event_name, const SubCommand& command) {
  const SendKind kind = choose_sender(command.protocol);
  if (debug != 0 && contains(command.protocol, "Status")) {
    print_stdout("[%s:%d]\n", "exec_event", __LINE__);
  }
  if (kind == SendKind::kNone) return;
  const int port = to_int32(command.port);
  const int slot = get_new_ret_thread(queue, event_name);
  if (slot < 0) return;
  SlotGuard taken{&queue.sender_state[slot]};
  if (debug != 0 && kind == SendKind::kTcp) {
    print_stdout("[%s:%d] ip=%s, port=%s data[%d]=\"%s\"\n", "exec_event", __LINE__,
                 command.ip.c_str(), command.port.c_str(), static_cast<int>(command.data.size()),
                 command.data.c_str());
  }
  fill_slot(queue, slot, command, port, kind);
  const int error = start_thread(queue.sender_threads[slot], kSenderStack, body_of(kind),
                                 &queue.sender_tasks[slot]);
  if (error == 0) {
    taken.state = nullptr;
    return;
  }
  log_main("[%s:%d] Error: start sender for %s: %s\n", "exec_event", __LINE__, event_name.c_str(),
           error_text(error).c_str());
}

}  // namespace kovo
