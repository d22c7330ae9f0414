// Albums of the gallery: making, naming, taking over from the cloud.

#include "support/gallerytest.h"
#include "utils/globaldata.h"

namespace {

using Event = std::pair<int, std::string>;

class GalleryAlbumsTest : public GalleryTest {
 protected:
  void SetUp() override {
    GalleryTest::SetUp();
    gallery.SetAlbumListener([this](int event, const Album::Ptr& album) {
      events.emplace_back(event, album ? album->AlbumId.Get() : "");
    });
    gallery.SetAlbumsListener([this](int event, const Gallery::Albums& albums) {
      for (const auto& album : albums) batchEvents.emplace_back(event, album->AlbumId.Get());
    });
  }
  static Album::Ptr Record(const std::string& id, const std::wstring& name, int isDelete = 0) {
    auto album = std::make_shared<Album>();
    album->AlbumId = id;
    album->AlbumName = name;
    album->IsDelete = isDelete;
    album->SetExpandText("{}");
    album->Classify();
    return album;
  }
  static Album::Ptr RowOf(const std::string& id) {
    auto album = std::make_shared<Album>();
    return DBHelper::GetInstance().GetAlbum(*album, id) ? album : nullptr;
  }
  std::vector<Event> events, batchEvents;
};

TEST_F(GalleryAlbumsTest, InitTwiceLeavesTwoAlbums) {
  ASSERT_TRUE(gallery.Init());
  ASSERT_TRUE(gallery.Init());
  EXPECT_NE(gallery.GetAlbum("Pictures"), nullptr);
  EXPECT_NE(gallery.GetAlbum("RecentlyUpload"), nullptr);
  EXPECT_EQ(gallery.GetAlbum("default-album-1"), nullptr);
  Gallery::Albums albums;
  gallery.GetAlbums(albums, true);
  EXPECT_TRUE(albums.empty());
  EXPECT_EQ(events, (std::vector<Event>{{3, ""}, {3, ""}}));
}

TEST_F(GalleryAlbumsTest, CreatedAlbumIsStoredAndShown) {
  const auto album = gallery.CreateAlbum(L"Trip", false, -1);
  ASSERT_NE(album, nullptr);
  EXPECT_EQ(events, (std::vector<Event>{{1, album->AlbumId.Get()}}));
  EXPECT_EQ(RowOf(album->AlbumId.Get())->AlbumName.Get(), L"Trip");
  EXPECT_EQ(RowOf(album->AlbumId.Get())->Operation.Get(), "0");
}

TEST_F(GalleryAlbumsTest, TakenNameIsRefusedOrGetsANumber) {
  ASSERT_NE(gallery.CreateAlbum(L"Trip", false, -1), nullptr);
  EXPECT_EQ(gallery.CreateAlbum(L"Trip", false, -1), nullptr);
  EXPECT_EQ(gallery.CreateAlbum(L"T r i p", false, -1), nullptr);
  EXPECT_EQ(gallery.CreateAlbum(L"Trip", true, -1)->AlbumName.Get(), L"Trip(1)");
  EXPECT_EQ(gallery.CreateAlbum(L"Trip", true, -1)->AlbumName.Get(), L"Trip(2)");
}

TEST_F(GalleryAlbumsTest, TimeOfAnOldAlbumIsNotTakenOver) {
  clock.ms = 7000;
  EXPECT_EQ(gallery.CreateAlbum(L"Trip", true, 1234)->CreateTime, 7000);
}

TEST_F(GalleryAlbumsTest, DeletedAlbumRecyclesItsFilesAndWaitsForTheCloud) {
  const auto album = gallery.CreateAlbum(L"Trip", false, -1);
  const std::string id = album->AlbumId.Get();
  const auto file = CloudFile("a", id);
  Add({file});
  events.clear();
  EXPECT_TRUE(gallery.DeleteAlbum(album));
  EXPECT_EQ(album->IsDelete, 1);
  EXPECT_TRUE(file->IsInBin());
  EXPECT_EQ(gallery.GetAlbum(id), nullptr);
  EXPECT_EQ(gallery.GetDeletedAlbum(id), album);
  EXPECT_EQ(gallery.AlbumNameIsExist(L"Trip"), nullptr);
  EXPECT_EQ(RowOf(id)->IsDelete, 1);
  EXPECT_EQ(events.back(), (Event{3, id}));
  EXPECT_FALSE(gallery.DeleteAlbum(album));
}

TEST_F(GalleryAlbumsTest, SystemAlbumIsNotDeleted) {
  EXPECT_FALSE(gallery.DeleteAlbum(gallery.GetAlbum("default-album-1")));
  EXPECT_FALSE(gallery.DeleteAlbum(nullptr));
}

TEST_F(GalleryAlbumsTest, RenameKeysTheNewNameAndStoresIt) {
  const auto album = gallery.CreateAlbum(L"Trip", false, -1);
  EXPECT_TRUE(gallery.RenameAlbum(album, L"Tour"));
  EXPECT_EQ(gallery.AlbumNameIsExist(L"Trip"), nullptr);
  EXPECT_EQ(gallery.AlbumNameIsExist(L"Tour"), album);
  EXPECT_EQ(RowOf(album->AlbumId.Get())->AlbumName.Get(), L"Tour");
}

TEST_F(GalleryAlbumsTest, RenameToItsOwnNameSucceedsToATakenOneNot) {
  const auto album = gallery.CreateAlbum(L"Trip", false, -1);
  gallery.CreateAlbum(L"Other", false, -1);
  EXPECT_TRUE(gallery.RenameAlbum(album, L"Trip"));
  EXPECT_FALSE(gallery.RenameAlbum(album, L"Other"));
  EXPECT_FALSE(gallery.RenameAlbum(album, L"O ther"));
  EXPECT_FALSE(gallery.RenameAlbum(album, L" / "));
  EXPECT_EQ(gallery.AlbumNameIsExist(L"Trip"), album);
  EXPECT_FALSE(gallery.RenameAlbum(nullptr, L"X"));
  album->Lpath = "/Zentara/CoverUnlock";
  EXPECT_FALSE(gallery.RenameAlbum(album, L"X"));
}

TEST_F(GalleryAlbumsTest, LoadSkipsGoneAlbumsAndKeepsDeletedOnesApart) {
  EXPECT_EQ(gallery.LoadAlbums({Record("a", L"A"), Record("b", L"B", 1), Record("c", L"C", 2)}), 2u);
  EXPECT_NE(gallery.GetAlbum("a"), nullptr);
  EXPECT_EQ(gallery.GetAlbum("b"), nullptr);
  EXPECT_NE(gallery.GetDeletedAlbum("b"), nullptr);
  EXPECT_EQ(gallery.GetDeletedAlbum("c"), nullptr);
  EXPECT_EQ(batchEvents, (std::vector<Event>{{1, "a"}}));
}

TEST_F(GalleryAlbumsTest, LiveRowTakesTheAlbumOutOfTheDeletedOnes) {
  gallery.LoadAlbums({Record("a", L"A", 1)});
  EXPECT_EQ(gallery.LoadAlbums({Record("a", L"A")}), 1u);
  EXPECT_EQ(gallery.GetDeletedAlbum("a"), nullptr);
  EXPECT_NE(gallery.GetAlbum("a"), nullptr);
}

TEST_F(GalleryAlbumsTest, LoadedNameMovesTheAlbumThatHadIt) {
  const auto first = Record("a", L"Same");
  gallery.LoadAlbums({first});
  events.clear();
  gallery.LoadAlbums({Record("b", L"Same")});
  EXPECT_EQ(first->AlbumName.Get(), L"Same(1)");
  EXPECT_EQ(first->Operation.Get(), "1");
  EXPECT_EQ(gallery.AlbumNameIsExist(L"Same")->AlbumId.Get(), "b");
  EXPECT_EQ(gallery.AlbumNameIsExist(L"Same(1)"), first);
  EXPECT_EQ(events, (std::vector<Event>{{2, "a"}}));
}

TEST_F(GalleryAlbumsTest, HiddenAlbumIsThereButNotListed) {
  const auto hidden = Record("h", L"Hidden");
  hidden->SetExpandText(R"({"hide":"1"})");
  gallery.LoadAlbums({hidden});
  Add({CloudFile("f", "h")});
  EXPECT_EQ(gallery.GetAlbum("h"), hidden);
  EXPECT_FALSE(hidden->listed);
  Gallery::Albums shown, all;
  gallery.GetAlbums(shown, false);
  gallery.GetAlbums(all, true);
  EXPECT_EQ(shown.size() + 1, all.size());
  EXPECT_TRUE(batchEvents.empty());
}

TEST_F(GalleryAlbumsTest, ViewThatComesLaterLeavesTheUsersAlbumItsName) {
  const auto own = gallery.CreateAlbum(L"AllVideos", false, -1);
  gallery.GetOrCreateSystemAlbum(AlbumKind::AllVideos);
  EXPECT_EQ(gallery.AlbumNameIsExist(L"AllVideos"), own);
}

TEST_F(GalleryAlbumsTest, AlbumsOfOneNameAndMillisecondHaveTheirOwnIds) {
  const auto first = gallery.CreateAlbum(L"Trip", true, -1);
  ASSERT_TRUE(gallery.RenameAlbum(first, L"Other"));
  const auto second = gallery.CreateAlbum(L"Trip", true, -1);
  EXPECT_NE(first->AlbumId.Get(), second->AlbumId.Get());
  EXPECT_EQ(gallery.GetAlbum(first->AlbumId.Get()), first);
}

TEST_F(GalleryAlbumsTest, NameOfTheCloudIsTakenAsItIs) {
  const auto own = gallery.CreateAlbum(L"Trip", false, -1);
  const auto album = CloudAlbum("cloud", L"Tour");
  gallery.UpdateAlbums({Record("cloud", L"T rip")});
  EXPECT_EQ(gallery.AlbumNameIsExist(L"Trip"), own);
  EXPECT_EQ(gallery.AlbumNameIsExist(L"T rip"), album);
  EXPECT_EQ(album->AlbumName.Get(), L"T rip");
  EXPECT_EQ(album->Operation.Get(), "");
}

TEST_F(GalleryAlbumsTest, CloudRecordRenamesAndSettlesAnAlbum) {
  const auto album = gallery.CreateAlbum(L"Trip", false, -1);
  const auto record = Record(album->AlbumId.Get(), L"Tour");
  record->Lpath = "/Pictures/Tour";
  EXPECT_EQ(gallery.UpdateAlbums({record, Record("unknown", L"X")}), 1u);
  EXPECT_EQ(album->AlbumName.Get(), L"Tour");
  EXPECT_EQ(album->Operation.Get(), "");
  EXPECT_EQ(album->Lpath.Get(), "/Pictures/Tour");
  EXPECT_EQ(gallery.AlbumNameIsExist(L"Tour"), album);
  EXPECT_EQ(gallery.AlbumNameIsExist(L"Trip"), nullptr);
  EXPECT_EQ(RowOf(album->AlbumId.Get())->AlbumName.Get(), L"Tour");
  EXPECT_EQ(batchEvents, (std::vector<Event>{{2, album->AlbumId.Get()}}));
}

TEST_F(GalleryAlbumsTest, CloudNameThatIsTakenHereGoesBackWithANumber) {
  gallery.CreateAlbum(L"Tour", false, -1);
  const auto album = gallery.CreateAlbum(L"Trip", false, -1);
  album->Operation = "";
  gallery.UpdateAlbums({Record(album->AlbumId.Get(), L"Tour")});
  EXPECT_EQ(album->AlbumName.Get(), L"Tour(1)");
  EXPECT_EQ(album->Operation.Get(), "1");
}

TEST_F(GalleryAlbumsTest, CloudHidesAndShowsAnAlbum) {
  const auto album = gallery.CreateAlbum(L"Trip", false, -1);
  const auto record = Record(album->AlbumId.Get(), L"Trip");
  record->SetExpandText(R"({"hide":"1"})");
  gallery.UpdateAlbums({record});
  EXPECT_FALSE(album->listed);
  record->SetExpandText("{}");
  gallery.UpdateAlbums({record});
  EXPECT_TRUE(album->listed);
}

TEST_F(GalleryAlbumsTest, AlbumThatStillHoldsFilesIsCreatedAgainAtTheCloud) {
  const auto album = CloudAlbum("a", L"A");
  Add({CloudFile("f", "a")});
  EXPECT_EQ(gallery.DelAlbums({album}), 1u);
  EXPECT_EQ(gallery.GetAlbum("a"), album);
  EXPECT_EQ(album->Operation.Get(), "0");
  EXPECT_EQ(album->IsDelete, 0);
  EXPECT_EQ(RowOf("a")->Operation.Get(), "0");
}

TEST_F(GalleryAlbumsTest, EmptyAlbumGoesWithTheCloudsOne) {
  const auto album = CloudAlbum("a", L"A");
  batchEvents.clear();
  EXPECT_EQ(gallery.DelAlbums({album, Record("unknown", L"X")}), 1u);
  EXPECT_EQ(gallery.GetAlbum("a"), nullptr);
  EXPECT_EQ(gallery.AlbumNameIsExist(L"A"), nullptr);
  EXPECT_EQ(RowOf("a")->IsDelete, 2);
  EXPECT_EQ(batchEvents, (std::vector<Event>{{3, "a"}}));
}

TEST_F(GalleryAlbumsTest, DeletionThatTheCloudHasTakenIsForgotten) {
  const auto album = gallery.CreateAlbum(L"Trip", false, -1);
  gallery.DeleteAlbum(album);
  EXPECT_EQ(gallery.DelAlbums({album}), 1u);
  EXPECT_EQ(album->IsDelete, 2);
  EXPECT_EQ(gallery.GetDeletedAlbum(album->AlbumId.Get()), nullptr);
  EXPECT_EQ(RowOf(album->AlbumId.Get())->IsDelete, 2);
}

TEST_F(GalleryAlbumsTest, RecycleBinIsStoredAtOnceViewsNever) {
  gallery.GetOrCreateSystemAlbum(AlbumKind::RecycleBin);
  gallery.GetOrCreateSystemAlbum(AlbumKind::Favorite);
  EXPECT_NE(RowOf("default-album-3"), nullptr);
  EXPECT_EQ(RowOf("Favorite"), nullptr);
  EXPECT_EQ(gallery.AlbumNameIsExist(L"default-album-3"), nullptr);
  EXPECT_EQ(gallery.GetOrCreateSystemAlbum(AlbumKind::RecycleBin), gallery.GetAlbum("default-album-3"));
}

TEST_F(GalleryAlbumsTest, NamesOfSystemAlbumsInTheUsersLanguageAreReserved) {
  EXPECT_TRUE(gallery.IsReservedName(L"Pictures"));
  EXPECT_TRUE(gallery.IsReservedName(L"Camera"));
  EXPECT_FALSE(gallery.IsReservedName(L"Trip"));
}

TEST_F(GalleryAlbumsTest, FolderGoesToTheAlbumOfItsNameAndNeverToAView) {
  const auto camera = gallery.GetAlbum("default-album-1");
  EXPECT_EQ(gallery.AlbumForFolder(L"Camera"), camera);
  const auto trip = gallery.AlbumForFolder(L"Trip");
  ASSERT_NE(trip, nullptr);
  EXPECT_EQ(gallery.AlbumForFolder(L"Trip"), trip);
  const auto beside = gallery.AlbumForFolder(L"Pictures");
  ASSERT_NE(beside, nullptr);
  EXPECT_TRUE(beside->IsReal());
  EXPECT_EQ(beside->AlbumName.Get(), L"Pictures(1)");
  EXPECT_EQ(gallery.AlbumForFolder(L"Pictures"), beside);
}

TEST_F(GalleryAlbumsTest, ViewKeepsItsShownNameWhenAnAlbumTakesItsName) {
  gallery.LoadAlbums({Record("cloud", L"Pictures")});
  const auto timeLine = gallery.GetAlbum("Pictures");
  EXPECT_EQ(timeLine->AlbumName.Get(), L"Pictures(1)");
  EXPECT_EQ(timeLine->displayName.Get(), L"IDS_GALLERY_ALBUM_PICTURE");
}

TEST_F(GalleryAlbumsTest, AlbumsSurviveARestart) {
  const auto kept = gallery.CreateAlbum(L"Kept", false, -1);
  const auto dropped = gallery.CreateAlbum(L"Dropped", false, -1);
  gallery.DeleteAlbum(dropped);
  Restart();
  EXPECT_EQ(gallery.GetAlbum(kept->AlbumId.Get())->AlbumName.Get(), L"Kept");
  EXPECT_NE(gallery.GetDeletedAlbum(dropped->AlbumId.Get()), nullptr);
}

}  // namespace
