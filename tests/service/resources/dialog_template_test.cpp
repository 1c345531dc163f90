// The dialog template, byte by byte.
#include "service/resources/dialog_template.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/service/resources/block_bytes.h"

using namespace nimbolsp;

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
