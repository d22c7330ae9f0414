#include "ui/viewer/viewerlist.h"

#include <algorithm>

#include "ui/view/galleryfilelistviewhelper.h"
#include "utils/gallerylog.h"

namespace ViewerList {
namespace {

struct BurstShown {
  bool burstMode = false;
  File parent;
  std::vector<File> members;  // at least two in burst mode
};

BurstShown& Shown() {
  static BurstShown shown;
  return shown;
}

std::map<std::string, int>& Turns() {
  static std::map<std::string, int> turns;
  return turns;
}

std::vector<File> ShotsOf(const File& parent) {
  std::vector<File> shots{parent};
  for (const File& member : parent->GetMembers())
    if (member != parent && !member->IsDeleted && member->IsInBin() == parent->IsInBin())
      shots.push_back(member);
  std::ranges::stable_sort(shots, {}, [](const File& shot) { return shot->ContinuousNo.Get(); });
  return shots;
}

GalleryFileListViewHelper& Helper() { return GalleryFileListViewHelper::GetInstance(); }

}  // namespace

const std::vector<File>& Burst() { return Shown().members; }

bool InBurst() { return Shown().burstMode; }

const File& BurstParent() { return Shown().parent; }

bool EnterBurst(const File& parent) {
  LeaveBurst();
  if (!parent || parent->ContinuousType != 1) return false;
  auto shots = ShotsOf(parent);
  LogInfo("ViewerList", "continuousItemListSize: " + std::to_string(shots.size()));
  if (shots.size() < 2) return false;
  // The names of the user's files stay out of the log.
  for (const File& shot : shots)
    LogInfo("ViewerList", [&] { return "sGalleryFile fileName =" + shot->Guid(); });
  Shown() = {true, parent, std::move(shots)};
  return true;
}

void LeaveBurst() { Shown() = {}; }

bool RefreshBurst() {
  const File parent = BurstParent();
  return parent && !parent->IsDeleted && EnterBurst(parent);
}

int Count() {
  return InBurst() ? static_cast<int>(Burst().size()) : static_cast<int>(Helper().CurrentView().files.size());
}

int IndexOf(const File& file) {
  if (!file) return -1;
  if (!InBurst()) {
    const std::uint32_t index = Helper().GetFileIndex(file);
    return index == GalleryFileListViewHelper::kNoIndex ? -1 : static_cast<int>(index);
  }
  const auto found = std::ranges::find(Burst(), file);
  return found == Burst().end() ? -1 : static_cast<int>(found - Burst().begin());
}

File At(int index) {
  if (index < 0 || index >= Count()) return nullptr;
  return InBurst() ? Burst()[static_cast<std::size_t>(index)]
                   : Helper().GetFileByIndex(static_cast<std::uint32_t>(index));
}

int RotationOf(const File& file) {
  const auto found = file ? Turns().find(file->Guid()) : Turns().end();
  return found == Turns().end() ? 0 : found->second;
}

void SetRotation(const File& file, int degrees) {
  if (file) Turns()[file->Guid()] = ((degrees % 360) + 360) % 360;
}

void Clear() {
  LeaveBurst();
  Turns().clear();
}

}  // namespace ViewerList
