// Model and store at 10,000, 100,000 and 1,000,000 files, each figure beside its
// limit from the same run: bare SQLite calls for the store, a bare sorted vector
// of pointers for the lists. Usage: gallery_benchmark [FILES...]

#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <random>

#include "baresqlite.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "host/account/userauthservice.h"
#include "host/base/globalparamwrapper.h"
#include "model/gallery.h"
#include "store/dbhelper.h"
#include "store/sqlitedb.h"
#include "sync/modelload.h"
#include "utils/methodfunction.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kPage = 100;
constexpr std::size_t kBatch = 1000;
constexpr int kAlbums = 20;
constexpr std::int64_t kTenYearsMs = 10ll * 365 * 86'400'000;

double Time(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double ResidentBytes() {
  malloc_trim(0);
  std::ifstream statm("/proc/self/statm");
  double total = 0, resident = 0;
  statm >> total >> resident;
  return resident * 4096;
}

void Print(const char* what, double value, const char* unit, double limit, const char* limitName) {
  std::printf("  %-34s %10.3f %-9s", what, value, unit);
  if (limit > 0) std::printf("  %s %.3f, ratio %.2f", limitName, limit, value / limit);
  std::printf("\n");
}

// A record as a phone's picture looks that came through the cloud.
class RowMaker {
 public:
  RowMaker() {
    expand["first_update_time"] = "1700000000000";
    expand["resolution"] = "4000 x 3000";
    expand["rotate"] = "0";
  }
  GalleryFile::Ptr Make(std::size_t number) {
    auto file = std::make_shared<GalleryFile>();
    const std::string id = Hex(32);
    file->SetUniqueId(id);
    file->SetFileId(id);
    file->SetHash(Hex(64));
    file->SetGuid(MethodFunction::NewGuid());
    char name[48];
    std::snprintf(name, sizeof name, "IMG_%08zu.jpg", number);
    file->SetFileName(platform::Utf8ToWide(name));
    expand["sourcePath"] = std::string("/storage/emulated/0/DCIM/Camera/") + name;
    file->SetExpand(expand);
    file->SetPictureMetadata(
        R"({"aperture":1.8,"cameraMaker":"Maker","cameraModel":"Model P40","colorSpace":"sRGB","exifTime":"2023:05:01 12:00:00","exposureTime":0.01,"focalLength":5.5,"height":3000,"isoSpeed":50,"rotation":1,"width":4000})");
    file->SetAlbumId("default-album-200-" + std::to_string(number % kAlbums));
    file->CreateTime =
        1'400'000'000'000 + static_cast<std::int64_t>(random() % static_cast<std::uint64_t>(kTenYearsMs));
    file->FirstUpdateTime = file->CreateTime;
    file->Size = 3'000'000;
    file->SavedFileType = number % 20 == 0 ? 4 : 1;
    file->Sdsmtime = file->CreateTime;
    return file;
  }

 private:
  std::string Hex(std::size_t digits) {
    std::string text;
    while (text.size() < digits) {
      char part[20];
      std::snprintf(part, sizeof part, "%016llx", static_cast<unsigned long long>(random()));
      text += part;
    }
    text.resize(digits);
    return text;
  }
  std::mt19937_64 random{1};
  Json::Value expand{Json::objectValue};
};

std::vector<GalleryFile::Ptr> MakeRows(RowMaker& maker, std::size_t from, std::size_t count) {
  std::vector<GalleryFile::Ptr> rows;
  rows.reserve(count);
  for (std::size_t i = 0; i < count; ++i) rows.push_back(maker.Make(from + i));
  return rows;
}

void InsertAll(RowMaker& maker, std::size_t count, const fs::path& bareFile, double& ours, double& bare) {
  auto rows = MakeRows(maker, 0, count);
  bare = BareInsert(bareFile, rows);
  ours = Time([&] { (void)DBHelper::GetInstance().AddFiles(rows); });
  DBHelper::AlbumVector albums;
  for (int i = 0; i < kAlbums; ++i) {
    auto album = std::make_shared<Album>();
    album->AlbumId = "default-album-200-" + std::to_string(i);
    album->AlbumName = L"Album" + std::to_wstring(i);
    album->Lpath = "/DCIM/" + std::to_string(i);
    albums.push_back(album);
  }
  (void)DBHelper::GetInstance().AddAlbums(albums);
}

double SortedVectorInsert(std::size_t count) {
  std::vector<std::pair<std::int64_t, const void*>> vector;
  std::mt19937_64 random(3);
  for (std::size_t i = 0; i < count; ++i) vector.emplace_back(static_cast<std::int64_t>(random()), nullptr);
  std::sort(vector.begin(), vector.end());
  std::vector<std::pair<std::int64_t, const void*>> page;
  for (std::size_t i = 0; i < kPage; ++i) page.emplace_back(static_cast<std::int64_t>(random()), nullptr);
  return Time([&] {
    std::sort(page.begin(), page.end());
    decltype(vector) merged;
    merged.reserve(vector.size() + page.size());
    std::merge(vector.begin(), vector.end(), page.begin(), page.end(), std::back_inserter(merged));
    vector.swap(merged);
  });
}

void RunOn(std::size_t count) {
  const fs::path folder = fs::temp_directory_path() / ("zentara-benchmark-" + std::to_string(count));
  fs::remove_all(folder);
  platform::SetProfileRoot(folder);
  (void)GlobalParamWrapper::GetInstance()->Load();
  (void)UserAuthService::GetInstance()->Load();
  (void)DBHelper::GetInstance().IntiDataBase("benchmark");
  const fs::path bareFile = folder / "bare.db";
  std::printf("%zu files\n", count);

  RowMaker maker;
  double ours = 0, bare = 0;
  InsertAll(maker, count, bareFile, ours, bare);
  Print("batch insert", ours, "s", bare, "bare insert");

  auto& gallery = Gallery::GetInstance();
  const fs::path database = platform::NativePath(platform::Utf8ToWide(SQLiteDB::GetInstance().Path()));
  double scan = BareScan(database);
  scan = std::min(scan, BareScan(database));
  const double before = ResidentBytes();
  (void)gallery.Init();
  double rows = 0;
  {
    DBHelper::FileVector files;
    rows = Time([&] { (void)DBHelper::GetInstance().GetFiles(files, true); });
  }
  (void)gallery.Init();
  const double load = Time([] { LoadModel(); });
  Print("rows into records", rows, "s", scan, "bare scan");
  Print("cold load into the model", load, "s", scan, "bare scan");
  Print("memory of a file, all views", (ResidentBytes() - before) / static_cast<double>(count), "bytes", 0,
        "");

  const double merge = SortedVectorInsert(count) * 1e3;
  auto page = MakeRows(maker, count, kPage);
  Gallery::AlbumFiles albumFiles;
  Print("classify a page of 100",
        Time([&] {
          gallery.ClassifyFiles(
              Gallery::Everything, page, albumFiles, [](auto, const auto&) {}, nullptr, nullptr);
        }) * 1e3,
        "ms", 0, "");
  Print("add a page of 100", Time([&] { (void)gallery.AddFiles(page); }) * 1e3, "ms", merge,
        "one vector's refill");

  Gallery::Files some;
  gallery.GetAllFiles(some);
  some.resize(std::min(kBatch, some.size()));
  const auto target = gallery.CreateAlbum(L"Target", true, -1);
  Print("move 1,000 files", Time([&] { (void)gallery.MoveFiles(some, target, false); }) * 1e3, "ms", 0, "");
  Print("recycle 1,000 files", Time([&] { (void)gallery.RecycleFiles(some, false); }) * 1e3, "ms", 0, "");
  const auto timeLine = gallery.GetAlbum(SystemAlbumId(AlbumKind::TimeLine));
  Print("UpdateGalleryFilesLimit", Time([&] { (void)timeLine->UpdateGalleryFilesLimit(); }) * 1e6, "us", 0,
        "");
  (void)gallery.Init();
  fs::remove_all(folder);
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::size_t> sizes;
  for (int i = 1; i < argc; ++i) sizes.push_back(std::strtoull(argv[i], nullptr, 10));
  if (sizes.empty()) sizes = {10'000, 100'000, 1'000'000};
  for (const std::size_t count : sizes) RunOn(count);
}
