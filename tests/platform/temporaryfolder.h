#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

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

 private:
  std::filesystem::path path;
};
