#include "photocloud/content/objectvault.h"

#include <algorithm>

#include "photocloud/base/log.h"

namespace photocloud {
namespace {

// Left free on the disk for the metadata store's own growth.
constexpr std::int64_t kDiskReserveBytes = 64 << 20;
constexpr int kOrphansPerStep = 200;

// Albums and a few records fit into an account of any size.
constexpr std::int64_t kFreeRecordBytes = 1 << 20;
// Objects are read in pieces of this size.
constexpr std::int64_t kPieceBytes = 1 << 20;

}  // namespace

ObjectVault::ObjectVault(MetadataStore& metadataStore, ObjectStore& objectStore, const Clock& serviceClock)
    : metadata(metadataStore), objects(objectStore), clock(serviceClock) {}

IncomingObject::IncomingObject(std::int64_t accountId, SliceRecord announced,
                               std::unique_ptr<ObjectWriter> target, std::atomic<std::int64_t>& expected)
    : account(accountId), slice(std::move(announced)), writer(std::move(target)), expectedBytes(expected) {
  expectedBytes += slice.length;
}

IncomingObject::~IncomingObject() { expectedBytes -= slice.length; }

bool IncomingObject::Write(std::string_view piece) {
  received += static_cast<std::int64_t>(piece.size());
  if (received > slice.length) return false;
  digester.Add(piece);
  isRefused = !writer->Write(piece);
  return !isRefused;
}

std::variant<std::shared_ptr<IncomingObject>, ErrorCode> ObjectVault::Expect(
    const Account& account, const SliceRecord& slice, std::optional<std::int64_t> length) {
  if (slice.sha256.empty()) return ErrorCode::ObjectUnknown;
  if (length && *length != slice.length) return ErrorCode::BytesDiffer;
  // Announcing has taken the space already, unless it was taken away since.
  if (!slice.stored && account.usedBytes + slice.length > account.quotaBytes) return ErrorCode::NoSpace;
  if (objects.FreeBytes() < expectedBytes + slice.length + kDiskReserveBytes) return ErrorCode::NoSpace;
  return std::make_shared<IncomingObject>(account.id, slice, objects.Begin(), expectedBytes);
}

std::optional<ErrorCode> ObjectVault::Store(IncomingObject& incoming) {
  const SliceRecord& slice = incoming.slice;
  if (incoming.isRefused) return incoming.writer->IsFull() ? ErrorCode::NoSpace : ErrorCode::Internal;
  const auto digests = incoming.digester.Finish();
  if (incoming.received != slice.length || digests.sha256 != slice.sha256 || digests.md5 != slice.md5)
    return ErrorCode::BytesDiffer;
  const ReaderLock guard(filesLock);
  if (!incoming.writer->Keep(incoming.account, slice.sha256))
    return incoming.writer->IsFull() ? ErrorCode::NoSpace : ErrorCode::Internal;
  bool isExpected = false;
  metadata.Atomically([&] {
    // It may have been deleted while its bytes were on their way.
    isExpected = IsExpected(incoming);
    const auto known = metadata.FindObject(incoming.account, slice.sha256);
    if (!isExpected) {
      if (!known) metadata.RemoveObject(incoming.account, slice.sha256);
      return true;
    }
    if (!known) metadata.AddUsedBytes(incoming.account, slice.length);
    metadata.PutObject(incoming.account, {slice.sha256, slice.md5, slice.length, true});
    if (known && !known->whole) HealMediaOf(incoming.account, slice.sha256);
    return true;
  });
  return isExpected ? std::nullopt : std::optional(ErrorCode::ObjectUnknown);
}

bool ObjectVault::IsExpected(const IncomingObject& incoming) {
  const auto now = metadata.FindSlice(incoming.slice.objectId);
  return now && now->first == incoming.account && now->second.sha256 == incoming.slice.sha256 &&
         now->second.length == incoming.slice.length;
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
  Digester digester;
  for (std::int64_t at = 0; at < object.length; at += kPieceBytes) {
    const auto piece = objects.Read(account, object.sha256, at, std::min(kPieceBytes, object.length - at));
    if (!piece) return false;
    digester.Add(*piece);
  }
  return digester.Finish().sha256 == object.sha256;
}

void ObjectVault::Verify(std::int64_t account, const std::string& assetId) {
  for (const SliceRecord& slice : metadata.ListSlices(account, assetId)) {
    const auto object = metadata.FindObject(account, slice.sha256);
    if (!object || !object->whole || IsWhole(account, *object)) continue;
    // It may have been removed, or come anew, while it was read.
    if (metadata.FindObject(account, slice.sha256) && !IsWhole(account, *object))
      MarkDamaged(account, slice.sha256);
  }
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
      const WriterLock guard(filesLock);
      // An object that came back under the same name keeps its file. A file
      // that cannot be removed stays for `check` to report.
      if (!metadata.FindObject(account, sha256)) (void)objects.Remove(account, sha256);
      metadata.ForgetOrphan(account, sha256);
    }
    if (orphans.size() < kOrphansPerStep) return;
  }
}

void ObjectVault::SweepLeftOvers(const std::function<bool()>& stops) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  for (const std::int64_t account : objects.ListAccounts()) {
    for (const char first : kDigits) {
      for (const char second : kDigits) {
        if (stops()) return;
        SweepLeftOvers(account, {first, second});
      }
    }
  }
}

void ObjectVault::SweepLeftOvers(std::int64_t account, const std::string& digits) {
  for (const std::string& sha256 : objects.List(account, digits)) {
    if (metadata.FindObject(account, sha256)) continue;
    // Looked at again when no file and record can be coming into being.
    const WriterLock guard(filesLock);
    if (!metadata.FindObject(account, sha256)) (void)objects.Remove(account, sha256);
  }
}

std::int64_t ObjectVault::FreeBytes(const Account& account) {
  const auto taken = account.usedBytes + account.recordBytes + metadata.ReservedBytes(account.id);
  return std::max<std::int64_t>(0, account.quotaBytes - taken);
}

bool ObjectVault::IsWithinQuota(std::int64_t account) {
  const auto now = metadata.FindAccount(account);
  if (!now) return false;
  const auto objectBytes = now->usedBytes + metadata.ReservedBytes(account);
  if (objectBytes > now->quotaBytes) return false;
  return now->recordBytes <= kFreeRecordBytes || objectBytes + now->recordBytes <= now->quotaBytes;
}

}  // namespace photocloud
