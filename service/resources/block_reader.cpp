// Reading a resource block from its file.
#include "service/resources/block_reader.h"

#include <algorithm>

#include "nimboxi/support/file_handle.h"

namespace nimbolsp {

namespace {

constexpr std::int64_t kBlockEndSize = kBlockHeaderSize + kBlockMarker.size();
constexpr std::int64_t kMostTableBytes = 64 << 20;  // a sparse file may claim far more than it holds
constexpr std::size_t kPieceSize = 64 << 10;

// The size of a file; 0 when it cannot be had.
std::int64_t sizeOf(const nimboxi::OpenFile& file) {
  std::int64_t size = 0;
  return GetFileSizeEx(file.handle(), &size) ? size : 0;
}

// The bytes from `offset` to the end of a file of `size` bytes, as far as they can be had.
std::vector<std::uint8_t> readFrom(const nimboxi::OpenFile& file, std::int64_t offset, std::int64_t size) {
  std::vector<std::uint8_t> bytes;
  if (offset < 0 || offset >= size || !SetFilePointerEx(file.handle(), offset, nullptr, FILE_BEGIN)) {
    return bytes;
  }
  const auto wanted = static_cast<std::size_t>(std::min(size - offset, kMostTableBytes));
  DWORD count = 1;
  while (bytes.size() < wanted && count != 0) {
    const std::size_t have = bytes.size();
    const std::size_t piece = std::min(kPieceSize, wanted - have);
    bytes.resize(have + piece);
    if (!ReadFile(file.handle(), &bytes[have], static_cast<DWORD>(piece), &count)) count = 0;
    bytes.resize(have + std::min<std::size_t>(count, piece));
  }
  return bytes;
}

}  // namespace

std::int64_t readAppendedBlock(const char* fileName, AppendedTables& tables) {
  const nimboxi::OpenFile file(fileName, GENERIC_READ, OPEN_EXISTING);
  const std::int64_t size = sizeOf(file);
  const auto header = parseBlockEnd(readFrom(file, size - kBlockEndSize, size));
  if (!header) return size;
  if (header->stringOffset != 0)
    tables.strings = parseStringTable(readFrom(file, header->stringOffset, size));
  if (header->dialogOffset != 0)
    tables.dialogs = parseDialogTable(readFrom(file, header->dialogOffset, size));
  return header->firstWord;
}

}  // namespace nimbolsp
