#include "model/records/galleryfile.h"

#include <charconv>

#include "common/platform/text.h"
#include "utils/methodfunction.h"
#include "utils/picturemetadata.h"

namespace {

constexpr std::size_t kBurstDigits = 3;
constexpr std::wstring_view kBurstMark = L"_BURST";
constexpr std::wstring_view kCoverMark = L"_COVER";

template <typename Number>
bool ParseNumber(std::string_view text, Number& number) {
  const auto end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end;
}

bool IsDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

// A name read as "([^/]*)_BURST(\d{3})(_COVER)*.jpg$", with the meaning of
// ECMAScript's regular expressions. Matched by hand: the standard library's engine
// recurses once per character, and a name from the cloud can be of any length.
struct BurstName {
  std::wstring_view name;
  std::wstring_view number;
  bool cover = false;
};

// Whether the text behind the shot's number is "(_COVER)*.jpg$". The dot matches
// any character but a line end.
bool MatchBurstEnd(std::wstring_view rest, bool& cover) {
  cover = false;
  while (rest.starts_with(kCoverMark)) {
    cover = true;
    rest.remove_prefix(kCoverMark.size());
  }
  constexpr std::wstring_view kLineEnds = L"\n\r\u2028\u2029";
  return rest.size() == 4 && rest.substr(1) == L"jpg" && kLineEnds.find(rest[0]) == std::wstring_view::npos;
}

// The first group is greedy, so the last place that matches counts. The name
// starts behind the last "/" in front of it.
bool MatchBurstName(std::wstring_view text, BurstName& found) {
  for (auto at = text.rfind(kBurstMark); at != std::wstring_view::npos;
       at = at == 0 ? std::wstring_view::npos : text.rfind(kBurstMark, at - 1)) {
    const auto number = text.substr(at + kBurstMark.size(), kBurstDigits);
    if (number.size() < kBurstDigits || !std::all_of(number.begin(), number.end(), IsDigit)) continue;
    if (!MatchBurstEnd(text.substr(at + kBurstMark.size() + kBurstDigits), found.cover)) continue;
    const auto slash = text.substr(0, at).rfind(L'/');
    found.name = text.substr(0, at).substr(slash == std::wstring_view::npos ? 0 : slash + 1);
    found.number = number;
    return true;
  }
  return false;
}

}  // namespace

bool GalleryFile::OrderBy::operator()(const Ptr& left, const Ptr& right) const {
  const auto leftKey = Key(*left), rightKey = Key(*right);
  return leftKey != rightKey ? leftKey > rightKey : left.get() > right.get();
}

GalleryFile::GalleryFile(const NS::CloudPhoto::V1::AlbumFile& record) {
  SetAlbumId(record.albumId);
  SetUniqueId(record.uniqueId);
  SetHash(record.hash);
  SetGuid(MethodFunction::NewGuid());
}

GalleryFile::GalleryFile(const NS::CloudPhoto::V1::FileInfo& record) {
  const std::string guid = MethodFunction::NewGuid();
  const std::string expand = record.expand.isNull() ? std::string() : CompactJson(record.expand);
  const std::string fileName = platform::WideToUtf8(record.fileName);
  FileTexts all{};
  const auto put = [&all](FileText which, std::string_view text) {
    all[static_cast<std::size_t>(which)] = text;
  };
  put(FileText::UniqueId, record.uniqueId);
  put(FileText::FileId, record.fileId);
  put(FileText::VideoThumbId, record.videoThumbId);
  put(FileText::Hash, record.hash);
  put(FileText::ThumbFileId, record.thumbFileId);
  put(FileText::LcdFileId, record.lcdFileId);
  put(FileText::Guid, guid);
  put(FileText::Expand, expand);
  put(FileText::FileName, fileName);
  put(FileText::PictureMetadata, record.pictureMetadata);
  put(FileText::VideoMetadata, record.videoMetadata);
  SetTexts(all);
  expandIsCompact = true;
  SetAlbumId(record.albumId);
  SetRecycleAlbumId(record.recycleAlbumId);
  CreateTime = record.createTime;
  Size = record.size;
  RecycleTime = record.recycleTime;
  Sdsmtime = record.sdsmtime;
  IsFavorite = record.favorite;
  IsLocalUpload = record.localUpload;
  cloudContentStatus = record.cloudContentStatus;
  std::int32_t type = 0;
  if (ParseNumber(std::string_view(record.fileType), type)) SavedFileType = type;
  std::int64_t firstUpdate = record.createTime;
  ParseNumber(std::string_view(ExpandValue("first_update_time")), firstUpdate);
  FirstUpdateTime = firstUpdate;
  ParseBurstName();
}

GalleryFile::~GalleryFile() { delete burst.load(); }

const std::string* GalleryFile::NoId() {
  static const std::string* const none = InternText("");
  return none;
}

std::wstring GalleryFile::LocalPath() const { return platform::Utf8ToWide(texts.Get(FileText::LocalPath)); }
std::wstring GalleryFile::ContinuousName() const {
  return platform::Utf8ToWide(texts.Get(FileText::ContinuousName));
}
std::wstring GalleryFile::FileName() const { return platform::Utf8ToWide(texts.Get(FileText::FileName)); }

