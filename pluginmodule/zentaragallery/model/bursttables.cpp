#include "model/bursttables.h"

namespace {

constexpr std::int32_t kCover = 1;
constexpr std::int32_t kMember = 2;

template <typename Table>
BurstTables::Files Select(const Table& table, const std::wstring& name, const std::string& albumId,
                          bool inBin) {
  BurstTables::Files selected;
  const auto entry = table.find(name);
  if (entry == table.end()) return selected;
  for (const auto& file : entry->second) {
    if (!file->IsDeleted && file->IsInBin() == inBin && file->AlbumId() == albumId) selected.push_back(file);
  }
  return selected;
}

}  // namespace

void BurstTables::Clear() {
  platform::MutexLock hold(burstLock);
  burstCovers.clear();
  burstMembers.clear();
}

void BurstTables::Register(const FilePtr& file) {
  if (file->ContinuousType == 0) return;
  const std::wstring name = file->ContinuousName();
  platform::MutexLock hold(burstLock);
  if (file->ContinuousType == kCover) burstCovers[name].insert(file);
  if (file->ContinuousType == kMember) burstMembers[name].push_front(file);
}

void BurstTables::Unregister(const FilePtr& file) {
  if (file->ContinuousType == 0) return;
  const std::wstring name = file->ContinuousName();
  platform::MutexLock hold(burstLock);
  if (const auto covers = burstCovers.find(name); covers != burstCovers.end()) {
    // While the file still has the number by which it stands in a cover.
    for (const auto& cover : covers->second) cover->RemoveMember(file);
    if (covers->second.erase(file) > 0) file->ClearMembers();
    if (covers->second.empty()) burstCovers.erase(covers);
  }
  if (const auto members = burstMembers.find(name); members != burstMembers.end()) {
    members->second.remove(file);
    if (members->second.empty()) burstMembers.erase(members);
  }
}

BurstTables::Files BurstTables::Covers(const std::wstring& name, const std::string& albumId,
                                       bool inBin) const {
  if (name.empty() || albumId.empty()) return {};
  platform::MutexLock hold(burstLock);
  return Select(burstCovers, name, albumId, inBin);
}

BurstTables::Files BurstTables::Members(const std::wstring& name, const std::string& albumId,
                                        bool inBin) const {
  if (name.empty() || albumId.empty()) return {};
  platform::MutexLock hold(burstLock);
  return Select(burstMembers, name, albumId, inBin);
}

GalleryFile::Ptr BurstTables::CoverOf(const FilePtr& member) const {
  if (!member || member->ContinuousType == 0 || member->HasMembers()) return nullptr;
  const std::wstring name = member->ContinuousName();
  platform::MutexLock hold(burstLock);
  for (const auto& cover : Select(burstCovers, name, member->AlbumId(), member->IsInBin())) {
    if (cover->HasMembers()) return cover;
  }
  return nullptr;
}

GalleryFile::Ptr BurstTables::CoverHolding(const GalleryFile& file) const {
  if (file.ContinuousType == 0) return nullptr;
  const std::wstring name = file.ContinuousName();
  platform::MutexLock hold(burstLock);
  for (const auto& cover : Select(burstCovers, name, file.AlbumId(), file.IsInBin())) {
    if (cover->HasMember(file)) return cover;
  }
  return nullptr;
}
