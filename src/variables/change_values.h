// What the values of device variables say, and how often a change may raise an event: pure data in,
// data out.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kovo {

constexpr std::int64_t kQuietPeriodS = 4;  // between messages of a row, for its event
constexpr std::int64_t kEventPauseS = 2;   // between two of the same dedicated event

/// Returns whether the pause of an event that was last raised, or of a row that last counted,
/// `since_last_s` seconds ago still lasts. A time in the future is long past: the clock was set
/// back.
bool pause_lasts(std::int64_t since_last_s, std::int64_t pause_s);

/// The value that a raw text stands for: escape sequences first, then percent codes, cut.
std::string decode_value(std::string_view raw);

struct TimingWord {
  bool enable;     // bit 31
  bool yuv_given;  // bit 29
  bool yuv_auto;   // bit 23
};

/// Decodes the hexadecimal word of V_OUTPUT_TIMING_CONVERT.
TimingWord decode_timing(std::string_view value);

/// The colour-output mode of a timing word: "OFF", "ON" or "AUTO".
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

/// Splits a format such as "9600-8N1"; what it does not have is empty. Nothing without a "-".
std::optional<SerialFormat> split_serial(std::string_view text);

/// The 802.1X state that a mode text stands for: "off" or "on".
const char* p8021_status_of(std::string_view wpa_eap_mode);

}  // namespace kovo
