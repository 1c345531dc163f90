// Mode strings, cut into fields or words that are read one after the other.
#include "compat/core/ports/comm_mode.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string_view>

#include "nimboxi/errors.h"

namespace nimboxi {
namespace {

constexpr std::size_t kShortestMode = 5;
constexpr std::size_t kLongestMode = 50;
constexpr std::size_t kPortLength = 5;  // "COM1:"
constexpr DWORD kTwoStopBitsRate = 110;

constexpr DWORD kFlowFlags =
    DCB_OUT_CTS_FLOW | DCB_OUT_DSR_FLOW | DCB_DTR_CONTROL | DCB_OUT_X | DCB_IN_X | DCB_RTS_CONTROL;
constexpr DWORD kLinesEnabled = DCB_DTR_CONTROL_ENABLE | DCB_RTS_CONTROL_ENABLE;
constexpr DWORD kLinesHandshake = DCB_DTR_CONTROL_HANDSHAKE | DCB_RTS_CONTROL_HANDSHAKE;

// ASCII alone, whatever the locale.
char upperCase(char character) {
  return character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A') : character;
}

// The letter that a text stands for: its first, in upper case; 0 for an empty text.
char letterOf(std::string_view text) {
  return text.empty() ? '\0' : upperCase(text.front());
}

bool hasPort(std::string_view mode) {
  return upperCase(mode[0]) == 'C' && upperCase(mode[1]) == 'O' && upperCase(mode[2]) == 'M';
}

// Takes the next field off the front of the text, past any run of separators. Empty at the end.
std::string_view takeField(std::string_view& text, const char* separators) {
  text.remove_prefix(std::min(text.find_first_not_of(separators), text.size()));
  const std::string_view field = text.substr(0, text.find_first_of(separators));
  text.remove_prefix(field.size());
  return field;
}

// The value of a whole field of digits; 0 for any other field, and beyond 32 bits.
DWORD numberOf(std::string_view field) {
  const char* end = field.data() + field.size();
  DWORD number = 0;
  const std::from_chars_result result = std::from_chars(field.data(), end, number);
  return result.ec == std::errc() && result.ptr == end ? number : 0;
}

// Sets the parity that a letter names. False for any other letter: fParity is set then, and Parity as it was.
bool setParity(char letter, DCB& dcb) {
  dcb.flags |= DCB_PARITY;
  switch (letter) {
    case 'E':
      dcb.Parity = EVENPARITY;
      return true;
    case 'M':
      dcb.Parity = MARKPARITY;
      return true;
    case 'N':
      dcb.Parity = NOPARITY;
      dcb.flags &= ~DCB_PARITY;
      return true;
    case 'O':
      dcb.Parity = ODDPARITY;
      return true;
    default:
      return false;
  }
}

bool setByteSize(std::string_view field, DCB& dcb) {
  if (field.size() != 1 || field[0] < '0' || field[0] > '9') return false;
  dcb.ByteSize = static_cast<BYTE>(field[0] - '0');
  return true;
}

bool setStopBits(std::string_view field, DCB& dcb) {
  if (field != "1" && field != "2") return false;
  dcb.StopBits = field == "1" ? ONESTOPBIT : TWOSTOPBITS;
  return true;
}

DWORD flowFlagsOf(char letter) {
  switch (letter) {
    case 'X':
      return DCB_OUT_X | DCB_IN_X | kLinesEnabled;
    case 'P':
      return DCB_OUT_CTS_FLOW | DCB_OUT_DSR_FLOW | kLinesHandshake;
    default:
      return kLinesEnabled;
  }
}

// Rate, parity, data bits, stop bits, and perhaps a handshake; fields behind these are not looked at.
int32_t parseFields(std::string_view text, DCB& dcb) {
  constexpr const char* kSeparators = ", ";
  dcb.BaudRate = numberOf(takeField(text, kSeparators));
  if (dcb.BaudRate == 0) return IE_BAUDRATE;
  if (!setParity(letterOf(takeField(text, kSeparators)), dcb) ||
      !setByteSize(takeField(text, kSeparators), dcb) || !setStopBits(takeField(text, kSeparators), dcb)) {
    return IE_BADMODE;
  }
  dcb.flags = (dcb.flags & ~kFlowFlags) | flowFlagsOf(letterOf(takeField(text, kSeparators)));
  // Required(two-stops-at-110): at 110 baud the line has two stop bits, also where the string asks for one.
  if (dcb.BaudRate == kTwoStopBitsRate) dcb.StopBits = TWOSTOPBITS;
  return ERROR_SUCCESS;
}

void readParityWord(std::string_view word, DCB& dcb) {
  // Required(parity-ninth-character): the ninth character is the letter, so "parity=e" sets fParity alone and
  // "parity=?e" is even.
  constexpr std::size_t kLetter = 8;
  setParity(letterOf(word.substr(std::min(kLetter, word.size()))), dcb);
}

// Required(keyword-values-dropped): the values of "baud=", "stop=" and "data=" are not taken; the caller sees
// a rate of 0.
int32_t parseWords(std::string_view text, DCB& dcb) {
  for (std::string_view word = takeField(text, " "); !word.empty(); word = takeField(text, " ")) {
    if (word.starts_with("parity=")) {
      readParityWord(word, dcb);
    } else if (!word.starts_with("baud=") && !word.starts_with("stop=") && !word.starts_with("data=")) {
      return IE_BADMODE;
    }
  }
  return ERROR_SUCCESS;
}

}  // namespace

int32_t parseCommMode(const char* mode, DCB& dcb) {
  if (mode == nullptr) return IE_BADMODE;
  std::string_view text(mode, strnlen(mode, kLongestMode + 1));
  if (text.size() < kShortestMode || text.size() > kLongestMode) return ERROR_GEN_FAILURE;
  if (hasPort(text)) {
    if (text[3] == '0' || text[4] != ':') return IE_BADMODE;
    text.remove_prefix(kPortLength);
  }
  dcb = DCB{};
  dcb.DCBlength = sizeof(DCB);
  return text.find(',') != std::string_view::npos ? parseFields(text, dcb) : parseWords(text, dcb);
}

}  // namespace nimboxi
