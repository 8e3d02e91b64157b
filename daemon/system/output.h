// Standard output. One thread writes what the others print, by the C library's stream and its
// default buffering, so that stdbuf works. A slow or stopped reader delays only that thread: up to
// 256 KiB wait for it; beyond that a text is dropped whole.
#pragma once

#include <cstddef>
#include <string_view>

namespace kovo {

constexpr std::size_t kOutputCapacity = std::size_t{256} << 10;

/// Starts the thread. Until then, and if it cannot be started, texts are printed directly. Called
/// once, by main, before any other thread starts.
void start_output();

/// Prints a text, in the order of the calls. Never waits for the reader or allocates. Any thread.
void print_text(std::string_view text);

/// Waits until everything is written, for at most a second. Called before _exit: exit would wait
/// for the stream, which the thread may hold.
void flush_output();

}  // namespace kovo
