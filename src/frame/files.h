// Thin helpers around files and descriptors. Only pipes wait for another process: a FIFO put in the
// place of a file is opened without waiting for its other end, or refused.
#pragma once

#include <array>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "frame/text.h"

namespace kovo {

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
struct PipeCloser {
  void operator()(std::FILE* pipe) const {
    pclose(pipe);
  }
};
using File = std::unique_ptr<std::FILE, FileCloser>;
using Pipe = std::unique_ptr<std::FILE, PipeCloser>;

/// Opens a regular file for reading; null with errno set when that fails or it is something else: a
/// pipe or a device would hold up its reader.
File open_for_reading(const char* path);

/// Runs a command by the shell and reads its standard output; null when it cannot be started.
/// Destroying the result waits for the command to end.
Pipe open_pipe(const char* command);

using LineBuffer = std::array<char, kMaxMessage + 1>;

/// Reads the next line, or the next piece of one, of at most `limit` bytes (line feed included)
/// into the buffer. `line` is the text up to its first zero byte, with its line feed.
/// Returns false at the end of the file or on a read error.
bool read_line(std::FILE* file, LineBuffer& buffer, std::string_view& line,
               std::size_t limit = kMaxMessage);

/// Writes all bytes to a descriptor; false with errno set when some could not be written.
bool write_all(int fd, std::string_view bytes);

/// Truncates or creates the file and writes the bytes; false when it cannot be opened or written.
/// A link is not followed: in a folder where everybody may write it could lead anywhere.
bool write_file(const char* path, std::string_view bytes);

/// Appends the bytes to the file, creating it; false when it cannot be opened. A record that a full
/// medium does not take is lost.
bool append_file(const char* path, std::string_view bytes);

/// Replaces the file whole: written beside itself, flushed to the medium and renamed, so that a
/// power cut leaves the old or the new content. Where nothing can be created beside it, it is
/// written in place. False when neither succeeded.
bool replace_file(const std::string& path, std::string_view bytes);

}  // namespace kovo
