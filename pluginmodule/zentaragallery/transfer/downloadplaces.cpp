#include "transfer/downloadplaces.h"

#include "common/platform/paths.h"
#include "store/dbhelper.h"

namespace fs = std::filesystem;

bool DownloadPlaces::Load() {
  std::vector<DownloadTaskProperty> list;
  if (!DBHelper::GetInstance().GetDownloads(list)) return false;
  for (auto& row : list) {
    taken.insert(row.LocalPath);
    rows[row.UniqueId] = std::move(row);
  }
  return true;
}

const DownloadTaskProperty* DownloadPlaces::RowOf(const std::string& uniqueId) const {
  const auto found = rows.find(uniqueId);
  return found == rows.end() ? nullptr : &found->second;
}

bool DownloadPlaces::IsFree(const std::wstring& path) const {
  if (taken.contains(path)) return false;
  for (const wchar_t* suffix : {L"", L".download"}) {
    std::error_code error;
    const auto status = fs::symlink_status(platform::NativePath(path + suffix), error);
    if (status.type() != fs::file_type::not_found) return false;
  }
  return true;
}

std::wstring DownloadPlaces::Take(const std::wstring& folder, const std::wstring& name,
                                  const std::wstring& otherwise) {
  std::wstring last = platform::WideFileName(name);
  if (last.empty() || last == L"." || last == L"..") last = otherwise;
  const auto dot = last.rfind(L'.');
  const std::wstring stem = last.substr(0, dot == 0 ? std::wstring::npos : dot);
  const std::wstring extension = last.substr(stem.size());
  std::wstring path = folder + L"/" + last;
  for (int number = 1; !IsFree(path); ++number) {
    path = folder + L"/" + stem + L" (" + std::to_wstring(number) + L")" + extension;
  }
  taken.insert(path);
  return path;
}
