// The text of a profile: its lines, section headers and keys, and where a write cuts it. Pure: no file, no
// lock. `text` is a profile up to its first NUL (readableText), at most 2^31-2 bytes.
//
// Line: ends at a CR or an LF; one LF directly behind that belongs to the same line end, so LF LF is one.
//
// Header: a line that begins with "[". The name runs to the first "]" or to the end of the text.
//
// Section: begins behind its header's line; ends at a line whose first byte, as a signed char, is below 0x21,
// or with the text. A header does not end it: it is a key line there, of itself alone.
//
// Key: runs from the line's start to the next "=", over line ends too unless the line begins with "[". The
// value runs from there to the line's end. The line after that is the next one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace nimboxi {

inline constexpr std::size_t kNoPosition = std::string_view::npos;

// The part of a file's contents that is read: all before the first NUL.
std::string_view readableText(std::string_view contents);

// Where the line after the one that holds `position` begins; the text's size at its end.
std::size_t nextLine(std::string_view text, std::size_t position);

// Whether the line at `position` ends a section. True at the end of the text.
bool endsSection(std::string_view text, std::size_t position);

// Whether the line at `line` begins with `key` and a "=" behind it. `key` holds no "=".
bool hasKey(std::string_view text, std::size_t line, std::string_view key);

// The value that begins at `position`: all up to the line's end.
std::string_view valueAt(std::string_view text, std::size_t position);

// Finds a key by walking the text; linear in its size.
//   insertionPoint  receives the start of the matching line; or where the last section of the name ends and a
//                   new key goes; or kNoPosition without such a section. May be null
// Returns the offset of the value, or -1.
std::ptrdiff_t FindProfileKey(std::string_view text, std::string_view section, std::string_view key,
                              std::size_t* insertionPoint);

// Copies the lines of all sections of a name as NUL-terminated strings and a NUL behind the last.
//   size  bytes that `buffer` holds; below 2 nothing fits: only the NUL is written, if there is room
// Returns the bytes written without the last NUL; `size` - 2 when a line did not fit.
std::uint32_t copyProfileSection(std::string_view text, std::string_view section, char* buffer,
                                 std::uint32_t size);

// What of a file stays in front of a key line that is to be written, and what behind it.
struct ProfileCut {
  std::string_view head;
  bool newSection;          // a header has to be written between `head` and the key line
  std::string_view rest;    // without the line that the new one replaces
  std::string_view unread;  // the first NUL and all behind it; goes to the end of the file
};

// Where to cut a file's contents for setting `key` in `section`.
ProfileCut cutProfile(std::string_view contents, std::string_view section, std::string_view key);

}  // namespace nimboxi
