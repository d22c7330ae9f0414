#pragma once

#include <json/json.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "common/platform/mutex.h"
#include "model/records/cloudphotov1.h"
#include "model/records/field.h"
#include "model/records/recordtexts.h"

class Album;

inline constexpr char kRecycleAlbumId[] = "default-album-3";

// One picture or video of the user's gallery, whether it lies in the cloud, on
// this computer, or in both.
//
// Always held by a shared pointer: one file stands in several albums, in the
// gallery's file table and in running tasks at once. Fields are named after the
// columns of the table GalleryFile. Every field may be read and written from any
// thread; a change of several fields belongs under the gallery's file lock, so
// that it does not mix with another. Times are milliseconds since 1970.
class GalleryFile : public std::enable_shared_from_this<GalleryFile> {
 public:
  using Ptr = std::shared_ptr<GalleryFile>;

  // An order of files. Time orders break ties by the greater address first, so
  // no two records are equal and a sequence can hold any number of one time.
  // Changing a key of a file that stands in an album breaks the album's order:
  // take it out first (Album::ReSetGallery).
  class OrderBy {
   public:
    virtual ~OrderBy() = default;
    virtual bool operator()(const Ptr& left, const Ptr& right) const;
    virtual std::int64_t Key(const GalleryFile& file) const = 0;
  };
  struct OrderByCTime : OrderBy {
    std::int64_t Key(const GalleryFile& file) const override { return file.CreateTime; }
  };
  struct OrderByUTime : OrderBy {
    std::int64_t Key(const GalleryFile& file) const override { return file.FirstUpdateTime; }
  };
  struct OrderByRTime : OrderBy {
    std::int64_t Key(const GalleryFile& file) const override { return file.RecycleTime; }
  };
  // By the number of the shot, ascending; two shots of one number are equal.
  struct OrderByConId {
    bool operator()(const Ptr& left, const Ptr& right) const {
      return left->ContinuousNo < right->ContinuousNo;
    }
  };
  using Members = std::set<Ptr, OrderByConId>;

  GalleryFile() = default;
  explicit GalleryFile(const NS::CloudPhoto::V1::FileInfo& record);
  explicit GalleryFile(const NS::CloudPhoto::V1::AlbumFile& record);
  ~GalleryFile();
  GalleryFile(const GalleryFile&) = delete;
  GalleryFile& operator=(const GalleryFile&) = delete;

  // --- Texts

  std::string UniqueId() const { return texts.Get(FileText::UniqueId); }
  std::string FileId() const { return texts.Get(FileText::FileId); }
  std::string VideoThumbId() const { return texts.Get(FileText::VideoThumbId); }
  std::string Hash() const { return texts.Get(FileText::Hash); }
  std::string ThumbFileId() const { return texts.Get(FileText::ThumbFileId); }
  std::string LcdFileId() const { return texts.Get(FileText::LcdFileId); }
  std::string Guid() const { return texts.Get(FileText::Guid); }
  std::string CheckSumn() const { return texts.Get(FileText::CheckSumn); }
  std::string PictureMetadata() const { return texts.Get(FileText::PictureMetadata); }
  std::string VideoMetadata() const { return texts.Get(FileText::VideoMetadata); }
  std::wstring LocalPath() const;
  std::wstring ContinuousName() const;
  std::wstring FileName() const;

  void SetUniqueId(std::string_view text) { texts.Set(FileText::UniqueId, text); }
  void SetFileId(std::string_view text) { texts.Set(FileText::FileId, text); }
  void SetVideoThumbId(std::string_view text) { texts.Set(FileText::VideoThumbId, text); }
  void SetHash(std::string_view text) { texts.Set(FileText::Hash, text); }
  void SetThumbFileId(std::string_view text) { texts.Set(FileText::ThumbFileId, text); }
  void SetLcdFileId(std::string_view text) { texts.Set(FileText::LcdFileId, text); }
  void SetGuid(std::string_view text) { texts.Set(FileText::Guid, text); }
  void SetCheckSumn(std::string_view text) { texts.Set(FileText::CheckSumn, text); }
  void SetPictureMetadata(std::string_view json) { texts.Set(FileText::PictureMetadata, json); }
  void SetVideoMetadata(std::string_view json) { texts.Set(FileText::VideoMetadata, json); }
  void SetLocalPath(std::wstring_view path);
  void SetContinuousName(std::wstring_view name);
  void SetFileName(std::wstring_view name);

  // The album that the file belongs to, also while it is in the bin. The text
  // lives as long as the process; equal ids are the same object.
  const std::string& AlbumId() const { return *albumId.load(std::memory_order_relaxed); }
  void SetAlbumId(std::string_view id) { albumId.store(InternText(id), std::memory_order_relaxed); }

  // "default-album-3" while in the recycle bin, else empty.
  const std::string& RecycleAlbumId() const { return *recycleAlbumId.load(std::memory_order_relaxed); }
  void SetRecycleAlbumId(std::string_view id);
  bool IsInBin() const { return inBin; }

