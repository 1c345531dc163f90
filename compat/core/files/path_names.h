// Splitting and building path names: the parts of a path, the full path of a name, where a move goes, what a
// temporary file is called. Pure. Names are bytes; '/' stands between components. Every buffer for a path
// holds MAX_PATH_BYTES; what is built in one counts only when the function succeeds.
#pragma once

#include <optional>
#include <string_view>

#include "nimboxi/types.h"

namespace nimboxi {

// The parts of a path, each empty when the path has none.
struct PathParts {
  std::string_view drive;      // up to the first ':', included
  std::string_view directory;  // from behind the drive up to the last '/', included
  std::string_view name;       // the last component without its extension
  std::string_view extension;  // from the last '.' of the last component on
};

PathParts splitPath(std::string_view path);

// Copies what a buffer of `size` bytes holds of `text`, and a NUL; nothing when `size` is 0. Returns the part
// that fits.
std::string_view copyCut(std::string_view text, char* buffer, std::size_t size);

// Builds the absolute path of `name`, which counts from `workingDirectory` unless it begins with '/'. "." is
// left out; ".." cuts the path back to the root. Returns its length; 0 when it does not fit, were it only
// before a "..".
[[nodiscard]] std::size_t buildFullPath(std::string_view workingDirectory, std::string_view name, char* path);

// Where the last part of a path begins by the Win32 rules: behind its last backslash, but not before the
// fourth character, where a path without one has it. A shorter path has it at its end.
std::size_t filePartOffset(std::string_view path);

// Whether a move puts the old name into the directory that the new name stands for. Both are attributes as
// GetFileAttributes gives them.
bool movesInto(DWORD oldAttributes, DWORD newAttributes);

// Builds the path that `oldName` gets in `directory`. False when it does not fit.
[[nodiscard]] bool buildMoveTarget(std::string_view oldName, std::string_view directory, char* path);

// Builds "directory/prefixNNNN.tmp", the number in four lower-case hexadecimal digits. False when it does not
// fit.
[[nodiscard]] bool buildTempName(std::string_view directory, std::string_view prefix, WORD number,
                                 char* path);

// The first number from `first` on, 0 behind 65535, for which `isTaken(number)` is false. Asks once for each;
// nothing when all are taken.
template <typename Taken>
std::optional<WORD> firstFreeNumber(WORD first, Taken isTaken) {
  WORD number = first;
  do {
    if (!isTaken(number)) return number;
    ++number;
  } while (number != first);
  return std::nullopt;
}

}  // namespace nimboxi
