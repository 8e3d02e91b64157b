// Standard output. One thread writes what all others print, with the C library's own stream and
// its default buffering: by lines on a terminal, otherwise by blocks, unless whoever started the
// daemon chose otherwise (as with stdbuf). So a reader that is slow or stopped delays only that
// thread. Up to 256 KiB wait for it; beyond that a text is dropped whole.
#pragma once

#include <cstddef>
#include <string_view>

namespace kovo {

constexpr std::size_t kOutputCapacity = std::size_t{256} << 10;

/// Starts the thread. Until then, and if it cannot be started, texts are printed directly. Called
/// once, by main, before any other thread starts.
void start_output();

/// Prints a text, in the order of the calls. Never waits for the reader and needs no memory. Any
/// thread.
void print_text(std::string_view text);

/// Waits until the reader has everything that was printed, for a second at most. For the moment
/// before _exit: exit would wait for the stream, which the thread may hold.
void flush_output();

}  // namespace kovo
