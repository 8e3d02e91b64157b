#include "frame/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>

namespace kovo {
namespace {

constexpr int kMaxLinks = 40;
constexpr unsigned kModeBits = 07777;
constexpr unsigned kPrivateMode = 0600;

std::string directory_of(const std::string& path) {
  return path.substr(0, path.rfind('/') + 1);
}

/// Opens what the path names, which may be anything but a link.
UniqueFd open_entry(const std::string& path, int flags, unsigned mode = 0) {
  constexpr int kAlways = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
  int fd = -1;
  do {
    fd = open(path.c_str(), flags | kAlways, mode);
  } while (fd < 0 && errno == EINTR);
  return UniqueFd(fd);
}

/// Opens a file of the daemon's user that has one name, or removes it and creates one. First
/// without O_CREAT: with it, fs.protected_regular makes the open fail for a file of somebody else.
UniqueFd open_in_shared_directory(const std::string& path, int flags, unsigned mode) {
  UniqueFd file = open_entry(path, flags & ~O_CREAT);
  if (file.get() < 0 && errno == ELOOP) return file;
  struct stat info {};
  const bool opened = file.get() >= 0 && fstat(file.get(), &info) == 0;
  if (opened && info.st_uid == geteuid() && info.st_nlink == 1) return file;
  if (opened || errno == EACCES) unlink(path.c_str());
  return open_entry(path, flags | O_EXCL, mode);
}

/// Replaces the path of a link by what the link leads to; false with errno set when it is no link
/// (EEXIST) or one that is not followed (EACCES).
bool follow_link(std::string& path) {
  const UniqueFd link = open_entry(path, O_PATH);
  struct stat info {};
  if (link.get() < 0 || fstat(link.get(), &info) != 0) return false;
  const bool is_link = S_ISLNK(info.st_mode);
  const bool trusted = info.st_uid == 0 || info.st_uid == geteuid();
  if (!is_link || !trusted) {
    errno = is_link ? EACCES : EEXIST;
    return false;
  }
  char target[PATH_MAX];
  const ssize_t length = readlinkat(link.get(), "", target, sizeof target);
  if (length < 0) return false;
  const std::string start = target[0] == '/' ? "" : directory_of(path);
  path = start + std::string(target, static_cast<std::size_t>(length));
  return true;
}

/// Refuses, by errno, what is no regular file.
bool is_regular(int fd) {
  struct stat info {};
  if (fstat(fd, &info) != 0) return false;
  if (S_ISREG(info.st_mode)) return true;
  errno = S_ISDIR(info.st_mode) ? EISDIR : EINVAL;
  return false;
}

/// Opens a file by the rules in the header; `path` becomes the path that its links lead to.
UniqueFd open_file(std::string& path, int flags, unsigned mode = kFileMode) {
  for (int links = 0; links <= kMaxLinks; ++links) {
    const std::string directory = directory_of(path);
    const bool shared = (flags & (O_CREAT | O_EXCL)) == O_CREAT &&
                        (directory == "/tmp/" || directory == "/var/tmp/");
    UniqueFd file =
        shared ? open_in_shared_directory(path, flags, mode) : open_entry(path, flags, mode);
    if (file.get() >= 0) return is_regular(file.get()) ? std::move(file) : UniqueFd();
    // O_EXCL says EEXIST of a link as well.
    if ((errno != ELOOP && errno != EEXIST) || !follow_link(path)) return file;
  }
  errno = ELOOP;
  return UniqueFd();
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

bool sync_file(int fd) {
  int result = -1;
  do {
    result = fsync(fd);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

/// Truncates only after writing: a full disk has room for what replaces the old content.
bool write_in_place(std::string path, std::string_view bytes) {
  const UniqueFd file = open_file(path, O_WRONLY | O_CREAT);
  return file.get() >= 0 && write_all(file.get(), bytes) &&
         ftruncate(file.get(), static_cast<off_t>(bytes.size())) == 0 && sync_file(file.get());
}

/// Gives the temporary file the owner, group and mode of the file that it is to replace. What is
/// right already is left alone: not every file system knows owners and modes.
bool keep_owner(int temp, const struct stat& file) {
  struct stat own {};
  if (fstat(temp, &own) != 0) return false;
  const bool same = own.st_uid == file.st_uid && own.st_gid == file.st_gid;
  if (!same && fchown(temp, file.st_uid, file.st_gid) != 0) return false;
  return own.st_mode == file.st_mode || fchmod(temp, file.st_mode & kModeBits) == 0;
}

/// True for an error that every further attempt would meet, unlike a lack of descriptors or memory.
bool cannot_rename(int error) {
  return error == EROFS || error == EACCES || error == EPERM || error == EBUSY || error == EXDEV ||
         error == ENAMETOOLONG || error == EEXIST;
}

/// Writes the temporary file and renames it; `file` is null when there is nothing to replace yet.
/// Returns 0 or the errno of what failed.
int replace_by_rename(const std::string& path, const std::string& temp_path,
                      const struct stat* file, std::string_view bytes) {
  const unsigned mode = file == nullptr ? kFileMode : kPrivateMode;
  const UniqueFd temp = open_entry(temp_path, O_WRONLY | O_CREAT | O_EXCL, mode);
  if (temp.get() < 0) return errno;
  if (file != nullptr && !keep_owner(temp.get(), *file)) return EPERM;
  if (!write_all(temp.get(), bytes) || !sync_file(temp.get())) return errno;
  if (rename(temp_path.c_str(), path.c_str()) != 0) return errno;
  // Best effort: makes the rename survive a power cut.
  const UniqueFd directory = open_entry(directory_of(path), O_RDONLY | O_DIRECTORY);
  if (directory.get() >= 0) sync_file(directory.get());
  return 0;
}

}  // namespace

UniqueFd::~UniqueFd() {
  const int error = errno;
  if (fd >= 0) close(fd);
  errno = error;
}

File open_for_reading(std::string path) {
  UniqueFd opened = open_file(path, O_RDONLY);
  if (opened.get() < 0) return nullptr;
  File file(fdopen(opened.get(), "r"));
  if (file != nullptr) opened.release();
  return file;
}

bool create_file(std::string path, std::string_view bytes, unsigned mode) {
  const UniqueFd file = open_file(path, O_WRONLY | O_CREAT | O_EXCL, mode);
  return file.get() >= 0 && write_all(file.get(), bytes);
}

bool write_file(std::string path, std::string_view bytes) {
  const UniqueFd file = open_file(path, O_WRONLY | O_CREAT);
  return file.get() >= 0 && ftruncate(file.get(), 0) == 0 && write_all(file.get(), bytes);
}

bool append_file(std::string path, std::string_view bytes) {
  const UniqueFd file = open_file(path, O_WRONLY | O_CREAT | O_APPEND);
  if (file.get() < 0) return false;
  static_cast<void>(write_all(file.get(), bytes));
  return true;
}

bool replace_file(std::string path, std::string_view bytes) {
  struct stat info {};
  const UniqueFd old = open_file(path, O_RDONLY);
  const bool exists = old.get() >= 0 && fstat(old.get(), &info) == 0;
  if (!exists && errno != ENOENT) return false;
  if (exists && info.st_nlink > 1) return write_in_place(path, bytes);
  const std::string temp_path = path + ".new";
  unlink(temp_path.c_str());  // left by a power cut
  const int error = replace_by_rename(path, temp_path, exists ? &info : nullptr, bytes);
  if (error == 0) return true;
  unlink(temp_path.c_str());
  if (error == ENOSPC || error == EDQUOT) {
    constexpr std::uint64_t kBlock = 512;  // the unit of st_blocks
    const std::uint64_t room = static_cast<std::uint64_t>(info.st_blocks) * kBlock;
    return bytes.size() <= room && write_in_place(path, bytes);
  }
  return cannot_rename(error) && write_in_place(path, bytes);
}

bool read_line(std::FILE* file, LineBuffer& buffer, std::string_view& line, std::size_t limit) {
  const int size = static_cast<int>(std::min(limit + 1, buffer.size()));
  if (std::fgets(buffer.data(), size, file) == nullptr) return false;
  line = std::string_view(buffer.data(), std::strlen(buffer.data()));
  return true;
}

}  // namespace kovo
