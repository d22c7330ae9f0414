// Two devices edit one account at random; calls fail now and then; both end with
// the same albums and files.

#include <cstdlib>
#include <random>

#include "synctest.h"
#include "transfer/gallerytransmanager.h"

namespace {

constexpr int kRounds = 200;
constexpr int kSettleEvery = 5;

class SyncRandomTest : public SyncTest {
 protected:
  std::mt19937 random;
  int made = 0;

  int Below(int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); }
  template <typename List>
  auto Any(const List& list) {
    return list[static_cast<std::size_t>(Below(static_cast<int>(list.size())))];
  }
  std::string NewId(const char* what) { return what + std::to_string(++made); }
  // Few names, so that they clash.
  std::wstring Name() { return L"n" + std::to_wstring(Below(12)) + L".jpg"; }
  std::wstring AlbumName() { return L"Album" + std::to_wstring(Below(8)); }

  void EditThere() {
    const auto ids = cloud.LiveIds();
    const auto albums = cloud.AlbumIds();
    switch (Below(9)) {
      case 0:
        cloud.CreateAlbum(NewId("default-album-300-there"), AlbumName());
        break;
      case 1:
        if (const auto id = Any(albums); id != "default-album-1") cloud.RenameAlbum(id, AlbumName());
        break;
      case 2:
        if (const auto id = Any(albums); id != "default-album-1") cloud.DeleteAlbum(id);
        break;
      case 3:
      case 4:
        cloud.AddMedia(NewId("media"), Name(), Any(albums));
        break;
      default:
        break;
    }
    if (ids.empty()) return;
    const auto id = Any(ids);
    switch (Below(6)) {
      case 0:
        cloud.Recycle(id);
        break;
      case 1:
        cloud.Recover(id);
        break;
      case 2:
        if (!cloud.MediaInfo(id).recycleAlbumId.empty()) cloud.Delete(id);
        break;
      case 3: {
        const auto to = Any(albums);
        if (!cloud.MediaInfo(id).recycleAlbumId.empty()) break;
        const auto now = cloud.AlbumIds();
        if (std::find(now.begin(), now.end(), to) == now.end()) break;
        cloud.Edit(id, [&](CloudFileInfo& info) { info.albumId = to; });
        break;
      }
      case 4:
        cloud.Edit(id, [](CloudFileInfo& info) { info.favorite = !info.favorite; });
        break;
      default:
        cloud.Edit(id, [&](CloudFileInfo& info) { info.fileName = Name(); });
        break;
    }
  }

  void EditHere() {
    Gallery::Files files;
    Gallery::Albums albums;
    gallery.GetAllFiles(files);
    gallery.GetAlbums(albums, true);
    if (albums.empty()) return;  // Nothing is loaded before the first cycle after a start.
    const auto album = Any(albums);
    switch (Below(7)) {
      case 0:
        (void)gallery.CreateAlbum(AlbumName(), false, -1);
        break;
      case 1:
        (void)gallery.RenameAlbum(album, AlbumName());
        break;
      case 2:
        if (Below(3) == 0) (void)gallery.DeleteAlbum(album);
        break;
      case 3: {
        const auto file = LocalFile(NewId("local"), album->AlbumId.Get());
        file->SetFileName(Name());
        if (gallery.GetAlbum(album->AlbumId.Get())) Add({file});
        break;
      }
      default:
        break;
    }
    if (files.empty()) return;
    const auto file = Any(files);
    switch (Below(5)) {
      case 0:
        (void)gallery.RecycleFiles({file}, false);
        break;
      case 1:
        if (file->IsInBin()) (void)gallery.RecoverFiles({file}, false);
        break;
      case 2:
        if (file->IsInBin()) (void)gallery.DeleteFiles({file}, false);
        break;
      case 3:
        if (gallery.GetAlbum(album->AlbumId.Get())) (void)gallery.MoveFiles({file}, album, false);
        break;
      default:
        (void)gallery.FavoriteFiles(file, !file->IsFavorite);
        break;
    }
  }

  // Uploads at once, as an engine does with small files on a good line.
  void InstallEngine() {
    const auto upload = [this](const GalleryFile::Ptr& file, const Album::Ptr&) -> TransferTask::Ptr {
      DatabaseFaults::FailWrite(0);  // The engine's own writes are not under test.
      const std::string old = file->UniqueId(), id = NewId("uploaded");
      if (!cloud.AddMedia(id, file->FileName(), file->AlbumId(), "this-device")) return nullptr;
      (void)cloud.Edit(
          id, [&](CloudFileInfo& info) { info.favorite = file->IsFavorite; }, "this-device");
      file->SetUniqueId(id);
      file->SetFileId(id);
      file->GalleryState = 0;
      gallery.UpdateFileUId(file, old);
      return nullptr;
    };
    GalleryTransManager::GetInstance().SetMakeUpload(upload);
  }
};

TEST_F(SyncRandomTest, TwoDevicesEndInStep) {
  const char* given = std::getenv("SYNC_SEED");
  const unsigned seed =
      given ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : std::random_device{}();
  std::cout << "SYNC_SEED=" << seed << std::endl;
  random.seed(seed);
  InstallEngine();
  cloud.pageSize = 3;
  cloud.batchLimit = 4;
  for (int round = 1; round <= kRounds; ++round) {
    for (int i = Below(4); i > 0; --i) EditThere();
    for (int i = Below(4); i > 0; --i) EditHere();
    if (Below(4) == 0) cloud.FailCall(1 + Below(12), Below(2) == 0);
    if (Below(8) == 0) DatabaseFaults::FailWrite(1 + Below(12));
    clock.ms += 1000;
    (void)Cycle();
    cloud.ClearFaults();
    DatabaseFaults::FailWrite(0);
    if (Below(10) == 0) RestartClient();
    if (round % kSettleEvery != 0) continue;
    Settle(12);
    ExpectInStep("round " + std::to_string(round) + ", SYNC_SEED=" + std::to_string(seed));
    if (HasFailure()) return;
  }
}

}  // namespace
