// Parsing a resource block: whole ones, and bytes that promise more than they hold; and the template of a
// dialog, byte by byte.
#include "service/resources/appended_block.h"

#include <gtest/gtest.h>

#include <sstream>

#include "service/resources/block_reader.h"
#include "service/resources/dialog_template.h"
#include "tests/service/resources/block_bytes.h"
#include "tests/support/temp_folder.h"

using namespace nimbolsp;

namespace {

std::string describe(const AppendedTables& tables) {
  std::ostringstream text;
  for (const auto& string : tables.strings.entries) text << string.id << "=" << string.text << ";";
  for (const DialogRecord& dialog : tables.dialogs) {
    text << dialog.id << "," << dialog.style << "," << dialog.itemCount << "," << dialog.height << ","
         << dialog.caption << "," << dialog.pointSize << "," << dialog.fontName << ":";
    for (const DialogItem& item : dialog.items)
      text << item.id << "," << item.height << "," << item.className << "," << item.text << ";";
  }
  return text.str();
}

}  // namespace

TEST(AppendedTables, Bytes) {
  const std::string item = dialogItem(9, "Button", "OK");
  const std::string whole = dialogEntry(7, 1, "T", "S", item);
  const struct {
    const char* what;
    std::string strings, dialogs;
    const char* text;
  } cases[] = {
      {"whole", word(2) + stringEntry(0xFFFFF, "x") + stringEntry(3, ""), word(1) + whole,
       "1048575=x;3=;7,2,1,24,T,8,S:9,16,Button,OK;"},
      {"counts near 2^32", word(0xFFFFFFFF) + stringEntry(20, "a"), word(0xFFFFFFFF) + whole,
       "20=a;7,2,1,24,T,8,S:9,16,Button,OK;"},
      {"cut inside a word", word(2) + stringEntry(20, "a") + std::string("\1\1\1", 3),
       word(1) + dialogEntry(7, 0xFFFFFFFF, "T", "S", item + "\1\1\1"),
       "20=a;7,2,1,24,T,8,S:9,16,Button,OK;"},
      {"cut inside a text", word(1) + word(4095U << 20 | 7) + "abc",
       word(1) + dialogEntry(7, 1, "T", "S", item.substr(0, 27)), "7=abc;7,2,1,24,T,8,S:9,16,B,;"},
      {"a NUL ends a text but not the entry",
       word(2) + stringEntry(5, std::string("a\0b", 3)) + stringEntry(4, "c"), "", "5=a;4=c;"},
      {"a body without its seven words is no dialog", "",
       word(2) + word(0) + word(27) + std::string(27, '\1') + dialogEntry(6, 0, "", "", ""), "6,2,0,24,,8,:"},
      {"bodies of size 0", "", word(0xFFFFFFFF) + std::string(800, '\0'), ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(describe({parseStringTable(asBytes(c.strings)), parseDialogTable(asBytes(c.dialogs))}), c.text);
  }
}

TEST(BlockFile, ReturnValueAndTables) {
  const std::string strings = word(1) + stringEntry(15, "appended");
  const std::string dialogs = word(1) + dialogEntry(7, 0, "T", "S", "");
  const std::string body = "module" + strings + dialogs;
  const auto dialogsAt = static_cast<std::uint32_t>(6 + strings.size());
  const struct {
    const char* what;
    std::string contents;
    std::size_t result;
    const char* tables;
  } cases[] = {
      {"both tables", body + blockEnd(77, dialogsAt, 6), 77, "15=appended;7,2,0,24,T,8,S:"},
      {"no offsets leave what there was", body + blockEnd(77, 0, 0), 77, "1=old;"},
      {"offsets past the end", body + blockEnd(77, 0xFFFFFFFF, 0xFFFFFFFF), 77, ""},
      {"marker not at the end", body + blockEnd(77, dialogsAt, 6) + "\n", body.size() + 93, "1=old;"},
      {"a header one byte short", blockEnd(77, 1, 1).substr(1), 91, "1=old;"},
  };
  const TempFolder folder;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    AppendedTables tables{parseStringTable(asBytes(word(1) + stringEntry(1, "old"))), {}};
    EXPECT_EQ(readAppendedBlock(folder.write("file", c.contents).c_str(), tables), c.result);
    EXPECT_EQ(describe(tables), c.tables);
  }
}

// Every prefix and every byte set to its extremes: nothing may be read beyond the bytes.
TEST(BlockFile, DamagedTablesGiveSomeAnswer) {
  const std::string strings = word(2) + stringEntry(20, "twenty") + stringEntry(3, "three");
  const std::string items = dialogItem(9, "Button", "OK") + dialogItem(8, "Edit", "");
  const std::string dialogs = word(2) + dialogEntry(7, 2, "T", "S", items) + dialogEntry(6, 0, "", "", "");
  for (const std::string& table : {strings, dialogs}) {
    for (std::size_t i = 0; i < table.size(); ++i) {
      const std::vector<std::uint8_t> exact(table.data(), table.data() + i);  // so that reading on is seen
      describe({parseStringTable(exact), parseDialogTable(exact)});
      for (const char value : {'\0', '\x7F', '\x80', '\xFF'}) {
        std::string damaged = table;
        damaged[i] = value;
        EXPECT_LE(parseStringTable(asBytes(damaged)).entries.size(), damaged.size() / 4);
        EXPECT_LE(parseDialogTable(asBytes(damaged)).size(), damaged.size() / 36);
      }
    }
  }
}

namespace {

// The template of a table's dialog.
std::string built(const std::string& entry) {
  const auto bytes = buildDialogTemplate(parseDialogTable(asBytes(word(1) + entry)).at(0));
  return {bytes.begin(), bytes.end()};
}

// The header of a dialog with style 2, and its place.
std::string header(std::size_t items) {
  return word(0x42) + word(0) + half(items) + half(21) + half(22) + half(23) + half(24) + word(0);
}

std::string wide(const std::string& ascii) {
  std::string units;
  for (const char c : ascii) units += std::string{c, '\0'};
  return units + std::string(2, '\0');
}

std::string item(std::uint32_t id, const std::string& className, const std::string& text) {
  return word(3) + word(0) + half(13) + half(14) + half(15) + half(16) + half(id) + className + text +
         half(0);
}

}  // namespace

TEST(DialogTemplate, ItemsAreAlignedAndCharactersBecomeUtf16) {
  const std::string items = dialogItem(9, "Button", "OK!") + dialogItem(0x12345, "", "");
  EXPECT_EQ(built(dialogEntry(7, 2, "Hi", "S", items)),
            header(2) + wide("Hi") + half(8) + wide("S") + half(0) +  // behind 34 bytes
                item(9, wide("Button"), wide("OK!")) + half(0) +      // 42 bytes long
                item(0x2345, wide(""), wide("")));
  EXPECT_EQ(built(dialogEntry(7, 0, "\x80\xE9\x81", "", "")),
            header(0) + half(0x20AC) + half(0xE9) + half(0xBF) + half(0) + half(8) + wide(""));
}

TEST(DialogTemplate, CountsTheItemsThatItHolds) {
  DialogRecord dialog;
  dialog.items.resize(70000);
  const auto bytes = buildDialogTemplate(dialog);
  EXPECT_EQ(std::string(&bytes[8], &bytes[10]), half(65535));
  EXPECT_EQ(bytes.size(), 28U + 65535 * 24);
}
