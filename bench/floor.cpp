#include "bench/floor.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <unordered_map>

#include "device/device.h"

namespace kovo::bench {

using device::BoundSocket;
using device::Descriptor;

namespace {

void relay(const Relay& relay, int target) {
  pollfd polled[] = {{relay.stop.fd, POLLIN, 0}, {relay.listener.socket.fd, POLLIN, 0}};
  while (poll(polled, 2, -1) >= 0 && polled[0].revents == 0) {
    const Descriptor connection = device::accept_waiting(relay.listener.socket.fd);
    pollfd readable{connection.fd, POLLIN, 0};
    poll(&readable, 1, 1000);
    std::string text;
    if (device::read_waiting(connection.fd, text) == device::ReadResult::kBytes) send_byte(target);
  }
}

void append_record(const std::string& text) {
  const Descriptor file(open("/var/tmp/log/floor.log", O_WRONLY | O_APPEND | O_CREAT, 0644));
  if (write(file.fd, text.data(), text.size()) < 0) std::perror("floor.log");
}

double thread_cpu_us() {
  timespec used{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) * 1e6 + static_cast<double>(used.tv_nsec) / 1e3;
}

}  // namespace

void send_byte(int port) {
  device::send_udp(port, "A");
}

Relay::~Relay() {
  device::raise_signal(stop);
  if (thread.joinable()) thread.join();
}

std::unique_ptr<Relay> start_relay(int target) {
  auto made = std::make_unique<Relay>();
  made->listener = device::bind_tcp("127.0.0.1", 0);
  made->port = made->listener.port;
  made->stop = device::make_signal();
  made->thread = std::thread([&server = *made, target] { relay(server, target); });
  return made;
}

std::size_t query_status() {
  std::FILE* const pipe = popen(
      "printf 'getStatus\\r' | timeout 2 nc 127.0.0.1 50003 2>/dev/null | tr '\\r' '\\n'", "re");
  char buffer[4096];
  const std::size_t size = pipe == nullptr ? 0 : std::fread(buffer, 1, sizeof buffer, pipe);
  if (pipe != nullptr) pclose(pipe);
  return size;
}

double cpu_of_receiving(int count, const std::string& text) {
  const BoundSocket bound = device::bind_udp("127.0.0.1", 0);
  double used = 0;
  std::thread receiver([&] {
    std::unordered_map<std::string, std::string> store;
    const double before = thread_cpu_us();
    for (int taken = 0; taken < count;) {
      pollfd readable{bound.socket.fd, POLLIN, 0};
      if (poll(&readable, 1, 10000) == 0) break;
      char buffer[4096];
      const ssize_t size = recv(bound.socket.fd, buffer, sizeof buffer, 0);
      if (size <= 0) continue;
      const std::string message(buffer, static_cast<std::size_t>(size));
      append_record(message);
      store[message.substr(0, message.rfind(':'))] = message;
      ++taken;
    }
    used = thread_cpu_us() - before;
  });
  for (int sent = 0; sent < count; ++sent) device::send_udp(bound.port, text);
  receiver.join();
  return used;
}

void send_at(const std::vector<Milliseconds>& offsets, int port) {
  std::vector<std::thread> threads;
  for (const Milliseconds offset : offsets) {
    threads.emplace_back([offset, port] {
      std::this_thread::sleep_for(offset);
      send_byte(port);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

void tell_clients(int count, int port) {
  for (int client = 0; client < count; ++client) {
    send_byte(port);
    std::this_thread::sleep_for(Milliseconds(10));
  }
}

void be_bare() {
  const auto pass_every = [](int ms) {
    while (true) std::this_thread::sleep_for(Milliseconds(ms));
  };
  for (int blocked = 0; blocked < 4; ++blocked) std::thread([] { pause(); }).detach();
  for (const int ms : {200, 250, 250}) std::thread(pass_every, ms).detach();
  pass_every(250);
  std::abort();  // not reached
}

}  // namespace kovo::bench
