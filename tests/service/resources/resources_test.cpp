// Resources from the bytes of a block at the end of a module's file, whole or promising more than they hold,
// to what the resource function answers; and the template of a dialog, byte by byte.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <sstream>

#include "service/resources/block_reader.h"
#include "service/resources/dialog_template.h"
#include "service/resources/resource_function.h"
#include "service/resources/resource_tables.h"
#include "tests/support/started_layer.h"

using namespace nimbolsp;
using namespace std::string_literals;

namespace {

std::string word(std::size_t value) {
  std::string bytes;
  for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(value >> shift);
  return bytes;
}
std::string half(std::size_t value) {
  return word(value).substr(0, 2);
}
std::string sized(const std::string& text) {
  return half(text.size()) + text;
}

Bytes asBytes(const std::string& bytes) {
  return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
}

std::string stringEntry(std::size_t id, const std::string& text) {
  return word(text.size() << 20 | id) + text;
}

// Style 2, x 21, y 22, width 23, height 24, point size 8.
std::string dialogEntry(std::size_t id, std::size_t itemCount, const std::string& caption,
                        const std::string& fontName, const std::string& items) {
  const std::string body = word(id) + word(2) + word(itemCount) + word(21) + word(22) + word(23) + word(24) +
                           sized(caption) + word(8) + sized(fontName) + items;
  return word(0x55555555) + word(body.size()) + body;
}

// Style 3, x 13, y 14, width 15, height 16.
std::string dialogItem(std::size_t id, const std::string& className, const std::string& text) {
  return word(id) + word(3) + word(13) + word(14) + word(15) + word(16) + sized(className) + sized(text);
}

// Header and marker. Reserved bytes are not 0.
std::string blockEnd(std::size_t firstWord, std::size_t dialogOffset, std::size_t stringOffset) {
  return word(firstWord) + std::string(16, 'r') + word(dialogOffset) + word(stringOffset) +
         std::string(52, 'r') + "^^^RC_DAT^^^";
}

std::string describe(const AppendedTables& tables) {
  std::ostringstream text;
  for (const auto& string : tables.strings.entries) text << string.id << "=" << string.text << ";";
  for (const DialogRecord& dialog : tables.dialogs) {
    text << dialog.id << "," << dialog.itemCount << "," << dialog.caption << "," << dialog.fontName << ":";
    for (const DialogItem& item : dialog.items) text << item.id << item.className << item.text << ";";
  }
  return text.str();
}

intptr_t number(const void* pointer) {
  return reinterpret_cast<intptr_t>(pointer);
}

}  // namespace

