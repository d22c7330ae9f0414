#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "cloud/galleryver.h"
#include "common/platform/mutex.h"
#include "host/transfer/downloadtask.h"
#include "host/transfer/galleryupthdmng.h"
#include "host/transfer/transfermanager.h"
#include "model/records/album.h"
#include "model/records/field.h"
#include "model/records/galleryfile.h"

class DownloadPlaces;

// The gallery's transfers: which tasks there are, where they are kept, which
// generation of the cloud they use. One instance for the process; it stays over
// log-outs. Safe from any thread.
//
// Downloads have rows in DownloadTask, finished ones in TransferCompleteCloudTask.
// Uploads have none: the files that wait for one are known to the gallery.
class GalleryTransManager : public TransferManager {
 public:
  using Files = std::vector<GalleryFile::Ptr>;
  using Done = TransferTask::Done;
  using MakeUpload = std::function<TransferTask::Ptr(const GalleryFile::Ptr&, const Album::Ptr&)>;
  using DownloadPtr = std::shared_ptr<DownloadTask>;

  static GalleryTransManager& GetInstance();
  ~GalleryTransManager() override;

  // Makes the manager known to the host.
  void GalleryInit();
  // Stops everything and forgets it but for the rows; the last of a login.
  void GalleryStop();

  // The generation of the cloud; asks the service while it is not known.
  GalleryVer GetGalleryVer();

  // TransferManager
  bool GetHttpHeader(std::map<std::string, std::string>& headers) override;
  // Lists downloads that an earlier run has left, held while transfers are paused,
  // and finished ones; how many.
  std::size_t LoadTaskFromDB() override;
  // Empties the table of downloads or of finished transfers. Neither tasks that
  // are listed nor ".download" files go.
  void DelAllTaskDB(TaskType kind) override;

  // Queue uploads; how many. A file whose source is not as it was, and one that
  // is queued already, is left out and `done` not called for it. `album` may be
  // null: the file's own. One `done` for all, or one for each file.
  std::size_t GalleryUpload(const Files& files, const Album::Ptr& album, const Done& done = {});
  std::size_t GalleryUpload(const Files& files, const Album::Ptr& album, const std::vector<Done>& done);

  // Queue downloads into `folder`, unless nobody is logged in; how many. No two go
  // to one name. One of a file that is listed already goes on instead, if it was
  // paused or has failed.
  std::size_t GalleryDownload(const Files& files, const std::wstring& folder, const Done& done = {});
  std::size_t GalleryDownload(const GalleryFile::Ptr& file, const std::wstring& folder,
                              const Done& done = {});
  // {"files":[{"uniqueId":...}]}
  void GalleryDownloadFromPortal(const std::string& json, const std::wstring& folder);

  // Stores the rows of all or of none.
  bool AddDownloadsDB(const std::vector<DownloadPtr>& tasks);
  void DeleteTasks(const std::vector<TransferTask::Ptr>& tasks);

  // The cloud's lock of this process, which content requests carry as
  // "x-zt-lock"; empty while none is held.
  std::string LockToken() const { return lockToken.Get(); }
  void SetLockToken(std::string token) { lockToken.Set(std::move(token)); }

  // Makes the upload of a file; null leaves it out. For tests; an empty one puts
  // the real one back.
  void SetMakeUpload(MakeUpload next);

 private:
  GalleryTransManager();

  TransferTask::Ptr NewUpload(const GalleryFile::Ptr& file, const Album::Ptr& album) const;
  TransferTask::Ptr NewRefund(const ZentaraDeskClient::GalleryUpThdMng::Request& request) const;
  bool MakeDownloads(const Files& files, const std::wstring& folder, const Done& done,
                     std::vector<DownloadPtr>& batch, std::vector<std::string>& listed);
  DownloadPtr NewDownload(const GalleryFile::Ptr& file, const std::wstring& folder,
                          DownloadPlaces& places) const;

  mutable platform::Mutex makeLock;
  MakeUpload makeUpload GUARDED_BY(makeLock);
  std::atomic<GalleryVer> galleryVer{GalleryVer::Unknown};  // as it was last asked for
  GuardedField<std::string> lockToken;
};
