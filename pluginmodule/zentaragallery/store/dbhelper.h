#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "common/platform/mutex.h"
#include "host/database/databaseoperationbase.h"
#include "model/records/album.h"
#include "model/records/galleryfile.h"
#include "store/storerecords.h"

// The gallery's one door to its database: one operation per statement and no
// logic beyond. When a row changes is decided by the model and the sync.
//
// Safe from any thread; serialising is the base's business. An operation returns
// whether its statement ran, and logs nothing itself.
class DBHelper : public DatabaseOperationBase {
 public:
  using AlbumPtr = Album::Ptr;
  using FilePtr = GalleryFile::Ptr;
  using AlbumVector = std::vector<AlbumPtr>;
  using FileVector = std::vector<FilePtr>;

  static DBHelper& GetInstance();

  // Makes or opens the database of `userId` (UTF-8), creates what tables are
  // missing and adds what columns an older client did not know. Non-zero on
  // success; without success the gallery goes on without a store.
  int IntiDataBase(const std::string& userId);
  // The file's name without its folder: 64 hexadecimal digits and "cpp.dat".
  static std::wstring GetGalleryDBName(const std::string& userId);
  std::wstring UserFolder() const { return userFolder.Get(); }

  // --- Albums
  bool AddAlbum(const AlbumPtr& album);
  bool AddAlbums(const AlbumVector& albums);
  bool GetAlbums(AlbumVector& albums);
  // Fills `album` and gives it `id`; true if a row was found.
  bool GetAlbum(Album& album, const std::string& id);
  bool ClearAlbums();
  // The id itself can change: `oldId` names the row.
  bool UpdateAlbum(const AlbumPtr& album, const std::string& oldId);
  bool UpdateAlbumName(const AlbumPtr& album);
  std::int64_t CountAlbums();

  // --- Sync state
  bool AddLocalVersion(const AlbumLocalVersion& record);
  bool GetLocalVersions(std::vector<AlbumLocalVersion>& records);
  bool UpdateLocalVersion(const AlbumLocalVersion& record, const std::string& oldVersion);
  // Has `change` change each record, as one step for all threads; no other call
  // of this part may come from within. False when there is none, or the database
  // refuses.
  bool ChangeLocalVersions(const std::function<void(AlbumLocalVersion&)>& change);
  bool SetFileCursor(const std::string& cursor);
  bool SetHasDownAll(std::int64_t value);
  bool SetLostFileQueryCursor(const std::string& cursor);
  bool SetLastLostFileQueryTimestamp(std::int64_t value);
  // Of the first record; false when there is none.
  bool GetHasDownAll(std::int64_t& value);
  std::string GetCloudPhotoVersion();

  // --- Files
  bool AddFile(const FilePtr& file);
  bool AddFiles(const FileVector& files);
  // Fills `file`; false, with the fields as they were but for the key, when
  // there is no row.
  bool GetFile(GalleryFile& file, const std::string& uniqueId);
  FilePtr GetFile(const std::string& uniqueId);
  bool GetFileByGuid(GalleryFile& file, const std::string& guid);
  std::wstring GetLocalPath(const std::string& uniqueId);
  // All files; with `showLost` false only those whose content the cloud has, or of
  // which something has to be told to it.
  bool GetFiles(FileVector& files, bool showLost);
  bool GetLostFiles(FileVector& files);
  bool DeleteFiles(const FileVector& files);
  // The identity can change: this is how a local file takes the cloud's id.
  bool UpdateFile(const FilePtr& file, const std::string& oldUniqueId);
  // What the bin, a deletion and a favourite mark change.
  bool UpdateFiles(const FileVector& files);
  // What a move changes.
  bool UpdateFilesAlbum(const FileVector& files);
  bool ChangeAlbumId(const std::string& oldId, const std::string& newId);
  bool SetLocalPath(const FilePtr& file);
  bool SetSize(const FilePtr& file);
  bool SetContentStatus(const std::string& uniqueId, std::int64_t status);
  // Ids with their statuses, in one batch.
  using ContentStatuses = std::vector<std::pair<std::string, std::int64_t>>;
  bool SetContentStatus(const ContentStatuses& statuses);
  // Covers of that burst name: `UniqueId` and the burst fields only.
  bool GetBurstCovers(const std::wstring& name, FileVector& covers);
  // Of all files, those that no list shows too.
  bool GetGuids(std::unordered_set<std::string>& guids);
  bool ClearOffsets();
  std::int64_t GetMaxOffset();
  std::int64_t GetMinOffset();
  std::int64_t CountFiles();

  // --- What the cloud told
  // Forgets all that the cloud can tell again, the version row included, as one
  // step. Rows stay that tell what waits for the cloud, or where a file lies on
  // this computer, and the albums of such files; the cloud's own three albums only
  // while they wait themselves, as every listing names them.
  bool ForgetCloud();
  // The same for what an unfinished listing has brought, in front of the next one:
  // the version row stays, and `waitingAlbums` and `waitingFiles` are written anew.
  bool EmptyForListing(const AlbumVector& waitingAlbums, const FileVector& waitingFiles);

  // --- Transfers
  // Stores the task unless its file has a row already; the id of the row is
  // kept in the task.
  bool AddDownload(DownloadTaskProperty& task);
  // The same for many, all of them or none.
  bool AddDownloads(const std::vector<DownloadTaskProperty*>& tasks);
  bool GetDownloads(std::vector<DownloadTaskProperty>& tasks);
  bool DeleteDownload(std::int64_t id);
  bool UpdateDownload(const DownloadTaskProperty& task, std::int64_t oldId);
  bool AddCompleted(CompletedTaskProperty& task);
  bool GetCompleted(std::vector<CompletedTaskProperty>& tasks);
  bool DeleteCompleted(std::int64_t id);

 private:
  DBHelper();

  void CreateTables();
  bool HasColumn(std::string_view table, std::string_view column);
  bool ExecuteOne(std::string_view sql, const DatabaseBindParameter& parameter);
  std::int64_t QueryNumber(std::string_view sql);
  bool ReadFiles(const std::string& sql, FileVector& files);
  // `albums` and `files` must outlive the statement.
  static Statement PutAlbums(const AlbumVector& albums);
  static Statement PutFiles(const FileVector& files);
  bool PutLocalVersion(const AlbumLocalVersion& record) REQUIRES(versionLock);
  bool ReplaceLocalVersion(const AlbumLocalVersion& record, const std::string& oldVersion)
      REQUIRES(versionLock);

  // Held over each write of the version row, so that one that reads it first loses
  // nothing of another.
  platform::Mutex versionLock;

  GuardedField<std::wstring> userFolder;
  platform::Mutex completedLock;  // covers writing a finished transfer and asking for its id
};
