// Building a dialog template.
#include "service/resources/dialog_template.h"

#include <algorithm>
#include <string>
#include <utility>

#include "nimboxi/text.h"

namespace nimbolsp {

namespace {

constexpr std::uint32_t kStyleHasFont = 0x40;  // DS_SETFONT: point size and font name follow the caption
constexpr std::size_t kMostItems = 0xFFFF;     // the count is 16 bits wide

class TemplateWriter {
 public:
  void number16(std::uint32_t value) {
    bytes_.push_back(static_cast<std::uint8_t>(value));
    bytes_.push_back(static_cast<std::uint8_t>(value >> 8));
  }

  void number32(std::uint32_t value) {
    number16(value);
    number16(value >> 16);
  }

  // A Windows-1252 text with a closing 0. The code page holds no character above U+FFFF.
  void text(const std::string& ansi) {
    std::string utf8(3 * ansi.size() + 1, '\0');
    AnsiToUtf8(ansi.c_str(), utf8.data());
    std::vector<std::uint32_t> codePoints(ansi.size() + 1);
    const std::int32_t length = Utf8ToUtf32(utf8.c_str(), codePoints.data());
    codePoints.resize(static_cast<std::size_t>(length) + 1);
    for (const std::uint32_t codePoint : codePoints) number16(codePoint);
  }

  void align() { bytes_.resize((bytes_.size() + 3) / 4 * 4); }

  std::vector<std::uint8_t> finish() { return std::move(bytes_); }

 private:
  std::vector<std::uint8_t> bytes_;
};

void writeItem(TemplateWriter& out, const DialogItem& item) {
  out.align();
  out.number32(item.style);
  out.number32(0);  // extended style
  for (const std::uint32_t value : {item.x, item.y, item.width, item.height, item.id}) out.number16(value);
  out.text(item.className);
  out.text(item.text);
  out.number16(0);  // no creation data
}

}  // namespace

std::vector<std::uint8_t> buildDialogTemplate(const DialogRecord& dialog) {
  const std::size_t count = std::min(dialog.items.size(), kMostItems);
  TemplateWriter out;
  out.number32(dialog.style | kStyleHasFont);
  out.number32(0);  // extended style
  out.number16(static_cast<std::uint32_t>(count));
  for (const std::uint32_t value : {dialog.x, dialog.y, dialog.width, dialog.height}) out.number16(value);
  out.number16(0);  // no menu
  out.number16(0);  // the standard window class
  out.text(dialog.caption);
  out.number16(dialog.pointSize);
  out.text(dialog.fontName);
  for (std::size_t i = 0; i < count; ++i) writeItem(out, dialog.items[i]);
  return out.finish();
}

}  // namespace nimbolsp
