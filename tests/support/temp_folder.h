// A folder of its own for a test, removed with all that is in it at the end.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

class TempFolder {
 public:
  TempFolder() {
    if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no temporary folder: " + path_);
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempFolder(TempFolder&&) = delete;

  // The folder's absolute path, without a closing slash.
  const std::string& path() const { return path_; }

  // The path of a file in the folder.
  std::string file(const std::string& name) const { return path_ + "/" + name; }

  // Writes a file of the folder anew, byte for byte, and returns its path.
  std::string write(const std::string& name, const std::string& contents) const {
    std::ofstream(file(name), std::ios::binary) << contents;
    return file(name);
  }

  // All bytes of a file of the folder; empty when there is none.
  std::string read(const std::string& name) const {
    std::ifstream stream(file(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  // The lines of a log file of the folder without their timestamps.
  std::string readLog(const std::string& name) const {
    constexpr std::size_t stampSize = 24 + 1;  // with the blank behind it
    std::ifstream stream(file(name), std::ios::binary);
    std::string lines;
    for (std::string line; std::getline(stream, line);) lines += line.erase(0, stampSize) + "\n";
    return lines;
  }

 private:
  std::string path_ = std::filesystem::temp_directory_path() / "nimbolsp-test-XXXXXX";
};
