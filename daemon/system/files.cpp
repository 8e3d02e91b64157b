// The daemon usually runs as root and writes to /tmp, where other users can create links and FIFOs.
// So the last component of a path is opened with O_NOFOLLOW, and the checks are made on the
// descriptor, not on the path. A link itself is opened (O_PATH), its owner checked, and its target
// becomes the next path. Links among the directories of a path are followed without a check.
// Invariant: open_file returns only regular files, reached through links of root or the daemon's
// user.
#include "daemon/system/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>

#include "core/unique_fd.h"

namespace kovo {
namespace {

constexpr int kMaxLinks = 40;
constexpr unsigned kModeBits = 07777;
constexpr unsigned kPrivateMode = 0600;

std::string directory_of(const std::string& path) {
  return path.substr(0, path.rfind('/') + 1);
}

/// Opens what the path names unless that is a link.
UniqueFd open_entry(const std::string& path, int flags, unsigned mode = 0) {
  constexpr int kAlways = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
  return UniqueFd(retry_interrupted([&] { return open(path.c_str(), flags | kAlways, mode); }));
}

/// Returns whether a directory, "" or with a "/" at its end, is /tmp or /var/tmp under any name.
bool is_shared_directory(const std::string& directory) {
  struct stat info {};
  if (stat(directory.c_str(), &info) != 0) return false;
  for (const char* shared : {"/tmp", "/var/tmp"}) {
    struct stat other {};
    if (stat(shared, &other) != 0) continue;
    if (info.st_dev == other.st_dev && info.st_ino == other.st_ino) return true;
  }
  return false;
}

bool is_own(const struct stat& info) {
  return info.st_uid == geteuid();
}

/// Returns whether what is in a shared directory under a name of the daemon is to be removed:
/// another user put it there, or could change it through its second hard link.
bool is_planted(const struct stat& info) {
  if (S_ISLNK(info.st_mode)) return info.st_uid != 0 && !is_own(info);
  return !is_own(info) || (S_ISREG(info.st_mode) && info.st_nlink > 1);
}

/// Opens a file in a shared directory. Creates it if it is missing, and anew if it is planted; a
/// directory that is not empty stays. Opens without O_CREAT first: with it, fs.protected_regular
/// refuses another user's file.
UniqueFd open_in_shared_directory(const std::string& path, int flags, unsigned mode) {
  UniqueFd file = open_entry(path, flags & ~O_CREAT);
  const int error = errno;
  struct stat info {};
  const int found = file ? fstat(file.get(), &info) : lstat(path.c_str(), &info);
  if (found == 0) {
    errno = error;
    if (!is_planted(info)) return file;
    if (std::remove(path.c_str()) != 0) return {};
  }
  return open_entry(path, flags | O_EXCL, mode);
}

/// Replaces the path of a link by the link's target. Returns false with errno set when the path is
/// not a link (EEXIST), or when another user made the link, or can have moved it (EACCES): in a
/// shared directory, a second hard link gives a link of root another place.
bool follow_link(std::string& path) {
  const UniqueFd link = open_entry(path, O_PATH);
  struct stat info {};
  if (!link || fstat(link.get(), &info) != 0) return false;
  const bool is_link = S_ISLNK(info.st_mode);
  errno = is_link ? EACCES : EEXIST;
  if (!is_link || (info.st_uid != 0 && !is_own(info))) return false;
  if (info.st_nlink > 1 && is_shared_directory(directory_of(path))) return false;
  char target[PATH_MAX];
  const ssize_t length = readlinkat(link.get(), "", target, sizeof target);
  if (length < 0) return false;
  const std::string start = target[0] == '/' ? "" : directory_of(path);
  path = start + std::string(target, static_cast<std::size_t>(length));
  return true;
}

bool is_regular(int fd) {
  struct stat info {};
  if (fstat(fd, &info) != 0) return false;
  if (S_ISREG(info.st_mode)) return true;
  errno = S_ISDIR(info.st_mode) ? EISDIR : EINVAL;
  return false;
}

/// Opens a file by the rules in the header; returns none with errno set when that fails. Replaces
/// `path` by the path to which its links lead.
UniqueFd open_file(std::string& path, int flags, unsigned mode = kFileMode) {
  for (int links = 0; links <= kMaxLinks; ++links) {
    const bool may_replace = (flags & O_CREAT) != 0 && (flags & O_EXCL) == 0;
    const bool shared = may_replace && is_shared_directory(directory_of(path));
    UniqueFd file =
        shared ? open_in_shared_directory(path, flags, mode) : open_entry(path, flags, mode);
    if (file) return is_regular(file.get()) ? std::move(file) : UniqueFd();
    // A link fails with ELOOP, and with O_EXCL with EEXIST.
    if ((errno != ELOOP && errno != EEXIST) || !follow_link(path)) return file;
  }
  errno = ELOOP;
  return {};
}

bool write_all(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written =
        retry_interrupted([&] { return write(fd, bytes.data(), bytes.size()); });
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

bool sync_file(int fd) {
  return retry_interrupted([&] { return fsync(fd); }) == 0;
}

/// Reserves the blocks of a file's new content. Returns false, and keeps the old content, when the
/// disk is full. File systems that cannot reserve count as having room.
bool reserve(int fd, off_t size) {
  struct stat old {};
  if (fstat(fd, &old) != 0) return false;
  if (fallocate(fd, 0, 0, size) == 0 || (errno != ENOSPC && errno != EDQUOT)) return true;
  [[maybe_unused]] const int restored = ftruncate(fd, old.st_size);
  return false;
}

/// Truncates after writing, so that on a full disk the old blocks are reused.
bool write_in_place(std::string path, std::string_view bytes) {
  const UniqueFd file = open_file(path, O_WRONLY | O_CREAT);
  const auto size = static_cast<off_t>(bytes.size());
  return file && reserve(file.get(), size) && write_all(file.get(), bytes) &&
         ftruncate(file.get(), size) == 0 && sync_file(file.get());
}

/// Gives the temporary file the owner, group and mode of the file that it is to replace. Sets only
/// what differs: not every file system has owners and modes.
bool keep_owner(int temp, const struct stat& file) {
  struct stat own {};
  if (fstat(temp, &own) != 0) return false;
  const bool same = own.st_uid == file.st_uid && own.st_gid == file.st_gid;
  if (!same && fchown(temp, file.st_uid, file.st_gid) != 0) return false;
  return own.st_mode == file.st_mode || fchmod(temp, file.st_mode & kModeBits) == 0;
}

/// Returns whether to write in place after a rename failed: when the reason is permanent, unlike a
/// lack of descriptors or memory, or when the disk is full and the file's blocks suffice.
bool may_write_in_place(int error, const struct stat& file, std::size_t size) {
  constexpr int kPermanent[] = {EROFS, EACCES, EPERM, EBUSY, EXDEV, ENAMETOOLONG, EEXIST};
  constexpr std::uint64_t kBlock = 512;  // the unit of st_blocks
  if (error == ENOSPC || error == EDQUOT) {
    return size <= static_cast<std::uint64_t>(file.st_blocks) * kBlock;
  }
  return std::find(std::begin(kPermanent), std::end(kPermanent), error) != std::end(kPermanent);
}

/// Writes the temporary file and renames it; `file` is null when the path does not exist yet.
/// Returns 0 or the errno of what failed.
int replace_by_rename(const std::string& path, const std::string& temp_path,
                      const struct stat* file, std::string_view bytes) {
  const unsigned mode = file == nullptr ? kFileMode : kPrivateMode;
  unlink(temp_path.c_str());  // left by a power cut
  const UniqueFd temp = open_entry(temp_path, O_WRONLY | O_CREAT | O_EXCL, mode);
  if (!temp) return errno;
  if (file != nullptr && !keep_owner(temp.get(), *file)) return EPERM;
  if (!write_all(temp.get(), bytes) || !sync_file(temp.get())) return errno;
  if (rename(temp_path.c_str(), path.c_str()) != 0) return errno;
  // The rename survives a power cut only once the directory is synced.
  const UniqueFd directory = open_entry(directory_of(path), O_RDONLY | O_DIRECTORY);
  if (directory) sync_file(directory.get());
  return 0;
}

}  // namespace

File open_for_reading(std::string path) {
  UniqueFd opened = open_file(path, O_RDONLY);
  if (!opened) return nullptr;
  File file(fdopen(opened.get(), "r"));
  if (file != nullptr) opened.release();
  return file;
}

bool create_file(std::string path, std::string_view bytes, unsigned mode) {
  const UniqueFd file = open_file(path, O_WRONLY | O_CREAT | O_EXCL, mode);
  if (!file) return false;
  if (write_all(file.get(), bytes)) return true;
  unlink(path.c_str());
  return false;
}

bool write_file(std::string path, std::string_view bytes) {
  const UniqueFd file = open_file(path, O_WRONLY | O_CREAT);
  return file && ftruncate(file.get(), 0) == 0 && write_all(file.get(), bytes);
}

bool append_file(std::string path, std::string_view bytes) {
  const UniqueFd file = open_file(path, O_WRONLY | O_CREAT | O_APPEND);
  return file && write_all(file.get(), bytes);
}

bool has_content(std::string path, std::string_view bytes) {
  const File file = open_for_reading(std::move(path));
  if (file == nullptr) return false;
  char piece[4096];
  std::size_t size = 0;
  while ((size = std::fread(piece, 1, sizeof piece, file.get())) > 0) {
    if (bytes.substr(0, size) != std::string_view(piece, size)) return false;
    bytes.remove_prefix(size);
  }
  return bytes.empty() && std::ferror(file.get()) == 0;
}

bool replace_file(std::string path, std::string_view bytes) {
  struct stat info {};
  const UniqueFd old = open_file(path, O_RDONLY);
  const bool exists = old && fstat(old.get(), &info) == 0;
  if (!exists && errno != ENOENT) return false;
  const std::string temp_path = path + ".new";
  // A rename would separate the file from its other hard links.
  if (info.st_nlink > 1) return write_in_place(path, bytes);
  const int error = replace_by_rename(path, temp_path, exists ? &info : nullptr, bytes);
  if (error == 0) return true;
  unlink(temp_path.c_str());
  return may_write_in_place(error, info, bytes.size()) && write_in_place(path, bytes);
}

bool read_line(std::FILE* file, LineBuffer& buffer, std::string_view& line, std::size_t limit) {
  const int size = static_cast<int>(std::min(limit + 1, buffer.size()));
  if (std::fgets(buffer.data(), size, file) == nullptr) return false;
  line = std::string_view(buffer.data(), std::strlen(buffer.data()));
  return true;
}

}  // namespace kovo
