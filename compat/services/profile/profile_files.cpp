// The profile calls: the one file that is kept in memory, reading and writing. What the text means is decided
// in profile_text and profile_index, which file is meant in profile_path. All state is guarded by the layer
// guard; it is leaked at exit.
#include "compat/services/profile/profile_files.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "compat/core/errors/fail.h"
#include "compat/core/ports/port_entries.h"
#include "compat/services/profile/locked_file.h"
#include "compat/services/profile/profile_index.h"
#include "compat/services/profile/profile_path.h"
#include "compat/services/profile/profile_text.h"
#include "nimboxi/memory.h"
#include "nimboxi/ports.h"
#include "nimboxi/profile.h"
#include "nimboxi/support/file_handle.h"

namespace nimboxi {
namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::int64_t kMaxProfileBytes = INT32_MAX - 1;  // leaves room for a NUL in a block

struct BlockDeleter {
  void operator()(char* block) const { FreeBlock(block); }
};

// What a file held when it was read.
struct FileContents {
  std::unique_ptr<char, BlockDeleter> block;  // null for no data
  std::size_t size = 0;
  bool complete = true;  // false: there may be more than could be read

  std::string_view bytes() const { return {block.get(), size}; }
};

// One file, kept from one cached read to the next.
struct ProfileCache {
  ProfileCache(const char* name, FileContents file)
      : path(name), contents(std::move(file)), text(readableText(contents.bytes())), index(text) {}

  const std::string path;
  const FileContents contents;
  const std::string_view text;
  const ProfileIndex index;
};

ProfileCache* profileCache NIMBOXI_GUARDED_BY(layerGuard) = nullptr;

void dropCache() NIMBOXI_REQUIRES(layerGuard) {
  delete profileCache;
  profileCache = nullptr;
}

// Reads `size` bytes, or fewer when the file gives no more: a directory has a size and nothing to read.
FileContents readContents(HANDLE file, std::int64_t size) {
  FileContents contents;
  contents.complete = false;
  if (size > kMaxProfileBytes) return contents;
  contents.block.reset(static_cast<char*>(AllocBlock(BLOCK_ZEROED, static_cast<std::int32_t>(size) + 1)));
  if (contents.block == nullptr) return contents;
  DWORD bytesRead = 0;
  const bool read = ReadFile(file, contents.block.get(), static_cast<DWORD>(size), &bytesRead);
  contents.size = read ? std::min<std::size_t>(bytesRead, static_cast<std::size_t>(size)) : 0;
  contents.complete = contents.size == static_cast<std::size_t>(size);
  if (contents.size == 0) contents.block.reset();
  return contents;
}

FileContents ReadProfileFile(const char* path) {
  const OpenFile file(path, GENERIC_READ, OPEN_EXISTING);
  FileContents contents;
  std::int64_t size = 0;
  if (!file.isOpen()) {
    contents.complete = false;
  } else if (GetFileSizeEx(file.handle(), &size) && size > 0) {
    contents = readContents(file.handle(), size);
  }
  return contents;
}

// The profile at `path` from the cache, or read into it; null for no data.
const ProfileCache* readCached(const char* path) NIMBOXI_REQUIRES(layerGuard) {
  if (profileCache != nullptr && profileCache->path == path) return profileCache;
  dropCache();
  FileContents contents = ReadProfileFile(path);
  // Opening a file whose name looks like a port's reads the layer profile, which is then the one in the
  // cache.
  dropCache();
  if (contents.block == nullptr) return nullptr;
  try {
    profileCache = new ProfileCache(path, std::move(contents));
  } catch (const std::bad_alloc&) {
  }
  return profileCache;
}

// A key's line to be written.
struct NewLine {
  const char* section;
  const char* key;
  const char* value;
};

// The line without its end, behind the header of a new section.
std::string lineText(const ProfileCut& cut, bool hadContents, const NewLine& line) {
  std::string text;
  if (cut.newSection) {
    if (hadContents) text = kLineEnd;
    text.append("[").append(line.section).append("]").append(kLineEnd);
  }
  return text.append(line.key).append("=").append(line.value);
}

// Changes an ordinary file.
BOOL changeFile(const LockedFile& file, const NewLine& line) {
  std::string contents;
  if (file.read(contents, kMaxProfileBytes)) {
    const ProfileCut cut = cutProfile(contents, line.section, line.key);
    std::string changed = lineText(cut, !contents.empty(), line);
    changed.append(kLineEnd).append(cut.rest).append(cut.unread);
    if (file.replace(contents, cut.head.size(), std::move(changed))) return TRUE;
  }
  return failFromErrno();
}

bool put(HANDLE file, std::string_view bytes) {
  return bytes.empty() || WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), nullptr);
}

