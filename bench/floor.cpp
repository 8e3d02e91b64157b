#include "bench/floor.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <thread>
#include <unordered_map>

#include "device/device.h"
#include "device/sockets.h"

namespace kovo::bench {

using device::BoundSocket;
using device::Descriptor;

namespace {

constexpr char kStatusQuery[] =
    "printf 'getStatus\\r' | timeout 2 nc 127.0.0.1 50003 2>/dev/null | tr '\\r' '\\n'";

bool query_once() {
  std::FILE* const pipe = popen(kStatusQuery, "re");
  char buffer[4096];
  return pipe != nullptr && std::fread(buffer, 1, sizeof buffer, pipe) > 0 && pclose(pipe) == 0;
}

void wait_readable(int fd) {
  pollfd readable{fd, POLLIN, 0};
  poll(&readable, 1, -1);
}

void append_record(const std::string& text) {
  const Descriptor file(open("/var/tmp/log/floor.log", O_WRONLY | O_APPEND | O_CREAT, 0644));
  if (write(file.fd, text.data(), text.size()) < 0) std::perror("floor.log");
}

double receive(int fd, std::size_t count) {
  std::unordered_map<std::string, std::string> store;
  timespec used{};
  for (std::size_t taken = 0; taken < count; ++taken) {
    char buffer[4096];
    wait_readable(fd);
    const ssize_t size = recv(fd, buffer, sizeof buffer, 0);
    const std::string message(buffer, size < 0 ? 0 : static_cast<std::size_t>(size));
    append_record(message);
    store[message.substr(0, message.rfind(':'))] = message;
  }
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) * 1e6 + static_cast<double>(used.tv_nsec) / 1e3;
}

struct Step {
  Milliseconds offset;
  int port;
};

void* send_step(void* argument) {
  const Step& step = *static_cast<const Step*>(argument);
  std::this_thread::sleep_for(step.offset);
  device::send_udp(step.port, "A");
  return nullptr;
}

}  // namespace

int start_relay(int target) {
  BoundSocket bound = device::bind_tcp("127.0.0.1", 0);
  const int port = bound.port;
  std::thread([listener = std::move(bound.socket), target] {
    while (true) {
      wait_readable(listener.fd);
      const Descriptor connection = device::accept_waiting(listener.fd);
      wait_readable(connection.fd);
      std::string text;
      device::read_waiting(connection.fd, text);
      device::send_udp(target, text);
    }
  }).detach();
  return port;
}

bool query_status(int times) {
  const pid_t child = fork();
  if (child == 0) {
    setsid();
    for (; times > 0 && query_once(); --times) continue;
    _exit(times);
  }
  int status = -1;
  return waitpid(child, &status, 0) == child && status == 0;
}

double cpu_of_receiving(const std::vector<std::string>& messages) {
  const BoundSocket bound = device::bind_udp("127.0.0.1", 0);
  double used = 0;
  std::thread receiver([&] { used = receive(bound.socket.fd, messages.size()); });
  for (const std::string& message : messages) device::send_udp(bound.port, message);
  receiver.join();
  return used;
}

void send_at(const std::vector<int>& offsets_ms, int port) {
  std::vector<Step> steps;
  for (const int offset : offsets_ms) steps.push_back({Milliseconds(offset), port});
  std::vector<pthread_t> threads(steps.size());
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 64 << 10);  // as the daemon's senders have
  for (std::size_t i = 0; i < steps.size(); ++i) {
    pthread_create(&threads[i], &attributes, send_step, &steps[i]);
  }
  for (const pthread_t thread : threads) pthread_join(thread, nullptr);
}

void tell_clients(int count, int port) {
  for (int client = 0; client < count; ++client) {
    device::send_udp(port, "A");
    std::this_thread::sleep_for(Milliseconds(10));
  }
}

void be_bare() {
  for (int blocked = 0; blocked < 5; ++blocked) std::thread(pause).detach();
  const auto pass = [](int period_ms) { std::this_thread::sleep_for(Milliseconds(period_ms)); };
  for (const int period_ms : {200, 250, 250}) {
    std::thread([=] {
      while (true) pass(period_ms);
    }).detach();
  }
  while (true) pass(250);
}

}  // namespace kovo::bench
