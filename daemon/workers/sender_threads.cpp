// A step is sent by a thread of its own, since its delay, a slow destination or a silent status
// service must not hold up another step. There is no thread pool and no queue of steps: 512 slots
// bound the threads, and a step without a free slot is lost. Only the queue worker takes and frees
// slots, so that no lock is needed; a sender uses its slot until it sets kFinished. Invariant:
// every thread that was started is joined before its slot is used again.
#include "daemon/workers/sender_threads.h"

#include <cstdio>
#include <cstring>

#include "core/event_rules.h"
#include "daemon/state/globals.h"
#include "daemon/system/host.h"
#include "daemon/system/log.h"
#include "daemon/system/output.h"
#include "daemon/system/senders.h"
#include "daemon/system/worker.h"

namespace kovo {
namespace {

void print_task(const char* routine, const SenderTask& task, const char* ip, const char* data) {
  LOG_DEBUG(routine, "%s data=[%d]%s, sleep for=%lld\n", ip, static_cast<int>(std::strlen(data)),
            data, static_cast<long long>(task.delay_ns));
}

/// Waits the step's delay and sends it. Texts end at their first NUL.
void send_step(const SenderTask& task, const char* routine, Sender sender) {
  const char* slot_ip = task.queue->buffers->sender_ip[task.slot];
  const char* slot_data = task.queue->buffers->sender_data[task.slot];
  if (sender.transport == Transport::kUdp) print_task(routine, task, slot_ip, slot_data);
  if (sender.transport == Transport::kTcp && sender.status) {
    LOG_DEBUG(routine, "sleep for=%lld\n", static_cast<long long>(task.delay_ns));
  }
  const std::string ip(slot_ip);
  std::string payload(slot_data);
  if (!sender.status) print_task(routine, task, ip.c_str(), payload.c_str());
  sleep_ns(task.delay_ns);
  if (sender.status) payload = ask_status_service(kStatusRequest);
  if (sender.transport == Transport::kUdp) {
    udpclient(ip, task.port, payload);
    return;
  }
  std::string reply;
  tcpclient(ip, task.port, payload, reply);
}

void* run_sender(void* argument, const char* routine, Sender sender) {
  const SenderTask& task = *static_cast<const SenderTask*>(argument);
  catch_and_log(routine, [&] { send_step(task, routine, sender); });
  task.queue->sender_state[task.slot] = SlotState::kFinished;
  return nullptr;
}

// The four thread bodies.

void* udpclient_thread(void* task) {
  return run_sender(task, "udpclient_thread", {Transport::kUdp, false});
}

void* tcpclient_thread(void* task) {
  return run_sender(task, "tcpclient_thread", {Transport::kTcp, false});
}

void* udpclient_getStatus_thread(void* task) {
  return run_sender(task, "udpclient_getStatus_thread", {Transport::kUdp, true});
}

void* tcpclient_getStatus_thread(void* task) {
  return run_sender(task, "tcpclient_getStatus_thread", {Transport::kTcp, true});
}

auto body_of(Sender sender) {
  if (sender.transport == Transport::kTcp) {
    return sender.status ? tcpclient_getStatus_thread : tcpclient_thread;
  }
  return sender.status ? udpclient_getStatus_thread : udpclient_thread;
}

/// Takes a free slot and returns its index, or -1 when none is free. Joins the finished threads on
/// its way; a slot that this frees is not taken in the same search.
int get_new_ret_thread(EventQueue& queue, const std::string& event_name) {
  for (int slot = 0; slot < kSenderSlots; ++slot) {
    std::atomic<SlotState>& state = queue.sender_state[slot];
    if (state == SlotState::kFree) {
      LOG_DEBUG("get_new_ret_thread", "get thread id=%d\n", slot);
      state = SlotState::kTaken;
      return slot;
    }
    if (state == SlotState::kFinished) {
      pthread_join(queue.sender_threads[slot], nullptr);
      state = SlotState::kFree;
      LOG_DEBUG("get_new_ret_thread", "free thread id=%d\n", slot);
    }
  }
  LOG_DEBUG("get_new_ret_thread", "Error: skip %s, event thead over %d\n", event_name.c_str(),
            kSenderSlots);
  return -1;
}

}  // namespace

void start_sender(EventQueue& queue, const std::string& event_name, const SubCommand& command) {
  const std::optional<Sender> sender = choose_sender(command.protocol);
  if (debug != 0 && contains(command.protocol, "Status")) {
    char text[32];
    std::snprintf(text, sizeof text, "[%s:%d]\n", "exec_event", __LINE__);
    print_text(text);
  }
  if (!sender) return;
  const int slot = get_new_ret_thread(queue, event_name);
  if (slot < 0) return;
  if (sender->transport == Transport::kTcp && !sender->status) {
    LOG_DEBUG("exec_event", "ip=%s, port=%s data[%d]=\"%s\"\n", command.ip.c_str(),
              command.port.c_str(), static_cast<int>(command.data.size()), command.data.c_str());
  }
  SenderBuffers& buffers = *queue.buffers;
  copy_text(buffers.sender_ip[slot], command.ip);
  if (!sender->status) copy_text(buffers.sender_data[slot], command.data);
  buffers.sender_tasks[slot] = {&queue, slot, to_int32(command.port), command.delay_from_exec_ns};
  const int error = start_thread("kovo-send", queue.sender_threads[slot], kSmallStack,
                                 body_of(*sender), &buffers.sender_tasks[slot]);
  if (error == 0) return;
  queue.sender_state[slot] = SlotState::kFree;
  LOG_MAIN("exec_event", "Error: start sender for %s: %s\n", event_name.c_str(), error_text(error));
}

}  // namespace kovo
