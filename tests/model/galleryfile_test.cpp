// A record on its own and its way into the bin and out of it.

#include <filesystem>
#include <fstream>

#include "common/platform/paths.h"
#include "support/gallerytest.h"
#include "utils/globaldata.h"

namespace fs = std::filesystem;

namespace {

class GalleryFileTest : public GalleryTest {
 protected:
  static void WriteFile(const fs::path& path) {
    fs::create_directories(path.parent_path());
    std::ofstream(path) << "bytes";
  }
};

TEST_F(GalleryFileTest, TextsAreKeptApart) {
  GalleryFile file;
  file.SetFileName(L"b\u00e4r\U0001F43B.jpg");
  file.SetLocalPath(L"/home/a/b.jpg");
  file.SetHash("h");
  file.SetUniqueId("");
  EXPECT_EQ(file.FileName(), L"b\u00e4r\U0001F43B.jpg");
  EXPECT_EQ(file.LocalPath(), L"/home/a/b.jpg");
  EXPECT_EQ(file.Hash(), "h");
  EXPECT_EQ(file.UniqueId(), "");
  EXPECT_EQ(file.VideoMetadata(), "");
}

TEST_F(GalleryFileTest, NewRecordWasNeverRecycled) {
  const GalleryFile file;
  EXPECT_EQ(file.RecycleTime, -1);
  EXPECT_EQ(file.GalleryState, 0);
  EXPECT_EQ(file.AlbumId(), "");
  EXPECT_FALSE(file.IsInBin());
}

TEST_F(GalleryFileTest, ExpandThatIsNoJsonReadsAsNull) {
  GalleryFile file;
  file.SetExpandText("{broken");
  EXPECT_TRUE(file.Expand().isNull());
  EXPECT_EQ(file.ExpandText(), "null");
}

TEST_F(GalleryFileTest, ExpandKeepsForeignKeys) {
  GalleryFile file;
  file.SetExpandText(R"({"their":{"deep":[1,2]},"rotate":"90"})");
  file.SetExpandValue("album_name", "Trip");
  file.RemoveExpandValue("rotate");
  EXPECT_EQ(file.ExpandText(), R"({"album_name":"Trip","their":{"deep":[1,2]}})");
}

TEST_F(GalleryFileTest, RotationReadsDecimalTextOrMinusOne) {
  GalleryFile file;
  EXPECT_EQ(file.Rotation(), -1);
  file.SetExpandText(R"({"rotate":"270"})");
  EXPECT_EQ(file.Rotation(), 270);
  file.SetExpandText(R"({"rotate":"left"})");
  EXPECT_EQ(file.Rotation(), -1);
}

TEST_F(GalleryFileTest, RecordOfTheCloudFillsTheFields) {
  NS::CloudPhoto::V1::FileInfo info;
  info.uniqueId = "u1";
  info.fileName = L"IMG_1_BURST004.jpg";
  info.fileType = "4";
  info.createTime = 5;
  info.expand["first_update_time"] = "77";
  const GalleryFile file(info);
  EXPECT_EQ(file.UniqueId(), "u1");
  EXPECT_EQ(file.Guid().size(), 36u);
  EXPECT_EQ(file.SavedFileType, 4);
  EXPECT_EQ(file.FirstUpdateTime, 77);
  EXPECT_EQ(file.ContinuousType, 2);
  EXPECT_EQ(file.ContinuousNo, 4);
}

TEST_F(GalleryFileTest, RecordOfTheCloudWithoutUsableNumbersTakesDefaults) {
  NS::CloudPhoto::V1::FileInfo info;
  info.fileType = "video";
  info.createTime = 5;
  const GalleryFile file(info);
  EXPECT_EQ(file.SavedFileType, 0);
  EXPECT_EQ(file.FirstUpdateTime, 5);
}

TEST_F(GalleryFileTest, RecycleSendsTheFileToTheBinWithItsOrigin) {
  const auto file = CloudFile("u1");
  EXPECT_TRUE(file->Recycle(5000, false));
  EXPECT_EQ(file->RecycleAlbumId(), "default-album-3");
  EXPECT_EQ(file->AlbumId(), "default-album-1");
  EXPECT_EQ(file->RecycleTime, 5000);
  EXPECT_EQ(file->OperateTime, 5000);
  EXPECT_EQ(file->GalleryState, 2);
  EXPECT_EQ(file->ExpandValue("album_name"), "Camera roll");
  EXPECT_EQ(file->ExpandValue("sourcePath"), "/storage/emulated/0/DCIM/default-album-1/u1.jpg");
}

TEST_F(GalleryFileTest, RecycleOfANeverUploadedFileDeletesIt) {
  const auto file = LocalFile("l1");
  EXPECT_TRUE(file->Recycle(5000, false));
  EXPECT_TRUE(file->IsDeleted);
  EXPECT_EQ(file->RecycleAlbumId(), "");
}

TEST_F(GalleryFileTest, RecycleFromSyncLeavesTimeAndAttributes) {
  const auto file = CloudFile("u1");
  file->RecycleTime = 42;
  EXPECT_TRUE(file->Recycle(5000, true));
  EXPECT_TRUE(file->IsInBin());
  EXPECT_EQ(file->RecycleTime, 42);
  EXPECT_EQ(file->GalleryState, 0);
  EXPECT_EQ(file->ExpandValue("album_name"), "");
}

TEST_F(GalleryFileTest, RecycleWithoutAnAlbumFails) {
  const auto file = CloudFile("u1", "no-such-album");
  EXPECT_FALSE(file->Recycle(5000, false));
  EXPECT_FALSE(file->IsInBin());
}

TEST_F(GalleryFileTest, DeleteOfALiveUploadedFileIsRefused) {
  const auto file = CloudFile("u1");
  EXPECT_FALSE(file->Delete(5000, false));
  EXPECT_FALSE(file->IsDeleted);
  EXPECT_EQ(file->OperateTime, 0);
}

TEST_F(GalleryFileTest, DeleteFromSyncRemovesThumbnailsButNeverTheUsersFile) {
  const auto file = CloudFile("u1");
  const auto thumbnail = platform::NativePath(file->ThumbnailName());
  const auto screen = platform::NativePath(file->LcdName());
  WriteFile(thumbnail);
  WriteFile(screen);
  file->SetLocalPath(file->ThumbnailName());
  EXPECT_TRUE(file->Delete(5000, true));
  EXPECT_TRUE(file->IsDeleted);
  EXPECT_EQ(file->OperateTime, 0);
  EXPECT_TRUE(fs::exists(thumbnail));
  EXPECT_FALSE(fs::exists(screen));
}

TEST_F(GalleryFileTest, RecoverGoesBackToTheAlbum) {
  const auto file = CloudFile("u1");
  file->Recycle(5000, false);
  EXPECT_TRUE(file->Recover(6000, false));
  EXPECT_EQ(file->RecycleAlbumId(), "");
  EXPECT_EQ(file->OperateTime, 6000);
  EXPECT_EQ(file->GalleryState, 2);
  EXPECT_FALSE(file->Expand().isMember("album_name"));
}

TEST_F(GalleryFileTest, RecoverOfAFileOutsideTheBinChangesNothing) {
  const auto file = CloudFile("u1");
  EXPECT_TRUE(file->Recover(6000, false));
  EXPECT_EQ(file->OperateTime, 0);
  file->IsDeleted = true;
  EXPECT_FALSE(file->Recover(6000, false));
}

class RecoverWithoutAlbum : public GalleryFileTest {
 protected:
  // A file of the bin whose album left no trace, not even a row.
  FilePtr Orphan(const std::string& expand) {
    gallery.GetOrCreateSystemAlbum(AlbumKind::RecycleBin);
    auto file = CloudFile("u1", "gone-album");
    file->SetRecycleAlbumId("default-album-3");
    file->SetExpandText(expand);
    return file;
  }
  std::wstring NameOfHome(const FilePtr& file) { return gallery.GetAlbum(file->AlbumId())->AlbumName.Get(); }
};

TEST_F(RecoverWithoutAlbum, TakesTheNameOfTheRow) {
  auto row = std::make_shared<Album>();
  row->AlbumId = "gone-album";
  row->AlbumName = L"FromRow";
  row->IsDelete = 2;
  ASSERT_TRUE(DBHelper::GetInstance().AddAlbum(row));
  const auto file = Orphan(R"({"album_name":"FromName"})");
  EXPECT_TRUE(file->Recover(6000, false));
  EXPECT_EQ(NameOfHome(file), L"FromRow");
}

TEST_F(RecoverWithoutAlbum, TakesTheNameKeptOnRecycling) {
  const auto file = Orphan(R"({"album_name":"FromName"})");
  EXPECT_TRUE(file->Recover(6000, false));
  EXPECT_EQ(NameOfHome(file), L"FromName");
}

TEST_F(RecoverWithoutAlbum, TakesTheSourcePathWithoutItsStamp) {
  const auto file = Orphan(R"({"sourcePath":"/storage/emulated/0/Pictures/PC/Trip1700000000000/u1.jpg"})");
  EXPECT_TRUE(file->Recover(6000, false));
  EXPECT_EQ(NameOfHome(file), L"Trip");
}

TEST_F(RecoverWithoutAlbum, KeepsAShortSourceFolderWhole) {
  const auto file = Orphan(R"({"sourcePath":"/storage/emulated/0/Pictures/Holidays2024/u1.jpg"})");
  EXPECT_TRUE(file->Recover(6000, false));
  EXPECT_EQ(NameOfHome(file), L"Holidays2024");
}

TEST_F(RecoverWithoutAlbum, FailsWhenNothingTellsAHome) {
  const auto file = Orphan(R"({"sourcePath":"/elsewhere/u1.jpg"})");
  EXPECT_FALSE(file->Recover(6000, false));
  EXPECT_TRUE(file->IsInBin());
}

TEST_F(GalleryFileTest, MoveIsRefusedWhereItMakesNoSense) {
  const auto file = CloudFile("u1");
  const auto target = gallery.CreateAlbum(L"Target", false, -1);
  EXPECT_FALSE(file->MoveToAlbum(1, false, nullptr));
  EXPECT_FALSE(file->MoveToAlbum(1, false, AlbumOf(AlbumKind::TimeLine)));
  EXPECT_FALSE(file->MoveToAlbum(1, false, gallery.GetOrCreateSystemAlbum(AlbumKind::RecycleBin)));
  EXPECT_FALSE(file->MoveToAlbum(1, false, gallery.GetAlbum("default-album-1")));
  file->SetRecycleAlbumId("default-album-3");
  EXPECT_FALSE(file->MoveToAlbum(1, false, target));
  EXPECT_TRUE(file->MoveToAlbum(1, true, target));
  EXPECT_EQ(file->GalleryState, 0);
}

TEST_F(GalleryFileTest, MoveTellsTheNewSourcePath) {
  const auto file = CloudFile("u1");
  const auto target = gallery.CreateAlbum(L"Target", false, -1);
  EXPECT_TRUE(file->MoveToAlbum(7000, false, target));
  EXPECT_EQ(file->ExpandValue("sourcePath"), "/storage/emulated/0" + target->Lpath.Get() + "/u1.jpg");
  EXPECT_EQ(file->GalleryState, 2);
  EXPECT_EQ(file->OperateTime, 7000);
}

TEST_F(GalleryFileTest, ScreenThumbnailOfASmallGifStaysAGif) {
  const auto file = CloudFile("u1");
  file->SetFileName(L"cat.GIF");
  file->Size = 2'097'151;
  EXPECT_TRUE(file->LcdName().ends_with(L"\\LcdThumbNail\\guid-of-u1.gif"));
  file->Size = 2'097'152;
  EXPECT_TRUE(file->LcdName().ends_with(L"\\LcdThumbNail\\guid-of-u1.jpg"));
}

TEST_F(GalleryFileTest, ThumbnailOfACloudFileIsEmptyUntilItWasSeen) {
  const auto file = CloudFile("u1");
  EXPECT_EQ(file->ThumbnailPath(), L"");
  WriteFile(platform::NativePath(file->ThumbnailName()));
  EXPECT_TRUE(file->TestThumbnailOnDisk());
  EXPECT_TRUE(file->ThumbnailPath().ends_with(L"\\Thumbnail\\guid-of-u1.jpg"));
}

TEST_F(GalleryFileTest, EmptyThumbnailIsNotThere) {
  const auto file = CloudFile("u1");
  for (const auto& name : {file->ThumbnailName(), file->LcdName()}) {
    WriteFile(platform::NativePath(name));
    std::filesystem::resize_file(platform::NativePath(name), 0);
  }
  EXPECT_FALSE(file->TestThumbnailOnDisk());
  EXPECT_FALSE(file->TestLcdOnDisk());
}

TEST_F(GalleryFileTest, ThumbnailThatCannotBeMadeIsTriedOnce) {
  class Counting : public IThumbnails {
   public:
    bool MakeLocal(const GalleryFile&, const std::wstring&, bool) override { return ++calls < 0; }
    void Fetch(const Files&, std::function<void(const FilePtr&)>) override {}
    int calls = 0;
  } counting;
  upward::Install(&counting);
  const auto file = LocalFile("l1");
  file->SetLocalPath(L"/somewhere/l1.jpg");
  EXPECT_EQ(file->ThumbnailPath(), L"");
  EXPECT_EQ(file->ThumbnailPath(), L"");
  EXPECT_EQ(counting.calls, 1);
  EXPECT_TRUE(file->thumbMakeFailed);
  upward::Install(static_cast<IThumbnails*>(nullptr));
}

TEST_F(GalleryFileTest, UrlSourceChoosesInOrder) {
  const auto file = CloudFile("u1");
  file->SetThumbFileId("thumb");
  file->SetLcdFileId("screen");
  EXPECT_EQ(file->UrlSource(1).fileId, "screen");
  EXPECT_EQ(file->UrlSource(1).type, 1);
  EXPECT_EQ(file->UrlSource(2).fileId, "thumb");
  EXPECT_EQ(file->UrlSource(2).type, 2);
  EXPECT_EQ(file->UrlSource(0).fileId, "content-of-u1");
  EXPECT_EQ(file->UrlSource(0).type, 0);
  file->SavedFileType = 4;
  file->SetVideoThumbId("poster");
  EXPECT_EQ(file->UrlSource(2).fileId, "poster");
  EXPECT_EQ(file->UrlSource(0).type, 3);
  file->SetFileName(L"a.gif");
  EXPECT_EQ(file->UrlSource(1).fileId, "content-of-u1");
  EXPECT_EQ(file->UrlSource(1).albumId, "default-album-1");
  file->SetRecycleAlbumId("default-album-3");
  EXPECT_EQ(file->UrlSource(1).albumId, "default-album-3");
}

TEST_F(GalleryFileTest, TimeOrdersPutTheNewestFirstAndBreakTiesByAddress) {
  const auto older = CloudFile("a"), newer = CloudFile("b"), same = CloudFile("c");
  older->CreateTime = 1;
  newer->CreateTime = same->CreateTime = 2;
  const GalleryFile::OrderByCTime order;
  EXPECT_TRUE(order(newer, older));
  EXPECT_FALSE(order(older, newer));
  EXPECT_EQ(order(newer, same), newer.get() > same.get());
  EXPECT_EQ(order(same, newer), same.get() > newer.get());
  EXPECT_FALSE(order(newer, newer));
}

}  // namespace
