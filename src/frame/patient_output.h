// A stdio stream on a descriptor whose reader may be slow, but must not hold up its writer.
#pragma once

#include <cstdio>

namespace kovo {

/// Opens a stream that writes to the descriptor and buffers as `model` does: by lines, by blocks or
/// not at all. While the reader takes nothing for 200 ms, or not enough within a second, bytes are
/// dropped, then all further ones without waiting until there is room again. For pipes, terminals,
/// sockets and files, blocking or not. Null when there is no memory for it. The stream is for one
/// thread at a time.
std::FILE* open_patient_output(int fd, std::FILE* model);

}  // namespace kovo
