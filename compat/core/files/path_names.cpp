// Splitting and building path names. Positions are indices into the text; nothing is read behind its end.
#include "compat/core/files/path_names.h"

#include <algorithm>
#include <cstdio>
#include <initializer_list>

#include "nimboxi/files.h"

namespace nimboxi {
namespace {

constexpr std::size_t kLongestPath = MAX_PATH_BYTES - 1;
constexpr std::size_t kFirstFilePart = 3;  // behind the "C:\" of a Win32 path

// The text from `begin` to `end`; empty when they are the wrong way round.
std::string_view between(std::string_view text, std::size_t begin, std::size_t end) {
  return begin < end ? text.substr(begin, end - begin) : std::string_view();
}

// Puts the parts one behind the other. False when they do not fit.
bool join(std::initializer_list<std::string_view> parts, char* path) {
  std::size_t length = 0;
  for (std::string_view part : parts) {
    if (part.size() > kLongestPath - length) return false;
    length += part.copy(path + length, part.size());
  }
  path[length] = '\0';
  return true;
}

// Appends what `names` says to the path built so far: "/a/b", empty for the root. False when it does not fit.
bool appendComponents(std::string_view names, char* path, std::size_t* length) {
  while (!names.empty()) {
    const std::string_view component = names.substr(0, names.find('/'));
    names.remove_prefix(std::min(component.size() + 1, names.size()));
    if (component.empty() || component == ".") continue;
    if (component == "..") {
      // Required(parent-is-root): ".." leads to the root from any depth, so ../x is /x everywhere.
      *length = 0;
      continue;
    }
    if (component.size() >= kLongestPath - *length) return false;  // with the '/' before it
    path[(*length)++] = '/';
    *length += component.copy(path + *length, component.size());
  }
  return true;
}

}  // namespace

PathParts splitPath(std::string_view path) {
  const std::size_t colon = path.find(':');
  const std::size_t slash = path.rfind('/');
  const std::size_t driveEnd = colon == path.npos ? 0 : colon + 1;
  // A ':' behind the last '/' belongs to the name too.
  const std::size_t nameBegin = slash == path.npos ? driveEnd : slash + 1;
  const std::size_t dot = path.rfind('.');
  const bool hasExtension = dot != path.npos && (slash == path.npos || dot > slash);
  const std::size_t extension = hasExtension ? dot : path.size();
  return {path.substr(0, driveEnd), between(path, driveEnd, slash == path.npos ? 0 : slash + 1),
          between(path, nameBegin, extension), path.substr(extension)};
}

std::string_view copyCut(std::string_view text, char* buffer, std::size_t size) {
  if (size == 0) return {};
  const std::string_view kept = text.substr(0, size - 1);
  buffer[kept.copy(buffer, kept.size())] = '\0';
  return kept;
}

std::size_t buildFullPath(std::string_view workingDirectory, std::string_view name, char* path) {
  std::size_t length = 0;
  const bool absolute = name.starts_with('/');
  if (!absolute && !appendComponents(workingDirectory, path, &length)) return 0;
  if (!appendComponents(name, path, &length)) return 0;
  if (length == 0) path[length++] = '/';
  path[length] = '\0';
  return length;
}

std::size_t filePartOffset(std::string_view path) {
  // Required(file-part-backslash): '/' does not count, so the file part of an ordinary path is its fourth
  // character.
  const std::size_t backslash = path.rfind('\\');
  if (backslash != path.npos && backslash >= kFirstFilePart) return backslash + 1;
  return std::min(kFirstFilePart, path.size());
}

bool movesInto(DWORD oldAttributes, DWORD newAttributes) {
  // Required(move-into-writable): only a writable directory counts as one, so a file cannot go into a
  // read-only directory, which itself goes into a writable one.
  return oldAttributes != FILE_ATTRIBUTE_DIRECTORY && newAttributes == FILE_ATTRIBUTE_DIRECTORY;
}

bool buildMoveTarget(std::string_view oldName, std::string_view directory, char* path) {
  const PathParts old = splitPath(oldName);
  // Required(move-drops-drive): what counts as a drive stays behind, so "a:b.txt" arrives as "b.txt".
  return join({directory, "/", old.name, old.extension}, path);
}

bool buildTempName(std::string_view directory, std::string_view prefix, WORD number, char* path) {
  char ending[sizeof "0000.tmp"];
  std::snprintf(ending, sizeof ending, "%04x.tmp", unsigned{number});
  return join({directory, "/", prefix, ending}, path);
}

}  // namespace nimboxi
