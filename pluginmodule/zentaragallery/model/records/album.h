#pragma once

#include <json/json.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/platform/mutex.h"
#include "model/records/field.h"
#include "model/records/filenameindex.h"
#include "model/records/filesequence.h"
#include "model/records/galleryfile.h"
#include "model/records/sortedfiles.h"
#include "model/records/viewcachedata.h"
#include "utils/picturemetadata.h"

// Kinds of albums. Kinds 0 to 4 are views that this program computes and never
// stores; 7 is the recycle bin; 12 are the user's own and any other.
enum class AlbumKind : std::int32_t {
  TimeLine = 0,
  RecentlyUpload = 1,
  AllPictures = 2,
  AllVideos = 3,
  Favorite = 4,
  Camera = 5,
  Screenshots = 6,
  RecycleBin = 7,
  Bluetooth = 8,
  Share = 9,
  PalveraShare = 10,
  WlanDirect = 11,
  None = 12,
};
inline constexpr std::int32_t album_type_none = 12;

// A named collection of files: a real album of the cloud, a view over all files,
// or the recycle bin.
//
// Held by a shared pointer. Readers look at `Files()`, a snapshot that no writer
// changes, and are never made to wait for a batch. Writers hold `writeLock` for a
// whole batch. Listeners are called outside all locks.
class Album : public IObjectWidthJson, public std::enable_shared_from_this<Album> {
 public:
  using Ptr = std::shared_ptr<Album>;
  using FileList = std::vector<GalleryFile::Ptr>;
  using Listener = std::function<void()>;

  // A new album of the user, ready for memory and table; null, logged, for an
  // illegal name.
  static Ptr Create(std::wstring name);
  // One of the kinds 0 to 4 and 7; null for another.
  static Ptr CreateSystem(AlbumKind kind);

  Album() = default;
  ~Album() override = default;

  // Finds the kind by id, then by path, and gets ready to hold files. Called once
  // the fields are filled.
  void Classify();

  // --- Fields, named after the columns of the table Album
  GuardedField<std::string> AlbumId;
  GuardedField<std::wstring> AlbumName;
  Field<std::int64_t> CreateTime;
  GuardedField<std::string> Lpath;      // logical path on the phone
  GuardedField<std::string> AlbumType;  // the cloud's type: "0" usual, "4" the bin
  GuardedField<std::string> source;
  Field<std::int64_t> flversion;
  Field<std::int32_t> iversion;
  Field<std::int32_t> photoNum;
  Field<std::int64_t> size;
  Field<std::int32_t> IsDelete;         // 0 live, 1 deleted here and not yet told, 2 gone
  GuardedField<std::string> Operation;  // empty in step, "0" created here, "1" changed here
  Json::Value Expand() const;
  void SetExpand(const Json::Value& value);
  void SetExpandText(std::string_view json);
  bool IsHidden() const { return hidden; }  // "hide" of Expand is "1"

  // --- What the kind gives
  AlbumKind Kind() const { return static_cast<AlbumKind>(kind.Get()); }
  // Camera, screenshots and every other album but views and the bin.
  bool IsReal() const { return kind >= 5 && kind != 7; }
  bool IsBin() const { return Kind() == AlbumKind::RecycleBin; }
  bool IsView() const { return kind < 5; }
  Field<std::int32_t> kind{album_type_none};
  Field<bool> listable{true};
  Field<bool> listed{true};
  GuardedField<std::wstring> displayName;  // text id of a system kind, else the name

  Field<std::uint64_t> pictureCount;
  Field<std::uint64_t> videoCount;

  // --- Names
  bool Rename(const std::wstring& newName);
  // The name that the cloud has, as it is: a cleaned one would differ from the
  // cloud's for ever. False for a system album and an empty name.
  bool TakeCloudName(const std::wstring& name);
  // Trims the name and drops the characters that a name may not have; false when
  // nothing is left.
  static bool CleanName(std::wstring& name);
  // False when a character occurs that a name may not have.
  static bool IsNameAllowed(std::wstring_view name);

  // --- Files
  FileSnapshot Files() const;
  // Copies the files, at most `limit`.
  FileList GetFiles(std::size_t limit = ~std::size_t{0}) const;
  std::size_t FileCount() const { return Files().size(); }

  // Adds what belongs here, in one refill; returns how many came in, burst
  // members that went behind their cover among them.
  std::size_t AddFilesInternal(const FileList& list);
  std::size_t DelFiles(const FileList& list);
  std::size_t DelFilesInternal(const FileList& list);
  // The one way to change the sort key of a member of the bin.
  void ReSetGallery(const GalleryFile::Ptr& file, std::int64_t recycleTime);
  // Gives the files of album `oldId` that stand here, and their rows, the album
  // `newId`, as a change that the cloud has to hear of; returns how many, members of
  // bursts among them.
  std::size_t ChangeAlbumIds(const std::string& oldId, const std::string& newId);
  // In the bin: deletes what has been there for 30 days or more. Nothing while no
  // clock is to be trusted (MethodFunction::ExpiryTime).
  void ClearExpiresFiles();
  // Whether this computer's clock says that there is any.
  bool HoldsExpired() const;
  // Position in Files() by binary search. Of a file that does not stand here: where
  // it belongs, or -1 behind the last one and in an album without files.
  std::int64_t IndexOf(const GalleryFile::Ptr& file) const;
  // Whether the file itself stands here.
  bool Holds(const GalleryFile::Ptr& file) const;

