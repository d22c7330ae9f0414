// Dependencies point downwards only: what the linker lets through, the include
// lines show.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

// A folder may include itself and the folders named here.
const std::map<std::string, std::set<std::string>> kMayInclude{
    {"common/platform", {}},
    {"common/toolkit", {"common/platform"}},
    {"common/duilib_business", {"common/platform", "common/toolkit"}},
    {"resources", {"common/platform"}},
    // The host's own, in their order; to those above they are one, "host".
    {"host/base", {"common/platform"}},
    {"host/database", {"common/platform", "host/base"}},
    {"host/requests", {"common/platform", "host/base"}},
    {"host/account", {"common/platform", "host/base", "host/requests"}},
    {"host/transfer", {"common/platform", "resources", "host/base", "host/requests", "host/account"}},
    {"host/push", {"common/platform", "host/base", "host/requests", "host/account"}},
    {"host/profile", {"common/platform", "host/base"}},
    {"utils", {"common/platform", "resources", "host"}},
    {"model/records", {"common/platform", "resources", "host", "utils"}},
    {"store", {"common/platform", "resources", "host", "utils", "model/records"}},
    {"model", {"common/platform", "resources", "host", "utils", "model/records", "store"}},
    {"ui/view", {"common/platform", "resources", "host", "utils", "model/records", "store", "model"}},
    {"cloud", {"common/platform", "resources", "host", "utils", "model/records", "store", "model"}},
    {"transfer",
     {"common/platform", "resources", "host", "utils", "model/records", "store", "model", "cloud"}},
    {"sync",
     {"common/platform", "resources", "host", "utils", "model/records", "store", "model", "cloud",
      "transfer"}},
    {"ui",
     {"common/platform", "common/toolkit", "common/duilib_business", "resources", "host", "utils",
      "model/records", "store", "model", "ui/view", "cloud", "transfer", "sync"}},
    {"module",
     {"common/platform", "resources", "host", "utils", "model/records", "store", "model", "ui/view", "cloud",
      "transfer", "sync"}},
    {"session",
     {"common/platform", "resources", "host", "utils", "model/records", "store", "model", "ui/view", "cloud",
      "transfer", "sync", "module"}},
    {"plugin",
     {"common/platform", "common/toolkit", "resources", "host", "utils", "model/records", "store", "model",
      "ui/view", "cloud", "transfer", "sync", "ui", "module"}},
    {"cli",
     {"common/platform", "resources", "host", "utils", "model/records", "store", "model", "cloud", "transfer",
      "sync", "module", "session"}},
    {"desktop",
     {"common/platform", "common/toolkit", "common/duilib_business", "resources", "host", "utils",
      "model/records", "store", "model", "ui/view", "cloud", "transfer", "sync", "ui", "module", "session",
      "cli"}},
    {"photocloud", {}},
};

// Folders in which Qt may be seen.
const std::set<std::string> kMayUseQt{"common/toolkit", "common/duilib_business", "ui", "plugin", "desktop"};

bool StartsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

// The layer of a source file, by its path from the repository's root.
std::string LayerOf(std::string path) {
  const std::string module = "pluginmodule/zentaragallery/";
  const bool inModule = StartsWith(path, module);
  if (inModule) path.erase(0, module.size());
  for (const auto& [layer, mayInclude] : kMayInclude) {
    const bool nested = layer.find('/') != std::string::npos;
    if (nested && StartsWith(path, layer + "/")) return layer;
  }
  const auto slash = path.find('/');
  if (slash == std::string::npos) return inModule ? "module" : "";
  return path.substr(0, slash);
}

// The layer that an include line reaches; empty for a library's header or one
// beside the source.
std::string LayerOfInclude(const std::string& include) {
  if (include == "zentaragalleryobj.h") return "module";
  if (include.find('/') == std::string::npos) return "";
  const std::string layer = LayerOf(include);
  return kMayInclude.contains(layer) ? layer : "";
}

struct Include {
  std::string file;
  std::string target;
};

std::vector<Include> AllIncludes() {
  std::vector<Include> includes;
  const std::regex line(R"(^\s*#\s*include\s*[<"]([^>"]+)[>"])");
  const fs::path root = SOURCE_ROOT;
  for (const char* folder : {"common", "resources", "host", "pluginmodule", "cli", "desktop", "photocloud"}) {
    if (!fs::exists(root / folder)) continue;
    for (const auto& entry : fs::recursive_directory_iterator(root / folder)) {
      const auto extension = entry.path().extension();
      if (extension != ".h" && extension != ".cpp") continue;
      std::ifstream file(entry.path());
      std::smatch match;
      for (std::string text; std::getline(file, text);) {
        if (std::regex_search(text, match, line)) {
          includes.push_back({fs::relative(entry.path(), root).generic_string(), match[1]});
        }
      }
    }
  }
  return includes;
}

TEST(Layers, EveryFolderHasItsPlace) {
  for (const auto& [file, target] : AllIncludes())
    EXPECT_TRUE(kMayInclude.contains(LayerOf(file))) << file << " lies in no layer";
}

TEST(Layers, IncludesPointDownwards) {
  std::size_t checked = 0;
  for (const auto& [file, target] : AllIncludes()) {
    const std::string from = LayerOf(file);
    std::string to = LayerOfInclude(target);
    if (StartsWith(to, "host/") && !StartsWith(from, "host/")) to = "host";
    const auto rule = kMayInclude.find(from);
    if (to.empty() || to == from || rule == kMayInclude.end()) continue;
    EXPECT_TRUE(rule->second.contains(to)) << file << " includes " << target;
    ++checked;
  }
  EXPECT_GT(checked, 100u);
}

TEST(Layers, ServerSharesNothingWithTheClient) {
  for (const auto& [file, target] : AllIncludes()) {
    if (!StartsWith(file, "photocloud/")) continue;
    const std::string to = LayerOfInclude(target);
    EXPECT_TRUE(to.empty() || to == "photocloud" || fs::exists(fs::path(SOURCE_ROOT) / "photocloud" / target))
        << file << " includes " << target;
  }
}

TEST(Layers, QtStaysInTheWindows) {
  const std::regex qt(R"(^(Q[A-Z]\w+|Qt\w*/.*|q[a-z]+\.h)$)");
  for (const auto& [file, target] : AllIncludes()) {
    if (kMayUseQt.contains(LayerOf(file))) continue;
    EXPECT_FALSE(std::regex_match(target, qt)) << file << " includes " << target;
  }
}

}  // namespace
