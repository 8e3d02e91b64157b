#include "check/typed_text.h"

#include <algorithm>

#include "check/words.h"
#include "core/text.h"

namespace kovo::check {
namespace {

struct Code {
  std::string_view typed;  // case-insensitive, except for the letter after a backslash
  char byte;
};

constexpr Code kCodes[] = {
    {"\\r", '\r'},     {"\\n", '\n'},     {"\\t", '\t'},     {"\\\\", '\\'},    {"$0D", '\r'},
    {"$0A", '\n'},     {"%0D", '\r'},     {"%0A", '\n'},     {"<NUL>", '\x00'}, {"<SOH>", '\x01'},
    {"<STX>", '\x02'}, {"<ETX>", '\x03'}, {"<EOT>", '\x04'}, {"<ENQ>", '\x05'}, {"<ACK>", '\x06'},
    {"<BEL>", '\x07'}, {"<BS>", '\x08'},  {"<HT>", '\x09'},  {"<LF>", '\x0A'},  {"<VT>", '\x0B'},
    {"<FF>", '\x0C'},  {"<CR>", '\x0D'},  {"<SO>", '\x0E'},  {"<SI>", '\x0F'},  {"<DLE>", '\x10'},
    {"<DC1>", '\x11'}, {"<DC2>", '\x12'}, {"<DC3>", '\x13'}, {"<DC4>", '\x14'}, {"<NAK>", '\x15'},
    {"<SYN>", '\x16'}, {"<ETB>", '\x17'}, {"<CAN>", '\x18'}, {"<EM>", '\x19'},  {"<SUB>", '\x1A'},
    {"<ESC>", '\x1B'}, {"<FS>", '\x1C'},  {"<GS>", '\x1D'},  {"<RS>", '\x1E'},  {"<US>", '\x1F'},
    {"<DEL>", '\x7F'}};
constexpr std::string_view kHexPrefixes[] = {"0x", "\\x", "$", "%"};

int hex_value(std::string_view digits) {
  const bool good = digits.size() == 2 &&
                    digits.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
  return good ? to_int32(digits, 16) : -1;
}

/// Reads one byte; returns the length of its spelling.
std::size_t read_byte(std::string_view text, char& byte) {
  const int value = text.substr(0, 2) == "\\x" ? hex_value(text.substr(2, 2)) : -1;
  byte = value >= 0 ? static_cast<char>(value) : text.front();
  if (value >= 0) return 4;
  for (const auto& [typed, code] : kCodes) {
    const bool is_escape = typed.front() == '\\';
    if (is_escape ? text.substr(0, 2) != typed : !starts_with_nocase(text, typed)) continue;
    byte = code;
    return typed.size();
  }
  return 1;
}

}  // namespace

std::string bytes_of_text(std::string_view text) {
  std::string bytes;
  while (!text.empty()) {
    char byte = '\0';
    text.remove_prefix(read_byte(text, byte));
    bytes += byte;
  }
  return bytes;
}

std::string spelled_as_hex(std::string_view text) {
  std::string digits;
  while (!text.empty()) {
    char byte = '\0';
    const std::size_t length = read_byte(text, byte);
    digits += length > 1 ? as_hex({&byte, 1}) : std::string(1, byte);
    text.remove_prefix(length);
  }
  return digits;
}

std::string text_of_bytes(std::string_view bytes) {
  std::string text;
  for (; !bytes.empty(); bytes.remove_prefix(1)) {
    const char byte = bytes.front();
    char read = '\0';
    if (byte == '\\') {
      text += "\\\\";
    } else if (read_byte(bytes, read) > 1) {  // would be read as another byte
      text += "\\x" + as_hex(bytes.substr(0, 1));
    } else {
      text += escaped(bytes.substr(0, 1));
    }
  }
  return text;
}

std::optional<std::string> bytes_of_hex(std::string_view text) {
  std::string bytes;
  while (true) {
    text.remove_prefix(std::min(text.find_first_not_of(kHexSeparators), text.size()));
    if (text.empty()) return bytes;
    for (const std::string_view prefix : kHexPrefixes) {
      if (starts_with_nocase(text, prefix)) text.remove_prefix(prefix.size());
    }
    const int value = hex_value(text.substr(0, 2));
    if (value < 0) return {};
    bytes += static_cast<char>(value);
    text.remove_prefix(starts_with_nocase(text.substr(2), "h") ? 3 : 2);
  }
}

bool looks_like_hex(std::string_view text) {
  const std::optional<std::string> bytes = bytes_of_hex(text);
  return bytes && bytes->size() > 1 && *bytes != bytes_of_text(text);
}

std::string_view find_unread_code(std::string_view text) {
  for (char byte = '\0'; !text.empty(); text.remove_prefix(read_byte(text, byte))) {
    if (read_byte(text, byte) > 1) continue;
    const std::size_t prefix = starts_with_nocase(text, "0x") ? 2 : 1;
    const bool is_prefixed = prefix == 2 || text[0] == '$' || text[0] == '%';
    if (is_prefixed && hex_value(text.substr(prefix, 2)) >= 0) return text.substr(0, prefix + 2);
    const std::size_t end = text.substr(0, 5).find(']');
    if (text[0] != '[' || end == std::string_view::npos) continue;
    const std::string name = "<" + std::string(text.substr(1, end - 1)) + ">";
    if (read_byte(name, byte) > 1) return text.substr(0, end + 1);
  }
  return {};
}

}  // namespace kovo::check