  // Whether another file of that name stands here; in the bin only files of
  // `file`'s own album count.
  bool HasNameClash(const GalleryFile::Ptr& file) const;
  bool HasFileNamed(std::wstring_view name) const;
  // The files here of that name.
  FileList FilesNamed(std::wstring_view name) const;
  // Gives the file the first free name with a number from 1 to 999; false, and
  // the old name, when there is none. A file of a burst leaves it. Its row is the
  // caller's to write.
  bool RenameToFreeName(const GalleryFile::Ptr& file);

  // --- Home page, cover, listeners
  bool UpdateGalleryFilesLimit();
  FileList LimitedFiles() const;
  std::wstring CoverPath() const;
  void SetListener(Listener listener);
  void Notify();

  // --- Layout of the list view
  std::shared_ptr<const ViewCacheData> ViewCache() const;
  // Files and the layout that was made for them.
  struct View {
    FileSnapshot files{std::make_shared<const FileSequence>()};
    std::shared_ptr<const ViewCacheData> layout = std::make_shared<const ViewCacheData>();
  };
  View CurrentView() const;
  void SetViewConf(std::uint8_t cols, std::uint16_t dateHeight, std::uint16_t lineHeight);

  // --- JSON form
  bool FromJson(const Json::Value& json) override;
  Json::Value ToJson() const override;

 private:
  using BurstName = std::pair<std::wstring, std::string>;  // common name, album

  // What a batch leaves to be done once writeLock is released.
  struct Aftermath {
    std::set<BurstName> bursts;              // what came or went, to be grouped anew
    std::set<GalleryFile::Ptr> stoodBehind;  // members before the batch
    FileList folded;
    FileList foldedFavorites;
    FileList shown;  // stood behind a cover before
    FileList renamed;
  };
  class Batch;

  void SetName(const std::wstring& name);

  bool Accepts(const GalleryFile::Ptr& file, Batch& batch) const;
  bool KeepsNames() const { return IsReal() || IsBin(); }
  bool AddOne(const GalleryFile::Ptr& file, Aftermath& after) REQUIRES(writeLock);
  bool DelOne(const GalleryFile::Ptr& file, Aftermath& after) REQUIRES(writeLock);
  void DropMembersThatStay(GalleryFile& cover, Aftermath& after);
  void Finish(const Aftermath& after);
  void MeetFilesOfTheirAlbum(const FileList& moved);
  bool StandsHere(const GalleryFile::Ptr& file) const;
  bool IsBehindCover(const GalleryFile& file) const;
  BurstName BurstKey(const GalleryFile& file) const;
  void NoteBurst(const GalleryFile& file, Aftermath& after) REQUIRES(writeLock);
  void RegroupBursts(Aftermath& after) REQUIRES(writeLock);
  void RegroupBurst(const BurstName& name, Aftermath& after) REQUIRES(writeLock);
  void List(const GalleryFile::Ptr& file) REQUIRES(writeLock);
  void Fold(const GalleryFile::Ptr& member, const GalleryFile::Ptr& cover, Aftermath& after)
      REQUIRES(writeLock);
  void Count(const GalleryFile& file, int change);
  void Refill() REQUIRES(writeLock);
  void SwapIn(std::shared_ptr<const FileSequence> nextFiles, std::shared_ptr<ViewCacheData> nextView);
  void UpdateDateGroups(const SortedFiles::Change& change, ViewCacheData& view) const;
  void UpdateCover();
  void SetCover(std::wstring path);
  bool NameClashes(const GalleryFile::Ptr& file, std::string_view name) const;
  std::string FreeName(const GalleryFile::Ptr& file) const;
  bool TakeFreeName(const GalleryFile::Ptr& file);
  bool RenameHere(const GalleryFile::Ptr& file, Aftermath& after) REQUIRES(writeLock);
  void BreakBurst(const GalleryFile::Ptr& file);

  GuardedField<std::string> expandText;
  Field<bool> hidden;

  mutable platform::SharedMutex writeLock;
  std::shared_ptr<SortedFiles> sortedFiles GUARDED_BY(writeLock);
  std::shared_ptr<const GalleryFile::OrderBy> order;  // constant after Classify

  mutable platform::SharedMutex nameLock;  // taken last
  FileNameIndex filesByName GUARDED_BY(nameLock);

  mutable platform::SharedMutex filesLock;
  std::shared_ptr<const FileSequence> files GUARDED_BY(filesLock) = std::make_shared<const FileSequence>();
  std::shared_ptr<const ViewCacheData> viewCache GUARDED_BY(filesLock) = std::make_shared<ViewCacheData>();

  mutable platform::SharedMutex limitedLock;
  FileList limitedFiles GUARDED_BY(limitedLock);

  mutable platform::Mutex coverLock;
  std::wstring coverPath GUARDED_BY(coverLock);

  mutable platform::SharedMutex onChangeLock;
  Listener onChange GUARDED_BY(onChangeLock);
};

// Order of albums in the panel and in sync lists: system kinds by kind, then the
// user's by time of creation, newest first.
bool AlbumSortsBefore(const Album::Ptr& left, const Album::Ptr& right);

// The id of a computed or system album, and the text id of its name; null for a
// kind that has none.
const char* SystemAlbumId(AlbumKind kind);
