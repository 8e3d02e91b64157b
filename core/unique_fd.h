// A file descriptor with an owner.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace kovo {

/// Owns a descriptor and closes it; -1 is none. Closing preserves errno.
class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(other.release()) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    reset(other.release());
    return *this;
  }
  ~UniqueFd() {
    reset();
  }

  explicit operator bool() const {
    return fd_ >= 0;
  }
  int get() const {
    return fd_;
  }
  /// Returns the descriptor, which the caller now owns.
  int release() {
    return std::exchange(fd_, -1);
  }
  void reset(int fd = -1) {
    const int error = errno;
    if (fd_ >= 0) close(fd_);
    fd_ = fd;
    errno = error;
  }

 private:
  int fd_ = -1;
};

/// Repeats a system call while signals interrupt it, and returns its result.
template <class Call>
auto retry_interrupted(const Call& call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

}  // namespace kovo
