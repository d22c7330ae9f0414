#pragma once

#include <functional>
#include <memory>
#include <set>

#include "common/platform/mutex.h"
#include "sync/isynclocaloperation.h"
#include "sync/syncservices.h"

// The sync's hand on gallery and database.
//
// The gallery changes memory first and ignores a write that fails. So whatever
// is changed here is written once more with a look at the result: a page that
// did not reach the table fails and comes again, and rows that no page would
// bring again wait in `unsaved` for the next cycle.
class SyncLocalOperation : public ISyncLocalOperation {
 public:
  using FilePtr = GalleryFile::Ptr;

  // `services` must outlive this object. `wake` asks for a tick at once.
  SyncLocalOperation(const SyncServices& services, std::function<void()> wake);

  std::vector<AlbumChange> GetCloudChangedAlbums(const Albums& cloudAlbums) override;
  bool SetLocalAlbums(const std::vector<AlbumChange>& changes, Albums& deleted) override;
  bool SetLocalGeneralFiles(std::vector<CloudFileInfo>& files) override;
  std::vector<std::string> GetRecycleAlbumIds() override;
  bool SetRecycleFiles(std::vector<CloudFileInfo>& files) override;

  bool HasLocalChanges() override;
  Albums GetCreatedAlbums() override;
  std::vector<std::string> UploadCreatedAlbumsFailed(const std::vector<FailedItem>& failed) override;
  std::vector<std::string> UploadModifyAlbumsFailed(const std::vector<FailedItem>& failed) override;
  void SetAlbumsUploaded(const std::vector<std::string>& ids, const std::string& operation) override;
  Albums GetModifyAlbums() override;
  Albums GetDeleteAlbums() override;
  Files GetChangedFiles() override;
  void SetFilesUploaded(const std::vector<CloudFileInfo>& done) override;
  void UploadModifyFilesFailed(const std::vector<FailedItem>& failed) override;
  Files GetDeleteFiles() override;
  std::vector<std::string> UploadDeleteFilesFailed(const std::vector<FailedItem>& failed) override;
  void SetFilesDeleted(const std::vector<std::string>& ids) override;
  Files GetUploadFiles() override;

  std::string GetAlbumListVersion() override;
  std::int64_t GetLatestVersion() override;
  bool SetAlbumListVersion(const std::string& text) override;
  bool SetLatestVersion(std::int64_t version) override;
  bool CanSync() override;
  AlbumLocalVersion GetVersionRecord() override;
  bool SetTempVersion(std::int64_t version, const std::string& cursor,
                      const std::string& recyCursor) override;
  std::string GetClearVersion() override;
  bool SetClearVersion(const std::string& text) override;

  ISyncServiceOperation* ChooseService(std::int32_t generation) override;

  // Reads the row, lets `change` change it and writes it back, as one step for
  // all threads. False when there is no row or the database refuses.
  bool ChangeVersionRecord(const std::function<void(AlbumLocalVersion&)>& change);
  // False when the row cannot be read; `found` tells whether there is one.
  bool ReadVersionRecord(AlbumLocalVersion& record, bool& found);

  // Writes what an earlier cycle could not write. False while that still fails:
  // no version may be stored then.
  bool SaveUnsaved();
  // Forgets it, for the next user.
  void ForgetUnsaved();
  // Drops the cloud sides: they hold the limits of the service that made them.
  // Nobody uses one meanwhile.
  void ForgetServices();
  // Albums of the cloud that memory does not know into table and memory, less those
  // of which a row holds a change that waits.
  bool InsertAlbums(Albums albums);
  // Albums that were made here under the name of a system album, before the cloud told
  // of that one, become one with it. Behind a pull, when all its files are known.
  void JoinNamesakes();
  // Removes albums that the cloud no longer has.
  bool DeleteAlbums(const Albums& deleted);
  // Deletes files for good, memory, thumbnails and rows, members of a deleted
  // cover excepted. False when a row stayed.
  bool DeleteForGood(const std::vector<std::string>& ids);
  // Files into table and memory, less those that memory does not show.
  bool InsertFiles(const Files& files);
  // The second half of it, for rows that are stored.
  bool AddToMemory(const Files& files);
  // Moves files that lie in memory into the bin and has the cloud told.
  bool RecycleHere(const Files& files);
  // The same for rows that memory does not show, whose album was deleted here.
  bool RecycleHidden(const std::vector<std::string>& ids);
  // Has live albums go up as changed ones.
  void SetAlbumsChanged(const std::vector<std::string>& ids);
  // The file of a cloud's record whose row memory does not show: the row itself
  // when a change waits in it, else a new file with what only this computer knows.
  static FilePtr RenewRow(const FilePtr& row, const CloudFileInfo& record);
  bool SaveFiles(const Files& files);
  bool SaveAlbums(const Albums& albums);

 private:
  struct Page;

  // synclocalfiles.cpp
  bool TakeDeleted(std::vector<CloudFileInfo>& files);
  void TakeOwn(std::vector<CloudFileInfo>& files, Page& page);
  bool Repair(const CloudFileInfo& record, Page& page);
  void TakeProtected(std::vector<CloudFileInfo>& files, Page& page);
  void TakeRest(std::vector<CloudFileInfo>& files, Page& page);
  FilePtr BuildFile(const CloudFileInfo& record);
  void ApplyAlbumRule(const FilePtr& file);
  bool Apply(Page& page);
  bool AddToBin(const std::vector<CloudFileInfo>& records);
  bool EraseRows(const std::vector<std::string>& ids);
  bool ChangeAlbumName(const std::string& albumId);
  void ResolveAlbumConflict(const FailedItem& item);
  void JoinAlbums(const Album::Ptr& album, const Album::Ptr& target);
  void GiveNameFreeIn(const Album& target, Album& album, const FilePtr& file);
  void LeaveToTheCloud(const Album& album, const Album& target);

  const SyncServices& services;
  const std::function<void()> wake;

  platform::Mutex unsavedLock;
  std::set<Album::Ptr> unsavedAlbums GUARDED_BY(unsavedLock);
  std::set<FilePtr> unsavedFiles GUARDED_BY(unsavedLock);
  std::set<std::string> rowsToErase GUARDED_BY(unsavedLock);

  platform::Mutex serviceLock;
  std::unique_ptr<ISyncServiceOperation> serviceV1 GUARDED_BY(serviceLock);
  std::unique_ptr<ISyncServiceOperation> serviceV2 GUARDED_BY(serviceLock);
};

// Whether the user changed the file and the cloud does not know yet: the cloud's
// copy must not overwrite it.
bool HasLocalChange(const GalleryFile& file);

// Whether a failure code says that the cloud no longer has the file.
bool IsGoneInCloud(const std::string& code);

// The log line for a change that the user made to `file` while `sent` was on its
// way; null when there was none.
const char* ChangeSince(const CloudFileInfo& sent, const GalleryFile& file);

// Whether memory shows the file: not those whose content the cloud has lost,
// unless the user wants to see them or it holds a change to send.
bool IsShown(const GalleryFile& file);
