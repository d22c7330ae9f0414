#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "photocloud/base/bytesink.h"
#include "photocloud/base/clock.h"
#include "photocloud/base/digest.h"
#include "photocloud/base/errorcode.h"
#include "photocloud/base/mutex.h"
#include "photocloud/store/metadatastore.h"
#include "photocloud/store/objectstore.h"

namespace photocloud {

// The bytes of one announced object while they come: they go to the disk and
// through both digests piece by piece. Made by ObjectVault, and gone with its
// owner unless ObjectVault stores it.
class IncomingObject : public ByteSink {
 public:
  IncomingObject(std::int64_t accountId, SliceRecord announced, std::unique_ptr<ObjectWriter> target,
                 std::atomic<std::int64_t>& expected);
  ~IncomingObject() override;

  // False for more bytes than announced, and when the disk refuses.
  bool Write(std::string_view piece) override;

 private:
  friend class ObjectVault;

  const std::int64_t account;
  const SliceRecord slice;
  const std::unique_ptr<ObjectWriter> writer;
  std::atomic<std::int64_t>& expectedBytes;
  Digester digester;
  std::int64_t received = 0;
  bool isRefused = false;  // By the disk.
};

// Keeps records and bytes of objects in step, and media's status with them.
//
// A record names an object only after its bytes are safe, and bytes go only
// after the record that no longer names them is safe. So a crash leaves at most
// bytes without a record, which the next sweep removes.
//
// Safe to call from any thread. Store, SweepOrphans and Read must not be called
// inside Atomically: they take `filesLock`, which comes before the store's lock.
class ObjectVault {
 public:
  ObjectVault(MetadataStore& metadata, ObjectStore& objects, const Clock& clock);

  // Makes room for the bytes of an announced object. `length` is what the sender
  // announces, nothing when it does not. Returns why not, before any byte of it
  // has come.
  std::variant<std::shared_ptr<IncomingObject>, ErrorCode> Expect(const Account& account,
                                                                  const SliceRecord& slice,
                                                                  std::optional<std::int64_t> length);
  // Takes an object whose bytes have come. Media that had lost it are whole again
  // afterwards. Returns why not, or nothing.
  std::optional<ErrorCode> Store(IncomingObject& incoming);

  // Bytes of a stored object. Missing or short ones are noted as damaged and
  // give nothing.
  std::optional<std::string> Read(std::int64_t account, const SliceRecord& slice, std::int64_t start,
                                  std::int64_t count);

  // True when the bytes are there and have the right digest. Reads them all; not
  // called inside Atomically.
  bool IsWhole(std::int64_t account, const ObjectRecord& object) const;

  // Reads the objects of an asset, and marks those that are damaged. Not called
  // inside Atomically.
  void Verify(std::int64_t account, const std::string& assetId);

  // Notes that an object is damaged: its media are lost until it comes back.
  void MarkDamaged(std::int64_t account, const std::string& sha256);

  // Sets what is known about one asset's content and brings its media's status
  // into step. Returns whether anything changed.
  bool SetAssetStatus(std::int64_t account, AssetRecord asset, ContentStatus status,
                      const std::string& device);

  bool IsComplete(std::int64_t account, const std::string& assetId);

  // Removes assets of a media and the objects that nothing else names. The
  // files go with the next sweep.
  void ReleaseMedia(std::int64_t account, const std::string& mediaId);
  void ReleaseObject(std::int64_t account, const std::string& sha256);

  // Removes the files of removed objects.
  void SweepOrphans();

  // Removes files that have no record, which a process that was killed between
  // the two leaves. Looks at every file; ends early once `stops` says so.
  void SweepLeftOvers(const std::function<bool()>& stops);

  // Bytes that the account may still use, those of its records among them.
  std::int64_t FreeBytes(const Account& account);
  // Read anew, so it holds inside a transaction that has changed records.
  bool IsWithinQuota(std::int64_t account);

 private:
  void SweepLeftOvers(std::int64_t account, const std::string& digits);
  bool IsExpected(const IncomingObject& incoming);
  void RefreshMedia(std::int64_t account, const std::string& mediaId, const std::string& device);
  void HealMediaOf(std::int64_t account, const std::string& sha256);

  MetadataStore& metadata;
  ObjectStore& objects;
  const Clock& clock;

  // Bytes that may still come for objects under way: several senders cannot fill
  // a disk that has room for one of them.
  std::atomic<std::int64_t> expectedBytes{0};

  // Shared while an object's file and record come into being, exclusive while
  // a file is removed: else the remover could take the file of an object that
  // has just come back.
  SharedMutex filesLock;
};

}  // namespace photocloud
