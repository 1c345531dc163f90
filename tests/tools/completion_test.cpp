// The completion of bash, as it ships, against the options that the commands have.
#include <gtest/gtest.h>

#include <set>

#include "tests/support/temp_folder.h"
#include "tools/commands/command_line.h"

namespace nimbolsp::tools {
namespace {

using Words = std::set<std::string>;

// What bash offers for the last word, in the folder.
Words offered(const TempFolder& folder, const std::vector<std::string>& words) {
  std::string typed = "(" NIMBOLSPCTL_PROGRAM;
  for (const std::string& word : words) typed += " '" + word + "'";
  folder.write("try", "source " NIMBOLSPCTL_COMPLETION "\nCOMP_WORDS=" + typed +
                          ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_nimbolspctl " NIMBOLSPCTL_PROGRAM
                          "\nprintf '%s\\n' \"${COMPREPLY[@]}\" >words\n");
  EXPECT_EQ(std::system(("cd " + folder.path() + " && bash try").c_str()), 0);
  Words result;
  std::istringstream lines(folder.read("words"));
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty()) result.insert(line);
  }
  return result;
}

TEST(Completion, OffersEveryCommandOptionAndFile) {
  const TempFolder folder;
  folder.write("my pools.ini", "");
  Words names;
  for (const Command& command : commands()) {
    names.insert(command.name);
    Words options{"--version"};
    for (const std::string& name : optionNames(command)) options.insert(name);
    EXPECT_EQ(offered(folder, {command.name, "--"}), options) << command.name;
  }
  EXPECT_EQ(offered(folder, {""}), names);
  EXPECT_EQ(offered(folder, {"ask", "Web", "--ver"}), Words{"--version"});
  EXPECT_EQ(offered(folder, {"ask", "--profile", "my"}), Words{"my pools.ini"});
  for (const char* number : {"--port", "--count", "-n"})
    EXPECT_EQ(offered(folder, {"ask", number, ""}), Words{});
}

}  // namespace
}  // namespace nimbolsp::tools
