// One operation per statement: what is written comes back, and only that row.

#include "store/dbhelper.h"

#include <future>

#include "support/gallerytest.h"

namespace {

class DBHelperTest : public GalleryTest {
 protected:
  DBHelper& database = DBHelper::GetInstance();

  FilePtr Full() {
    auto file = CloudFile("full");
    file->SetVideoThumbId("poster");
    file->SetHash("hash");
    file->SetThumbFileId("thumb");
    file->SetLcdFileId("lcd");
    file->SetRecycleAlbumId("default-album-3");
    file->RecycleTime = 11;
    file->SetExpandText(R"({ "b" : 1, "a" : "\u00fc" })");
    file->GalleryState = 2;
    file->IsLocalUpload = true;
    file->Offset = -7;
    file->SetLocalPath(L"/bilder/\u00fc\uF05Cx.jpg");
    file->OperateTime = 12;
    file->ContinuousNo = 3;
    file->ContinuousType = 2;
    file->SetContinuousName(L"burst");
    file->IsDeleted = true;
    file->IsFavorite = true;
    file->SavedFileType = 4;
    file->SetCheckSumn("sum");
    file->Sdsmtime = 13;
    file->SetPictureMetadata(R"({"width":1})");
    file->SetVideoMetadata(R"({"height":2})");
    file->cloudContentStatus = 1;
    return file;
  }
};

void ExpectSame(const GalleryFile& left, const GalleryFile& right) {
  EXPECT_EQ(left.UniqueId(), right.UniqueId());
  EXPECT_EQ(left.FileId(), right.FileId());
  EXPECT_EQ(left.VideoThumbId(), right.VideoThumbId());
  EXPECT_EQ(left.Hash(), right.Hash());
  EXPECT_EQ(left.CreateTime, right.CreateTime);
  EXPECT_EQ(left.FirstUpdateTime, right.FirstUpdateTime);
  EXPECT_EQ(left.ThumbFileId(), right.ThumbFileId());
  EXPECT_EQ(left.LcdFileId(), right.LcdFileId());
  EXPECT_EQ(left.Size, right.Size);
  EXPECT_EQ(left.RecycleAlbumId(), right.RecycleAlbumId());
  EXPECT_EQ(left.RecycleTime, right.RecycleTime);
  EXPECT_EQ(left.Guid(), right.Guid());
  EXPECT_EQ(left.Expand(), right.Expand());
  EXPECT_EQ(left.GalleryState, right.GalleryState);
  EXPECT_EQ(left.IsLocalUpload, right.IsLocalUpload);
  EXPECT_EQ(left.Offset, right.Offset);
  EXPECT_EQ(left.LocalPath(), right.LocalPath());
  EXPECT_EQ(left.OperateTime, right.OperateTime);
  EXPECT_EQ(left.ContinuousNo, right.ContinuousNo);
  EXPECT_EQ(left.ContinuousType, right.ContinuousType);
  EXPECT_EQ(left.ContinuousName(), right.ContinuousName());
  EXPECT_EQ(left.IsDeleted, right.IsDeleted);
  EXPECT_EQ(left.FileName(), right.FileName());
  EXPECT_EQ(left.AlbumId(), right.AlbumId());
  EXPECT_EQ(left.IsFavorite, right.IsFavorite);
  EXPECT_EQ(left.SavedFileType, right.SavedFileType);
  EXPECT_EQ(left.CheckSumn(), right.CheckSumn());
  EXPECT_EQ(left.Sdsmtime, right.Sdsmtime);
  EXPECT_EQ(left.PictureMetadata(), right.PictureMetadata());
  EXPECT_EQ(left.VideoMetadata(), right.VideoMetadata());
  EXPECT_EQ(left.cloudContentStatus, right.cloudContentStatus);
}

TEST_F(DBHelperTest, EveryColumnOfAFileComesBackByEveryWay) {
  const auto file = Full();
  ASSERT_TRUE(database.AddFile(file));
  GalleryFile byId, byGuid;
  ASSERT_TRUE(database.GetFile(byId, "full"));
  ASSERT_TRUE(database.GetFileByGuid(byGuid, "guid-of-full"));
  DBHelper::FileVector all;
  ASSERT_TRUE(database.GetFiles(all, true));
  ASSERT_EQ(all.size(), 1u);
  for (const auto* row : {&byId, &byGuid, static_cast<GalleryFile*>(all[0].get())}) ExpectSame(*row, *file);
}

TEST_F(DBHelperTest, ExpandIsStoredCompactWhateverItsFormWas) {
  ASSERT_TRUE(database.AddFile(Full()));
  DatabaseQueryResultList rows;
  ASSERT_TRUE(database.Query("SELECT Expand FROM GalleryFile;", rows));
  EXPECT_EQ(rows.at(0).GetString(), "{\"a\":\"\xC3\xBC\",\"b\":1}");
}

TEST_F(DBHelperTest, UnknownFileIsFalseAndLeavesTheRecord) {
  GalleryFile file;
  file.Size = 5;
  EXPECT_FALSE(database.GetFile(file, "nobody"));
  EXPECT_EQ(file.Size, 5);
  EXPECT_EQ(file.UniqueId(), "nobody");
  EXPECT_EQ(database.GetFile("nobody"), nullptr);
  EXPECT_FALSE(database.GetFileByGuid(file, "nobody"));
}

TEST_F(DBHelperTest, FileTakesItsNewIdAndLeavesNoRowBehind) {
  const auto file = LocalFile("local");
  ASSERT_TRUE(database.AddFile(file));
  file->SetUniqueId("cloud");
  ASSERT_TRUE(database.UpdateFile(file, "local"));
  EXPECT_EQ(Row("local"), nullptr);
  EXPECT_NE(Row("cloud"), nullptr);
  EXPECT_EQ(database.CountFiles(), 1);
}

TEST_F(DBHelperTest, LostFilesAreLeftOutOrListedAlone) {
  const auto good = CloudFile("good"), checked = CloudFile("checked"), lost = CloudFile("lost");
  checked->cloudContentStatus = 1;
  lost->cloudContentStatus = 2;
  ASSERT_TRUE(database.AddFiles({good, checked, lost}));
  DBHelper::FileVector shown, all, missing;
  ASSERT_TRUE(database.GetFiles(shown, false));
  ASSERT_TRUE(database.GetFiles(all, true));
  ASSERT_TRUE(database.GetLostFiles(missing));
  EXPECT_EQ(shown.size(), 2u);
  EXPECT_EQ(all.size(), 3u);
  ASSERT_EQ(missing.size(), 1u);
  EXPECT_EQ(missing[0]->UniqueId(), "lost");
}

TEST_F(DBHelperTest, EmptyBatchSucceeds) {
  EXPECT_TRUE(database.AddFiles({}));
  EXPECT_TRUE(database.DeleteFiles({}));
  EXPECT_TRUE(database.AddAlbums({}));
  EXPECT_EQ(database.CountFiles(), 0);
}

TEST_F(DBHelperTest, SmallUpdatesTouchTheirColumnsOnly) {
  const auto file = Full();
  ASSERT_TRUE(database.AddFiles({file, CloudFile("other")}));
  file->SetLocalPath(L"/new");
  file->Size = 99;
  file->SetFileName(L"not stored by these");
  ASSERT_TRUE(database.SetLocalPath(file));
  ASSERT_TRUE(database.SetSize(file));
  ASSERT_TRUE(database.SetContentStatus("full", 2));
  const auto row = Row("full");
  EXPECT_EQ(row->LocalPath(), L"/new");
  EXPECT_EQ(database.GetLocalPath("full"), L"/new");
  EXPECT_EQ(row->Size, 99);
  EXPECT_EQ(row->cloudContentStatus, 2);
  EXPECT_EQ(row->FileName(), L"full.jpg");
  EXPECT_EQ(Row("other")->Size, 1000);
  EXPECT_EQ(database.GetLocalPath("nobody"), L"");
}

TEST_F(DBHelperTest, BatchOfTheBinStoresItsSevenColumns) {
  const auto file = CloudFile("a");
  ASSERT_TRUE(database.AddFile(file));
  file->SetRecycleAlbumId("default-album-3");
  file->RecycleTime = 1;
  file->SetExpandText(R"({"k":"v"})");
  file->GalleryState = 2;
  file->OperateTime = 3;
  file->IsDeleted = true;
  file->IsFavorite = true;
  file->SetAlbumId("elsewhere");
  ASSERT_TRUE(database.UpdateFiles({file}));
  const auto row = Row("a");
  EXPECT_EQ(row->RecycleAlbumId(), "default-album-3");
  EXPECT_EQ(row->RecycleTime, 1);
  EXPECT_EQ(row->ExpandValue("k"), "v");
  EXPECT_EQ(row->GalleryState, 2);
  EXPECT_EQ(row->OperateTime, 3);
  EXPECT_TRUE(row->IsDeleted);
  EXPECT_TRUE(row->IsFavorite);
  EXPECT_EQ(row->AlbumId(), "default-album-1");
}

TEST_F(DBHelperTest, MoveStoresAlbumAndState) {
  const auto file = CloudFile("a");
  ASSERT_TRUE(database.AddFile(file));
  file->SetAlbumId("next");
  ASSERT_TRUE(database.UpdateFilesAlbum({file}));
  EXPECT_EQ(Row("a")->AlbumId(), "next");
  EXPECT_EQ(Row("a")->GalleryState, 2);
  ASSERT_TRUE(database.ChangeAlbumId("next", "last"));
  EXPECT_EQ(Row("a")->AlbumId(), "last");
}

TEST_F(DBHelperTest, OffsetsAreMeasuredAndCleared) {
  const auto a = CloudFile("a"), b = CloudFile("b");
  a->Offset = 60;
  b->Offset = -20;
  ASSERT_TRUE(database.AddFiles({a, b}));
  EXPECT_EQ(database.GetMaxOffset(), 60);
  EXPECT_EQ(database.GetMinOffset(), -20);
  ASSERT_TRUE(database.ClearOffsets());
  EXPECT_EQ(database.GetMaxOffset(), 0);
}

TEST_F(DBHelperTest, BurstCoversOfANameAreFound) {
  const auto cover = CloudFile("c"), member = CloudFile("m"), other = CloudFile("o");
  cover->ContinuousType = 1;
  member->ContinuousType = 2;
  other->ContinuousType = 1;
  cover->SetContinuousName(L"IMG");
  member->SetContinuousName(L"IMG");
  other->SetContinuousName(L"DSC");
  ASSERT_TRUE(database.AddFiles({cover, member, other}));
  DBHelper::FileVector covers;
  ASSERT_TRUE(database.GetBurstCovers(L"IMG", covers));
  ASSERT_EQ(covers.size(), 1u);
  EXPECT_EQ(covers[0]->UniqueId(), "c");
}

TEST_F(DBHelperTest, AlbumsComeNewestFirstAndCanChangeTheirId) {
  ASSERT_TRUE(database.ClearAlbums());
  const auto older = std::make_shared<Album>(), newer = std::make_shared<Album>();
  older->AlbumId = "older";
  newer->AlbumId = "newer";
  newer->AlbumName = L"N\u00e4me";
  older->CreateTime = 1;
  newer->CreateTime = 2;
  newer->Operation = "1";
  newer->Lpath = "/p";
  newer->AlbumType = "0";
  newer->SetExpandText(R"({"hide":"1"})");
  ASSERT_TRUE(database.AddAlbums({older, newer}));
  DBHelper::AlbumVector albums;
  ASSERT_TRUE(database.GetAlbums(albums));
  ASSERT_EQ(albums.size(), 2u);
  EXPECT_EQ(albums[0]->AlbumId.Get(), "newer");
  EXPECT_EQ(albums[0]->AlbumName.Get(), L"N\u00e4me");
  EXPECT_EQ(albums[0]->Operation.Get(), "1");
  EXPECT_TRUE(albums[0]->IsHidden());
  newer->AlbumId = "renamed";
  ASSERT_TRUE(database.UpdateAlbum(newer, "newer"));
  Album row;
  EXPECT_FALSE(database.GetAlbum(row, "newer"));
  EXPECT_TRUE(database.GetAlbum(row, "renamed"));
  newer->AlbumName = L"Other";
  newer->Lpath = "not stored by this";
  ASSERT_TRUE(database.UpdateAlbumName(newer));
  ASSERT_TRUE(database.GetAlbum(row, "renamed"));
  EXPECT_EQ(row.AlbumName.Get(), L"Other");
  EXPECT_EQ(row.Lpath.Get(), "/p");
  EXPECT_EQ(database.CountAlbums(), 2);
}

TEST_F(DBHelperTest, SyncStateIsOneRow) {
  std::int64_t hasDownAll = 0;
  EXPECT_FALSE(database.GetHasDownAll(hasDownAll));
  AlbumLocalVersion record;
  record.AlbumVersion = "v1";
  record.CloudPhotoVersion = "v2.0";
  record.TempVersion = -1;
  ASSERT_TRUE(database.AddLocalVersion(record));
  ASSERT_TRUE(database.SetFileCursor("cursor"));
  ASSERT_TRUE(database.SetHasDownAll(1));
  ASSERT_TRUE(database.SetLostFileQueryCursor("lost"));
  ASSERT_TRUE(database.SetLastLostFileQueryTimestamp(77));
  std::vector<AlbumLocalVersion> rows;
  ASSERT_TRUE(database.GetLocalVersions(rows));
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].FileCursor, "cursor");
  EXPECT_EQ(rows[0].lostFileQueryCursor, "lost");
  EXPECT_EQ(rows[0].lastLostFileQueryTimestamp, 77);
  EXPECT_EQ(rows[0].TempVersion, -1);
  EXPECT_TRUE(database.GetHasDownAll(hasDownAll));
  EXPECT_EQ(hasDownAll, 1);
  EXPECT_EQ(database.GetCloudPhotoVersion(), "v2.0");
  record.AlbumVersion = "v2";
  ASSERT_TRUE(database.UpdateLocalVersion(record, "v1"));
  rows.clear();
  ASSERT_TRUE(database.GetLocalVersions(rows));
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].AlbumVersion, "v2");
}

