// Regular files. Every file that the daemon opens is opened by one helper, by these rules:
//
// - A symbolic link as the last component of a path is followed if it belongs to root or to the
//   daemon's user, up to 40 in a row, also to a file that is still to be created. Any other link
//   fails with EACCES: its owner must not choose what root reads or writes.
// - Directly in /tmp and /var/tmp only a file that belongs to the daemon's user and has no second
//   hard link is appended to or overwritten. Any other is removed and created anew. Their sticky
//   bit keeps other users from exchanging it meanwhile.
// - FIFOs, devices and directories fail. No open blocks.
// - Modes are stated and do not depend on the umask of whoever starts the daemon.
#pragma once

#include <array>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "frame/text.h"

namespace kovo {

constexpr unsigned kFileMode = 0644;  // of everything that is written, if not stated otherwise
constexpr unsigned kModeMask = 022;   // the process's, and so its shell commands'

/// Owns a descriptor; -1 is none. Closing it keeps errno.
struct UniqueFd {
  explicit UniqueFd(int descriptor = -1) : fd(descriptor) {}
  UniqueFd(UniqueFd&& other) noexcept : fd(other.release()) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    std::swap(fd, other.fd);
    return *this;
  }
  ~UniqueFd();

  int get() const {
    return fd;
  }
  /// Returns the descriptor, which the caller owns from now on.
  int release() {
    return std::exchange(fd, -1);
  }

  int fd;
};
using Descriptor = UniqueFd;  // the name that other files still use

struct FileCloser {
  void operator()(std::FILE* file) const {
    std::fclose(file);
  }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

/// Opens a file for reading; null with errno set when that fails.
File open_for_reading(std::string path);

/// Creates a file with these bytes. False with errno set when it exists (EEXIST) or cannot be
/// created or written. A link to a file that does not exist creates that file.
bool create_file(std::string path, std::string_view bytes, unsigned mode = kFileMode);

/// Truncates or creates a file and writes the bytes; false when that fails.
bool write_file(std::string path, std::string_view bytes);

/// Appends the bytes to a file, which it creates if necessary; false when it cannot be opened.
/// Bytes that a full disk does not take are lost.
bool append_file(std::string path, std::string_view bytes);

/// Replaces the content of a file, or of the file that a link leads to: writes PATH.new, syncs it
/// and renames it, so that a power cut or a full disk leaves the old content or the new. Owner,
/// group and mode are kept. Returns false when the file could not be replaced; it keeps its old
/// content then, unless writing in place has failed midway.
///
/// The file is written in place (overwritten, then truncated, then synced) when a new file cannot
/// take its place: the directory is read-only or forbidden, the file is a mount point or has a
/// second hard link, the owner cannot be kept, or PATH.new exists and cannot be removed. On a full
/// disk too, if the new content fits into the blocks that the file already has. In place, a power
/// cut may leave a mixture of old and new; and a file system that copies on write, compresses, or
/// writes flash out of place may need free blocks all the same, so that it can fail midway.
bool replace_file(std::string path, std::string_view bytes);

using LineBuffer = std::array<char, kMaxMessage + 1>;

/// Reads the next line, or the next piece of one, of at most `limit` bytes (line feed included)
/// into the buffer. `line` is the text up to its first zero byte, with its line feed.
/// Returns false at the end of the file or on a read error.
bool read_line(std::FILE* file, LineBuffer& buffer, std::string_view& line,
               std::size_t limit = kMaxMessage);

}  // namespace kovo
