#include "engine/sender_threads.h"

#include <cstring>

#include "engine/choose_sender.h"
#include "engine/senders.h"
#include "frame/globals.h"
#include "frame/host.h"
#include "frame/log.h"
#include "frame/worker.h"

namespace kovo {
namespace {

enum class Payload { kData, kStatus };  // the step's own, or the status service's answer

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

/// The slot is copied before the wait. A text up to its first zero byte is what goes out.
void send_step(const SenderTask& task, const char* routine, Payload kind, Transport transport) {
  const char* slot_ip = task.queue->buffers->sender_ip[task.slot];
  const char* slot_data = task.queue->buffers->sender_data[task.slot];
  if (transport == Transport::kUdp) print_task(routine, task, slot_ip, slot_data);
  if (transport == Transport::kTcp && kind == Payload::kStatus && debug != 0) {
    print_stdout("[%s:%d] sleep for=%lld\n", routine, __LINE__,
                 static_cast<long long>(task.delay_ns));
  }
  const std::string ip(slot_ip);
  std::string payload(slot_data);
  if (kind == Payload::kData) print_task(routine, task, ip.c_str(), payload.c_str());
  sleep_ns(task.delay_ns);
  if (kind == Payload::kStatus) payload = ask_status_service(kStatusRequest);
  if (transport == Transport::kUdp) {
    udpclient(ip, task.port, payload);
    return;
  }
  std::string reply;
  tcpclient(ip, task.port, payload, reply);
}

/// The one body of the four threads.
void* run_sender(void* argument, const char* routine, Payload kind, Transport transport) {
  const SenderTask& task = *static_cast<const SenderTask*>(argument);
  guarded(routine, [&] { send_step(task, routine, kind, transport); });
  *task.state = kSlotFinished;
  return nullptr;
}

/// A status sender leaves the slot's data as it is.
void fill_slot(EventQueue& queue, int slot, const SubCommand& command, int port) {
  SenderBuffers& buffers = *queue.buffers;
  copy_text(buffers.sender_ip[slot], sizeof buffers.sender_ip[slot], command.ip);
  if (!contains(command.protocol, "Status")) {
    copy_text(buffers.sender_data[slot], sizeof buffers.sender_data[slot], command.data);
  }
  buffers.sender_tasks[slot] = {&queue, slot, port, command.delay_from_exec_ns,
                                &queue.sender_state[slot]};
}

using SenderBody = void* (*)(void* task);

// In the order of SendKind.
constexpr SenderBody kSenderBodies[] = {nullptr, udpclient_thread, tcpclient_thread,
                                        udpclient_getStatus_thread, tcpclient_getStatus_thread};

}  // namespace

void* udpclient_thread(void* task) {
  return run_sender(task, "udpclient_thread", Payload::kData, Transport::kUdp);
}

void* tcpclient_thread(void* task) {
  return run_sender(task, "tcpclient_thread", Payload::kData, Transport::kTcp);
}

void* udpclient_getStatus_thread(void* task) {
  return run_sender(task, "udpclient_getStatus_thread", Payload::kStatus, Transport::kUdp);
}

void* tcpclient_getStatus_thread(void* task) {
  return run_sender(task, "tcpclient_getStatus_thread", Payload::kStatus, Transport::kTcp);
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
  fill_slot(queue, slot, command, port);
  const int error = start_thread(queue.sender_threads[slot], kSmallStack,
                                 kSenderBodies[static_cast<std::size_t>(kind)],
                                 &queue.buffers->sender_tasks[slot]);
  if (error == 0) {
    taken.state = nullptr;
    return;
  }
  log_main("[%s:%d] Error: start sender for %s: %s\n", "exec_event", __LINE__, event_name.c_str(),
           error_text(error).c_str());
}

}  // namespace kovo
