#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "common/platform/mutex.h"
#include "sync/briefingplan.h"
#include "sync/cloudcomparison.h"
#include "sync/cloudlock.h"
#include "sync/cloudpull.h"
#include "sync/contentupload.h"
#include "sync/cycleturns.h"
#include "sync/displaywatch.h"
#include "sync/fulllisting.h"
#include "sync/localchanges.h"
#include "sync/refunds.h"
#include "sync/synccycle.h"
#include "sync/threadtimer.h"

// Keeps the gallery and the photo cloud in step: one object for the process that
// ticks every 60 seconds and runs one whole cycle a tick.
//
// Commit order: a page is in the tables before its cursor is stored, a version is
// stored after all its pages, the version of the album list after its albums.
// Changes of the user go up only after a good pull and are followed by another,
// which takes over the version that they made. Nothing is deleted here because
// the cloud was silent: a deletion needs a tombstone, or a whole listing.
//
// It drives the parts that do the work, each with a state of its own: CloudLock,
// CloudPull, FullListing, CloudComparison, LocalChanges, ContentUpload, Refunds,
// DisplayWatch; what they share is SyncCycle.
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
  void SetCallback(ISyncCallback* next) { cycle.SetCallback(next); }

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
  void EndCycle() { cycle.Stop(); }
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
  bool LoadDataToMemory() { return cycle.LoadDataToMemory(); }

  // --- Lock

  // Takes the cloud's lock and pulls what came before it; true at once when it is
  // held. The threads that lock must not do so at the same time.
  bool Lock() { return lock.Lock(); }
  void ReleaseLock() { lock.Release(); }
  // Takes the lock and has tasks made that give `fileIds` back to the cloud. Type
  // 0 contents, 1 thumbnails, 2 uploads that were pending at the start; `force`
  // takes content whose name is not known too. False when the lock cannot be had:
  // the tasks then wait for a later call. The lock stays until the tasks of all
  // calls have ended.
  bool RefundGetLock(const Ids& fileIds, std::int32_t type, bool force) {
    return refunds.RefundGetLock(fileIds, type, force);
  }
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
  bool IsStopRequested() const { return cycle.IsStopRequested(); }

  // --- Parts of a cycle; the timer's thread

  SyncMode GetSyncMode();
  bool FullSync(SyncMode mode);
  bool IncrementSync();
  // Pulls to the given state of the cloud, or to its present one.
  bool DownLoadFromCloud(const std::optional<CloudMarks>& marks) { return pull.DownLoadFromCloud(marks); }
  bool SyncUpload();
  // 0 done, 1 failed, 2 already running, 4 refused. Types: 0 far behind during a
  // full sync, 1 expired, 2 by push, 3 changes arrived during a full sync.
  int Briefing(int type);
  bool BriefingFullUpdate() { return comparison.BriefingFullUpdate(); }

  // --- Client init

  // Empties a database that the cloud says is out of date.
  void CheckAndClearDatabase();
  static bool DoNeedToInitClient(const std::string& body);
  // Whether a cloud's clear marker is newer than the one of the row.
  static bool IsClearNewer(const std::string& local, const std::string& cloud);
  // One look of the watch on the display switch; `shown` is the setting last
  // seen.
  void CheckDisplaySwitch(bool& shown) { displayWatch.CheckDisplaySwitch(shown); }

 private:
  enum class Phase {
    kOpen,     // cycles run when they are asked for
    kStarted,  // and by the timer's ticks
    kClosed,   // StopSync came: no cycle may clear its flags
  };
  // What is told of the cycles, since the start.
  struct Progress {
    SyncMode mode = SyncModeFailed;
    bool pulled = false;
    bool hasTicked = false;
    bool hasSynced = false;
    bool fullListing = false;
    bool timeLineToldIdle = false;
    bool timeLineToldCycle = false;
  };

  bool IsStarted() const { return phase == Phase::kStarted; }
  bool IsClosed() const { return phase == Phase::kClosed; }
  // The value before.
  template <typename T>
  T Note(T Progress::*field, T value) {
    platform::MutexLock hold(progressLock);
    return std::exchange(progress.*field, value);
  }
  Progress Noted() {
    platform::MutexLock hold(progressLock);
    return progress;
  }

  // synchelper.cpp
  bool RunTurn();
  void SyncTick();
  bool RunMode(SyncMode mode);
  void KeepLastError();
  void ExpireBin();
  bool WaitsAfter503() const;
  void NotifyTimeLine(bool Progress::*done);
  void PostToFrame(unsigned message) const;
  void EndTicks();
  int Stops();
  void ForgetRun();
  static void EmptyViews();
  void ClearStopFlags();
  void TimerTick();
  void EndTurn();
  SyncServices::Refund RefundOf(std::int32_t type);
  void GiveBackContents(const Ids& ids);

  // syncmode.cpp
  SyncMode DecideWithoutFullRow(bool hasRow, const AlbumLocalVersion& row);
  SyncMode RestartFull(const AlbumLocalVersion& row, const CloudVersion& cloud);

  // synccycles.cpp
  bool IncrementCycle();
  bool UploadUnderLock();
  void EndIncrement();
  void EndFailedPull();
  bool EndFullSync(bool good);
  bool FullSyncGalleryFilesV2(SyncMode mode);
  bool CompareAll();

  // syncinit.cpp
  void ProcessClientInitPushMsg(const std::string& body);

  SyncServices services;  // constant while the sync runs
  ThreadTimer timer;

  // The parts, each using those above it.
  SyncCycle cycle{services, [this] { timer.Wake(); }};
  CycleTurns turns{[this] { timer.Wake(); }};
  CloudComparison comparison{cycle, [this](const Ids& ids) { GiveBackContents(ids); }};
  CloudPull pull{cycle, comparison};
  CloudLock lock{cycle, pull};
  Refunds refunds{cycle, lock, turns};
  FullListing listing{cycle};
  LocalChanges changes{cycle};
  ContentUpload content{cycle};

  BriefingPlan briefing;

  // Starts and joins of the timer, requests and all; before `driverLock`.
  platform::Mutex startLock;
  // A start that begins its threads, against a stop; never over a request.
  platform::Mutex driverLock;
  int stops GUARDED_BY(driverLock) = 0;  // so far; a start in which it grows is none
  std::thread playerThread GUARDED_BY(driverLock);

  std::atomic<Phase> phase{Phase::kOpen};  // changed under `driverLock`
  std::atomic<bool> timerTicks{false};     // the timer's thread runs one
  std::atomic<bool> syncSwitch{true};

  // Of turns.
  bool cycleRunning = false;
  std::int64_t expiryAsked = 0;  // when the service's time was last asked for the bin

  platform::Mutex progressLock;  // a leaf
  Progress progress GUARDED_BY(progressLock);

  DisplayWatch displayWatch{[this] { return IsClosed(); }};
};
