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
constexpr unsigned kModeBits = 07777;
constexpr unsigned kPrivateMode = 0600;

int open_file(const char* path, int flags, unsigned mode = kFileMode) {
  int fd = -1;
  do {
    fd = open(path, flags | kOpenFlags, mode);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

/// Refuses, by errno, what is no regular file.
bool is_regular(int fd) {
  struct stat info {};
  if (fstat(fd, &info) != 0) return false;
  if (S_ISREG(info.st_mode)) return true;
  errno = S_ISDIR(info.st_mode) ? EISDIR : EINVAL;
  return false;
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

/// Flushes to the medium; what has none, a device say, needs none.
bool sync_file(int fd) {
  int result = -1;
  do {
    result = fsync(fd);
  } while (result != 0 && errno == EINTR);
  return result == 0 || errno == EINVAL;
}

/// Makes a rename in the folder of `path` survive a power cut; best effort.
void sync_folder_of(const std::string& path) {
  const std::string folder = path.substr(0, path.rfind('/') + 1);
  const Descriptor opened(open_file(folder.c_str(), O_RDONLY | O_DIRECTORY));
  if (opened.fd >= 0) sync_file(opened.fd);
}

/// The path behind a link, so that it is not the link that a rename replaces.
std::string resolve(const std::string& path) {
  const std::unique_ptr<char, void (*)(void*)> real(realpath(path.c_str(), nullptr), std::free);
  return real == nullptr ? path : std::string(real.get());
}

/// Writes over the old content and only then cuts what was longer: a medium that is full by now has
/// room for that, and truncating first would lose what there was.
bool write_in_place(const std::string& path, std::string_view bytes) {
  const Descriptor file(open_file(path.c_str(), O_WRONLY | O_CREAT));
  if (file.fd < 0 || !write_all(file.fd, bytes)) return false;
  if (is_regular(file.fd) && ftruncate(file.fd, static_cast<off_t>(bytes.size())) != 0) {
    return false;
  }
  return sync_file(file.fd);
}

enum class Replacing {
  kDone,
  kFailed,      // this time: out of room, of descriptors, of memory
  kImpossible,  // a copy beside the file can never serve
};

/// What an error of making the copy, or of renaming it, says about the next attempt.
Replacing judge(int error) {
  const bool never = error == EROFS || error == EACCES || error == EPERM || error == EBUSY ||
                     error == EXDEV || error == ENAMETOOLONG;
  return never ? Replacing::kImpossible : Replacing::kFailed;
}

/// Gives the copy the owner, group and mode of the file that it is to replace. What is right
/// already is left alone: not every medium knows owners and modes.
bool keep_owner(int copy, const struct stat& file) {
  struct stat own {};
  if (fstat(copy, &own) != 0) return false;
  const bool same = own.st_uid == file.st_uid && own.st_gid == file.st_gid;
  if (!same && fchown(copy, file.st_uid, file.st_gid) != 0) return false;
  return own.st_mode == file.st_mode || fchmod(copy, file.st_mode & kModeBits) == 0;
}

/// Writes the copy and renames it. `file` is null when there is nothing to replace yet.
Replacing replace_by_copy(const std::string& path, const std::string& beside,
                          const struct stat* file, std::string_view bytes) {
  const unsigned mode = file == nullptr ? kFileMode : kPrivateMode;
  const Descriptor copy(open_file(beside.c_str(), O_WRONLY | O_CREAT | O_EXCL, mode));
  if (copy.fd < 0) return judge(errno);
  if (file != nullptr && !keep_owner(copy.fd, *file)) return Replacing::kImpossible;
  if (!write_all(copy.fd, bytes) || !sync_file(copy.fd)) return Replacing::kFailed;
  if (rename(beside.c_str(), path.c_str()) != 0) return judge(errno);
  sync_folder_of(path);
  return Replacing::kDone;
}

}  // namespace

Descriptor::~Descriptor() {
  const int error = errno;  // of the caller, who may still want to tell it
  if (fd >= 0) close(fd);
  errno = error;
}

File open_for_reading(const char* path, Links links) {
  Descriptor opened(open_file(path, O_RDONLY | (links == Links::kRefuse ? O_NOFOLLOW : 0)));
  if (opened.fd < 0 || !is_regular(opened.fd)) return nullptr;
  File file(fdopen(opened.fd, "r"));
  if (file != nullptr) opened.fd = -1;
  return file;
}

bool create_file(const char* path, std::string_view bytes, unsigned mode) {
  const Descriptor file(open_file(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, mode));
  return file.fd >= 0 && write_all(file.fd, bytes);
}

bool write_file(const char* path, std::string_view bytes) {
  const Descriptor file(open_file(path, O_WRONLY | O_CREAT | O_NOFOLLOW));
  if (file.fd < 0 || !is_regular(file.fd)) return false;
  return ftruncate(file.fd, 0) == 0 && write_all(file.fd, bytes);
}

bool append_file(const char* path, std::string_view bytes) {
  const Descriptor file(open_file(path, O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW));
  if (file.fd < 0 || !is_regular(file.fd)) return false;
  static_cast<void>(write_all(file.fd, bytes));
  return true;
}

bool replace_file(const std::string& path, std::string_view bytes) {
  const std::string file = resolve(path);
  struct stat info {};
  const bool exists = lstat(file.c_str(), &info) == 0;
  if (!exists && errno != ENOENT) return false;
  // A link that could not be resolved leads to a file that is not there yet.
  if (exists && (!S_ISREG(info.st_mode) || info.st_nlink > 1)) return write_in_place(file, bytes);
  const std::string beside = file + ".new";
  unlink(beside.c_str());  // left by a power cut, or put there by somebody else
  const Replacing result = replace_by_copy(file, beside, exists ? &info : nullptr, bytes);
  if (result == Replacing::kDone) return true;
  unlink(beside.c_str());
  return result == Replacing::kImpossible && write_in_place(file, bytes);
}

bool read_line(std::FILE* file, LineBuffer& buffer, std::string_view& line, std::size_t limit) {
  const int size = static_cast<int>(std::min(limit + 1, buffer.size()));
  if (std::fgets(buffer.data(), size, file) == nullptr) return false;
  line = std::string_view(buffer.data(), std::strlen(buffer.data()));
  return true;
}

}  // namespace kovo
