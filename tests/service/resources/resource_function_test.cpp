// The resource function: its tables, its operations, and a real module with a block at the end of its file.
#include "service/resources/resource_function.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "service/resources/resource_tables.h"
#include "tests/service/resources/block_bytes.h"
#include "tests/support/started_layer.h"

using namespace nimbolsp;

namespace {

intptr_t number(const void* pointer) {
  return reinterpret_cast<intptr_t>(pointer);
}

const char kRaw[] = "raw data";
const NumberedRecord kCursors[] = {{9, &kRaw[0], 40}, {4, &kRaw[1], 41}, {0, nullptr, 0}};
const NamedRecord kRawData[] = {{"first", &kRaw[4], 45}, {"second", &kRaw[5], 46}, {nullptr, nullptr, 0}};
const NamedRecord kNamed[] = {{"Sound", &kRaw[6], 47}, {nullptr, nullptr, 0}};

// A copy of the resource module with a resource block at its end, loaded.
HMODULE loadModule(const TempFolder& folder, const std::string& strings, const std::string& dialogs) {
  std::filesystem::copy_file(std::string(NIMBOLSP_TEST_MODULES) + "/resource_module.so", folder.file("a.so"));
  const std::string module = folder.read("a.so");
  const auto size = static_cast<std::uint32_t>(module.size());
  const auto dialogsAt = static_cast<std::uint32_t>(size + strings.size());
  return LoadLibrary(folder.write("a.so", module + strings + dialogs + blockEnd(1, dialogsAt, size)).c_str());
}

}  // namespace

TEST(ResourceTables, RecordsOfEveryKind) {
  ResourceTables tables;
  tables.cursors = kCursors;
  tables.rawData = kRawData;
  tables.namedTypes = kNamed;
  const struct {
    const char* what;
    intptr_t idOrName, type;
    const void* record;
    std::size_t size;
  } cases[] = {
      {"cursor", 4, RT_CURSOR, &kCursors[1], 41},
      {"raw data", number("second"), RT_RCDATA, &kRawData[1], 46},
      {"named type, whatever the id", 4711, number("Sound"), &kNamed[0], 47},
      {"names are case-sensitive", 0, number("sound"), nullptr, 0},
      {"a number as a name", 0xFFFF, RT_RCDATA, nullptr, 0},
      {"string", 16, RT_STRING, &builtInStrings()[12], 2 * 98},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(findResource(tables, c.idOrName, c.type), c.record);
    EXPECT_EQ(recordSize(identifyRecord(tables, c.record)), c.size);
  }
  EXPECT_EQ(recordSize(identifyRecord(tables, &kCursors[2])), 0U) << "the end of a table is no record";
}

TEST(ResourceTables, AppendedStringsAreSearchedInDescendingOrder) {
  const std::string bytes = word(3) + stringEntry(20, "a20") + stringEntry(15, "a15") + stringEntry(3, "a3");
  const AppendedStrings strings = parseStringTable(asBytes(bytes));
  ResourceTables tables;
  tables.appendedStrings = strings.entries;
  EXPECT_STREQ(findString(tables, 15)->text, "a15");
  EXPECT_EQ(findString(tables, 17), nullptr) << "stops at 15, and none is built in";
  EXPECT_STREQ(findString(tables, 12)->text, "Process stopped") << "stops at 3, and one is built in";
  EXPECT_STREQ(findString(tables, 1)->text, "-START") << "runs off the end";
  // Pins(signed-string-id)
  EXPECT_EQ(findString(tables, 0x80000014), nullptr) << "an id that is negative when signed";
}

TEST(ResourceTables, HighestDialogIdTakesIdsForPlacesAndId0IsBuiltIn) {
  std::vector<DialogRecord> dialogs(4);
  dialogs[0].id = 1;
  dialogs[1].id = 700;
  ResourceTables tables;
  EXPECT_NE(findResource(tables, 0, RT_DIALOG), nullptr);  // Pins(dialog-zero)
  tables.appendedDialogs = dialogs;
  // Pins(highest-dialog)
  EXPECT_EQ(highestId(tables, RT_DIALOG), 4U) << "places 0, 2 and 3; 700 is not seen";
  dialogs[3].id = 0xFFFFFFFF;
  EXPECT_EQ(highestId(tables, RT_DIALOG), 0x100000000U);
}

TEST(ResourceFunction, LoadStringCutsTextsAndCountsTheSize) {
  char buffer[] = "untouched";
  EXPECT_EQ(OSresFunc(RESOURCE_LOAD_STRING, 14, number(buffer), -1), 0);
  EXPECT_STREQ(buffer, "untouched");
  EXPECT_EQ(OSresFunc(RESOURCE_LOAD_STRING, 14, number(buffer), 8), 8);  // Pins(cut-counts-size)
  EXPECT_STREQ(buffer, "nimbols");
  EXPECT_EQ(OSresFunc(RESOURCE_LOAD_STRING, 0x10000000E, number(buffer), 9), 8) << "the low 32 bits";
  EXPECT_STREQ(buffer, "nimbolsp");
  EXPECT_EQ(OSresFunc(RESOURCE_LOAD_STRING, 14, 0, 64), 0) << "no buffer";
  EXPECT_EQ(OSresFunc(RESOURCE_CONSTANT, 0, 0, 0), 2);
}

TEST(ResourceModule, AnswersFromTheBlockOfItsFile) {
  StartedLayer layer("", OSresFunc);
  HMODULE module = loadModule(layer.folder(), word(2) + stringEntry(20, "twenty") + stringEntry(12, "twelve"),
                              word(1) + dialogEntry(7, 1, "Title", "Sans", dialogItem(9, "Button", "OK")));
  char text[256];
  LoadString(module, 12, text, sizeof text);
  EXPECT_STREQ(text, "twelve");
  LoadString(MAIN_MODULE_HANDLE, 12, text, sizeof text);
  EXPECT_STREQ(text, "Process stopped") << "the main module has its own tables";
  ResourceInfo* dialog = FindResource(module, reinterpret_cast<char*>(7), reinterpret_cast<char*>(RT_DIALOG));
  ASSERT_NE(LoadResource(module, dialog), nullptr);
  EXPECT_EQ(*static_cast<const char*>(LockResource(dialog)), 0x42) << "the style";
  EXPECT_EQ(SizeofResource(module, dialog), 88U);
  EXPECT_TRUE(FreeResource(dialog));
}
