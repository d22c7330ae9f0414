#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <string_view>

#include "common/platform/paths.h"

// A folder of one test's own that goes away with the test.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::random_device random;
    folder = std::filesystem::temp_directory_path() / ("zentara-utils-" + std::to_string(random()));
    std::filesystem::create_directories(folder);
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  std::filesystem::path operator/(std::string_view name) const { return folder / name; }
  std::wstring Wide(std::string_view name) const { return platform::WidePath(folder / name); }

  std::wstring Write(std::string_view name, std::string_view bytes) const {
    std::ofstream(folder / name, std::ios::binary) << bytes;
    return Wide(name);
  }

  std::size_t EntryCount() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
  }

 private:
  std::filesystem::path folder;
};
