// Random histories of burst files: after each batch every file is in sight once, and
// the gallery is what a process that starts anew reads from the same rows.

#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>
#include <set>

#include "support/gallerytest.h"

namespace {

constexpr int kHistories = 1500;
constexpr int kBatches = 12;
constexpr AlbumKind kViews[] = {AlbumKind::TimeLine, AlbumKind::RecentlyUpload, AlbumKind::AllPictures,
                                AlbumKind::Favorite};

class BurstRandomTest : public GalleryTest {
 protected:
  using State = std::map<std::string, std::string>;

  void SetUp() override {
    GalleryTest::SetUp();
    CloudAlbum("other", L"Other");
  }

  unsigned Pick(unsigned count) { return static_cast<unsigned>(random() % count); }
  bool OneIn(unsigned count) { return Pick(count) == 0; }

  // Few names, so that shots meet: of one number, of one name, and two covers.
  FilePtr RandomShot() {
    const std::string id = "f" + std::to_string(++made);
    const std::string album = OneIn(2) ? "other" : "default-album-1";
    const auto file = OneIn(4) ? LocalFile(id, album) : CloudFile(id, album);
    file->CreateTime = 1'600'000'000'000 + Pick(5);
    static constexpr const wchar_t* kEnds[] = {L".jpg", L".jpg", L"_COVER.jpg", L"_COVER_COVER.jpg",
                                               L" .jpg"};
    file->SetFileName(std::wstring(OneIn(2) ? L"A" : L"B") + L"_BURST00" + std::to_wstring(1 + Pick(4)) +
                      kEnds[Pick(5)]);
    file->ParseBurstName();
    file->IsFavorite = OneIn(5);
    file->IsLocalUpload = OneIn(3);
    file->FirstUpdateTime = clock.ms - Pick(3);
    return file;
  }

  Files RandomFiles() {
    Files all, chosen;
    gallery.GetAllFiles(all);
    for (const auto& file : all) {
      if (OneIn(4)) chosen.push_back(file);
    }
    std::shuffle(chosen.begin(), chosen.end(), random);
    return chosen;
  }

  void RandomBatch() {
    clock.ms += 1 + Pick(3);
    switch (Pick(12)) {
      case 0:
      case 1:
      case 2: {
        Files fresh;
        for (unsigned n = 1 + Pick(5); n > 0; --n) fresh.push_back(RandomShot());
        what = "add";
        return Add(fresh);
      }
      case 3:
        what = "recycle";
        gallery.RecycleFiles(RandomFiles(), OneIn(4));
        return;
      case 4:
        what = "recover";
        gallery.RecoverFiles(RandomFiles(), OneIn(4));
        return;
      case 5:
        what = "move";
        gallery.MoveFiles(RandomFiles(), gallery.GetAlbum(OneIn(2) ? "other" : "default-album-1"), false);
        return;
      case 6: {
        what = "delete";
        Files inBin;
        for (const auto& file : RandomFiles()) {
          if (file->IsInBin()) inBin.push_back(file);
        }
        gallery.DeleteFiles(inBin, false);
        return;
      }
      case 7: {
        what = "gone in the cloud";
        std::vector<std::string> ids;
        for (const auto& file : RandomFiles()) ids.push_back(file->UniqueId());
        if (ids.size() > 2) ids.resize(2);
        (void)gallery.DeleteGone(ids);
        return;
      }
      case 8: {
        what = "rename";
        const Files some = RandomFiles();
        if (some.empty() || some.front()->IsDeleted) return;
        const auto& file = some.front();
        const auto home = gallery.GetAlbum(file->IsInBin() ? "default-album-3" : file->AlbumId());
        if (home->RenameToFreeName(file)) (void)DBHelper::GetInstance().AddFile(file);
        return;
      }
      case 9:
        what = "uploaded";
        for (const auto& file : RandomFiles()) {
          if (!file->IsLocalOnly() || file->IsDeleted) continue;
          const std::string before = file->UniqueId();
          file->SetUniqueId("cloud-" + before);
          file->GalleryState = 0;
          (void)gallery.UpdateFileUId(file, before);
        }
        return;
      case 10:
        what = "move album";
        (void)gallery.MoveFiles(gallery.GetAlbum("other"), gallery.GetAlbum("default-album-1"));
        return;
      default:
        what = "favorite";
        for (const auto& file : RandomFiles()) (void)gallery.FavoriteFiles(file, OneIn(2));
    }
  }

