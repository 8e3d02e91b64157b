// Text rules shared by the whole daemon. All text is bytes; letter case is ASCII's alone. Nothing
// here touches a file, a socket, a clock or a lock, so any thread may call any of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kovo {

// How many bytes of a text are kept at most; one less than the buffer of the wire or file format.
constexpr std::size_t kMaxPath = 127;        // paths, lines of the parameter tool
constexpr std::size_t kMaxShortText = 63;    // destination addresses, serial formats
constexpr std::size_t kMaxStatusLine = 511;  // status lines and setting lines
constexpr std::size_t kMaxCommand = 1023;    // command lines, payloads, mirror lines
constexpr std::size_t kMaxMessage = 2047;    // messages, status answers, lines of files
constexpr std::size_t kMaxDatagram = 4096;   // datagrams of the two UDP ports

constexpr std::size_t kMinAddress = 7;  // an address text shorter than "1.2.3.4" is none

/// The first `limit` bytes of the text, or all of it. Cutting is silent.
std::string_view cut_text(std::string_view text, std::size_t limit);

/// Copies the text into a buffer of `size` bytes, cut to size - 1, and ends it with a zero byte.
void copy_text(char* buffer, std::size_t size, std::string_view text);

/// The text up to its first zero byte: received text ends there.
std::string_view until_nul(std::string_view text);

/// The text up to its first line feed.
std::string_view until_newline(std::string_view text);

/// The text without one trailing line feed, if it has one.
std::string_view strip_newline(std::string_view text);

bool contains(std::string_view text, std::string_view word);

bool equals_nocase(std::string_view a, std::string_view b);

/// True when the text begins with the prefix in any letter case; an empty prefix fits everything.
bool starts_with_nocase(std::string_view text, std::string_view prefix);

/// The text with the letters A to Z in lower case: the key of an index that ignores case.
std::string lower_ascii(std::string_view text);

/// Returns the value of a hexadecimal digit, -1 for any other character.
int hex_digit(char c);

struct KeyValue {
  bool found = false;  // there was an "="
  std::string_view key;
  std::string_view value;
};

/// Splits at the first "=". Without one the key is the whole text and the value is empty.
KeyValue split_key_value(std::string_view text);

/// The parts between line feeds. A final line feed ends the last part and opens no further one; an
/// empty text has no part.
std::vector<std::string_view> split_lines(std::string_view text);

/// Reads a signed number the way strtol does where long has 32 bits: leading blanks, a sign,
/// digits up to the first other character, 0 without digits; clamped to the ends of the range.
std::int32_t to_int32(std::string_view text, int base = 10);

enum class NumberReading { kOk, kNoDigits, kOutOfRange };

/// Reads an unsigned number the way strtoul does where long has 32 bits; a minus sign negates
/// modulo 2^32. `value` becomes 0 without digits and 0xFFFFFFFF out of range.
NumberReading to_uint32(std::string_view text, int base, std::uint32_t& value);

/// The system's text for an errno value.
std::string error_text(int error);

}  // namespace kovo
