// A folder of a test's own, which is the current one while it lives.
#pragma once

#include <filesystem>
#include <string>

#include "platform/platform.h"

namespace tarn::test {

class ScratchFolder {
 public:
  ScratchFolder() {
    std::filesystem::remove_all(path_);
    std::filesystem::create_directory(path_);
    std::filesystem::current_path(path_);
  }
  ~ScratchFolder() {
    std::filesystem::current_path(start_);
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  // As the system of the tests names it, and as the library does: Z:\...
  std::string path() const { return path_.string(); }
  static std::string library_path() {
    char here[1024];
    return std::string(here, platform::GetCurrentDirectoryA(sizeof here, here));
  }
  std::string start() const { return start_.string(); }

 private:
  std::filesystem::path start_ = std::filesystem::current_path();
  std::filesystem::path path_ =
      start_ / ("scratch_" + std::to_string(platform::GetCurrentProcessId()));
};

}  // namespace tarn::test