  static std::string Sorted(std::vector<std::string> ids) {
    std::sort(ids.begin(), ids.end());
    std::string text;
    for (const auto& id : ids) text += id + " ";
    return text;
  }

  // Everything that a window could show and the cloud could hear.
  State Now() {
    State state;
    Files all;
    gallery.GetAllFiles(all);
    for (const auto& file : all) {
      if (file->IsDeleted) continue;
      std::vector<std::string> members;
      for (const auto& member : file->GetMembers()) members.push_back(member->UniqueId());
      state["file " + file->UniqueId()] =
          file->AlbumId() + (file->IsInBin() ? " bin" : "") + (file->IsFavorite ? " favorite" : "") +
          " state " + std::to_string(file->GalleryState) + " burst " + std::to_string(file->ContinuousType) +
          " members " + Sorted(members) + "time " + std::to_string(file->OperateTime) + " attributes " +
          file->ExpandText();
    }
    for (const auto& album : Albums()) {
      state["album " + album->AlbumId.Get()] =
          Sorted(Ids(album)) + "pictures " + std::to_string(album->pictureCount);
    }
    return state;
  }

  std::vector<Album::Ptr> Albums() {
    std::vector<Album::Ptr> albums{gallery.GetAlbum("default-album-1"), gallery.GetAlbum("other")};
    if (const auto bin = gallery.GetAlbum("default-album-3")) albums.push_back(bin);
    for (const auto kind : kViews) {
      if (const auto view = AlbumOf(kind)) albums.push_back(view);
    }
    // One that nobody needed yet is as good as an empty one.
    std::erase_if(albums,
                  [](const Album::Ptr& album) { return !album->IsReal() && album->FileCount() == 0; });
    return albums;
  }

  // A live file is listed in its album or stands behind one listed cover of it.
  void ExpectEachInSightOnce() {
    Files all;
    gallery.GetAllFiles(all);
    std::map<FilePtr, int> behind;
    for (const auto& file : all) {
      for (const auto& member : file->GetMembers()) {
        ++behind[member];
        if (file->IsDeleted || member->IsDeleted) continue;
        EXPECT_EQ(member->AlbumId(), file->AlbumId()) << member->UniqueId();
        EXPECT_EQ(member->IsInBin(), file->IsInBin()) << member->UniqueId();
      }
    }
    for (const auto& file : all) {
      if (file->IsDeleted) continue;
      const auto home = gallery.GetAlbum(file->IsInBin() ? "default-album-3" : file->AlbumId());
      ASSERT_TRUE(home);
      EXPECT_EQ(behind[file] + Holds(home, file), 1) << file->UniqueId();
      EXPECT_EQ(Holds(AlbumOf(AlbumKind::TimeLine), file), !file->IsInBin() && behind[file] == 0)
          << file->UniqueId();
      EXPECT_TRUE(home->HasFileNamed(file->FileName())) << file->UniqueId();
    }
  }

  std::mt19937 random;
  int made = 0;
  std::string what;
};

TEST_F(BurstRandomTest, GalleryIsWhatANewProcessReads) {
  const char* given = std::getenv("BURST_SEED");
  const unsigned seed =
      given ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  for (int history = 0; history < kHistories; ++history) {
    random.seed(seed + static_cast<unsigned>(history));
    std::string done;
    SCOPED_TRACE("history " + std::to_string(history));
    for (int batch = 0; batch < kBatches; ++batch) {
      RandomBatch();
      done += what + ", ";
      ExpectEachInSightOnce();
      const State lived = Now();
      if (OneIn(6)) {
        Restart();
        ASSERT_EQ(Now(), lived) << done;
      }
      if (HasFailure()) FAIL() << done;
    }
    const State lived = Now();
    Restart();
    ASSERT_EQ(Now(), lived) << done;
    Files all;
    gallery.GetAllFiles(all);
    (void)DBHelper::GetInstance().DeleteFiles(all);
    Restart();
  }
}

}  // namespace
