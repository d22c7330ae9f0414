// Names of albums, and clashes of file names in an album.

#include "common/platform/text.h"
#include "model/records/album.h"
#include "model/records/upward.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"
#include "utils/methodfunction.h"

namespace {

constexpr int kMaxNumberBehindName = 999;

bool IsForbidden(wchar_t c) {
  return std::wstring_view(GlobalData::kForbiddenCharacters).find(c) != std::wstring_view::npos;
}

bool IsTrimmed(wchar_t c) { return c == L' ' || (c >= 0 && c < 30); }

}  // namespace

bool Album::CleanName(std::wstring& name) {
  const auto first = std::find_if_not(name.begin(), name.end(), IsTrimmed);
  const auto last = std::find_if_not(name.rbegin(), std::make_reverse_iterator(first), IsTrimmed).base();
  name = std::wstring(first, last);
  std::erase_if(name, IsForbidden);
  return !name.empty();
}

bool Album::IsNameAllowed(std::wstring_view name) {
  return std::none_of(name.begin(), name.end(), IsForbidden);
}

bool Album::Rename(const std::wstring& newName) {
  constexpr char kTag[] = "Album::Rename";
  LogInfo(kTag, "Rename begin.");
  if (Kind() != AlbumKind::None) {
    LogError(kTag, "Rename not album_type_none,end.");
    return false;
  }
  std::wstring name = newName;
  if (!CleanName(name)) {
    LogError(kTag, "Rename newName illegal,end.");
    return false;
  }
  SetName(name);
  LogInfo(kTag, "Rename success, end.");
  return true;
}

bool Album::TakeCloudName(const std::wstring& name) {
  if (Kind() != AlbumKind::None || name.empty()) return false;
  SetName(name);
  return true;
}

void Album::SetName(const std::wstring& name) {
  AlbumName = name;
  displayName = name;
  if (GlobalData::cloudGeneration != GlobalData::kGenerationV2) AlbumType = "0";
  // An album that the cloud has not seen yet stays a creation.
  if (Operation.Get() != "0") Operation = "1";
}

bool Album::NameClashes(const GalleryFile::Ptr& file, std::string_view name) const {
  platform::ReaderLock hold(nameLock);
  const auto found = filesByName.Find(name);
  return std::any_of(found.begin(), found.end(), [this, &file](const GalleryFile::Ptr& other) {
    return other != file && (!IsBin() || other->AlbumId() == file->AlbumId());
  });
}

bool Album::HasNameClash(const GalleryFile::Ptr& file) const {
  return NameClashes(file, platform::WideToUtf8(file->FileName()));
}

bool Album::HasFileNamed(std::wstring_view name) const { return !FilesNamed(name).empty(); }

Album::FileList Album::FilesNamed(std::wstring_view name) const {
  platform::ReaderLock hold(nameLock);
  return filesByName.Find(platform::WideToUtf8(name));
}

std::string Album::FreeName(const GalleryFile::Ptr& file) const {
  const std::string name = platform::WideToUtf8(file->FileName());
  const auto dot = name.rfind('.');
  const std::string stem = name.substr(0, dot) + "(";
  const std::string end = ")" + (dot == std::string::npos ? std::string() : name.substr(dot));
  for (int number = 1; number <= kMaxNumberBehindName; ++number) {
    std::string candidate = stem + std::to_string(number) + end;
    if (!NameClashes(file, candidate)) return candidate;
  }
  return {};
}

void Album::BreakBurst(const GalleryFile::Ptr& file) {
  if (file->ContinuousType == 0) return;
  upward::Context().UnregisterBurst(file);
  file->ContinuousType = 0;
  file->ContinuousNo = 0;
  file->SetContinuousName(L"");
  file->ClearMembers();
}

bool Album::RenameToFreeName(const GalleryFile::Ptr& file) {
  Aftermath after;
  {
    platform::WriterLock hold(writeLock);
    if (!sortedFiles || !StandsHere(file)) return TakeFreeName(file);
    if (!RenameHere(file, after)) return false;
    RegroupBursts(after);
    Refill();
  }
  Finish(after);
  Notify();
  return true;
}

bool Album::RenameHere(const GalleryFile::Ptr& file, Aftermath& after) {
  NoteBurst(*file, after);
  {
    platform::WriterLock hold(nameLock);
    filesByName.Remove(file);
  }
  const bool renamed = TakeFreeName(file);
  {
    platform::WriterLock hold(nameLock);
    filesByName.Add(file);
  }
  if (!renamed) return false;
  List(file);
  if (!IsBin()) after.shown.push_back(file);
  return true;
}

bool Album::TakeFreeName(const GalleryFile::Ptr& file) {
  const std::string name = FreeName(file);
  if (name.empty()) return false;
  // Out of the burst first: its tables know the file by what its name said.
  BreakBurst(file);
  file->SetFileName(platform::Utf8ToWide(name));
  const auto own = upward::Context().GetAlbum(file->AlbumId());
  file->SetSourcePath(own ? *own : *this);
  file->GalleryState = 2;
  file->OperateTime = MethodFunction::CurrentTime();
  return true;
}
