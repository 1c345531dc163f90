#include "tools/http/distinct_names.h"

#include <set>

#include "tools/text_table.h"

namespace nimbolsp::tools {

std::vector<std::string> distinctNames(const std::vector<std::string>& texts) {
  std::vector<std::string> names;
  std::set<std::string> taken;
  for (const std::string& text : texts) {
    const std::string plain = printable(text);
    std::string name = plain;
    for (int number = 2; !taken.insert(name).second; ++number) {
      name = plain + " (" + std::to_string(number) + ")";
    }
    names.push_back(name);
  }
  return names;
}

}  // namespace nimbolsp::tools
