#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "common/platform/paths.h"

// A folder for one test, gone with everything in it afterwards.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "zentara-test-XXXXXX").string();
    if (!::mkdtemp(name.data())) std::abort();
    path = name;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& Path() const { return path; }
  std::filesystem::path operator/(const std::filesystem::path& name) const { return path / name; }
  std::wstring Wide(const std::filesystem::path& name) const { return platform::WidePath(path / name); }

  // Writes a file, with the folders on its way, and returns its wide path.
  std::wstring Write(const std::filesystem::path& name, std::string_view bytes) const {
    std::filesystem::create_directories((path / name).parent_path());
    std::ofstream(path / name, std::ios::binary) << bytes;
    return Wide(name);
  }

  std::size_t EntryCount() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(path), {}));
  }

 private:
  std::filesystem::path path;
};
