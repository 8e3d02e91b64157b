#include "frame/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace kovo {
namespace {

constexpr int kOpenFlags = O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
constexpr mode_t kFileMode = 0666;

int open_file(const char* path, int flags) {
  int fd = -1;
  do {
    fd = open(path, flags | kOpenFlags, kFileMode);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

/// Makes a rename in the folder of `path` survive a power cut; best effort.
void sync_folder_of(const std::string& path) {
  const std::string folder = path.substr(0, path.rfind('/') + 1);
  const Descriptor opened(open_file(folder.c_str(), O_RDONLY | O_DIRECTORY));
  if (opened.fd >= 0) fsync(opened.fd);
}

/// The path behind a link, so that it is not the link that a rename replaces.
std::string resolve(const std::string& path) {
  const std::unique_ptr<char, void (*)(void*)> real(realpath(path.c_str(), nullptr), std::free);
  return real == nullptr ? path : std::string(real.get());
}

bool is_link(const std::string& path) {
  struct stat info {};
  return lstat(path.c_str(), &info) == 0 && S_ISLNK(info.st_mode);
}

void keep_mode(const char* path, int copy) {
  struct stat info {};
  if (stat(path, &info) == 0) fchmod(copy, info.st_mode & 07777);
}

bool write_and_sync(const char* path, std::string_view bytes) {
  const Descriptor file(open_file(path, O_WRONLY | O_CREAT | O_TRUNC));
  return file.fd >= 0 && write_all(file.fd, bytes) && fsync(file.fd) == 0;
}

}  // namespace

Descriptor::~Descriptor() {
  const int error = errno;  // of the caller, who may still want to tell it
  if (fd >= 0) close(fd);
  errno = error;
}

File open_for_reading(const char* path) {
  Descriptor opened(open_file(path, O_RDONLY));
  if (opened.fd < 0) return nullptr;
  struct stat info {};
  if (fstat(opened.fd, &info) == 0 && !S_ISREG(info.st_mode)) {
    errno = S_ISDIR(info.st_mode) ? EISDIR : EINVAL;
    return nullptr;
  }
  File file(fdopen(opened.fd, "r"));
  if (file != nullptr) opened.fd = -1;
  return file;
}

Pipe open_pipe(const char* command) {
  return Pipe(popen(command, "re"));
}

bool read_line(std::FILE* file, LineBuffer& buffer, std::string_view& line, std::size_t limit) {
  const int size = static_cast<int>(std::min(limit + 1, buffer.size()));
  if (std::fgets(buffer.data(), size, file) == nullptr) return false;
  line = std::string_view(buffer.data(), std::strlen(buffer.data()));
  return true;
}

bool write_all(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(fd, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

bool write_file(const char* path, std::string_view bytes) {
  const Descriptor file(open_file(path, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW));
  return file.fd >= 0 && write_all(file.fd, bytes);
}

bool append_file(const char* path, std::string_view bytes) {
  const Descriptor file(open_file(path, O_WRONLY | O_CREAT | O_APPEND));
  if (file.fd < 0) return false;
  static_cast<void>(write_all(file.fd, bytes));
  return true;
}

bool replace_file(const std::string& path, std::string_view bytes) {
  const std::string file = resolve(path);
  if (is_link(file)) return write_and_sync(path.c_str(), bytes);  // to a file that is not there yet
  const std::string beside = file + ".new";
  unlink(beside.c_str());  // left by a power cut, or put there by somebody else
  const Descriptor copy(open_file(beside.c_str(), O_WRONLY | O_CREAT | O_EXCL));
  if (copy.fd < 0) return write_and_sync(file.c_str(), bytes);
  keep_mode(file.c_str(), copy.fd);
  const bool copied = write_all(copy.fd, bytes) && fsync(copy.fd) == 0;
  if (copied && rename(beside.c_str(), file.c_str()) == 0) {
    sync_folder_of(file);
    return true;
  }
  unlink(beside.c_str());
  // A full medium keeps the old content; a file that cannot be renamed over is written in place.
  return copied && write_and_sync(file.c_str(), bytes);
}

}  // namespace kovo
