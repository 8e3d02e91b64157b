#include "frame/output.h"

#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>

#include "frame/host.h"
#include "frame/mutex.h"
#include "frame/worker.h"

namespace kovo {
namespace {

constexpr std::size_t kPiece = 4096;  // a pipe that is ready takes as much at once
constexpr std::int64_t kPauseMs = 5;  // records collect: waking up for each doubles its cost
constexpr std::int64_t kLongestWaitNs = 1'000'000'000;

// A ring, which starts again at its beginning when it is empty: only the pages that a burst needs
// are ever touched. Its bytes need no lock: the thread reads those that wait, the others write
// after them.
char ring[kOutputCapacity];
Mutex ring_lock;
std::size_t oldest GUARDED_BY(ring_lock) = 0;  // where the bytes that wait begin
std::size_t waiting GUARDED_BY(ring_lock) = 0;

bool has_thread = false;  // set before any other thread starts
sem_t work;               // posted when the ring is no longer empty, and at the end
std::atomic<bool> ending{false};
std::atomic<bool> flushed{false};

/// Returns the next bytes that wait, none when the ring is empty.
std::string_view next_piece() {
  const MutexLock held(ring_lock);
  return {ring + oldest, std::min({waiting, kOutputCapacity - oldest, kPiece})};
}

void remove_piece(std::size_t size) {
  const MutexLock held(ring_lock);
  oldest = (oldest + size) % kOutputCapacity;
  waiting -= size;
}

void* write_output(void*) {
  while (true) {
    const bool last = ending;  // read first: what was printed before it was set is in the ring
    for (std::string_view piece; !(piece = next_piece()).empty(); remove_piece(piece.size())) {
      // On a descriptor that another process has made non-blocking, the stream would lose what has
      // no room.
      pollfd room{STDOUT_FILENO, POLLOUT, 0};
      poll(&room, 1, -1);
      std::fwrite(piece.data(), 1, piece.size(), stdout);
    }
    if (last) {
      std::fflush(stdout);
      flushed = true;
    }
    sem_wait(&work);
    sleep_ms(kPauseMs);
  }
}

}  // namespace

void start_output() {
  sem_init(&work, 0, 0);
  pthread_t thread;
  has_thread = start_thread("kovo-stdout", thread, kSmallStack, write_output, nullptr) == 0;
}

void print_text(std::string_view text) {
  if (!has_thread) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    return;
  }
  const MutexLock held(ring_lock);
  if (text.size() > kOutputCapacity - waiting) return;
  if (waiting == 0) {
    oldest = 0;
    sem_post(&work);
  }
  for (const char byte : text) ring[(oldest + waiting++) % kOutputCapacity] = byte;
}

void flush_output() {
  if (!has_thread) {
    std::fflush(stdout);
    return;
  }
  ending = true;
  sem_post(&work);
  const std::int64_t end_ns = steady_ns() + kLongestWaitNs;
  while (!flushed && steady_ns() < end_ns) sleep_ms(10);
}

}  // namespace kovo
