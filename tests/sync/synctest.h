#pragma once

#include "fakeaccount.h"
#include "support/gallerytest.h"
#include "sync/synchelper.h"

// A real gallery and database with a sync of its own against a fake account.
// Tests talk to both sides and run cycles one by one.
class SyncTest : public GalleryTest {
 protected:
  struct Told {
    SyncStatus status;
    std::int64_t count;
    bool operator==(const Told&) const = default;
  };
  class Listener : public ISyncCallback {
   public:
    void Notify(std::int32_t state) override;
    void OnSyncStatus(SyncStatus status, std::int64_t count) override;
    void ShowWindow() override {}
    std::vector<Told> Statuses();
    std::vector<std::int32_t> Notified();
    // Returns once this status has been told.
    void WaitForStatus(const Told& status);

   private:
    std::mutex lock;
    std::condition_variable changed;
    std::vector<Told> statuses;
    std::vector<std::int32_t> notified;
  };

  void SetUp() override;
  void TearDown() override;

  void MakeSync();
  // Both sides as at the start of a test.
  void StartAfresh();
  bool Cycle() { return sync->RunOnce(); }
  // Runs until nothing changes on either side any more.
  void Settle(int atMost = 8);
  // What memory and table hold, in the words of the account.
  static std::string ModelTree();
  static std::string TableTree();
  void ExpectInStep(const std::string& when = {});
  static AlbumLocalVersion VersionRow();
  // Forgets memory, as an end of the process does, and starts anew.
  void RestartClient();
  bool ToldStatus(SyncStatus status);
  // Files whose content the cloud has lost are not shown from now on.
  void HideLostFiles();

  FakeAccount cloud;
  Listener listener;
  SyncServices services;
  std::unique_ptr<SyncHelper> sync;
};

// The operation log's failures of the sync while this object lives: "event errorCode
// errorReason".
class OperationLog {
 public:
  OperationLog();
  ~OperationLog();
  std::vector<std::string> Failures() const;
  // Lines of the log itself that hold this text.
  std::size_t Count(const std::string& text) const;

 private:
  TemporaryFolder folder;
};

// Fails the n-th write to any database from now on, 1 the next; 0 none.
class DatabaseFaults {
 public:
  static void Install();
  static void FailWrite(int number);
  static int Writes();
};
