// How a message of the variable channels is split, and how the raw value in it is decoded.
#pragma once

#include <string>
#include <string_view>

namespace kovo {

/// Decodes a raw text: escape sequences first, then percent codes. The result ends at kMaxMessage
/// bytes or its first NUL.
std::string decode_value(std::string_view raw);

enum class Splitting { kOk, kMalformed, kNoCommand };

/// One message split at its colons.
struct Message {
  Splitting splitting = Splitting::kNoCommand;
  std::string command;
  std::string arg1;
  std::string arg2;
  std::string arg3;
};

/// Splits word::arg1::arg2 or word::arg1::arg2::arg3. Word, arg1 and arg2 end at their first colon,
/// arg2 and arg3 at their first newline; arg3 is the rest. kNoCommand without any colon;
/// kMalformed, with the word, unless "::" follows both word and arg1.
Message split_message(std::string_view text);

}  // namespace kovo