TEST_F(DBHelperTest, ChangeOfTheSyncStateLosesNoOtherWrite) {
  AlbumLocalVersion record;
  record.AlbumVersion = "v1";
  ASSERT_TRUE(database.AddLocalVersion(record));
  std::future<bool> other;
  EXPECT_TRUE(database.ChangeLocalVersions([&](AlbumLocalVersion& row) {
    row.LatestVersion = 5;
    other = std::async(std::launch::async, [this] { return database.SetLostFileQueryCursor("lost"); });
    // It has to wait; one that does not is through by now.
    (void)other.wait_for(std::chrono::milliseconds(100));
  }));
  EXPECT_TRUE(other.get());
  std::vector<AlbumLocalVersion> rows;
  ASSERT_TRUE(database.GetLocalVersions(rows));
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].LatestVersion, 5);
  EXPECT_EQ(rows[0].lostFileQueryCursor, "lost");
}

TEST_F(DBHelperTest, SecondDownloadOfAFileIsNotStored) {
  DownloadTaskProperty task;
  task.UniqueId = "u";
  task.FileName = L"\u00fc.jpg";
  task.TotalLength = 10;
  task.IsLocalFileDownload = true;
  ASSERT_TRUE(database.AddDownload(task));
  EXPECT_GT(task.Id, 0);
  DownloadTaskProperty again = task;
  again.TotalLength = 20;
  ASSERT_TRUE(database.AddDownload(again));
  std::vector<DownloadTaskProperty> rows;
  ASSERT_TRUE(database.GetDownloads(rows));
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].TotalLength, 10);
  EXPECT_EQ(rows[0].FileName, L"\u00fc.jpg");
  EXPECT_TRUE(rows[0].IsLocalFileDownload);
  rows[0].Position = 5;
  ASSERT_TRUE(database.UpdateDownload(rows[0], task.Id));
  rows.clear();
  ASSERT_TRUE(database.GetDownloads(rows));
  EXPECT_EQ(rows[0].Position, 5);
  ASSERT_TRUE(database.DeleteDownload(task.Id));
  rows.clear();
  ASSERT_TRUE(database.GetDownloads(rows));
  EXPECT_TRUE(rows.empty());
}

