#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "sync/icloudlisting.h"
#include "sync/isynclocaloperation.h"

// The photo cloud of one account in memory: albums, media, a version that only
// rises, changes with the device that made them, and the lock. Other devices edit
// it through its operations; the client under test sees it through Service() and
// Listing(). Safe from any thread.
class FakeAccount {
 public:
  struct AlbumRecord {
    std::string id;
    std::wstring name;
    std::int64_t createTime = 0;
    std::string lpath;
    Json::Value expand{Json::objectValue};
  };
  struct Media {
    CloudFileInfo info;  // `recycleAlbumId` marks the bin, `albumId` is the home
    bool deleted = false;
    std::int64_t version = 0;
    std::string device;
  };

  static constexpr char kOther[] = "other-device";

  FakeAccount();

  // --- Edits of a device. False when the service would refuse.
  bool CreateAlbum(const std::string& id, const std::wstring& name);
  bool RenameAlbum(const std::string& id, const std::wstring& name);
  bool DeleteAlbum(const std::string& id);
  bool AddMedia(const std::string& id, const std::wstring& name,
                const std::string& albumId = "default-album-1", const std::string& device = kOther);
  bool Edit(const std::string& id, const std::function<void(CloudFileInfo&)>& change,
            const std::string& device = kOther);
  bool Recycle(const std::string& id);
  bool Recover(const std::string& id);
  bool Delete(const std::string& id);
  void Touch() { NextVersion(); }  // something that is neither album nor media changed

  // As new.
  void Forget();

  // --- State
  std::int64_t Version();
  bool IsLocked();
  bool Has(const std::string& id);
  CloudFileInfo MediaInfo(const std::string& id);
  std::vector<std::string> LiveIds();
  std::vector<std::string> AlbumIds();
  // One line for each album and file, sorted.
  std::string Tree();

  // --- Faults
  // Fails the n-th call from now on, 1 the next. `lateFailure`: it has its
  // effect, and only the answer is lost.
  void FailCall(int number, bool lateFailure = false);
  void ClearFaults();
  int Calls();
  std::vector<std::string> CallNames();
  void ForgetCalls();
  // Called outside all locks at the start of each call.
  std::function<void(const std::string&)> onCall;

  std::size_t pageSize = 100;
  std::int32_t keepInterval = 0;
  std::int64_t minVersion = -1;
  std::string clearVersion;
  std::int32_t generation = 2;
  std::int32_t failures503 = 0;
  std::int64_t last503Ms = 0;
  std::int32_t batchLimit = 50;
  bool emptyListing = false;
  std::atomic<bool> refusesCursors = false;  // of the listing, as one that has expired
  std::function<void()> onForgetCursor;
  bool overlappingPages = false;  // a page of the listing begins with the last file of the one before
  bool keepLockFails = false;

  std::unique_ptr<ISyncServiceOperation> Service();
  std::shared_ptr<ICloudListing> Listing();

 private:
  friend class FakeService;
  friend class FakeListing;

  std::int64_t NextVersion();
  bool NameTaken(const std::string& id, const std::wstring& name);
  bool Begin(const std::string& name);  // false: the call fails before its effect
  bool End();                           // false: the answer is lost
  bool HoldsLock(const std::string& token);
  std::vector<CloudFileInfo> Listed(std::string& cursor, bool short_);

  std::recursive_mutex lock;
  std::map<std::string, AlbumRecord> albums;
  std::map<std::string, Media> media;
  std::int64_t version = 0;
  std::string lockToken;
  int locks = 0;
  int calls = 0;
  int failAt = 0;
  bool late = false;
  bool failing = false;
  std::vector<std::string> callNames;
};
