// How the messages of the variable channels are split, what the values in them say, and how often a
// change may raise an event: pure data in, data out.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kovo {

constexpr std::int64_t kHoldOffS = 4;     // between two messages of a row, for its event
constexpr std::int64_t kEventPauseS = 2;  // between two of the same dedicated event

/// Returns whether the pause of an event last raised, or of a row that last counted, `since_last_s`
/// seconds ago still lasts. A time in the future counts as long past: the clock was set back.
bool pause_lasts(std::int64_t since_last_s, std::int64_t pause_s);

/// Decodes a raw text: escape sequences first, then percent codes; then truncates it.
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
/// kMalformed, with the word, if a second colon or a separator is missing.
Message split_message(std::string_view text);

struct TimingWord {
  bool enable;     // bit 31
  bool yuv_given;  // bit 29
  bool yuv_auto;   // bit 23
};

/// Decodes the hexadecimal word of V_OUTPUT_TIMING_CONVERT.
TimingWord decode_timing(std::string_view value);

/// Returns the colour-output mode of a timing word: "OFF", "ON" or "AUTO".
const char* yuv_of(const TimingWord& word);

struct SerialFormat {
  std::string baud;
  std::string databits;
  std::string parity;
  std::string stopbits;
};

struct SerialField {
  const char* variable;
  const char* event;
  std::string SerialFormat::*part;
};

constexpr SerialField kSerialFields[] = {
    {"S0_BAUDRATE.baudrate", "serialBaud", &SerialFormat::baud},
    {"S0_BAUDRATE.databits", "serialNumBits", &SerialFormat::databits},
    {"S0_BAUDRATE.parity", "serialParity", &SerialFormat::parity},
    {"S0_BAUDRATE.stopbits", "serialStopBits", &SerialFormat::stopbits},
};

/// Splits a format such as "9600-8N1"; missing parts are empty. Returns nothing without a "-".
std::optional<SerialFormat> split_serial(std::string_view text);

/// Returns the 802.1X status of a mode text: "off" or "on".
const char* p8021_status_of(std::string_view wpa_eap_mode);

}  // namespace kovo