TEST_F(DBHelperTest, DownloadsOfABatchGetTheirIdsAndNoSecondRow) {
  DownloadTaskProperty stored, fresh, twice;
  stored.UniqueId = "stored";
  fresh.UniqueId = twice.UniqueId = "fresh";
  ASSERT_TRUE(database.AddDownload(stored));
  DownloadTaskProperty again = stored;
  again.TotalLength = 20;
  ASSERT_TRUE(database.AddDownloads({&again, &fresh, &twice}));
  std::vector<DownloadTaskProperty> rows;
  ASSERT_TRUE(database.GetDownloads(rows));
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0].TotalLength, 0);
  EXPECT_EQ(rows[1].UniqueId, "fresh");
  EXPECT_EQ(rows[1].Id, fresh.Id);
  ASSERT_TRUE(database.AddDownloads({}));
}

TEST_F(DBHelperTest, FinishedTransfersKeepTheirOwnIds) {
  CompletedTaskProperty first, second;
  first.UniqueId = second.UniqueId = "u";
  first.EndTime = 1;
  second.EndTime = 2;
  ASSERT_TRUE(database.AddCompleted(first));
  ASSERT_TRUE(database.AddCompleted(second));
  EXPECT_NE(first.Id, second.Id);
  ASSERT_TRUE(database.DeleteCompleted(first.Id));
  std::vector<CompletedTaskProperty> rows;
  ASSERT_TRUE(database.GetCompleted(rows));
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].Id, second.Id);
  EXPECT_EQ(rows[0].EndTime, 2);
}

