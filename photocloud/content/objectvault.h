#pragma once

#include <cstdint>
#include <optional>
#include <shared_mutex>
#include <string>
#include <string_view>

#include "photocloud/base/clock.h"
#include "photocloud/base/errorcode.h"
#include "photocloud/store/metadatastore.h"
#include "photocloud/store/objectstore.h"

namespace photocloud {

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

  // Takes the bytes of an announced object. Media that had lost it are whole
  // again afterwards. Returns why not, or nothing.
  std::optional<ErrorCode> Store(std::int64_t account, const SliceRecord& slice, std::string_view bytes);

  // Bytes of a stored object. Missing or short ones are noted as damaged and
  // give nothing.
  std::optional<std::string> Read(std::int64_t account, const SliceRecord& slice, std::int64_t start,
                                  std::int64_t count);

  // True when the bytes are there and have the right digest.
  bool IsWhole(std::int64_t account, const ObjectRecord& object) const;

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

  // Bytes that the account may still announce.
  std::int64_t FreeBytes(const Account& account);

 private:
  void RefreshMedia(std::int64_t account, const std::string& mediaId, const std::string& device);
  void HealMediaOf(std::int64_t account, const std::string& sha256);

  MetadataStore& metadata;
  ObjectStore& objects;
  const Clock& clock;

  // Shared while an object's file and record come into being, exclusive while
  // a file is removed: else the remover could take the file of an object that
  // has just come back.
  std::shared_mutex filesLock;
};

}  // namespace photocloud
