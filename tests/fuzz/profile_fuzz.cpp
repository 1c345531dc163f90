// Searches, section reads and cuts of a profile's text against the plain walk; the index against both; at
// times also a write and a read of a real file.
#include "compat/services/profile/profile_index.h"
#include "compat/services/profile/profile_text.h"
#include "nimboxi/profile.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/profile_model.h"
#include "tests/support/locked_layer.h"

using namespace nimboxi;

void fuzz(FuzzInput input) {
  std::vector<char> buffer(input.byte());
  const std::string section = input.text(), key = input.text();
  const std::size_t offset = input.byte(), size = input.byte() % 16;
  const std::string contents = input.rest(), text(readableText(contents));
  const std::string part = text.substr(std::min(offset, text.size()), size);
  for (const auto& [name, wanted] : {std::pair(section, key), {section, part}, {part, key}}) {
    const auto [expected, expectedInsertion] = model::find(text, name, wanted);
    std::size_t insertion = 0;
    const std::ptrdiff_t value = FindProfileKey(text, name, wanted, &insertion);
    MUST(static_cast<std::size_t>(value) == expected && insertion == expectedInsertion);
    MUST(ProfileIndex(text).find(name, wanted) == value);
    const ProfileCut cut = cutProfile(contents, name, wanted);
    const std::string header = (contents.empty() ? "[" : "\r\n[") + name + "]\r\n";
    const std::string head = std::string(cut.head) + (cut.newSection ? header : "") + wanted + "=v\r\n";
    MUST(head + std::string(cut.rest).append(cut.unread) == model::written(contents, name, wanted, "v"));
  }
  const auto room = static_cast<std::uint32_t>(buffer.size());
  const std::uint32_t result = copyProfileSection(text, section, buffer.data(), room);
  const auto [lines, count] = model::sectionRead(text, section, std::max(room, 2U));
  MUST(room < 2 || (result == count && std::string(buffer.data(), lines.size()) == lines));
  if (room % 16 != 0) return;
  static LockedLayer& layer = *new LockedLayer;
  layer.folder().write("a.ini", contents);
  MUST(WritePrivateProfileString(section.c_str(), key.c_str(), "v", "a.ini"));
  MUST(layer.folder().read("a.ini") == model::written(contents, section.c_str(), key.c_str(), "v"));
}
