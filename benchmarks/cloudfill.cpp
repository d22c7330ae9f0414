#include "cloudfill.h"

#include <algorithm>
#include <cstdio>

#include "photocloud/base/text.h"
#include "photocloud/base/timetext.h"
#include "photocloud/store/sqlitestore.h"

namespace {

constexpr std::int64_t kBatch = 10'000;
constexpr std::int64_t kFirstMs = 1'400'000'000'000;
constexpr std::int64_t kStepMs = 300'000;

photocloud::MediaRecord MakeMedia(std::int64_t version) {
  photocloud::MediaRecord media;
  media.id = photocloud::RandomId();
  media.phase = photocloud::MediaPhase::Visible;
  media.albumId = "default-album-1";
  media.createdMs = kFirstMs + version * kStepMs;
  media.version = media.createdVersion = version;
  media.device = "phone";
  char name[48];
  std::snprintf(name, sizeof name, "IMG_%08lld.jpg", static_cast<long long>(version));
  const std::string time = photocloud::FormatTime(media.createdMs);
  media.fields =
      R"({"fileName":")" + std::string(name) +
      R"(","fileType":1,"size":3000000,"favorite":false,"hashId":")" + media.id + media.id +
      R"(","createdTime":")" + time + R"(","editedTime":")" + time +
      R"(","deviceId":"phone","properties":{"first_update_time":"1700000000000","resolution":"4000 x 3000",)"
      R"("rotate":"0","sourcePath":"/storage/emulated/0/DCIM/Camera/)" +
      name +
      R"("},"pictureMetadata":{"aperture":1.8,"cameraMaker":"Maker","cameraModel":"Model P40",)"
      R"("colorSpace":"sRGB","exifTime":"2023:05:01 12:00:00","exposureTime":0.01,"focalLength":5.5,)"
      R"("height":3000,"isoSpeed":50,"rotation":1,"width":4000}})";
  return media;
}

}  // namespace

void FillCloud(const std::filesystem::path& data, const std::string& userName, std::int64_t count) {
  photocloud::SqliteStore store(data / "photocloud.db");
  // A store that has records and no secret would be taken for a backup, whose earlier
  // cursors have expired.
  (void)store.Secret();
  const auto account = store.FindAccountByName(userName);
  for (std::int64_t done = 0; account && done < count; done += kBatch) {
    store.Atomically([&] {
      for (std::int64_t i = 0; i < std::min(kBatch, count - done); ++i)
        store.PutMedia(account->id, MakeMedia(store.NextVersion(account->id)));
      return true;
    });
  }
}

namespace {

void AddAsset(photocloud::SqliteStore& store, std::int64_t account, const std::string& mediaId,
              const char* usage) {
  photocloud::AssetRecord asset;
  asset.mediaId = mediaId;
  asset.id = photocloud::RandomId();
  asset.versionId = photocloud::RandomId();
  asset.usage = usage;
  asset.hash = asset.id + asset.id + std::string(64, '0');
  asset.sha256 = asset.id + asset.versionId;
  asset.length = 3'000'000;
  asset.sliceSize = 4 << 20;
  asset.fields = R"({"cipher":{"algorithm":"AES_128_CBC_PKCS5Padding","dataType":12,"hfek":"1|)" + asset.id +
                 R"(","iv":")" + asset.id + R"(","keychains":[{"ekey":")" + asset.hash +
                 R"(","type":1},{"ekey":")" + asset.hash + R"(","type":3}]}})";
  photocloud::SliceRecord slice;
  slice.objectId = photocloud::RandomId();
  slice.mediaId = mediaId;
  slice.assetId = asset.id;
  slice.length = asset.length + 16;
  slice.md5 = asset.id;
  slice.sha256 = asset.sha256;
  store.PutAsset(account, asset);
  store.PutSlice(account, slice);
  store.PutObject(account, {slice.sha256, slice.md5, slice.length, true});
}

}  // namespace

void FillAttachments(const std::filesystem::path& data, const std::string& userName, int count) {
  photocloud::SqliteStore store(data / "photocloud.db");
  const auto account = store.FindAccountByName(userName);
  if (!account) return;
  const auto newest = store.ListMedia(account->id, {}, std::nullopt, count, photocloud::Extent::Brief);
  store.Atomically([&] {
    for (const photocloud::MediaRecord& media : newest) {
      AddAsset(store, account->id, media.id, "content");
      AddAsset(store, account->id, media.id, "thumbnail");
    }
    return true;
  });
}
