#include "tests/support/temp_folder.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>

TempFolder::TempFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "nimbolsp-test-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder: " + name);
  path_ = name;
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string TempFolder::write(const std::string& name, const std::string& contents) const {
  std::ofstream(file(name), std::ios::binary) << contents;
  return file(name);
}

std::string TempFolder::read(const std::string& name) const {
  std::ifstream stream(file(name), std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

std::string TempFolder::readLog(const std::string& name) const {
  constexpr std::size_t stampSize = 24 + 1;  // with the blank behind it
  std::ifstream stream(file(name), std::ios::binary);
  std::string lines;
  for (std::string line; std::getline(stream, line);) lines += line.erase(0, stampSize) + "\n";
  return lines;
}
