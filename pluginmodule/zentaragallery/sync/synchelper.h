#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

#include "common/platform/mutex.h"
#include "sync/isynccallback.h"
#include "sync/synclocaloperation.h"
#include "sync/syncservices.h"
#include "sync/syncstatus.h"
#include "sync/threadtimer.h"

struct BriefingItem;

// Keeps the gallery and the photo cloud in step: one object for the process that
// ticks every 60 seconds and runs one whole cycle a tick.
//
// Commit order: a page is in the tables before its cursor is stored, a version is
// stored after all its pages, the version of the album list after its albums.
// Changes of the user go up only after a good pull and are followed by another,
// which takes over the version that they made. Nothing is deleted here because
// the cloud was silent: a deletion needs a tombstone, or a whole listing.
//
// Threads: cycles run on the timer's thread, or on the caller's of RunOnce, and
// never overlap. StartSync, StopSync, SetPaused, ProcessPushMsg and GetState may
// be called from any thread; StopTimer from any but a cycle's.
class SyncHelper {
 public:
  using Ids = std::vector<std::string>;

  static SyncHelper& GetInstance();
  // A test stands in for the process-wide object; null puts it back.
  static void Replace(SyncHelper* other);

  explicit SyncHelper(SyncServices given = {});
  ~SyncHelper();
  SyncHelper(const SyncHelper&) = delete;
  SyncHelper& operator=(const SyncHelper&) = delete;

  // Before the first tick.
  void SetServices(SyncServices next) { services = std::move(next); }
  // Null: nobody looks. Must outlive its registration.
  void SetCallback(ISyncCallback* next) { callback = next; }

  // --- Driver

  // Once a login: checks the database against the cloud and starts the ticks.
  void StartSync();
  // Ends what runs at its next check, and empties the views. Ticks do nothing
  // from then on until the next StartSync.
  void StopSync();
  void StopTimer();
  // Behind StopSync and StopTimer: gives the lock back and forgets the user whose
  // gallery it was. A start does it too, for a host that has left it out.
  void ForgetUser();
  // Ends the ticks that StartSync began, and waits for the one that runs. The
  // gallery and the cycles of others stay as they are: RunOnce and another
  // StartSync work on.
  void StopTicks();
  // What runs ends at its next check; the next cycle runs as usual. A cycle that
  // just begins may not notice: whoever waits for the end calls it again.
  void EndCycle() { stopRequested = cancelTask = true; }
  // After StopSync, for the gallery of the account that is current now: RunOnce
  // works again, without the ticks.
  void Reopen();
  // The user's switch: stored, and told to a sync that has started.
  void SetSyncSwitch(bool on);
  void SetPaused(bool paused);
  // The command "301" brings the next tick at once; with a body that says so, it
  // has the client forget what is down.
  void ProcessPushMsg(const std::string& command, const std::string& body);

  // Exactly one tick on the caller's thread, without the timer. False when a
  // tick is under way elsewhere, or the cycle failed.
  bool RunOnce();
  // The same behind a tick that is under way; `begun` is told when its turn has
  // come. False also when `giveUp`, which is asked while it waits, said so.
  bool RunNext(const std::function<bool()>& giveUp, const std::function<void()>& begun);
  SyncState GetState();

  // Reads the rows into the gallery, once a start; a database that cannot be
  // read is tried again by the next call. False then.
  bool LoadDataToMemory();

  // --- Lock

  // Takes the cloud's lock and pulls what came before it; true at once when it is
  // held. The threads that lock must not do so at the same time.
  bool Lock();
  void ReleaseLock();
  // Takes the lock and has tasks made that give `fileIds` back to the cloud. Type
  // 0 contents, 1 thumbnails, 2 uploads that were pending at the start; `force`
  // takes content whose name is not known too. False when the lock cannot be had:
  // the tasks then wait for a later call. The lock stays until the tasks of all
  // calls have ended.
  bool RefundGetLock(const Ids& fileIds, std::int32_t type, bool force);
  // Gives back at once what the cloud says that it has lost, as far as this computer
  // has it, and waits for the uploads to end, as long as `goOn` says so. False when
  // the list or the lock cannot be had. Between cycles.
  bool GiveBackLost(const std::function<bool()>& goOn);
  // For a thread that is not the timer's: runs `work` while no cycle runs, waiting
  // for one that does, and gives its result. False, without it, after StopSync.
  bool BetweenCycles(const std::function<bool()>& work);
  // The same under the lock, which is given back unless tasks hold it; false,
  // without `work`, when the lock cannot be had.
  bool WithLock(const std::function<bool()>& work);
  // What runs is to end at its next check.
  bool IsStopRequested() const { return stopRequested; }

