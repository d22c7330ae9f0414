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
  const auto account = store.FindAccountByName(userName);
  for (std::int64_t done = 0; account && done < count; done += kBatch) {
    store.Atomically([&] {
      for (std::int64_t i = 0; i < std::min(kBatch, count - done); ++i)
        store.PutMedia(account->id, MakeMedia(store.NextVersion(account->id)));
      return true;
    });
  }
}
