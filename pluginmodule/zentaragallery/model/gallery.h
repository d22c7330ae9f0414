#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "common/platform/mutex.h"
#include "model/bursttables.h"
#include "model/filetable.h"
#include "model/records/album.h"
#include "model/records/galleryfile.h"
#include "model/records/upward.h"

// The gallery of one user in memory: a process-wide singleton that owns every
// album and file. All changes go through it, from windows, sync and transfers.
// Memory is changed first and the row second; a failed write is not rolled back,
// and the next sync sets it right.
//
// Safe from any thread. Lock order: fileLock, a burst's lock, an album's writeLock,
// nameLock, then filesLock. albumLock is held around its maps only, and no album's
// writeLock is taken under it. Listeners are called outside all locks and may call
// back; reports and steps of a batch run under fileLock and may not. Batches are
// synchronous to their caller and work on their albums in parallel.
class Gallery : public IGalleryContext {
 public:
  using AlbumPtr = Album::Ptr;
  using Albums = std::vector<AlbumPtr>;
  using FilePtr = GalleryFile::Ptr;

  // What became of one file of a batch.
  enum ProcFileState : int {
    Done = 0,
    NotFound = 1,  // null, without an id, or not in the gallery
    NoAlbum = 2,   // its album does not exist; or a recovery failed
    NoRecycleAlbum = 3,
    AlreadyThere = 4,  // exists (adding), or a same-named file blocks it (moving)
    Refused = 5,       // cannot be recycled or deleted
    MoveRefused = 6,
  };
  using Report = std::function<void(ProcFileState, const FilePtr&)>;
  using Step = std::function<ProcFileState(const FilePtr&)>;
  using AlbumFiles = std::map<AlbumPtr, Files>;

  // Which albums a classification looks at.
  enum ClassifyMask : unsigned {
    OwnAlbum = 1,
    TimeLine = 2,
    RecentlyUpload = 4,
    AllPictures = 8,
    AllVideos = 16,
    RecycleBin = 32,
    Favorites = 64,
    Everything = 255,
    EverythingButBin = 223,
    // On the way out: also the views that would not take the file any more.
    Leaving = 256,
  };

  using AlbumsListener = std::function<void(int event, const Albums&)>;
  using AlbumListener = std::function<void(int event, const AlbumPtr&)>;

  static Gallery& GetInstance();

  // Empties the gallery and makes the albums "Pictures" and "RecentlyUpload".
  bool Init();

  // --- Albums

  // Takes rows in; returns how many.
  std::size_t LoadAlbums(const Albums& rows);
  // The cloud's view of albums that are known here; returns how many changed.
  std::size_t UpdateAlbums(const Albums& records);
  // The cloud says that these are gone. One that still holds files stays and is
  // created again there. Returns how many were dealt with.
  std::size_t DelAlbums(const Albums& records);
  // Null for an illegal name, or a taken one unless `restore`, which makes it
  // free. `createTime` other than -1 makes the album as old as now.
  AlbumPtr CreateAlbum(const std::wstring& name, bool restore, std::int64_t createTime);
  // Recycles the files and marks the album; only albums of the user.
  bool DeleteAlbum(const AlbumPtr& album);
  bool RenameAlbum(const AlbumPtr& album, const std::wstring& newName);
  AlbumPtr AlbumNameIsExist(const std::wstring& name);
  AlbumPtr GetAlbum(const std::string& id) override;
  AlbumPtr GetDeletedAlbum(const std::string& id);
  void GetDeletedAlbums(Albums& out);
  // The real albums in the order of the panel.
  void GetAlbums(Albums& out, bool withHidden);
  AlbumPtr GetOrCreateSystemAlbum(AlbumKind kind);
  bool ShowAlbum(const AlbumPtr& album);
  bool HideAlbum(const AlbumPtr& album);
  // The system album in use that is called so in the user's language, or null; and
  // whether there is one.
  AlbumPtr GetSystemAlbumNamed(const std::wstring& name);
  bool IsReservedName(const std::wstring& name) { return GetSystemAlbumNamed(name) != nullptr; }
  // Where files of a folder of that name go: into the real album called so, a system
  // album too, as a second "Camera" beside the one of the phone would be told from it by
  // nobody. One of the user's own comes first: what was imported into it before would
  // else come in twice. Where a view has the name, the album stands beside it with a
  // number. Null when none can be made.
  AlbumPtr AlbumForFolder(const std::wstring& name);
  void SetAlbumsListener(AlbumsListener listener);
  void SetAlbumListener(AlbumListener listener);

  // --- Files