  // --- Parts of a cycle; the timer's thread

  struct CloudMarks {
    std::string albumListVersion;
    std::int64_t fileVersion = -1;
    std::string clearVersion;
  };
  SyncMode GetSyncMode();
  bool FullSync(SyncMode mode);
  bool IncrementSync();
  // Pulls to the given state of the cloud, or to its present one.
  bool DownLoadFromCloud(const std::optional<CloudMarks>& marks);
  bool SyncUpload();
  // 0 done, 1 failed, 2 already running, 4 refused. Types: 0 far behind during a
  // full sync, 1 expired, 2 by push, 3 changes arrived during a full sync.
  int Briefing(int type);
  bool BriefingFullUpdate();

  // --- Client init

  // Empties a database that the cloud says is out of date.
  void CheckAndClearDatabase();
  static bool DoNeedToInitClient(const std::string& body);
  // Whether a cloud's clear marker is newer than the one of the row.
  static bool IsClearNewer(const std::string& local, const std::string& cloud);
  // One look of the watch on the display switch; `shown` is the setting last
  // seen.
  void CheckDisplaySwitch(bool& shown);

 private:
  class KnownFiles;

  // synchelper.cpp
  bool RunTurn();
  void SyncTick();
  bool RunMode(SyncMode mode);
  void KeepLastError();
  void ExpireBin();
  bool WaitsAfter503() const;
  void NotifyTimeLine(std::atomic<bool>& done);
  void PostToFrame(unsigned message) const;
  void Tell(SyncStatus next, std::int64_t count);
  void Enter(SyncStatus next);
  bool IsPaused() const { return status == static_cast<std::int32_t>(SyncStatus::PAUSE); }
  bool Fail(const char* step, const std::string& text, const std::string& item = {});
  void EndTicks();
  void ForgetRun();
  static void EmptyViews();
  void StartWatch();
  void ClearStopFlags();
  void TimerTick();
  std::int64_t PendingUploads();

  // syncmode.cpp
  std::int32_t CutStatus();
  std::shared_ptr<ICloudListing> Listing() const;
  std::unique_ptr<CloudVersion> QueryVersion();
  SyncMode DecideWithoutFullRow(bool hasRow, const AlbumLocalVersion& row);
  SyncMode RestartFull(const AlbumLocalVersion& row, const CloudVersion& cloud);

  // syncfull.cpp
  bool EmptyForFullSync();
  bool AlignMemoryWithTable();
  bool TakeInStoredRows();
  bool FullSyncAlbumsV2();
  bool FullSyncGalleryFilesV2(SyncMode mode);
  bool RequestDownLoadFileV2(std::size_t& olderRows);
  bool StoreListedPage(const ICloudListing::MediaPage& page, KnownFiles& known, std::int64_t& offset,
                       SyncLocalOperation::Files& fresh);
  bool FinishFullSync();
  bool EndFullSync(bool good);

  // syncpull.cpp
  bool IncrementCycle();
  void EndFailedPull();
  bool PullAlbums(const std::string& version, Gallery::Albums& deleted, bool& storeLater);
  bool PullFiles(std::int64_t from, std::int64_t to);
  bool SyncAblum(Gallery::Albums& deleted);
  bool SyncGeneralFiles(std::int64_t fromVersion);
  bool SyncRecycleFiles(const Ids& albumIds, std::int64_t fromVersion);
  bool FillGap(bool fellBehind, std::int64_t fileVersion);
  bool CompareAfterLoss(bool fellBehind);

  // synclock.cpp
  bool TakeService();
  void KeepLock(std::int32_t intervalSeconds);
  void StopKeeper(bool stop);
  bool KeeperStopsBefore(std::chrono::steady_clock::time_point end);
  void EndTurn();
  void FreeTurn();
  void ReleaseAfterRefund();
  SyncServices::Refund RefundOf(std::int32_t type);
  void ResumeRefunds();
  static bool BuildRefundTasks(const Ids& fileIds, std::int32_t type, bool force,
                               std::vector<RefundTask>& tasks);

  // syncupload.cpp
  bool UploadCreatedAlbums();
  bool UploadModifyAlbums();
  bool UploadModifyFiles();
  bool UploadFileGroup(const SyncLocalOperation::Files& group);
  bool UploadDeleteFiles();
  bool UploadDeleteAlbums();
  bool RecycleLeftFiles(const std::string& albumId);
  bool UploadFailed(const char* text);
  void NoteRefused(const char* step, const std::vector<FailedItem>& failed,
                   const std::function<bool(const std::string& code)>& isDealtWith);
  void NoteStuck(const char* step, const Ids& albums);