TEST_F(DBHelperTest, TransfersThatFinishAtOnceKeepTheirOwnIds) {
  constexpr int kEach = 30;
  std::vector<CompletedTaskProperty> rows(4 * kEach);
  std::vector<std::thread> workers;
  for (std::size_t worker = 0; worker < 4; ++worker) {
    workers.emplace_back([&, worker] {
      for (std::size_t i = 0; i < kEach; ++i) {
        CompletedTaskProperty& row = rows[worker * kEach + i];
        row.EndTime = static_cast<std::int64_t>(worker * kEach + i);
        EXPECT_TRUE(database.AddCompleted(row));
      }
    });
  }
  for (std::thread& worker : workers) worker.join();
  std::map<std::int64_t, std::int64_t> endTimes;
  std::vector<CompletedTaskProperty> stored;
  ASSERT_TRUE(database.GetCompleted(stored));
  for (const auto& row : stored) endTimes[row.Id] = row.EndTime;
  for (const auto& row : rows) EXPECT_EQ(endTimes[row.Id], row.EndTime);
}

TEST_F(DBHelperTest, DownloadThatIsStoredAlreadyLearnsItsRow) {
  DownloadTaskProperty first, again, once;
  first.UniqueId = again.UniqueId = once.UniqueId = "u";
  ASSERT_TRUE(database.AddDownload(first));
  ASSERT_TRUE(database.AddDownload(again));
  ASSERT_TRUE(database.AddDownloads({&once}));
  EXPECT_GT(first.Id, 0);
  EXPECT_EQ(again.Id, first.Id);
  EXPECT_EQ(once.Id, first.Id);
}

TEST_F(DBHelperTest, DeletingAFinishedTransferThatIsNotThereChangesNothing) {
  CompletedTaskProperty row;
  ASSERT_TRUE(database.AddCompleted(row));
  (void)database.DeleteCompleted(row.Id + 7);
  std::vector<CompletedTaskProperty> rows;
  ASSERT_TRUE(database.GetCompleted(rows));
  EXPECT_EQ(rows.size(), 1u);
}

}  // namespace
