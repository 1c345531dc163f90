// Reading a resource block from its file.
#include "service/resources/block_reader.h"

#include <algorithm>

#include "nimboxi/files.h"
#include "nimboxi/handles.h"

namespace nimbolsp {

namespace {

constexpr std::int64_t kBlockEndSize = kBlockHeaderSize + kBlockMarker.size();
constexpr std::int64_t kMostTableBytes = 64 << 20;  // a sparse file may claim far more than it holds
constexpr std::size_t kPieceSize = 64 << 10;

// A file that is open for reading; closed at the end of the scope.
class OpenFile {
 public:
  explicit OpenFile(const char* name)
      : handle_(CreateFile(name, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr)) {
    if (!isOpen() || !GetFileSizeEx(handle_, &size_)) size_ = 0;
  }
  ~OpenFile() {
    if (isOpen()) CloseHandle(handle_);
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  bool isOpen() const { return handle_ != INVALID_HANDLE_VALUE; }
  std::int64_t size() const { return size_; }

  // The bytes from `offset` to the end of the file, as far as they can be had.
  std::vector<std::uint8_t> readFrom(std::int64_t offset) {
    std::vector<std::uint8_t> bytes;
    if (offset < 0 || offset >= size_ || !SetFilePointerEx(handle_, offset, nullptr, FILE_BEGIN))
      return bytes;
    const auto wanted = static_cast<std::size_t>(std::min(size_ - offset, kMostTableBytes));
    DWORD count = 1;
    while (bytes.size() < wanted && count != 0) {
      const std::size_t have = bytes.size();
      const std::size_t piece = std::min(kPieceSize, wanted - have);
      bytes.resize(have + piece);
      if (!ReadFile(handle_, &bytes[have], static_cast<DWORD>(piece), &count)) count = 0;
      bytes.resize(have + std::min<std::size_t>(count, piece));
    }
    return bytes;
  }

 private:
  HANDLE handle_;
  std::int64_t size_ = 0;
};

}  // namespace

std::int64_t readAppendedBlock(const char* fileName, AppendedTables& tables) {
  OpenFile file(fileName);
  const auto header = parseBlockEnd(file.readFrom(file.size() - kBlockEndSize));
  if (!header) return file.size();
  if (header->stringOffset != 0) tables.strings = parseStringTable(file.readFrom(header->stringOffset));
  if (header->dialogOffset != 0) tables.dialogs = parseDialogTable(file.readFrom(header->dialogOffset));
  return header->firstWord;
}

}  // namespace nimbolsp