void GalleryFile::SetLocalPath(std::wstring_view path) {
  texts.Set(FileText::LocalPath, platform::WideToUtf8(path));
}
void GalleryFile::SetContinuousName(std::wstring_view name) {
  texts.Set(FileText::ContinuousName, platform::WideToUtf8(name));
}
void GalleryFile::SetFileName(std::wstring_view name) {
  texts.Set(FileText::FileName, platform::WideToUtf8(name));
}

void GalleryFile::SetRecycleAlbumId(std::string_view id) {
  recycleAlbumId.store(InternText(id), std::memory_order_relaxed);
  inBin = id == kRecycleAlbumId;
}

void GalleryFile::SetTexts(const FileTexts& all) {
  expandIsCompact = all[static_cast<std::size_t>(FileText::Expand)].empty();
  texts.SetAll(all);
}

Json::Value GalleryFile::Expand() const { return ParseJson(texts.Get(FileText::Expand)); }

void GalleryFile::SetExpand(const Json::Value& value) {
  texts.Set(FileText::Expand, CompactJson(value));
  expandIsCompact = true;
}

void GalleryFile::SetExpandText(std::string_view json) {
  expandIsCompact = false;
  texts.Set(FileText::Expand, json);
}

std::string GalleryFile::ExpandText() const {
  auto text = texts.Get(FileText::Expand);
  return expandIsCompact ? text : CompactJson(ParseJson(text));
}

std::string GalleryFile::ExpandValue(const char* key) const {
  const bool mayHold = texts.With(
      FileText::Expand, [key](std::string_view text) { return text.find(key) != std::string_view::npos; });
  if (!mayHold) return {};
  const Json::Value expand = Expand();
  if (!expand.isObject()) return {};
  const Json::Value& value = expand[key];
  return value.isString() ? value.asString() : std::string();
}

void GalleryFile::SetExpandValue(const char* key, const std::string& value) {
  Json::Value expand = Expand();
  if (!expand.isObject()) expand = Json::Value(Json::objectValue);
  expand[key] = value;
  SetExpand(expand);
}

void GalleryFile::RemoveExpandValue(const char* key) {
  Json::Value expand = Expand();
  if (!expand.isObject() || !expand.isMember(key)) return;
  expand.removeMember(key);
  SetExpand(expand);
}

bool GalleryFile::IsLocalOnly() const { return UniqueId() == Guid(); }

std::int32_t GalleryFile::Rotation() const {
  std::int32_t angle = -1;
  return ParseNumber(std::string_view(ExpandValue("rotate")), angle) ? angle : -1;
}

int GalleryFile::ParseBurstName() {
  if (ContinuousType != 0) return 1;
  const std::wstring fileName = FileName();
  BurstName found;
  if (!MatchBurstName(fileName, found)) return 0;
  ContinuousType = found.cover ? 1 : 2;
  SetContinuousName(found.name);
  std::int32_t number = 0;
  for (const wchar_t digit : found.number) number = number * 10 + (digit - L'0');
  ContinuousNo = number;
  return 1;
}

GalleryFile::Burst& GalleryFile::MakeBurst() {
  if (Burst* made = burst.load(std::memory_order_acquire)) return *made;
  auto fresh = std::make_unique<Burst>();
  Burst* expected = nullptr;
  if (burst.compare_exchange_strong(expected, fresh.get())) return *fresh.release();
  return *expected;
}

bool GalleryFile::HasMembers() const {
  const Burst* held = burstOrNull();
  if (!held) return false;
  platform::ReaderLock hold(held->continuousLock);
  return !held->continuousFiles.empty();
}

GalleryFile::Members GalleryFile::GetMembers() const {
  const Burst* held = burstOrNull();
  if (!held) return {};
  platform::ReaderLock hold(held->continuousLock);
  return held->continuousFiles;
}

void GalleryFile::TakeMember(const Ptr& member) {
  Burst& held = MakeBurst();
  platform::WriterLock hold(held.continuousLock);
  if (const auto [place, fresh] = held.continuousFiles.insert(member); !fresh && *place != member) {
    held.continuousFiles.erase(place);
    held.continuousFiles.insert(member);
  }
}

bool GalleryFile::RemoveMember(const Ptr& member) {
  if (!burstOrNull()) return false;
  Burst& held = MakeBurst();
  platform::WriterLock hold(held.continuousLock);
  const auto found = held.continuousFiles.find(member);
  if (found == held.continuousFiles.end() || *found != member) return false;
  held.continuousFiles.erase(found);
  return true;
}

void GalleryFile::ClearMembers() {
  if (!burstOrNull()) return;
  Burst& held = MakeBurst();
  platform::WriterLock hold(held.continuousLock);
  held.continuousFiles.clear();
}

bool GalleryFile::HasMember(const GalleryFile& member) const {
  const Burst* held = burstOrNull();
  if (!held) return false;
  platform::ReaderLock hold(held->continuousLock);
  const auto found = std::find_if(held->continuousFiles.begin(), held->continuousFiles.end(),
                                  [&member](const Ptr& file) { return file.get() == &member; });
  return found != held->continuousFiles.end();
}