  // synccontent.cpp
  bool ContentIsPaused() const;
  void UploadContent();
  bool WaitForTasks(std::size_t remaining);

  // briefing.cpp
  bool AddListedNew();
  bool UploadAgain(const SyncLocalOperation::Files& files);
  bool BriefingProcessAlbum(bool recycle, std::unordered_set<std::string>& listed);
  bool BriefingPage(std::vector<BriefingItem>& items);
  void GiveBackEmpty();
  bool DetailedProcessing(const std::vector<BriefingItem>& items);
  bool DetailedProcessAddFile(const Ids& ids);
  bool DetailedProcessModifyFile(const Ids& ids);
  void DetailedProcessLostFile(const Ids& ids);
  bool GetDetail(const Ids& ids, Ids& missing, std::vector<CloudFileInfo>& details);
  bool GetCloudBriefingFiles(std::string& cursor, bool recycle, std::vector<BriefingItem>& items);

  // syncinit.cpp
  void ProcessClientInitPushMsg(const std::string& body);
  void LoadDataToMemoryWhenDisplaySwitchChanged(bool shown);
  bool SleepWhileLoggedIn(std::int64_t seconds) const;

  SyncServices services;  // constant while the sync runs
  ThreadTimer timer;
  SyncLocalOperation localOperation;
  std::atomic<ISyncCallback*> callback{nullptr};
  std::atomic<ISyncServiceOperation*> serviceOperation{nullptr};  // owned by localOperation

  std::atomic<std::int32_t> status{0};
  std::atomic<std::int32_t> mode{0};
  std::atomic<std::int64_t> targetVersion{-1};
  std::atomic<bool> pulled{false};
  std::atomic<std::int64_t> uploadPending{0};
  std::atomic<std::int32_t> briefingPeriodDays{0};
  std::atomic<std::int64_t> briefingRandomMs{0};
  std::atomic<int> briefingType{0};
  std::atomic<int> lockCount{0};

  std::atomic<bool> started{false};
  std::atomic<bool> closed{false};       // StopSync came: no cycle may clear its flags
  std::atomic<bool> timerTicks{false};   // the timer's thread runs one
  std::atomic<bool> ticking{false};      // a tick is under way on some thread
  std::atomic<bool> tickRefused{false};  // another was asked for meanwhile
  std::atomic<bool> hasTicked{false};
  std::int64_t expiryAsked = 0;  // when the service's time was last asked for the bin; of turns
  std::atomic<bool> cycleRunning{false};
  std::atomic<bool> hasSynced{false};
  std::atomic<bool> briefingBusy{false};
  std::atomic<bool> fullListing{false};
  std::atomic<bool> listedNothing{false};  // by the last comparison
  std::atomic<bool> dataLoaded{false};
  std::atomic<bool> watching{false};  // the watch thread runs
  std::atomic<bool> syncSwitch{true};
  std::atomic<bool> purgeNotInCloud{false};
  std::atomic<bool> cloudFellBehind{false};  // the cloud is of an earlier state than this gallery
  std::atomic<std::size_t> requeued{0};      // files that the last tick found missing there
  std::atomic<int> refundHoldsLock{0};       // calls whose tasks have not ended
  std::atomic<bool> refundEnded{false};      // nobody has looked since whether the lock can go
  std::atomic<bool> refundsToResume{false};  // those that were pending at the start
  std::atomic<bool> stopRequested{false};    // its address is the cancel word of GetLock
  std::atomic<bool> cancelTask{false};       // looked at between pages and batches
  std::atomic<bool> timeLineToldIdle{false};
  std::atomic<bool> timeLineToldCycle{false};

  Ids listedEmpty;  // of size 0 in the last comparison; the thread of its cycle
  Ids listedNew;    // not here yet, of a comparison with a cloud that fell behind; the same thread

  // Starts and joins of the timer, requests and all; before `driverLock`, which
  // is before `watchLock`.
  platform::Mutex startLock;
  // A start that begins its threads, against a stop; never over a request.
  platform::Mutex driverLock;
  std::atomic<int> stops{0};  // so far; a start in which it grows is none

  platform::Mutex keeperStopLock;  // a leaf, of the keeper's wait alone
  std::condition_variable_any keeperStops;
  bool keepLockStop GUARDED_BY(keeperStopLock) = false;

  platform::Mutex keeperLock;
  std::thread keepLockThread GUARDED_BY(keeperLock);

  platform::Mutex watchLock;
  std::thread watchThread GUARDED_BY(watchLock);
  std::thread playerThread GUARDED_BY(watchLock);

  GuardedField<SyncError> lastError;
  std::atomic<std::int64_t> troublesBefore{0};  // of the cloud, before the present tick
};