TEST(AppendedTables, Bytes) {
  const std::string item = dialogItem(9, "Button", "OK");
  const struct {
    const char* what;
    std::string strings, dialogs;
    const char* text;
  } cases[] = {
      {"whole", word(2) + stringEntry(0xFFFFF, "x") + stringEntry(3, ""),
       word(1) + dialogEntry(7, 1, "T", "S", item), "1048575=x;3=;7,1,T,S:9ButtonOK;"},
      {"cut inside a word, with counts near 2^32", word(0xFFFFFFFF) + stringEntry(20, "a") + "\1\1\1",
       word(0xFFFFFFFF) + dialogEntry(7, 0xFFFFFFFF, "T", "S", item + "\1\1\1"), "20=a;7,1,T,S:9ButtonOK;"},
      {"cut inside a text", word(1) + word(4095U << 20 | 7) + "abc",
       word(1) + dialogEntry(7, 1, "T", "S", item.substr(0, 27)), "7=abc;7,1,T,S:9B;"},
      {"a NUL ends a text but not the entry",
       word(2) + stringEntry(5, "a\0b"s) + stringEntry(4, "c") + stringEntry(3, "not counted"), "",
       "5=a;4=c;"},
      {"a body without its seven words is no dialog", "",
       word(2) + word(0) + word(27) + std::string(27, '\1') + dialogEntry(6, 0, "", "", ""), "6,0,,:"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(describe({parseStringTable(asBytes(c.strings)), parseDialogTable(asBytes(c.dialogs))}), c.text);
    for (std::vector<std::uint8_t> rest(c.dialogs.begin(), c.dialogs.end()); !rest.empty(); rest.pop_back()) {
      const std::vector<std::uint8_t> exact(rest);  // so that reading on is seen
      EXPECT_LE(parseDialogTable(exact).size() + parseStringTable(exact).entries.size(), exact.size() / 4);
    }
  }
}

TEST(BlockFile, ReturnValueAndTables) {
  std::string manyStrings = word(30), manyTexts;
  for (std::size_t id = 30; id > 0; --id) {
    const std::string text(4000, static_cast<char>('A' + id));
    manyStrings += stringEntry(id, text);
    manyTexts += std::to_string(id) + "=" + text + ";";
  }
  const std::string strings = word(1) + stringEntry(15, "appended");
  const std::string body = "module" + strings + word(1) + dialogEntry(7, 0, "T", "S", "");
  const std::size_t dialogsAt = 6 + strings.size();
  const struct {
    const char* what;
    std::string contents;
    std::size_t result;
    std::string tables;
  } cases[] = {
      {"both tables", body + blockEnd(77, dialogsAt, 6), 77, "15=appended;7,0,T,S:"},
      {"more than is read at once", "m" + manyStrings + blockEnd(77, 0, 1), 77, manyTexts},
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
    EXPECT_EQ(readAppendedBlock(folder.file("missing").c_str(), tables), 0);
  }
}

// The template of a dialog, which is of 16-bit units throughout.
std::u16string built(const std::string& entry) {
  const auto bytes = buildDialogTemplate(parseDialogTable(asBytes(word(1) + entry)).at(0));
  std::u16string units(bytes.size() / 2, u'\0');
  std::memcpy(units.data(), bytes.data(), bytes.size());
  return units;
}

TEST(DialogTemplate, ItemsAreAlignedAndCharactersBecomeUtf16) {
  const std::string items = dialogItem(9, "Button", "OK!") + dialogItem(0x12345, "", "");
  EXPECT_EQ(built(dialogEntry(7, 2, "Hi", "S", items)),
            u"B\0\0\0\2\x15\x16\x17\x18\0\0Hi\0\x08S\0\0"s  // one unit more than its end
            u"\3\0\0\0\x0D\x0E\x0F\x10\x09"s
            u"Button\0OK!\0\0\0"s
            u"\3\0\0\0\x0D\x0E\x0F\x10\x2345\0\0\0"s);
  EXPECT_EQ(built(dialogEntry(7, 0, "\x80\xE9\x81", "", "")),
            u"B\0\0\0\0\x15\x16\x17\x18\0\0\x20AC\xE9\xBF\0\x08\0"s);
  DialogRecord dialog;
  dialog.items.resize(70000);
  EXPECT_EQ(buildDialogTemplate(dialog).size(), 28U + 65535 * 24) << "a count of 16 bits";
}

TEST(ResourceTables, RecordsOfEveryKind) {
  const char raw[] = "raw data";
  const NumberedRecord cursors[] = {{9, &raw[0], 40}, {4, &raw[1], 41}, {}};
  const NumberedRecord bitmaps[] = {{4, &raw[2], 42}, {}}, images[] = {{4, &raw[3], 43}, {}};
  const NamedRecord rawData[] = {{"first", &raw[4], 44}, {"second", &raw[5], 45}, {}};
  const NamedRecord named[] = {{"Speech", &raw[6], 46}, {"Sound", &raw[7], 47}, {}};
  const AppendedStrings strings = parseStringTable(
      asBytes(word(3) + stringEntry(20, "a20") + stringEntry(15, "a15") + stringEntry(3, "a3")));
  std::vector<DialogRecord> dialogs(2);
  dialogs[0].id = 9;
  dialogs[1].id = 5;
  const ResourceTables tables{strings.entries, dialogs, cursors, bitmaps, images, rawData, named};
  const StringResource* const builtIn = builtInStrings().data();
  const struct {
    const char* what;
    intptr_t idOrName, type;
    const void *record, *data;
    std::size_t size;
  } cases[] = {
      {"cursor", 4, RT_CURSOR, &cursors[1], &raw[1], 41},
      {"no cursor", 0, RT_CURSOR, nullptr, nullptr, 0},
      {"bitmap", 4, RT_BITMAP, bitmaps, &raw[2], 42},
      {"image", 4, number("PNG"), images, &raw[3], 43},
      {"raw data", number("second"), RT_RCDATA, &rawData[1], &raw[5], 45},
      {"a number as a name", 0xFFFF, RT_RCDATA, nullptr, nullptr, 0},
      {"named type, whatever the id", 4711, number("Sound"), &named[1], &raw[7], 47},
      {"names are case-sensitive", 4711, number("SOUND"), nullptr, nullptr, 0},
      {"a type that there is not", 4, 0xFFFF, nullptr, nullptr, 0},
      {"dialog", 5, RT_DIALOG, &dialogs[1], nullptr, 28},
      {"no dialog", 7, RT_DIALOG, nullptr, nullptr, 0},
      {"appended string", 15, RT_STRING, &strings.entries[1], strings.entries[1].text, 8},
      {"behind 20 and before 15 none is built in", 17, RT_STRING, nullptr, nullptr, 0},
      {"before 3 one is built in", 12, RT_STRING, &builtIn[8], builtIn[8].text, 2 * 16},
      {"behind 3 too", 1, RT_STRING, builtIn, builtIn->text, 2 * 7},
      {"no string", 0, RT_STRING, nullptr, nullptr, 0},
      {"negative when signed", 0x80000014, RT_STRING, nullptr, nullptr, 0},  // Pins(signed-string-id)
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(findResource(tables, c.idOrName, c.type), c.record);
    EXPECT_EQ(recordData(identifyRecord(tables, c.record)), c.data);
    EXPECT_EQ(recordSize(identifyRecord(tables, c.record)), c.size);
  }
  EXPECT_EQ(recordSize(identifyRecord(tables, &cursors[2])), 0U) << "the end of a table";
  EXPECT_EQ(recordSize(identifyRecord(tables, &cursors->size)), 0U) << "within a record";
}

TEST(ResourceTables, HighestDialogIdTakesIdsForPlaces) {
  std::vector<DialogRecord> dialogs(4);
  dialogs[0].id = 1;
  dialogs[1].id = 700;  // Pins(highest-dialog)
  ResourceTables tables;
  tables.appendedDialogs = dialogs;
  EXPECT_EQ(highestId(tables, RT_DIALOG), 4U) << "places 0, 2 and 3; 700 is not seen";
  dialogs[3].id = 0xFFFFFFFF;
  EXPECT_EQ(highestId(tables, RT_DIALOG), 0x100000000U);
}

TEST(ResourceFunction, Operations) {
  char text[] = "untouched";
  const intptr_t dialog = OSresFunc(RESOURCE_FIND, 0, RT_DIALOG, 0);  // Pins(dialog-zero)
  const intptr_t title = OSresFunc(RESOURCE_FIND, kStringServiceName, RT_STRING, 0);
  const intptr_t loaded = OSresFunc(RESOURCE_LOAD, title, 0, 0);
  const struct {
    intptr_t operation, a, b, c, result;
    const char* text = "untouched";
  } cases[] = {{RESOURCE_SIZE, 0, dialog, 0, 28},
               {RESOURCE_SIZE, 0, title, 0, 18},
               {RESOURCE_LOCK, 0, loaded, 0, number(builtInStrings()[10].text)},
               {RESOURCE_FREE, 0, loaded, 0, 0},
               {RESOURCE_LOAD, 0, 0, 0, 0},
               {RESOURCE_LOCK, 0, 0, 0, 0},
               {RESOURCE_HIGHEST_ID, 0, RT_STRING, 0, 122},
               {RESOURCE_HIGHEST_ID, 0, RT_CURSOR, 0, 0},
               {RESOURCE_CONSTANT, 0, 0, 0, 2},
               {99, 0, 0, 0, 0},
               {RESOURCE_LOAD_STRING, 14, 0, 64, 0},
               {RESOURCE_LOAD_STRING, 14, number(text), 0, 0},
               {RESOURCE_LOAD_STRING, 14, number(text), 8, 8, "nimbols"},            // Pins(cut-counts-size)
               {RESOURCE_LOAD_STRING, 0x10000000E, number(text), 9, 8, "nimbolsp"},  // the low 32 bits
               {RESOURCE_LOAD_STRING, 17, number(text), 9, 0, ""}};
  for (const auto& c : cases) {
    EXPECT_EQ(OSresFunc(c.operation, c.a, c.b, c.c), c.result) << c.operation;
    EXPECT_STREQ(text, c.text);
  }
}

TEST(ResourceModule, AnswersFromTheBlockOfItsFile) {
  StartedLayer layer("", OSresFunc);
  const std::string path = layer.folder().file("a.so"), strings = word(1) + stringEntry(12, "twelve");
  std::filesystem::copy_file(NIMBOLSP_TEST_MODULES "/resource_module.so", path);
  const std::size_t end = std::filesystem::file_size(path);
  std::ofstream(path, std::ios::app) << strings << word(1)
                                     << dialogEntry(7, 1, "Title", "Sans", dialogItem(9, "Button", "OK"))
                                     << blockEnd(1, end + strings.size(), end);
  HMODULE module = LoadLibrary(path.c_str());
  const auto twelfth = [](HMODULE of) {
    char text[256] = "";
    LoadString(of, 12, text, sizeof text);
    return std::string(text);
  };
  EXPECT_EQ(twelfth(module), "twelve");
  EXPECT_EQ(twelfth(MAIN_MODULE_HANDLE), "Process stopped") << "the main module has its own tables";
  OSresFunc(RESOURCE_ATTACH, number(module), 0, 0);
  EXPECT_EQ(twelfth(MAIN_MODULE_HANDLE), "twelve");
  OSresFunc(RESOURCE_DETACH, 0, 0, 0);
  EXPECT_EQ(twelfth(MAIN_MODULE_HANDLE), "Process stopped");
  ResourceInfo* dialog = FindResource(module, reinterpret_cast<char*>(7), reinterpret_cast<char*>(RT_DIALOG));
  EXPECT_TRUE(LoadResource(module, dialog) != nullptr && SizeofResource(module, dialog) == 88);
  EXPECT_EQ(*static_cast<const char*>(LockResource(dialog)), 0x42) << "the style";
  EXPECT_TRUE(FreeResource(dialog));
}
