// Albums: names, kinds, batches, the bin, the home list.

#include <algorithm>

#include "support/gallerytest.h"
#include "utils/globaldata.h"
#include "utils/messages.h"

namespace {

class AlbumTest : public GalleryTest {
 protected:
  Album::Ptr Bin() { return gallery.GetOrCreateSystemAlbum(AlbumKind::RecycleBin); }
  Album::Ptr Camera() { return gallery.GetAlbum("default-album-1"); }
  FilePtr Recycled(const std::string& id, std::int64_t time, const std::string& albumId = "default-album-1") {
    auto file = CloudFile(id, albumId);
    file->SetRecycleAlbumId("default-album-3");
    file->RecycleTime = time;
    return file;
  }
};

TEST_F(AlbumTest, CreatedAlbumHasTheIdAndPathOfItsName) {
  clock.ms = 1'700'000'000'000;
  const auto album = Album::Create(L"Trip");
  EXPECT_EQ(album->Lpath.Get(), "/Pictures/PC/Trip1700000000000");
  // CRC-32 of "/pictures/pc/trip1700000000000", by `gzip -c | tail -c8`.
  EXPECT_EQ(album->AlbumId.Get(), "default-album-300-3515034964-1700000000000");
  EXPECT_EQ(album->AlbumType.Get(), "0");
  EXPECT_EQ(album->Operation.Get(), "0");
  EXPECT_EQ(album->CreateTime, 1'700'000'000'000);
  EXPECT_EQ(album->Expand()["emptyShow"].asString(), "1");
  EXPECT_EQ(album->Kind(), AlbumKind::None);
  EXPECT_EQ(album->displayName.Get(), L"Trip");
  EXPECT_TRUE(album->listable);
}

// Newest first.
TEST_F(AlbumTest, IndexOfAFileThatIsNotThereIsWhereItBelongs) {
  const auto at = [this](const std::string& id, std::int64_t hour) {
    return CloudFile(id, "default-album-1", 1'600'000'000'000 + hour * 3'600'000);
  };
  const auto newest = at("a", 30), middle = at("b", 20), oldest = at("c", 10);
  EXPECT_EQ(Camera()->IndexOf(newest), -1) << "of an empty album";
  Add({newest, middle, oldest});
  EXPECT_EQ(Camera()->IndexOf(newest), 0);
  EXPECT_EQ(Camera()->IndexOf(middle), 1);
  EXPECT_EQ(Camera()->IndexOf(oldest), 2);
  EXPECT_EQ(Camera()->IndexOf(at("d", 40)), 0);
  EXPECT_EQ(Camera()->IndexOf(at("e", 25)), 1);
  EXPECT_EQ(Camera()->IndexOf(at("f", 15)), 2);
  EXPECT_EQ(Camera()->IndexOf(at("g", 5)), -1);
  EXPECT_EQ(Camera()->IndexOf(nullptr), -1);
  EXPECT_TRUE(Camera()->Holds(middle));
  EXPECT_FALSE(Camera()->Holds(at("e", 25)));
}

TEST_F(AlbumTest, NameOfBlanksOnlyIsIllegal) {
  EXPECT_EQ(Album::Create(L"  \t "), nullptr);
  EXPECT_EQ(Album::Create(L"///"), nullptr);
}

TEST_F(AlbumTest, ForbiddenCharactersAreDroppedFromAName) {
  EXPECT_EQ(Album::Create(L" a/b:c*d ")->AlbumName.Get(), L"abcd");
  EXPECT_EQ(Album::Create(L"My Trip")->AlbumName.Get(), L"MyTrip");
  EXPECT_EQ(Album::Create(L"\u65c5\u884c\U0001F3D6")->AlbumName.Get(), L"\u65c5\u884c\U0001F3D6");
  EXPECT_FALSE(Album::IsNameAllowed(L"a/b"));
  EXPECT_TRUE(Album::IsNameAllowed(L"ab"));
}

TEST_F(AlbumTest, KindIsFoundByIdThenByPath) {
  const auto byPath = std::make_shared<Album>();
  byPath->AlbumId = "x";
  byPath->Lpath = "/bluetooth";
  byPath->Classify();
  EXPECT_EQ(byPath->Kind(), AlbumKind::Bluetooth);
  EXPECT_EQ(byPath->displayName.Get(), L"IDS_GALLERY_ALBUM_BLUETOOTH");
  EXPECT_FALSE(byPath->listable);
  EXPECT_EQ(Camera()->Kind(), AlbumKind::Camera);
  EXPECT_TRUE(Camera()->listable);
}

TEST_F(AlbumTest, SystemAlbumsOfCloudKindsAreNotMadeHere) {
  EXPECT_EQ(Album::CreateSystem(AlbumKind::Camera), nullptr);
  EXPECT_EQ(Album::CreateSystem(AlbumKind::Screenshots), nullptr);
  EXPECT_EQ(Album::CreateSystem(AlbumKind::None), nullptr);
  const auto bin = Album::CreateSystem(AlbumKind::RecycleBin);
  EXPECT_EQ(bin->AlbumType.Get(), "4");
  EXPECT_EQ(bin->Operation.Get(), "0");
  EXPECT_EQ(Album::CreateSystem(AlbumKind::Favorite)->Operation.Get(), "");
}

TEST_F(AlbumTest, RenameOfANewAlbumStaysACreation) {
  const auto album = Album::Create(L"Trip");
  EXPECT_TRUE(album->Rename(L"Journey"));
  EXPECT_EQ(album->Operation.Get(), "0");
  album->Operation = "";
  EXPECT_TRUE(album->Rename(L"Tour"));
  EXPECT_EQ(album->Operation.Get(), "1");
  EXPECT_EQ(album->displayName.Get(), L"Tour");
}

TEST_F(AlbumTest, RenameTouchesTheTypeOnlyBelowV2) {
  const auto album = Album::Create(L"Trip");
  album->AlbumType = "9";
  GlobalData::cloudGeneration = GlobalData::kGenerationV2;
  EXPECT_TRUE(album->Rename(L"Journey"));
  EXPECT_EQ(album->AlbumType.Get(), "9");
  GlobalData::cloudGeneration = GlobalData::kGenerationV1;
  EXPECT_TRUE(album->Rename(L"Tour"));
  EXPECT_EQ(album->AlbumType.Get(), "0");
}

TEST_F(AlbumTest, RenameOfASystemAlbumIsRefused) {
  EXPECT_FALSE(Camera()->Rename(L"Mine"));
  EXPECT_FALSE(Album::Create(L"Trip")->Rename(L" : "));
}

TEST_F(AlbumTest, FilesOfOneTimeAllStay) {
  Add({CloudFile("a"), CloudFile("b"), CloudFile("c")});
  EXPECT_EQ(Camera()->FileCount(), 3u);
  EXPECT_EQ(Camera()->pictureCount, 3u);
}

TEST_F(AlbumTest, FilesStandNewestFirst) {
  Add({CloudFile("old", "default-album-1", 1000), CloudFile("new", "default-album-1", 3000),
       CloudFile("mid", "default-album-1", 2000)});
  EXPECT_EQ(Ids(Camera()), (std::vector<std::string>{"new", "mid", "old"}));
}

TEST_F(AlbumTest, SecondFileOfANameGetsANumber) {
  const auto first = CloudFile("a"), second = CloudFile("b"), third = CloudFile("c");
  for (const auto& file : {first, second, third}) file->SetFileName(L"beach.day.jpg");
  clock.ms = 99'000;
  Add({first, second, third});
  EXPECT_EQ(first->FileName(), L"beach.day.jpg");
  EXPECT_EQ(second->FileName(), L"beach.day(1).jpg");
  EXPECT_EQ(third->FileName(), L"beach.day(2).jpg");
  EXPECT_EQ(second->GalleryState, 2);
  EXPECT_EQ(second->OperateTime, 99'000);
  EXPECT_EQ(second->ExpandValue("sourcePath"), "/storage/emulated/0/DCIM/default-album-1/beach.day(1).jpg");
}

TEST_F(AlbumTest, NumberStandsAtTheEndOfANameWithoutExtension) {
  const auto first = CloudFile("a"), second = CloudFile("b");
  first->SetFileName(L"beach");
  second->SetFileName(L"beach");
  Add({first, second});
  EXPECT_EQ(second->FileName(), L"beach(1)");
}

TEST_F(AlbumTest, ThousandthClashKeepsItsName) {
  Files files;
  for (int i = 0; i <= 1000; ++i) {
    files.push_back(CloudFile("f" + std::to_string(i)));
    files.back()->SetFileName(L"x.jpg");
  }
  Add(files);
  EXPECT_EQ(files[999]->FileName(), L"x(999).jpg");
  EXPECT_EQ(files[1000]->FileName(), L"x.jpg");
  EXPECT_TRUE(Holds(Camera(), files[1000]));
}

TEST_F(AlbumTest, FavoriteOfAHiddenAlbumIsInNoView) {
  const auto hidden = CloudAlbum("hidden-album", L"Secret");
  hidden->SetExpandText(R"({"hide":"1"})");
  const auto file = CloudFile("a", "hidden-album");
  file->IsFavorite = true;
  Add({file});
  EXPECT_TRUE(Holds(hidden, file));
  EXPECT_FALSE(Holds(AlbumOf(AlbumKind::Favorite), file));
  EXPECT_FALSE(Holds(AlbumOf(AlbumKind::TimeLine), file));
}

TEST_F(AlbumTest, DeletedFileIsNotAdded) {
  const auto file = CloudFile("a");
  file->IsDeleted = true;
  EXPECT_EQ(Camera()->AddFilesInternal({file, nullptr}), 0u);
}

TEST_F(AlbumTest, FileOfAnotherAlbumIsNotAdded) {
  const auto other = gallery.CreateAlbum(L"Other", false, -1);
  EXPECT_EQ(other->AddFilesInternal({CloudFile("a")}), 0u);
}

TEST_F(AlbumTest, FileLeavingTheBinTellsWhetherItHadExpired) {
  clock.ms = 100 * kDayMs;
  const auto fresh = Recycled("fresh", 71 * kDayMs), old = Recycled("old", 69 * kDayMs);
  Bin()->AddFilesInternal({fresh, old});
  EXPECT_EQ(Bin()->DelFiles({fresh, old}), 2u);
  EXPECT_EQ(fresh->RecycleTime, -1);
  EXPECT_EQ(old->RecycleTime, -2);
}

TEST_F(AlbumTest, ExpiredFileThatIsNotInTheBinIsMarkedAllTheSame) {
  clock.ms = 100 * kDayMs;
  const auto old = Recycled("old", 69 * kDayMs), fresh = Recycled("fresh", 71 * kDayMs);
  EXPECT_EQ(Bin()->DelFiles({old, fresh}), 0u);
  EXPECT_EQ(old->RecycleTime, -2);
  EXPECT_EQ(fresh->RecycleTime, 71 * kDayMs);
}

TEST_F(AlbumTest, BinShowsTheLastRecycledFirst) {
  Bin()->AddFilesInternal({Recycled("a", 100), Recycled("b", 300), Recycled("c", 200)});
  EXPECT_EQ(Ids(Bin()), (std::vector<std::string>{"b", "c", "a"}));
}

TEST_F(AlbumTest, ResetOfARecycleTimeMovesTheFile) {
  const auto a = Recycled("a", 100), b = Recycled("b", 300);
  Bin()->AddFilesInternal({a, b});
  Bin()->ReSetGallery(a, 400);
  EXPECT_EQ(Ids(Bin()), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(a->RecycleTime, 400);
  const auto stranger = Recycled("c", 1);
  Bin()->ReSetGallery(stranger, 500);
  EXPECT_EQ(stranger->RecycleTime, 1);
}

TEST_F(AlbumTest, ExpiredFilesOfTheBinAreDeleted) {
  const auto keep = Recycled("keep", 0), gone = Recycled("gone", 0);
  clock.ms = 100 * kDayMs;
  keep->RecycleTime = 71 * kDayMs;
  gone->RecycleTime = 70 * kDayMs;
  Add({keep, gone});
  Bin()->ClearExpiresFiles();
  EXPECT_FALSE(keep->IsDeleted);
  EXPECT_TRUE(gone->IsDeleted);
  EXPECT_TRUE(Row("gone")->IsDeleted);
  EXPECT_EQ(Ids(Bin()), std::vector<std::string>{"keep"});
}

TEST_F(AlbumTest, FileOfTheBinWithoutATimeDoesNotExpire) {
  const auto file = Recycled("timeless", -1);
  Add({file});
  EXPECT_FALSE(Bin()->HoldsExpired());
  Bin()->ClearExpiresFiles();
  EXPECT_FALSE(file->IsDeleted);
}

TEST_F(AlbumTest, DelOfNothingIsRefused) {
  EXPECT_EQ(Camera()->DelFiles({}), 0u);
  EXPECT_EQ(std::make_shared<Album>()->DelFiles({CloudFile("a")}), 0u);
}

TEST_F(AlbumTest, CountsFollowPicturesAndVideos) {
  const auto picture = CloudFile("p"), video = CloudFile("v");
  video->SavedFileType = 4;
  Add({picture, video});
  EXPECT_EQ(Camera()->pictureCount, 1u);
  EXPECT_EQ(Camera()->videoCount, 1u);
  Camera()->DelFiles({video, video});
  EXPECT_EQ(Camera()->videoCount, 0u);
  EXPECT_EQ(Camera()->pictureCount, 1u);
}

TEST_F(AlbumTest, DateGroupsFollowTheTimeLine) {
  const std::int64_t noon = 19'000 * kDayMs + kDayMs / 2;
  const auto a = CloudFile("a", "default-album-1", noon), b = CloudFile("b", "default-album-1", noon + 1);
  const auto c = CloudFile("c", "default-album-1", noon - 3 * kDayMs);
  Add({c, a, b});
  auto view = AlbumOf(AlbumKind::TimeLine)->ViewCache();
  ASSERT_EQ(view->dateGroups.size(), 2u);
  EXPECT_EQ(view->dateGroups.begin()->count, 2u);
  EXPECT_EQ(view->dateGroups.begin()->firstFile, 0u);
  EXPECT_EQ(view->dateGroups.rbegin()->firstFile, 2u);
  gallery.RemoveFiles({a, b});
  view = AlbumOf(AlbumKind::TimeLine)->ViewCache();
  ASSERT_EQ(view->dateGroups.size(), 1u);
  EXPECT_EQ(view->dateGroups.begin()->firstFile, 0u);
}

TEST_F(AlbumTest, FileOfTheFirstDayOf1970HasADateGroup) {
  Add({CloudFile("a", "default-album-1", 0), CloudFile("b", "default-album-1", 5 * kDayMs)});
  EXPECT_EQ(AlbumOf(AlbumKind::TimeLine)->ViewCache()->dateGroups.size(), 2u);
}

TEST(DateGroups, AreFoundByDateRowAndPixel) {
  std::set<DateGroup, DateGroupOrder> groups;
  groups.insert({.date = 300, .firstRow = 0, .rows = 3, .top = 0, .height = 100});
  groups.insert({.date = 200, .firstRow = 3, .rows = 2, .top = 100, .height = 70});
  groups.insert({.date = 100, .firstRow = 5, .rows = 4, .top = 170, .height = 130});
  const auto dateOf = [&groups](const DateGroup& key) {
    const auto found = groups.find(key);
    return found == groups.end() ? 0 : found->date;
  };
  EXPECT_EQ(dateOf({.date = 200}), 200);
  EXPECT_EQ(dateOf({.date = 250}), 0);
  EXPECT_EQ(dateOf({.firstRow = 0}), 300);
  EXPECT_EQ(dateOf({.firstRow = 4}), 200);
  EXPECT_EQ(dateOf({.firstRow = 8}), 100);
  EXPECT_EQ(dateOf({.firstRow = 9}), 0);
  EXPECT_EQ(dateOf({.top = 99}), 300);
  EXPECT_EQ(dateOf({.top = 100}), 200);
  EXPECT_EQ(dateOf({.top = 299}), 100);
  EXPECT_EQ(dateOf({.top = 300}), 0);
}

class HomeList : public AlbumTest {
 protected:
  void SetUp() override {
    AlbumTest::SetUp();
    Files files;
    for (int i = 0; i < 102; ++i) {
      files.push_back(CloudFile("f" + std::to_string(i), "default-album-1", 1'000'000 + i * 1000));
    }
    Add(files);
    byAge = Album::FileList(files.rbegin(), files.rend());
    window = platform::RegisterWindow(
        [this](platform::UINT message, platform::WPARAM, platform::LPARAM value) {
          if (message == WM_HOME_GALLERY_DATA) posted.push_back(value);
          return platform::LRESULT{0};
        },
        [](const std::function<void()>& run) { run(); });
    GlobalData::mainWnd = window;
  }
  void TearDown() override {
    GlobalData::mainWnd = nullptr;
    platform::UnregisterWindow(window);
    AlbumTest::TearDown();
  }

  Album::FileList byAge;  // newest first
  HWND window = nullptr;
  std::vector<platform::LPARAM> posted;
};

TEST_F(HomeList, HoldsTheNewestHundred) {
  const auto limited = AlbumOf(AlbumKind::TimeLine)->LimitedFiles();
  EXPECT_EQ(limited, Album::FileList(byAge.begin(), byAge.begin() + 100));
}

TEST_F(HomeList, IsRebuiltWhenTheHundredthChanges) {
  gallery.RemoveFiles({byAge[99]});
  EXPECT_EQ(AlbumOf(AlbumKind::TimeLine)->LimitedFiles().back(), byAge[100]);
  EXPECT_EQ(posted, std::vector<platform::LPARAM>{101});
}

TEST_F(HomeList, IsLeftAloneWhenTheHundredAndFirstChanges) {
  gallery.RemoveFiles({byAge[100]});
  EXPECT_TRUE(posted.empty());
}

TEST_F(HomeList, EmptyTimeLineIsTold) {
  gallery.RemoveFiles(byAge);
  ASSERT_FALSE(posted.empty());
  EXPECT_TRUE(AlbumOf(AlbumKind::TimeLine)->LimitedFiles().empty());
  EXPECT_TRUE(AlbumOf(AlbumKind::TimeLine)->UpdateGalleryFilesLimit());
}

TEST_F(AlbumTest, ChangingAlbumIdsReachesMembersAndRows) {
  const auto file = Recycled("a", 100), member = Recycled("m", 100);
  file->TakeMember(member);
  ASSERT_TRUE(DBHelper::GetInstance().AddFiles({file, member}));
  Bin()->AddFilesInternal({file});
  EXPECT_EQ(Bin()->ChangeAlbumIds("default-album-1", "next"), 2u);  // the file and its member
  EXPECT_EQ(file->AlbumId(), "next");
  EXPECT_EQ(member->AlbumId(), "next");
  EXPECT_EQ(Row("m")->AlbumId(), "next");
  EXPECT_EQ(Bin()->ChangeAlbumIds("", "next"), 0u);
  // Otherwise another device would bring them back into another album.
  EXPECT_EQ(file->GalleryState, 2);
  EXPECT_EQ(Row("m")->GalleryState, 2);
}

TEST_F(AlbumTest, JsonFormTakesOnlyWhatIsThereAndGivesEverything) {
  const auto album = std::make_shared<Album>();
  EXPECT_TRUE(album->FromJson(
      ParseJson(R"({"albumId":"x","albumName":"Näme","createTime":12,"lpath":"/WLAN Direct"})")));
  EXPECT_EQ(album->Kind(), AlbumKind::WlanDirect);
  const Json::Value json = album->ToJson();
  EXPECT_EQ(json["albumName"].asString(), "Näme");
  EXPECT_EQ(json["createTime"].asInt64(), 12);
  for (const char* key :
       {"albumId", "lpath", "albumType", "source", "flversion", "iversion", "photoNum", "size", "expand"}) {
    EXPECT_TRUE(json.isMember(key)) << key;
  }
  album->CreateTime = 0;
  EXPECT_TRUE(album->ToJson()["createTime"].isNull());
}

TEST_F(AlbumTest, PanelShowsSystemKindsFirstThenTheNewestAlbum) {
  clock.ms = 1000;
  const auto older = gallery.CreateAlbum(L"Older", false, -1);
  clock.ms = 2000;
  const auto newer = gallery.CreateAlbum(L"Newer", false, -1);
  Gallery::Albums albums;
  gallery.GetAlbums(albums, true);
  EXPECT_EQ(albums, (Gallery::Albums{Camera(), newer, older}));
}

TEST_F(AlbumTest, ListenerIsCalledOutsideTheLocks) {
  const auto camera = Camera();
  int calls = 0;
  camera->SetListener([&] {
    ++calls;
    camera->SetListener([&calls] { ++calls; });
    (void)camera->FileCount();
    camera->AddFilesInternal({});
  });
  Add({CloudFile("a")});
  EXPECT_EQ(calls, 2);
}

}  // namespace
