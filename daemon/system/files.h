// Regular files. These functions open every file of the daemon except the pid file, which the shell
// writes, by these rules:
//
// - A symbolic link as the last component of a path is followed if it belongs to root or to the
//   daemon's user, up to 40 in a row, also when its target does not exist yet. Any other link fails
//   with EACCES: its owner must not choose what root reads or writes.
// - Directly in /tmp and /var/tmp, a file is written only if it belongs to the daemon's user and
//   has no second hard link. A regular file that fails this, and a FIFO, socket, link or empty
//   directory of another user, is removed and the file created anew; the sticky bit keeps other
//   users from replacing it. A link there with a second hard link is not followed.
// - FIFOs, devices and directories fail. No open blocks.
#pragma once

#include <array>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "core/text.h"

namespace kovo {

constexpr unsigned kFileMode = 0644;  // of new files, unless stated otherwise
constexpr unsigned kModeMask = 022;   // umask of the process and its shell commands

struct FileCloser {
  void operator()(std::FILE* file) const {
    std::fclose(file);
  }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

/// Opens a file for reading; null with errno set when that fails.
File open_for_reading(std::string path);

/// Creates a file with these bytes, or the missing target of a link. Returns false when it exists
/// or cannot be created, or cannot be written whole and is removed again.
bool create_file(std::string path, std::string_view bytes, unsigned mode = kFileMode);

/// Truncates or creates a file and writes the bytes. Returns whether that succeeded.
bool write_file(std::string path, std::string_view bytes);

/// Appends the bytes to a file, which it creates if necessary. Returns whether all were written.
bool append_file(std::string path, std::string_view bytes);

/// Returns whether a file can be read and holds exactly these bytes.
bool has_content(std::string path, std::string_view bytes);

/// Replaces the content of a file, or of a link's target: writes PATH.new, syncs it and renames it,
/// so that a power cut or a full disk leaves the old content or the new. Keeps owner, group and
/// mode. Returns false when that fails; the file then has its old content, unless writing in place
/// failed midway.
///
/// Writes in place (overwrites, truncates, syncs) when a new file cannot take its place: the
/// directory is read-only or forbidden, the file is a mount point or has a second hard link, the
/// owner cannot be kept, or PATH.new exists and cannot be removed; and on a full disk, if the
/// file's blocks suffice. A power cut may then leave a mixture of old and new, and a file system
/// that copies on write or compresses may fail midway for lack of free blocks.
bool replace_file(std::string path, std::string_view bytes);

using LineBuffer = std::array<char, kMaxMessage + 1>;

/// Reads the next line, or the next `limit` bytes of a longer one, newline included. `line` is what
/// was read, up to its first NUL, in the buffer. Returns false at the end of the file or on an
/// error.
bool read_line(std::FILE* file, LineBuffer& buffer, std::string_view& line,
               std::size_t limit = kMaxMessage);

}  // namespace kovo
