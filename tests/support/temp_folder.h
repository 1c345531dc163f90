// A folder of its own for a test, removed with all that is in it at the end.
#pragma once

#include <filesystem>
#include <string>

class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  // The folder's absolute path, without a closing slash.
  const std::string& path() const { return path_; }

  // The path of a file in the folder.
  std::string file(const std::string& name) const { return path_ + "/" + name; }

  // Writes a file of the folder anew, byte for byte, and returns its path.
  std::string write(const std::string& name, const std::string& contents) const;

  // All bytes of a file of the folder; empty when there is none.
  std::string read(const std::string& name) const;

  // The lines of a log file of the folder without their timestamps.
  std::string readLog(const std::string& name) const;

 private:
  std::string path_;
};
