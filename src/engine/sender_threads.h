// The short-lived threads that wait a step's delay and send it, one per slot of the event queue.
#pragma once

#include <string>

#include "definitions/event_compiler.h"
#include "engine/event_queue.h"

namespace kovo {

/// The four thread bodies; their argument is the SenderTask of their slot. Each copies the slot's
/// address and payload, waits the delay, sends and sets the slot's state word to kSlotFinished.
/// The status senders send what the status service answers, or the text of the failure.
void* udpclient_thread(void* task);
void* tcpclient_thread(void* task);
void* udpclient_getStatus_thread(void* task);
void* tcpclient_getStatus_thread(void* task);

/// Takes a free slot and returns its index, -1 when none is free. Joins the finished threads that
/// it passes; a slot freed by that is not taken in the same scan. Called only by the queue worker.
int get_new_ret_thread(EventQueue& queue, const std::string& event_name);

/// Starts the sender of one step, if its protocol names one and a slot is free. A thread that
/// cannot be started gives its slot back and is logged. Called only by the queue worker.
void start_sender(EventQueue& queue, const std::string& event_name, const SubCommand& command);

}  // namespace kovo
