// A step is sent by a thread of its own, since its delay, a slow destination or a silent status
// service must not hold up another step. There is no thread pool and no queue of steps: 512 slots
// bound the threads, and a step without a free slot is lost. A slot is a thread and its state; what
// is sent belongs to the thread. Only the queue worker takes and frees slots, so that no lock is
// needed. Invariant: every thread that was started is joined before its slot is used again.
#include "daemon/workers/sender_threads.h"

#include <cassert>
#include <memory>

#include "core/event_rules.h"
#include "core/text.h"
#include "daemon/system/host.h"
#include "daemon/system/log.h"
#include "daemon/system/output.h"
#include "daemon/system/senders.h"
#include "daemon/system/worker.h"

namespace kovo {
namespace {

/// A step to be sent. Its texts end at their first NUL.
struct SenderTask {
  std::string ip;
  std::string payload;  // "" for a status sender
  int port;
  std::int64_t delay_ns;
  Sender sender;
  const char* routine;  // for debug lines
  std::atomic<SlotState>* state;
};

const char* routine_of(Sender sender) {
  if (sender.transport == Transport::kTcp) {
    return sender.status ? "tcpclient_getStatus_thread" : "tcpclient_thread";
  }
  return sender.status ? "udpclient_getStatus_thread" : "udpclient_thread";
}

std::unique_ptr<SenderTask> make_task(const SubCommand& step, Sender sender) {
  auto task = std::make_unique<SenderTask>();
  task->ip = until_nul(truncated(step.ip, kMaxShortText));
  if (!sender.status) task->payload = until_nul(truncated(step.data, kMaxCommand));
  task->port = to_int32(step.port);
  task->delay_ns = step.delay_from_exec_ns;
  task->sender = sender;
  task->routine = routine_of(sender);
  return task;
}

void print_task(const SenderTask& task) {
  LOG_DEBUG(task.routine, "%s data=[%d]%s, sleep for=%lld\n", task.ip.c_str(),
            static_cast<int>(task.payload.size()), task.payload.c_str(),
            static_cast<long long>(task.delay_ns));
}

/// Waits the step's delay and sends it.
void send_step(SenderTask& task) {
  const bool udp = task.sender.transport == Transport::kUdp;
  const bool status = task.sender.status;
  if (!udp && status) {
    LOG_DEBUG(task.routine, "sleep for=%lld\n", static_cast<long long>(task.delay_ns));
  } else {
    print_task(task);
    if (udp && !status) print_task(task);  // has always been printed twice
  }
  sleep_ns(task.delay_ns);
  if (status) task.payload = ask_status_service(kStatusRequest);
  if (udp) {
    udpclient(task.ip, task.port, task.payload);
  } else {
    tcpclient(task.ip, task.port, task.payload);
  }
}

/// Thread body; owns the task.
void* run_sender(void* argument) {
  const std::unique_ptr<SenderTask> task(static_cast<SenderTask*>(argument));
  run_pass(task->routine, [&] { send_step(*task); });
  *task->state = SlotState::kFinished;
  return nullptr;
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
      [[maybe_unused]] const int error = pthread_join(queue.sender_threads[slot], nullptr);
      assert(error == 0);
      state = SlotState::kFree;
      LOG_DEBUG("get_new_ret_thread", "free thread id=%d\n", slot);
    }
  }
  LOG_DEBUG("get_new_ret_thread", "Error: skip %s, event thead over %d\n", event_name.c_str(),
            kSenderSlots);
  return -1;
}

}  // namespace

void start_sender(EventQueue& queue, const std::string& event_name, const SubCommand& step) {
  const std::optional<Sender> sender = choose_sender(step.protocol);
  if (debug != 0 && contains(step.protocol, "Status")) {
    // Has always had no text after its prefix.
    print_text("[exec_event:" + std::to_string(__LINE__) + "]\n");
  }
  if (!sender) return;
  // Before the slot is taken: without memory for the task, it would never be freed.
  std::unique_ptr<SenderTask> task = make_task(step, *sender);
  const int slot = get_new_ret_thread(queue, event_name);
  if (slot < 0) {
    ++queue.lost_steps.count;
    queue.last_lost = event_name;
    return;
  }
  if (sender->transport == Transport::kTcp && !sender->status) {
    LOG_DEBUG("exec_event", "ip=%s, port=%s data[%d]=\"%s\"\n", step.ip.c_str(), step.port.c_str(),
              static_cast<int>(step.data.size()), step.data.c_str());
  }
  task->state = &queue.sender_state[slot];
  const int error =
      start_thread("kovo-send", queue.sender_threads[slot], kSmallStack, run_sender, task.get());
  if (error == 0) {
    static_cast<void>(task.release());  // the thread owns it
    return;
  }
  queue.sender_state[slot] = SlotState::kFree;
  LOG_MAIN("exec_event", "Error: start sender for %s: %s\n", event_name.c_str(), error_text(error));
}

}  // namespace kovo
