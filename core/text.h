// Functions on texts. All text is bytes, and only ASCII letters have case. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

namespace kovo {

// Limits of texts in bytes, without a terminating NUL.
constexpr std::size_t kMaxParameter = 127;   // a line of the parameter tool
constexpr std::size_t kMaxShortText = 63;    // destination addresses, serial formats
constexpr std::size_t kMaxStatusLine = 511;  // status lines and setting lines
constexpr std::size_t kMaxCommand = 1023;    // command lines, payloads, mirror lines
constexpr std::size_t kMaxMessage = 2047;    // messages, status answers, lines of files
constexpr std::size_t kMaxDatagram = 4096;   // datagrams of the two UDP ports

constexpr std::size_t kMinAddress = 7;  // a text shorter than "1.2.3.4" is not an address

std::string_view truncated(std::string_view text, std::size_t limit);

/// Returns the text up to its first NUL: received text ends there.
std::string_view until_nul(std::string_view text);

std::string_view until_newline(std::string_view text);

/// Returns the text without one trailing newline.
std::string_view strip_newline(std::string_view text);

bool contains(std::string_view text, std::string_view word);

bool equals_nocase(std::string_view a, std::string_view b);

bool starts_with_nocase(std::string_view text, std::string_view prefix);

/// Returns the text in lower case, the key of a case-insensitive index.
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

/// Returns the parts between newlines. No part follows a final newline; an empty text has no part.
std::vector<std::string_view> split_lines(std::string_view text);

/// Parses a signed number as strtol does where long has 32 bits: leading blanks, a sign, digits up
/// to the first other character; 0 without digits; clamped to the range.
std::int32_t to_int32(std::string_view text, int base = 10);

enum class NumberReading { kOk, kNoDigits, kOutOfRange };

/// Parses an unsigned number as strtoul does where long has 32 bits; a minus sign negates modulo
/// 2^32. `value` becomes 0 without digits and 0xFFFFFFFF out of range.
NumberReading to_uint32(std::string_view text, int base, std::uint32_t& value);

/// Returns a date such as "2025-03-05 ", with a trailing blank.
std::string date_text(const std::tm& time);

/// Returns a time of day such as "07:04:09".
std::string time_text(const std::tm& time);

/// Returns the system's text for an errno value, valid until the thread's next call.
const char* error_text(int error);

}  // namespace kovo
