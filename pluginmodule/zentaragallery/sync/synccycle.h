#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "sync/isynccallback.h"
#include "sync/synclocaloperation.h"
#include "sync/syncservices.h"
#include "sync/syncstatus.h"

// What the parts of a sync share: whether the cycle is to stop or to pause, how it
// tells what it does and why it failed, and the two sides that it keeps in step. Owned
// by SyncHelper. Safe from any thread, unless told otherwise.
class SyncCycle {
 public:
  using Ids = std::vector<std::string>;

  // `services` outlive it and are set before the first cycle. `wake` asks for a tick.
  SyncCycle(const SyncServices& services, std::function<void()> wake);

  const SyncServices& services;
  SyncLocalOperation localOperation;  // gallery and database

  // --- Stop. A cycle looks between pages and batches.
  void Stop() { stopRequested = cancelTask = true; }
  // The lock is lost: what goes on under it has to end.
  void Cancel() { cancelTask = true; }
  void TakeStopBack() { stopRequested = cancelTask = false; }
  bool IsStopRequested() const { return stopRequested; }
  bool IsCancelled() const { return cancelTask; }
  const std::atomic<bool>* CancelWord() const { return &stopRequested; }  // of a wait for the lock

  // --- Status
  void SetCallback(ISyncCallback* next) { callback = next; }
  void Tell(SyncStatus next, std::int64_t count);
  void TellPaused() { Tell(SyncStatus::PAUSE, uploadPending); }
  // Memory is loaded, or could not be.
  void TellLoaded(bool loaded);
  // A cycle never takes the pause away: only the user's switch does, by SetStatus.
  void Enter(SyncStatus next);
  void SetStatus(SyncStatus next) { status = static_cast<std::int32_t>(next); }
  SyncStatus Status() const { return static_cast<SyncStatus>(status.load()); }
  bool IsPaused() const { return Status() == SyncStatus::PAUSE; }
  // Asks for a tick at once.
  void Wake() { wakeTimer(); }

  // --- Failure
  void Begin();  // a turn, in which nothing has failed yet
  // Logs it and keeps the first cause of the turn, which is the one that helps. False.
  bool Fail(const char* step, const std::string& text, const std::string& item = {});
  bool HasFailed() { return !lastError.Get().step.empty(); }
  SyncError LastError() { return lastError.Get(); }

  // --- The cloud
  std::shared_ptr<ICloudListing> Listing() const;
  std::int32_t CutStatus();
  // Null without an answer of the second generation.
  std::unique_ptr<CloudVersion> QueryVersion();
  // The cloud's side for the generation that counts now. False when there is none; the
  // one before stays then: a lock that is held goes back by it.
  bool TakeService();
  ISyncServiceOperation* Service() const { return serviceOperation; }

  // --- Memory
  // Reads the rows into the gallery, once a start; a database that cannot be read is
  // tried again by the next call. False then.
  bool LoadDataToMemory();
  void SetLoaded(bool loaded) { dataLoaded = loaded; }
  bool IsLoaded() const { return dataLoaded; }
  std::int64_t PendingUploads();
  void CountPending() { uploadPending = PendingUploads(); }

  // Forgets the user.
  void Forget();

  std::atomic<std::int64_t> uploadPending{0};  // as it was counted last

 private:
  const std::function<void()> wakeTimer;
  std::atomic<ISyncCallback*> callback{nullptr};
  std::atomic<ISyncServiceOperation*> serviceOperation{nullptr};  // owned by `localOperation`
  std::atomic<std::int32_t> status{0};
  std::atomic<bool> dataLoaded{false};
  std::atomic<bool> stopRequested{false};
  std::atomic<bool> cancelTask{false};
  GuardedField<SyncError> lastError;
  std::atomic<std::int64_t> troublesBefore{0};  // of the cloud, before the present turn
};
