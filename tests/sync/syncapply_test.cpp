// Changes of the cloud, taken over by their rules.

#include "synctest.h"
#include "utils/globaldata.h"

namespace {

class SyncApplyTest : public SyncTest {
 protected:
  void SetUp() override {
    SyncTest::SetUp();
    GlobalData::cloudGeneration = GlobalData::kGenerationV2;
    local = std::make_unique<SyncLocalOperation>(services, [] {});
  }
  static CloudFileInfo Record(const std::string& id, const char* otype = "1") {
    CloudFileInfo record;
    record.uniqueId = record.fileId = id;
    record.fileName = std::wstring(id.begin(), id.end()) + L".jpg";
    record.albumId = "default-album-1";
    record.otype = otype;
    record.size = 1000;
    record.fileType = "1";
    record.cloudContentStatus = 1;
    record.device = "other-device";
    return record;
  }
  bool Apply(std::vector<CloudFileInfo> records) { return local->SetLocalGeneralFiles(records); }

  std::unique_ptr<SyncLocalOperation> local;
};

TEST_F(SyncApplyTest, EmptyCloudAlbumListChangesNothing) {
  CloudAlbum("default-album-300-x", L"Trip");
  EXPECT_TRUE(local->GetCloudChangedAlbums({}).empty());
}

TEST_F(SyncApplyTest, OwnRecordsChangeNoRow) {
  Add({CloudFile("f")});
  const std::string before = TableTree();
  auto record = Record("f");
  record.device = "this-device";
  record.favorite = true;
  DatabaseFaults::FailWrite(0);
  EXPECT_TRUE(Apply({record}));
  EXPECT_EQ(DatabaseFaults::Writes(), 0);
  EXPECT_EQ(TableTree(), before);
}

TEST_F(SyncApplyTest, OwnRecordThatMemoryLacksIsRepairedFromItsRow) {
  ASSERT_TRUE(DBHelper::GetInstance().AddFiles({CloudFile("f")}));
  auto record = Record("f");
  record.device = "this-device";
  EXPECT_TRUE(Apply({record}));
  ASSERT_TRUE(gallery.GetFile("f"));
  EXPECT_EQ(gallery.GetFile("f")->Guid(), "guid-of-f");
}

TEST_F(SyncApplyTest, ChangedFileTakesTheCloudsState) {
  Add({CloudFile("f")});
  CloudAlbum("default-album-300-x", L"Trip");
  auto record = Record("f");
  record.favorite = true;
  record.albumId = "default-album-300-x";
  record.fileName = L"new.jpg";
  EXPECT_TRUE(Apply({record}));
  const auto file = gallery.GetFile("f");
  EXPECT_TRUE(file->IsFavorite);
  EXPECT_EQ(Ids(gallery.GetAlbum("default-album-300-x")), std::vector<std::string>{"f"});
  EXPECT_TRUE(Ids(gallery.GetAlbum("default-album-1")).empty());
  EXPECT_EQ(Row("f")->FileName(), L"new.jpg");
  EXPECT_EQ(Row("f")->Guid(), "guid-of-f");
}

TEST_F(SyncApplyTest, RecordWithoutANameLeavesTheName) {
  Add({CloudFile("f")});
  auto record = Record("f");
  record.fileName.clear();
  EXPECT_TRUE(Apply({record}));
  EXPECT_EQ(gallery.GetFile("f")->FileName(), L"f.jpg");
}

TEST_F(SyncApplyTest, WaitingChangeWinsAndTakesIdentifiers) {
  Add({CloudFile("f")});
  gallery.FavoriteFiles(gallery.GetFile("f"), true);
  auto record = Record("f");
  record.fileId = "other-content";
  record.size = 77;
  record.recycleAlbumId = kRecycleAlbumId;
  EXPECT_TRUE(Apply({record}));
  const auto file = gallery.GetFile("f");
  EXPECT_TRUE(file->IsFavorite);
  EXPECT_FALSE(file->IsInBin());
  EXPECT_EQ(file->GalleryState, 2);
  EXPECT_EQ(Row("f")->FileId(), "other-content");
  EXPECT_EQ(Row("f")->Size, 77);
}

TEST_F(SyncApplyTest, DeletionWinsOverAWaitingChange) {
  Add({CloudFile("f")});
  gallery.FavoriteFiles(gallery.GetFile("f"), true);
  EXPECT_TRUE(Apply({Record("f", "2")}));
  EXPECT_FALSE(gallery.GetFile("f"));
  EXPECT_FALSE(Row("f"));
}

TEST_F(SyncApplyTest, SamePageTwiceLeavesTheSameRows) {
  std::vector<CloudFileInfo> page{Record("a", "0"), Record("b", "0"), Record("a", "1")};
  page[2].favorite = true;
  EXPECT_TRUE(Apply(page));
  const std::string once = TableTree();
  EXPECT_TRUE(Apply(page));
  EXPECT_EQ(TableTree(), once);
  EXPECT_TRUE(gallery.GetFile("a")->IsFavorite);
}

TEST_F(SyncApplyTest, FileThatArrivesInADeletedAlbumGoesToTheBin) {
  gallery.DeleteAlbum(CloudAlbum("default-album-300-x", L"Trip"));
  auto record = Record("f", "0");
  record.albumId = "default-album-300-x";
  EXPECT_TRUE(Apply({record}));
  const auto file = gallery.GetFile("f");
  ASSERT_TRUE(file);
  EXPECT_TRUE(file->IsInBin());
  EXPECT_EQ(file->GalleryState, 2);
  EXPECT_EQ(file->ExpandValue("album_name"), "Trip");
  EXPECT_TRUE(Row("f")->IsInBin());
}

TEST_F(SyncApplyTest, ArrivingPictureReplacesItsWaitingCopy) {
  const auto twin = LocalFile("twin");
  twin->SetFileName(L"f.jpg");
  twin->SetHash("same");
  Add({twin});
  auto record = Record("f", "0");
  record.hash = "same";
  EXPECT_TRUE(Apply({record}));
  EXPECT_TRUE(twin->IsDeleted);
  EXPECT_EQ(gallery.GetFile("f")->FileName(), L"f.jpg");
  EXPECT_EQ(gallery.GetFile("f")->GalleryState, 0);
}

TEST_F(SyncApplyTest, ChangedCoverKeepsItsMembers) {
  auto cover = Record("c", "0"), member = Record("m", "0");
  cover.fileName = L"IMG_BURST001_COVER.jpg";
  member.fileName = L"IMG_BURST002.jpg";
  EXPECT_TRUE(Apply({cover, member}));
  ASSERT_TRUE(gallery.GetFile("c")->HasMembers());
  cover.favorite = true;
  cover.otype = "1";
  EXPECT_TRUE(Apply({cover}));
  EXPECT_TRUE(gallery.GetFile("m"));
  EXPECT_TRUE(gallery.GetFile("c")->HasMembers());
}

TEST_F(SyncApplyTest, DeletedCoverLeavesItsMembers) {
  auto cover = Record("c", "0"), member = Record("m", "0");
  cover.fileName = L"IMG_BURST001_COVER.jpg";
  member.fileName = L"IMG_BURST002.jpg";
  EXPECT_TRUE(Apply({cover, member}));
  EXPECT_TRUE(Apply({Record("c", "2")}));
  EXPECT_FALSE(gallery.GetFile("c"));
  EXPECT_TRUE(gallery.GetFile("m"));
  EXPECT_TRUE(Row("m"));
  EXPECT_EQ(Ids(AlbumOf(AlbumKind::TimeLine)), std::vector<std::string>{"m"});
}

TEST_F(SyncApplyTest, BinnedFileThatChangesKeepsItsTime) {
  Add({CloudFile("f")});
  auto record = Record("f");
  record.recycleAlbumId = kRecycleAlbumId;
  record.recycleTime = 1'650'000'000'000;
  EXPECT_TRUE(Apply({record}));
  EXPECT_TRUE(Holds(gallery.GetAlbum(kRecycleAlbumId), gallery.GetFile("f")));
  EXPECT_EQ(Row("f")->RecycleTime, 1'650'000'000'000);
  record.size = 5;
  EXPECT_TRUE(Apply({record}));
  EXPECT_EQ(Row("f")->RecycleTime, 1'650'000'000'000);
}

TEST_F(SyncApplyTest, RecycleFeedPutsIntoTheBin) {
  Add({CloudFile("f")});
  auto record = Record("f");
  record.recycleTime = 1'650'000'000'000;
  std::vector<CloudFileInfo> page{record, Record("new")};
  EXPECT_TRUE(local->SetRecycleFiles(page));
  EXPECT_TRUE(gallery.GetFile("f")->IsInBin());
  EXPECT_TRUE(gallery.GetFile("new")->IsInBin());
  EXPECT_EQ(Row("f")->RecycleTime, 1'650'000'000'000);
}

TEST_F(SyncApplyTest, WaitingRowThatMemoryLacksIsNotOverwritten) {
  const auto row = CloudFile("f");
  row->GalleryState = 2;
  row->IsFavorite = true;
  ASSERT_TRUE(DBHelper::GetInstance().AddFiles({row}));
  EXPECT_TRUE(Apply({Record("f", "0")}));
  EXPECT_TRUE(Row("f")->IsFavorite);
  EXPECT_EQ(Row("f")->GalleryState, 2);
}

TEST_F(SyncApplyTest, WaitingAlbumNameIsNotOverwritten) {
  const auto album = CloudAlbum("default-album-300-x", L"Trip");
  gallery.RenameAlbum(album, L"Mine");
  auto theirs = std::make_shared<Album>();
  theirs->AlbumId = "default-album-300-x";
  theirs->AlbumName = L"Trip";
  for (const auto& change : local->GetCloudChangedAlbums({theirs})) {
    EXPECT_NE(change.album->AlbumId.Get(), "default-album-300-x");
  }
  EXPECT_EQ(album->Operation.Get(), "1");
}

// As after the loss of a profile's database.
TEST_F(SyncApplyTest, OwnFileWithoutARowComesInWhateverBecameOfItsContent) {
  cloud.AddMedia("a", L"a.jpg");
  Settle();
  for (const std::int32_t status : {0, 1, 2}) {
    const std::string id = "own" + std::to_string(status);
    cloud.AddMedia(id, std::wstring(id.begin(), id.end()) + L".jpg", "default-album-1", "this-device");
    cloud.Edit(
        id, [status](CloudFileInfo& info) { info.cloudContentStatus = status; }, "this-device");
    EXPECT_TRUE(Cycle());
    EXPECT_TRUE(Row(id)) << status;
    EXPECT_TRUE(gallery.GetFile(id)) << status;
  }
}

}  // namespace
