// Minimal programs for tasks of the daemon, to compare it with: baseline TASK PORT [NUMBER...]
// Datagrams are sent to 127.0.0.1:PORT.
#include <arpa/inet.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

namespace {

sockaddr_in loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

void send_datagram(int port) {
  const sockaddr_in address = loopback(port);
  const int fd = socket(AF_INET, SOCK_DGRAM, 0);
  sendto(fd, "A", 1, 0, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  close(fd);
}

void sleep_ms(int ms) {
  const timespec time{ms / 1000, ms % 1000 * 1'000'000L};
  nanosleep(&time, nullptr);
}

/// Sends a datagram at each offset in milliseconds: one thread each, with the daemon's stack size.
void send_at(int port, const std::vector<int>& offsets) {
  std::vector<std::pair<int, int>> steps;
  for (const int offset : offsets) steps.emplace_back(offset, port);
  std::vector<pthread_t> threads(steps.size());
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 64 << 10);
  const auto body = [](void* argument) -> void* {
    const auto& [offset, to] = *static_cast<std::pair<int, int>*>(argument);
    sleep_ms(offset);
    send_datagram(to);
    return nullptr;
  };
  for (std::size_t i = 0; i < steps.size(); ++i) {
    pthread_create(&threads[i], &attributes, body, &steps[i]);
  }
  for (const pthread_t thread : threads) pthread_join(thread, nullptr);
}

/// Queries the status service `count` times with the daemon's shell command.
void query(int count) {
  for (int i = 0; i < count; ++i) {
    std::FILE* const pipe = popen(
        "printf 'getStatus\\r' | timeout 2 nc 127.0.0.1 50003 2>/dev/null | tr '\\r' '\\n'", "re");
    char buffer[4096];
    if (pipe == nullptr || std::fread(buffer, 1, sizeof buffer, pipe) == 0) std::exit(1);
    pclose(pipe);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::string task = argc < 3 ? "" : argv[1];
  const int port = argc < 3 ? 0 : std::atoi(argv[2]);
  std::vector<int> numbers;
  for (int i = 3; i < argc; ++i) numbers.push_back(std::atoi(argv[i]));
  if (task == "send-at") {
    send_at(port, numbers);
  } else if (task == "query" && numbers.size() == 1) {
    query(numbers[0]);
  } else {
    return 2;
  }
  return 0;
}
