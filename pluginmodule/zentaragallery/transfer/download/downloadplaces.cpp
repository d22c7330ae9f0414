#include "transfer/download/downloadplaces.h"

#include "common/platform/paths.h"
#include "store/dbhelper.h"

namespace fs = std::filesystem;

namespace {

// What file systems take, with the ".download" of an unfinished one.
constexpr std::size_t kLongestNameBytes = 255;
constexpr std::wstring_view kUnfinished = L".download";
// Behind the last dot of a name; anything longer is no extension.
constexpr std::size_t kLongestExtension = 16;
// A folder with so many files of one name is no place for another.
constexpr int kMostNames = 10'000;

std::string Key(const std::wstring& path) { return platform::NativePath(path).lexically_normal().native(); }

// A path that cannot be looked at counts as free: the run that goes there tells
// the reason.
bool IsOnDisk(const std::wstring& path) {
  std::error_code error;
  return fs::exists(fs::symlink_status(platform::NativePath(path), error));
}

bool IsTooLong(const std::wstring& name) {
  return platform::NativePath(name + std::wstring(kUnfinished)).native().size() > kLongestNameBytes;
}

// "name.jpg", "name (1).jpg", with a name that the disk takes.
std::wstring Numbered(const std::wstring& name, int number) {
  const auto dot = name.rfind(L'.');
  const bool hasExtension = dot != 0 && dot != std::wstring::npos && name.size() - dot <= kLongestExtension;
  std::wstring stem = name.substr(0, hasExtension ? dot : std::wstring::npos);
  const std::wstring rest =
      (number == 0 ? L"" : L" (" + std::to_wstring(number) + L")") + name.substr(stem.size());
  while (!stem.empty() && IsTooLong(stem + rest)) stem.pop_back();
  return stem + rest;
}

}  // namespace

bool DownloadPlaces::Load() {
  std::vector<DownloadTaskProperty> list;
  if (!DBHelper::GetInstance().GetDownloads(list)) return false;
  for (auto& row : list) {
    taken.insert(Key(row.LocalPath));
    rows[row.UniqueId] = std::move(row);
  }
  return true;
}

const DownloadTaskProperty* DownloadPlaces::RowOf(const std::string& uniqueId) const {
  const auto found = rows.find(uniqueId);
  return found == rows.end() ? nullptr : &found->second;
}

bool DownloadPlaces::IsFree(const std::wstring& path) const {
  return !taken.contains(Key(path)) && !IsOnDisk(path) && !IsOnDisk(path + std::wstring(kUnfinished));
}

std::wstring DownloadPlaces::Take(const std::wstring& folder, const std::wstring& name,
                                  const std::wstring& otherwise) {
  std::wstring last = platform::WideFileName(name);
  if (last.empty() || last == L"." || last == L"..") last = otherwise;
  std::wstring path = folder + L"/" + Numbered(last, 0);
  for (int number = 1; !IsFree(path); ++number) {
    if (number > kMostNames) return {};
    path = folder + L"/" + Numbered(last, number);
  }
  taken.insert(Key(path));
  return path;
}
