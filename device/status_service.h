// The status service of the device, simulated on 127.0.0.1:50003.
#pragma once

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "device/sockets.h"

namespace kovo::device {

enum class StatusMode {
  kAnswerAndClose,
  kAnswerAndHold,  // one answer per connection
  kSilent,         // accepts, never answers, holds
  kCloseAtOnce,    // accepts and closes without an answer
  kEndless,        // repeats the answer as fast as it can until the peer goes
};

struct StatusService {
  StatusService() = default;
  ~StatusService();

  std::mutex mutex;  // guards the next three
  StatusMode mode = StatusMode::kAnswerAndClose;
  std::string answer;
  std::vector<std::string> requests;

  BoundSocket listener;
  Descriptor stop;
  std::thread thread;
};

/// Six plausible values, each as "key:value" ended by a carriage return.
std::string default_status_answer();

/// Serves any number of connections at once until stopped; false when the port is taken.
bool start_status_service(StatusService& service, StatusMode mode, std::string answer);

/// Closes all its connections. It can be started again.
void stop_status_service(StatusService& service);

/// Changes how requests are answered from now on; connections being held stay as they are.
void set_status(StatusService& service, StatusMode mode, std::string answer);

/// All requests so far, in order, those of connections that were closed at once too; "" when the
/// client sent none in time.
std::vector<std::string> requests(StatusService& service);

}  // namespace kovo::device