  // Sorts a batch into the albums of `mask`; `before` and `after` run under
  // fileLock and may not take it. Returns how many files are done.
  std::size_t ClassifyFiles(unsigned mask, const Files& list, AlbumFiles& albumFiles, const Report& report,
                            const Step& before, const Step& after);
  // Whether the first files have come in since Init.
  bool IsLoaded();
  // Into memory only; the rows are there already.
  std::size_t AddFiles(const Files& list);
  // Out of memory only.
  std::size_t RemoveFiles(const Files& list);
  std::size_t RecycleFiles(const Files& list, bool fromSync, const Report& report = nullptr);
  std::size_t DeleteFiles(const Files& list, bool fromSync, const Report& report = nullptr);
  // The cloud does not know these any more: out of memory and table, whatever
  // memory knew of them. Members of a burst whose cover goes alone stay. False when
  // the rows could not be deleted.
  bool DeleteGone(const std::vector<std::string>& ids);
  // Deleted files that the cloud never saw: nobody has to be told, so rows and
  // thumbnails go. False when the rows could not be deleted.
  bool DropNeverUploaded();
  std::size_t RecoverFiles(const Files& list, bool fromSync, const Report& report = nullptr);
  // All files of `source`; returns how many did not move, -1 for a null album.
  std::int64_t MoveFiles(const AlbumPtr& source, const AlbumPtr& target);
  std::size_t MoveFiles(const Files& list, const AlbumPtr& target, bool fromSync,
                        const Report& report = nullptr);
  // False when nothing changes, for a file of the bin, and for marking one that
  // stands behind a cover: it is the cover that is in sight.
  bool FavoriteFiles(const FilePtr& file, bool on);
  // After an upload: the row of `oldId` and the file table take the file's new id.
  // False, logged, when the row could not be written: WriteLateIds tries again.
  bool UpdateFileUId(const FilePtr& file, const std::string& oldId);
  // False while a row still has an id that its file no longer has: the next start
  // would upload the content a second time.
  [[nodiscard]] bool WriteLateIds();
  std::size_t GetGalleryFiles(const std::vector<std::string>& ids, Files& out);
  FilePtr GetFile(const std::string& uniqueId);
  // The file, or the cover that it stands behind.
  FilePtr GetVisibleFile(const std::string& uniqueId);
  void GetAllFiles(Files& out);
  std::size_t FileCount() override;

  // --- Bursts
  void ClearBursts() { bursts.Clear(); }
  FilePtr CoverOf(const FilePtr& member) const { return bursts.CoverOf(member); }
  // Which shot the picture viewer opens on: the number of the member last asked
  // for, less one.
  Field<std::int32_t> burstIndex;

 private:
  Gallery();

  // IGalleryContext, for files and albums.
  AlbumPtr RestoreAlbum(const std::wstring& name, std::int64_t createTime) override;
  bool ReadAlbumRow(Album& album, const std::string& id) override;
  bool WriteRows(const Files& list) override;
  bool WriteAlbumIdOfFiles(const std::string& oldId, const std::string& newId) override;
  void ShowInPanel(const AlbumPtr& album) override { (void)ShowAlbum(album); }
  void HideFromPanel(const AlbumPtr& album) override { (void)HideAlbum(album); }
  void Announce(AlbumEvent event, const AlbumPtr& album) override;
  Files BurstCovers(const std::wstring& name, const std::string& albumId, bool inBin) override;
  Files BurstMembers(const std::wstring& name, const std::string& albumId, bool inBin) override;
  void UnregisterBurst(const FilePtr& file) override { bursts.Unregister(file); }
  FilePtr CoverHolding(const GalleryFile& file) override { return bursts.CoverHolding(file); }
  void FoldIntoBurst(const Files& takeOutOfViews, const Files& foldedFavorites) override;
  void ShowInViews(const Files& list) override;
  void DeleteExpired(const Files& files) override { (void)DeleteFiles(files, false); }

  void Announce(AlbumEvent event, const Albums& albums);
  void Tell(AlbumEvent event, const AlbumPtr& album);
  bool AutoRenameAlbum(const AlbumPtr& album) REQUIRES(albumLock);
  bool LoadLiveAlbum(const AlbumPtr& row, Albums& renamed, Albums& shown) REQUIRES(albumLock);
  bool TakeName(const AlbumPtr& album, const AlbumPtr& record) REQUIRES(albumLock);
  bool DropAlbum(const AlbumPtr& record, Albums& removed) REQUIRES(albumLock);
  void InsertLive(const AlbumPtr& album) REQUIRES(albumLock);
  void EraseName(const AlbumPtr& album) REQUIRES(albumLock);
  AlbumPtr RecycleAlbum();

  class Classifier;
  ProcFileState TakeIn(const FilePtr& file) REQUIRES(fileLock);
  ProcFileState InTable(const FilePtr& file) REQUIRES(fileLock);
  bool BlocksMove(const Album& target, const FilePtr& file) const;
  void ForEachAlbum(const AlbumFiles& albumFiles,
                    const std::function<void(const AlbumPtr&, const Files&)>& work);
  void MoveOut(const AlbumPtr& source, const Files& list, const AlbumPtr& target);

  platform::SharedMutex albumLock;
  std::map<std::string, AlbumPtr> albums GUARDED_BY(albumLock);
  std::map<std::wstring, AlbumPtr> albumsByName GUARDED_BY(albumLock);  // live ones but the bin
  std::map<std::string, AlbumPtr> deletedAlbums GUARDED_BY(albumLock);  // until the cloud knows
  std::map<std::string, std::wstring> albumTextIds GUARDED_BY(albumLock);
  bool firstAddDone GUARDED_BY(albumLock) = false;

  platform::Mutex listenerLock;
  AlbumsListener onAlbumsChanged GUARDED_BY(listenerLock);
  AlbumListener onAlbumChanged GUARDED_BY(listenerLock);

  platform::SharedMutex fileLock;
  FileTable files GUARDED_BY(fileLock);

  platform::Mutex lateIdsLock;  // held over the writes
  std::vector<std::pair<FilePtr, std::string>> lateIds GUARDED_BY(lateIdsLock);

  BurstTables bursts;
};
