#pragma once

#include <fstream>
#include <string>

#include "common/platform/paths.h"
#include "host/base/globalparamwrapper.h"
#include "tests/support/temporaryfolder.h"

// A profile of its own for one test.
class TestProfile {
 public:
  TestProfile() {
    platform::SetProfileRoot(folder.Path());
    GlobalParamWrapper::GetInstance()->Load();  // forgets the settings of another test
  }
  ~TestProfile() {
    platform::SetProfileRoot({});
    GlobalParamWrapper::GetInstance()->SetUser({}, {});
  }
  TestProfile(const TestProfile&) = delete;
  TestProfile& operator=(const TestProfile&) = delete;

  std::filesystem::path Config(const char* name) const { return folder / "config/ZentaraCloud" / name; }

  void Write(const char* name, std::string_view content) const {
    std::filesystem::create_directories(Config("").parent_path());
    std::ofstream(Config(name), std::ios::binary) << content;
  }
  std::string Read(const char* name) const {
    std::ifstream file(Config(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  const TemporaryFolder folder;
};
