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

void print_task(const char* routine, const SenderTask& task, const char* ip, const char* data) {
  LOG_DEBUG(routine, "%s data=[%d]%s, sleep for=%lld\n", ip, static_cast<int>(std::strlen(data)),
            data, static_cast<long long>(task.delay_ns));
}

/// The slot is copied before the wait. A text up to its first zero byte is what goes out.
void send_step(const SenderTask& task, const char* routine, Payload kind, Transport transport) {
  const char* slot_ip = task.queue->buffers->sender_ip[task.slot];
  const char* slot_data = task.queue->buffers->sender_data[task.slot];
  if (transport == Transport::kUdp) print_task(routine, task, slot_ip, slot_data);
  if (transport == Transport::kTcp && kind == Payload::kStatus) {
    LOG_DEBUG(routine, "sleep for=%lld\n", static_cast<long long>(task.delay_ns));
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
  catch_and_log(routine, [&] { send_step(task, routine, kind, transport); });
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
      LOG_DEBUG("get_new_ret_thread", "get thread id=%d\n", slot);
      state = kSlotTaken;
      return slot;
    }
    if (state == kSlotFinished) {
      pthread_join(queue.sender_threads[slot], nullptr);
      state = kSlotFree;
      LOG_DEBUG("get_new_ret_thread", "free thread id=%d\n", slot);
    }
  }
  LOG_DEBUG("get_new_ret_thread", "Error: skip %s, event thead over %d\n", event_name.c_str(),
            kSenderSlots);
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
  if (kind == SendKind::kTcp) {
    LOG_DEBUG("exec_event", "ip=%s, port=%s data[%d]=\"%s\"\n", command.ip.c_str(),
              command.port.c_str(), static_cast<int>(command.data.size()), command.data.c_str());
  }
  fill_slot(queue, slot, command, port);
  const int error = start_thread("kovo-send", queue.sender_threads[slot], kSmallStack,
                                 kSenderBodies[static_cast<std::size_t>(kind)],
                                 &queue.buffers->sender_tasks[slot]);
  if (error == 0) return;
  queue.sender_state[slot] = kSlotFree;
  LOG_MAIN("exec_event", "Error: start sender for %s: %s\n", event_name.c_str(),
           error_text(error).c_str());
}

}  // namespace kovo
