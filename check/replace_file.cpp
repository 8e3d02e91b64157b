#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "check/fixes.h"
#include "core/unique_fd.h"

namespace kovo::check {
namespace {

/// Writes a new file with the owner and the mode of the one that it replaces. A user who may not
/// give files away becomes the owner.
bool write_file(int fd, const struct stat& replaced, std::string_view text) {
  while (!text.empty()) {
    const ssize_t size = retry_interrupted([&] { return write(fd, text.data(), text.size()); });
    if (size < 0) return false;
    text.remove_prefix(static_cast<std::size_t>(size));
  }
  if (fchown(fd, replaced.st_uid, replaced.st_gid) != 0 && errno != EPERM) return false;
  return fchmod(fd, replaced.st_mode & 07777) == 0 && fsync(fd) == 0;
}

}  // namespace

std::string replace_file(const std::string& path, std::string_view text) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error) && !error) return "not a regular file";
  const std::string target = std::filesystem::canonical(path, error).string();
  if (error) return error.message();
  struct stat replaced {};
  // A rename would replace a read-only file, too.
  if (stat(target.c_str(), &replaced) != 0 || access(target.c_str(), W_OK) != 0) {
    return std::strerror(errno);
  }
  std::string temp_path = target + ".XXXXXX";
  const UniqueFd temp(mkostemp(temp_path.data(), O_CLOEXEC));
  if (!temp) return std::strerror(errno);
  if (write_file(temp.get(), replaced, text) && rename(temp_path.c_str(), target.c_str()) == 0) {
    return {};
  }
  const int failure = errno;
  unlink(temp_path.c_str());
  return std::strerror(failure);
}

}  // namespace kovo::check
