// Preloaded into the daemon: fails one of its allocations. A mapped file holds how many are to
// succeed before that, which the test sets at any time, and how many there have been.
#include <fcntl.h>
#include <sys/mman.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void* __libc_realloc(void* old, std::size_t size);

namespace {

struct Control {
  std::atomic<long> countdown;  // the allocation that takes it to 0 fails; 0: none does
  std::atomic<long> count;
};

Control* control = nullptr;

[[gnu::constructor]] void map_control() {
  const int fd = open(getenv("FAULTS_CONTROL"), O_RDWR | O_CLOEXEC);
  void* mapped = mmap(nullptr, sizeof(Control), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (mapped != MAP_FAILED) control = static_cast<Control*>(mapped);
  unsetenv("LD_PRELOAD");  // the daemon alone, not what it starts
}

bool fails() {
  if (control == nullptr) return false;
  ++control->count;
  if (control->countdown <= 0 || control->countdown.fetch_sub(1) != 1) return false;
  errno = ENOMEM;
  return true;
}

}  // namespace

extern "C" void* malloc(std::size_t size) {
  return fails() ? nullptr : __libc_malloc(size);
}
extern "C" void* calloc(std::size_t count, std::size_t size) {
  return fails() ? nullptr : __libc_calloc(count, size);
}
extern "C" void* realloc(void* old, std::size_t size) {
  return fails() ? nullptr : __libc_realloc(old, size);
}