// Writes the whole text to what is no ordinary file: a port, a pipe.
BOOL writeStream(const char* path, const NewLine& line) {
  const FileContents contents = ReadProfileFile(path);
  if (!contents.complete) return FALSE;
  const ProfileCut cut = cutProfile(contents.bytes(), line.section, line.key);
  const std::string text = lineText(cut, contents.size > 0, line);
  const OpenFile file(path, GENERIC_READ | GENERIC_WRITE, CREATE_ALWAYS);
  if (!file.isOpen()) return FALSE;
  put(file.handle(), cut.head);
  put(file.handle(), text);
  // Required(line-end-is-success): success means that the end of the key's line was written, whatever becomes
  // of the rest.
  const bool written = put(file.handle(), kLineEnd);
  put(file.handle(), cut.rest);
  put(file.handle(), cut.unread);
  return written;
}

// Whether opening the name means a port's device. Reads the layer profile through the cache.
bool isPort(const char* name) {
  char entry[255];  // cut as CreateFile cuts it
  return MapDeviceName(name, entry, sizeof entry) != DEVICE_FILE;
}

BOOL writeKey(const char* path, const NewLine& line) NIMBOXI_REQUIRES(layerGuard) {
  if (isPort(path)) return writeStream(path, line);
  SetLastError(ERROR_SUCCESS);
  {
    const LockedFile file(path);
    if (!file.isOpen()) return failFromErrno();
    if (file.isOrdinary()) return changeFile(file, line);
  }
  return writeStream(path, line);
}

void readPortsEntry(const char* key, char* value, DWORD size) {
  GetProfileString("Ports", key, "", value, size);
}

// Wired before main, in every program that calls LayerStartup or a profile call: a port has its entries also
// before the layer's start, and after its end.
[[maybe_unused]] const bool portEntriesWired = setPortEntryReader(readPortsEntry);

}  // namespace

void dropProfileCache() {
  CallGuard guard;
  dropCache();
}

}  // namespace nimboxi

using namespace nimboxi;

DWORD GetPrivateProfileString(const char* section, const char* key, const char* defaultValue, char* buffer,
                              DWORD size, const char* fileName) {
  CallGuard guard;
  if (section == nullptr || key == nullptr || fileName == nullptr) return 0;
  const char* source = defaultValue;
  std::size_t length = source == nullptr ? 0 : std::strlen(source);
  if (const ProfileCache* profile = readCached(ResolveProfileName(fileName))) {
    const std::ptrdiff_t offset = profile->index.find(section, key);
    if (offset >= 0) {
      const std::string_view value = valueAt(profile->text, static_cast<std::size_t>(offset));
      source = value.data();
      length = value.size();
    }
  }
  if (source == nullptr || buffer == nullptr || size == 0) return 0;
  length = std::min<std::size_t>(length, size - 1);
  std::memmove(buffer, source, length);  // the default may stand in the buffer itself
  buffer[length] = '\0';
  return static_cast<DWORD>(length);
}

DWORD GetProfileString(const char* section, const char* key, const char* defaultValue, char* buffer,
                       DWORD size) {
  return GetPrivateProfileString(section, key, defaultValue, buffer, size, kLayerProfileAlias);
}

DWORD GetPrivateProfileSection(const char* section, char* buffer, DWORD size, const char* fileName) {
  CallGuard guard;
  if (section == nullptr || buffer == nullptr || fileName == nullptr) return 0;
  // Required(uncached-read-drops): a section read and a write empty the cache also when it holds another
  // file; they make the next cached read see a file that was changed on disk.
  dropCache();
  const FileContents contents = ReadProfileFile(ResolveProfileName(fileName));
  return copyProfileSection(readableText(contents.bytes()), section, buffer, size);
}

DWORD GetProfileSection(const char* section, char* buffer, DWORD size) {
  return GetPrivateProfileSection(section, buffer, size, kLayerProfileAlias);
}

BOOL WritePrivateProfileString(const char* section, const char* key, const char* value,
                               const char* fileName) {
  CallGuard guard;
  if (section == nullptr || key == nullptr || value == nullptr || fileName == nullptr) return FALSE;
  dropCache();  // as a section read
  BOOL written = FALSE;
  try {
    written = writeKey(ResolveProfileName(fileName), {section, key, value});
  } catch (const std::bad_alloc&) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
  }
  dropCache();  // the name of a port had the layer profile read
  return written;
}

BOOL WriteProfileString(const char* section, const char* key, const char* value) {
  return WritePrivateProfileString(section, key, value, kLayerProfileAlias);
}