  // An open set of attributes. Kept as text and parsed when asked for; a text
  // that is no JSON reads as null.
  Json::Value Expand() const;
  void SetExpand(const Json::Value& value);
  // The text as it came, and the compact text that a row stores.
  void SetExpandText(std::string_view json);
  std::string ExpandText() const;
  // The value of one key as text; empty when absent or no text.
  std::string ExpandValue(const char* key) const;
  void SetExpandValue(const char* key, const std::string& value);
  void RemoveExpandValue(const char* key);

  // All texts at once; how the store reads and writes a row.
  void SetTexts(const FileTexts& all);
  const RecordTexts& Texts() const { return texts; }

  // --- Numbers and marks

  Field<std::int64_t> CreateTime;
  Field<std::int64_t> FirstUpdateTime;  // when the file first reached the cloud
  Field<std::int64_t> Size;
  Field<std::int64_t> RecycleTime{-1};  // -1 never or early recovered, -2 expired, else when recycled
  Field<std::int64_t> Offset;
  Field<std::int64_t> OperateTime;   // time of the last local change
  Field<std::int64_t> Sdsmtime;      // the cloud's change time
  Field<std::int32_t> GalleryState;  // 0 in step, 1 content to upload, 2 metadata to send
  Field<std::int32_t> ContinuousNo;
  Field<std::int32_t> ContinuousType;  // 0 none, 1 burst cover, 2 burst member
  Field<std::int32_t> SavedFileType;   // 1 picture, 4 video
  Field<std::int32_t> cloudContentStatus;
  Field<bool> IsLocalUpload;
  Field<bool> IsDeleted;
  Field<bool> IsFavorite;
  Field<bool> thumbExists;
  Field<bool> lcdExists;
  Field<bool> thumbMakeFailed;

  bool IsVideo() const { return SavedFileType == 4; }
  // Never uploaded: the id is still the one made here.
  bool IsLocalOnly() const;

  // --- Bin

  // Puts the file into the bin; a file that the cloud has never seen is deleted
  // instead. `fromSync`: the cloud said so, times and attributes stay as it sent
  // them. Non-zero when the file is in the bin, or deleted, afterwards.
  int Recycle(std::int64_t time, bool fromSync);
  // Marks the file as deleted for good. False for a live uploaded file, which
  // must go through the bin first, unless `fromSync`.
  bool Delete(std::int64_t time, bool fromSync);
  // Takes the file out of the bin, to its album, which is made again when it has
  // gone. Non-zero on success and when the file is not in the bin.
  int Recover(std::int64_t time, bool fromSync);
  // Makes `album` the file's album. False when the file or the album does not
  // allow it, or it is there already.
  bool MoveToAlbum(std::int64_t time, bool fromSync, const std::shared_ptr<Album>& album);
  // "sourcePath" of `Expand`: where the file lies on a phone, by its album.
  void SetSourcePath(const Album& album);

  // --- Thumbnails and content

  // Makes the small or the screen thumbnail from the local file unless it is there.
  // False when it is not there afterwards.
  bool MakeThumbnail();
  bool MakeLcd();
  // The same, and its path: empty when there is none.
  std::wstring ThumbnailPath();
  std::wstring LcdPath();
  // As they would be named.
  std::wstring ThumbnailName() const;
  std::wstring LcdName() const;
  // Both are made anew when somebody next asks: those of a former content go.
  void RenewThumbnails();
  // Looks on the disk and remembers the answer.
  bool TestThumbnailOnDisk();
  bool TestLcdOnDisk();
  // The angle of "rotate" in `Expand`, or -1.
  std::int32_t Rotation() const;
  // What to ask the cloud for: kind 1 screen, 2 thumbnail, other original.
  NS::CloudPhoto::V1::UrlSourceInfo UrlSource(int kind) const;

  // --- Burst

  // Derives the burst fields from the name. Non-zero for a burst file, also when
  // it was known before.
  int ParseBurstName();
  bool HasMembers() const;
  Members GetMembers() const;
  // In place of the member that has its number until now.
  void TakeMember(const Ptr& member);
  bool RemoveMember(const Ptr& member);
  void ClearMembers();
  bool HasMember(const GalleryFile& member) const;
  bool HasMember(const Ptr& member) const { return member && HasMember(*member); }

 private:
  // Only covers have members, so that the lock and the set exist for few files.
  struct Burst {
    mutable platform::SharedMutex continuousLock;
    Members continuousFiles GUARDED_BY(continuousLock);
  };
  Burst& MakeBurst();
  const Burst* burstOrNull() const { return burst.load(std::memory_order_acquire); }

  void MarkRecycled(std::int64_t time, bool fromSync, const Album& album);
  void RecycleUploadedMembers(std::int64_t time, bool fromSync, const Album* album);
  void MarkDeleted(std::int64_t time, bool fromSync, const std::wstring& coverPath);
  void MarkRecovered(std::int64_t time, bool fromSync, const Album& album);
  void MarkMoved(std::int64_t time, bool fromSync, const Album& album);
  std::shared_ptr<Album> FindHome() const;
  void DeleteThumbnails(const std::wstring& localPath);

  RecordTexts texts;
  static const std::string* NoId();

  std::atomic<const std::string*> albumId{NoId()};
  std::atomic<const std::string*> recycleAlbumId{NoId()};
  Field<bool> inBin;
  Field<bool> expandIsCompact;  // the text is already what a row stores
  std::atomic<Burst*> burst{nullptr};
};
