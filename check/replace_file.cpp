#include "check/fixes.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "core/unique_fd.h"

namespace kovo::check {
namespace {

bool write_all(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t size = retry_interrupted([&] { return write(fd, text.data(), text.size()); });
    if (size < 0) return false;
    text.remove_prefix(static_cast<std::size_t>(size));
  }
  return true;
}

/// Writes a new file with the owner and the mode of the one that it replaces. A user who may not
/// give files away becomes the owner.
bool write_file(int fd, const struct stat& replaced, std::string_view text) {
  if (fchown(fd, replaced.st_uid, replaced.st_gid) != 0 && errno != EPERM) return false;
  return write_all(fd, text) && fchmod(fd, replaced.st_mode & 07777) == 0 && fsync(fd) == 0;
}

}  // namespace

std::string replace_file(const std::string& path, std::string_view text) {
  struct stat replaced {};
  if (stat(path.c_str(), &replaced) == 0 && !S_ISREG(replaced.st_mode)) return "not a regular file";
  const std::unique_ptr<char, decltype(&std::free)> target(realpath(path.c_str(), nullptr),
                                                           &std::free);
  // A rename would replace a read-only file, too.
  if (!target || stat(target.get(), &replaced) != 0 ||
      faccessat(AT_FDCWD, target.get(), W_OK, AT_EACCESS) != 0) {
    return std::strerror(errno);
  }
  std::string temp_path = target.get() + std::string(".XXXXXX");
  const UniqueFd temp(mkostemp(temp_path.data(), O_CLOEXEC));
  if (!temp) return std::strerror(errno);
  if (write_file(temp.get(), replaced, text) && std::rename(temp_path.c_str(), target.get()) == 0) {
    return {};
  }
  std::string error = std::strerror(errno);
  unlink(temp_path.c_str());
  return error;
}

}  // namespace kovo::check
