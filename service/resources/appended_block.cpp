// Parsing of a module's resource block.
#include "service/resources/appended_block.h"

#include <algorithm>
#include <cstring>

namespace nimbolsp {

namespace {

constexpr std::size_t kDialogOffsetAt = 4 + 16;
constexpr std::size_t kStringOffsetAt = 4 + 16 + 4;

// A string entry: one word, the id in its low bits and the text's length above, then the text.
constexpr unsigned kStringIdBits = 20;
constexpr std::uint32_t kStringIdMask = (1U << kStringIdBits) - 1;

// A dialog entry: a head of an unused word and the size of the body, then the body, which begins with seven
// words. An item begins with six words.
constexpr std::size_t kDialogHeadSize = 4 + 4;
constexpr std::size_t kDialogWordsSize = 7 * sizeof(std::uint32_t);
constexpr std::size_t kItemWordsSize = 6 * sizeof(std::uint32_t);

// Takes integers and texts off the front of the bytes. Behind their end a number is 0 and a text is empty.
class BlockReader {
 public:
  explicit BlockReader(Bytes bytes) : rest_(bytes) {}

  std::size_t left() const { return rest_.size(); }

  Bytes take(std::size_t count) {
    const Bytes taken = rest_.first(std::min(count, rest_.size()));
    rest_ = rest_.subspan(taken.size());
    return taken;
  }

  std::uint32_t number(std::size_t size) {
    std::uint32_t value = 0;
    unsigned shift = 0;
    for (const std::uint8_t byte : take(size)) {
      value |= static_cast<std::uint32_t>(byte) << shift;
      shift += 8;
    }
    return value;
  }

  std::uint32_t word() { return number(4); }

  // A text behind its 16-bit length, up to a NUL.
  std::string text() {
    const Bytes bytes = take(number(2));
    return {bytes.begin(), std::find(bytes.begin(), bytes.end(), std::uint8_t{0})};
  }

 private:
  Bytes rest_;
};

// Calls `entry(id, text)` for each string of the table.
template <class Entry>
void walkStrings(Bytes bytes, Entry entry) {
  BlockReader reader(bytes);
  for (std::uint32_t count = reader.word(); count != 0 && reader.left() >= 4; --count) {
    const std::uint32_t packed = reader.word();
    entry(packed & kStringIdMask, reader.take(packed >> kStringIdBits));
  }
}

DialogItem parseItem(BlockReader& body) {
  DialogItem item{};
  for (std::uint32_t* field : {&item.id, &item.style, &item.x, &item.y, &item.width, &item.height}) {
    *field = body.word();
  }
  item.className = body.text();
  item.text = body.text();
  return item;
}

DialogRecord parseDialog(BlockReader body) {
  DialogRecord dialog{};
  for (std::uint32_t* field :
       {&dialog.id, &dialog.style, &dialog.itemCount, &dialog.x, &dialog.y, &dialog.width, &dialog.height}) {
    *field = body.word();
  }
  dialog.caption = body.text();
  dialog.pointSize = body.word();
  dialog.fontName = body.text();
  while (dialog.items.size() < dialog.itemCount && body.left() >= kItemWordsSize) {
    dialog.items.push_back(parseItem(body));
  }
  dialog.itemCount = static_cast<std::uint32_t>(dialog.items.size());
  return dialog;
}

}  // namespace

std::optional<BlockHeader> parseBlockEnd(Bytes fileEnd) {
  if (fileEnd.size() < kBlockHeaderSize + kBlockMarker.size()) return {};
  const Bytes end = fileEnd.last(kBlockHeaderSize + kBlockMarker.size());
  if (std::memcmp(&end[kBlockHeaderSize], kBlockMarker.data(), kBlockMarker.size()) != 0) return {};
  return BlockHeader{BlockReader(end).word(), BlockReader(end.subspan(kDialogOffsetAt)).word(),
                     BlockReader(end.subspan(kStringOffsetAt)).word()};
}

// 1. Count entries and bytes, so that the texts never move while entries point at them.
// 2. Copy each text with a NUL behind it.
AppendedStrings parseStringTable(Bytes bytes) {
  AppendedStrings table;
  std::size_t entries = 0;
  std::size_t textBytes = 0;
  walkStrings(bytes, [&](std::uint32_t, Bytes text) {
    ++entries;
    textBytes += text.size() + 1;
  });
  table.entries.reserve(entries);
  table.texts.reserve(textBytes);
  walkStrings(bytes, [&](std::uint32_t id, Bytes text) {
    table.entries.push_back({id, table.texts.data() + table.texts.size()});
    table.texts.insert(table.texts.end(), text.begin(), text.end());
    table.texts.push_back('\0');
  });
  return table;
}

std::vector<DialogRecord> parseDialogTable(Bytes bytes) {
  std::vector<DialogRecord> dialogs;
  BlockReader reader(bytes);
  for (std::uint32_t count = reader.word(); count != 0 && reader.left() >= kDialogHeadSize; --count) {
    reader.word();
    const Bytes body = reader.take(reader.word());
    if (body.size() >= kDialogWordsSize) dialogs.push_back(parseDialog(BlockReader(body)));
  }
  return dialogs;
}

}  // namespace nimbolsp
