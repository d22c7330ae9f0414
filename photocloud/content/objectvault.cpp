#include "photocloud/content/objectvault.h"

#include <algorithm>

#include "photocloud/base/digest.h"
#include "photocloud/base/log.h"

namespace photocloud {
namespace {

// Left free on the disk for the metadata store's own growth.
constexpr std::int64_t kDiskReserveBytes = 64 << 20;
constexpr int kOrphansPerStep = 200;

bool Matches(const SliceRecord& slice, std::string_view bytes) {
  return static_cast<std::int64_t>(bytes.size()) == slice.length && Sha256Hex(bytes) == slice.sha256 &&
         Md5Hex(bytes) == slice.md5;
}

}  // namespace

ObjectVault::ObjectVault(MetadataStore& metadataStore, ObjectStore& objectStore, const Clock& serviceClock)
    : metadata(metadataStore), objects(objectStore), clock(serviceClock) {}

std::optional<ErrorCode> ObjectVault::Store(std::int64_t account, const SliceRecord& slice,
                                            std::string_view bytes) {
  if (slice.sha256.empty()) return ErrorCode::ObjectUnknown;
  if (!Matches(slice, bytes)) return ErrorCode::BytesDiffer;
  if (objects.FreeBytes() < slice.length + kDiskReserveBytes) return ErrorCode::NoSpace;
  const std::shared_lock guard(filesLock);
  if (!objects.Put(account, slice.sha256, bytes)) return ErrorCode::Internal;
  metadata.Atomically([&] {
    const auto known = metadata.FindObject(account, slice.sha256);
    if (!known) metadata.AddUsedBytes(account, slice.length);
    metadata.PutObject(account, {slice.sha256, slice.md5, slice.length, true});
    if (known && !known->whole) HealMediaOf(account, slice.sha256);
    return true;
  });
  return std::nullopt;
}

std::optional<std::string> ObjectVault::Read(std::int64_t account, const SliceRecord& slice,
                                             std::int64_t start, std::int64_t count) {
  if (!slice.stored) return std::nullopt;
  if (objects.Length(account, slice.sha256) == slice.length) {
    auto bytes = objects.Read(account, slice.sha256, start, count);
    if (bytes) return bytes;
  }
  MarkDamaged(account, slice.sha256);
  return std::nullopt;
}

bool ObjectVault::IsWhole(std::int64_t account, const ObjectRecord& object) const {
  if (objects.Length(account, object.sha256) != object.length) return false;
  const auto bytes = objects.Read(account, object.sha256, 0, object.length);
  return bytes && Sha256Hex(*bytes) == object.sha256;
}

void ObjectVault::MarkDamaged(std::int64_t account, const std::string& sha256) {
  metadata.Atomically([&] {
    auto object = metadata.FindObject(account, sha256);
    if (!object || !object->whole) return false;
    object->whole = false;
    metadata.PutObject(account, *object);
    for (const std::string& mediaId : metadata.ListMediaOfObject(account, sha256)) {
      for (const AssetRecord& asset : metadata.ListAssets(account, mediaId)) {
        if (IsComplete(account, asset.id)) continue;
        SetAssetStatus(account, asset, ContentStatus::Lost, "");
      }
    }
    Log(LogLevel::Error, "object damaged", {{"account", std::to_string(account)}, {"object", sha256}});
    return true;
  });
}

void ObjectVault::HealMediaOf(std::int64_t account, const std::string& sha256) {
  for (const std::string& mediaId : metadata.ListMediaOfObject(account, sha256)) {
    for (const AssetRecord& asset : metadata.ListAssets(account, mediaId)) {
      if (IsComplete(account, asset.id)) SetAssetStatus(account, asset, ContentStatus::Whole, "");
    }
  }
}

bool ObjectVault::SetAssetStatus(std::int64_t account, AssetRecord asset, ContentStatus status,
                                 const std::string& device) {
  if (asset.status == status) return false;
  asset.status = status;
  metadata.PutAsset(account, asset);
  RefreshMedia(account, asset.mediaId, device);
  return true;
}

// The media is lost while any of its assets is.
void ObjectVault::RefreshMedia(std::int64_t account, const std::string& mediaId, const std::string& device) {
  auto media = metadata.FindMedia(account, mediaId);
  if (!media || media->phase != MediaPhase::Visible) return;
  const auto assets = metadata.ListAssets(account, mediaId);
  const bool lost = std::any_of(assets.begin(), assets.end(),
                                [](const AssetRecord& asset) { return asset.status == ContentStatus::Lost; });
  const ContentStatus status = lost ? ContentStatus::Lost : ContentStatus::Whole;
  if (media->status == status) return;
  media->status = status;
  media->version = metadata.NextVersion(account);
  media->lostVersion = lost ? media->version : 0;
  media->device = device;
  media->touchedMs = clock.NowMs();
  metadata.PutMedia(account, *media);
}

bool ObjectVault::IsComplete(std::int64_t account, const std::string& assetId) {
  const auto slices = metadata.ListSlices(account, assetId);
  return std::all_of(slices.begin(), slices.end(), [](const SliceRecord& slice) { return slice.stored; });
}

void ObjectVault::ReleaseMedia(std::int64_t account, const std::string& mediaId) {
  for (const std::string& sha256 : metadata.RemoveAssets(account, mediaId)) ReleaseObject(account, sha256);
}

void ObjectVault::ReleaseObject(std::int64_t account, const std::string& sha256) {
  const auto object = metadata.FindObject(account, sha256);
  if (!object || metadata.IsObjectUsed(account, sha256)) return;
  metadata.RemoveObject(account, sha256);
  metadata.AddUsedBytes(account, -object->length);
}

void ObjectVault::SweepOrphans() {
  while (true) {
    const auto orphans = metadata.ListOrphans(kOrphansPerStep);
    // A file that is gone cannot come back with a record that is.
    metadata.Flush();
    for (const auto& [account, sha256] : orphans) {
      const std::unique_lock guard(filesLock);
      // An object that came back under the same name keeps its file. A file
      // that cannot be removed stays for `check` to report.
      if (!metadata.FindObject(account, sha256)) (void)objects.Remove(account, sha256);
      metadata.ForgetOrphan(account, sha256);
    }
    if (orphans.size() < kOrphansPerStep) return;
  }
}

std::int64_t ObjectVault::FreeBytes(const Account& account) {
  const auto taken = account.usedBytes + metadata.ReservedBytes(account.id);
  return std::max<std::int64_t>(0, account.quotaBytes - taken);
}

}  // namespace photocloud
