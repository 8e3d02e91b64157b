// Files and descriptors. Each way of opening a file is one routine here, and none of them waits for
// anybody: a FIFO or a device put in the place of a file is refused. What lies in a folder where
// others may write is never opened through a link, which could lead anywhere. Modes are stated and,
// with the mask of the process, do not depend on how the daemon was started.
#pragma once

#include <array>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "frame/text.h"

namespace kovo {

constexpr unsigned kFileMode = 0644;  // of everything that is written, if not stated otherwise
constexpr unsigned kModeMask = 022;   // the process's, and so its shell commands'

/// Owns a descriptor and closes it at the end of its scope; -1 is none.
struct Descriptor {
  explicit Descriptor(int descriptor = -1) : fd(descriptor) {}
  ~Descriptor();
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int fd;
};

struct FileCloser {
  void operator()(std::FILE* file) const {
    std::fclose(file);
  }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

enum class Links { kFollow, kRefuse };

/// Opens a regular file for reading; null with errno set when that fails or it is something else.
/// Links are followed where the folder belongs to those who may choose the file.
File open_for_reading(const char* path, Links links);

/// Creates a file that is not there yet, with these bytes; false with errno set when something is
/// there, a link included, or it cannot be created or written.
bool create_file(const char* path, std::string_view bytes, unsigned mode = kFileMode);

/// Truncates or creates a regular file and writes the bytes; false when it cannot be opened or
/// written, or is something else. No link is followed.
bool write_file(const char* path, std::string_view bytes);

/// Appends the bytes to a regular file, creating it; false when it cannot be opened or is something
/// else. What a full medium does not take is lost. No link is followed.
bool append_file(const char* path, std::string_view bytes);

/// Replaces a file whole, by way of a copy beside it that is flushed to the medium and renamed: a
/// power cut or a full medium leaves the old content or the new. The copy keeps owner, group and
/// mode. The file is written in place only where a copy can never serve: in a folder that is
/// read-only or forbidden, for a mount point, a hard link or no regular file, and where the owner
/// cannot be kept. A link is kept and what it leads to replaced. False when neither succeeded.
bool replace_file(const std::string& path, std::string_view bytes);

using LineBuffer = std::array<char, kMaxMessage + 1>;

/// Reads the next line, or the next piece of one, of at most `limit` bytes (line feed included)
/// into the buffer. `line` is the text up to its first zero byte, with its line feed.
/// Returns false at the end of the file or on a read error.
bool read_line(std::FILE* file, LineBuffer& buffer, std::string_view& line,
               std::size_t limit = kMaxMessage);

}  // namespace kovo
