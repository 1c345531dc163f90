// The resource block at the end of a module's file: its strings against a plain reading of the bytes, its
// dialogs built into templates.
#include <cstring>

#include "service/resources/appended_block.h"
#include "service/resources/dialog_template.h"
#include "tests/fuzz/fuzz_input.h"

using namespace nimbolsp;

// Little-endian; bytes behind the end are 0.
static std::uint32_t wordAt(Bytes bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = 4; i-- > 0;) value = value << 8 | (at + i < bytes.size() ? bytes[at + i] : 0U);
  return value;
}

static void checkTables(Bytes bytes, const AppendedStrings& table, const std::vector<DialogRecord>& dialogs) {
  std::size_t at = 4, entry = 0;
  for (std::uint32_t count = wordAt(bytes, 0); count > 0 && at + 4 <= bytes.size(); --count, ++entry) {
    const std::uint32_t word = wordAt(bytes, at);
    const Bytes text = bytes.subspan(at + 4).first(std::min<std::size_t>(word >> 20, bytes.size() - at - 4));
    MUST(table.entries.at(entry).id == (word & 0xFFFFF) && table.entries[entry].text[text.size()] == '\0');
    MUST(std::memcmp(text.data(), table.entries[entry].text, text.size()) == 0);
    at += 4 + text.size();
  }
  MUST(entry == table.entries.size());
  for (const DialogRecord& dialog : dialogs) {
    std::size_t size = 28 + 2 * (dialog.caption.size() + dialog.fontName.size());
    for (const DialogItem& item : dialog.items) {
      size = (size + 3) / 4 * 4 + 24 + 2 * (item.className.size() + item.text.size());
    }
    MUST(buildDialogTemplate(dialog).size() == size && dialog.itemCount == dialog.items.size());
  }
}

void fuzz(FuzzInput input) {
  const std::string all = input.rest();
  const std::vector<std::uint8_t> bytes(all.begin(), all.end());
  checkTables(bytes, parseStringTable(bytes), parseDialogTable(bytes));
  const auto header = parseBlockEnd(bytes);
  MUST(header.has_value() == (bytes.size() >= kBlockHeaderSize + 12 && all.ends_with(kBlockMarker)));
  MUST(!header || header->firstWord == wordAt(bytes, bytes.size() - kBlockHeaderSize - 12));
}
