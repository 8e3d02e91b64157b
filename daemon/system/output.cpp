// A ring buffer between the threads that print and the one that writes. Printing copies the text
// under ring_lock; writing does not hold the lock. The ring starts at its beginning whenever it is
// empty, so that only the pages that a burst needs are ever touched. Invariant: `waiting` bytes
// from `oldest` on belong to the writing thread, all others to the threads that print.
#include "daemon/system/output.h"

#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cassert>
#include <cstdint>
#include <cstdio>

#include "daemon/system/host.h"
#include "daemon/system/mutex.h"
#include "daemon/system/worker.h"

namespace kovo {
namespace {

constexpr std::size_t kPiece = 4096;  // what a pipe accepts once poll reports it writable
constexpr std::int64_t kPauseMs = 5;  // collects records: waking up for each doubles its cost
constexpr std::int64_t kLongestWaitNs = 1'000'000'000;

char ring[kOutputCapacity];
Mutex ring_lock;
std::size_t oldest GUARDED_BY(ring_lock) = 0;  // index of the first byte that waits
std::size_t waiting GUARDED_BY(ring_lock) = 0;

bool has_thread = false;  // set before any other thread starts
sem_t work;               // posted when the empty ring gets bytes, and by flush_output
std::atomic<bool> flush_requested{false};
std::atomic<bool> flushed{false};

std::string_view next_piece() {
  const MutexLock held(ring_lock);
  return {ring + oldest, std::min({waiting, kOutputCapacity - oldest, kPiece})};
}

void remove_piece(std::size_t size) {
  const MutexLock held(ring_lock);
  assert(size <= waiting);
  oldest = (oldest + size) % kOutputCapacity;
  waiting -= size;
}

void* write_output(void*) {
  while (true) {
    const bool flush = flush_requested;  // read before the ring: what is to be flushed is in it
    for (std::string_view piece; !(piece = next_piece()).empty(); remove_piece(piece.size())) {
      // Another process may have made the descriptor non-blocking: the stream would lose bytes.
      pollfd room{STDOUT_FILENO, POLLOUT, 0};
      poll(&room, 1, -1);
      std::fwrite(piece.data(), 1, piece.size(), stdout);
    }
    if (flush) {
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
  flush_requested = true;
  sem_post(&work);
  const std::int64_t end_ns = steady_ns() + kLongestWaitNs;
  while (!flushed && steady_ns() < end_ns) sleep_ms(10);
}

}  // namespace kovo
