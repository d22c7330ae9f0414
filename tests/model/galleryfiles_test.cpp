// Batches of files through the gallery.

#include <fstream>

#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "support/gallerytest.h"
#include "support/operationlog.h"

namespace {

class GalleryFilesTest : public GalleryTest {
 protected:
  Album::Ptr Camera() { return gallery.GetAlbum("default-album-1"); }
  Album::Ptr Bin() { return gallery.GetAlbum("default-album-3"); }
  Gallery::Report Collect() {
    return [this](Gallery::ProcFileState state, const FilePtr&) { states.push_back(state); };
  }
  std::vector<int> states;
};

TEST_F(GalleryFilesTest, FileThatIsThereAlreadyStays) {
  const auto first = CloudFile("a"), again = CloudFile("a");
  first->IsFavorite = again->IsFavorite = true;
  Add({first});
  EXPECT_EQ(gallery.AddFiles({again}), 0u);
  EXPECT_EQ(gallery.FileCount(), 1u);
  EXPECT_EQ(gallery.GetFile("a"), first);
  for (const AlbumKind kind : {AlbumKind::TimeLine, AlbumKind::AllPictures, AlbumKind::Favorite}) {
    EXPECT_EQ(AlbumOf(kind)->FileCount(), 1u);
    EXPECT_TRUE(Holds(AlbumOf(kind), first));
  }
  EXPECT_EQ(Camera()->FileCount(), 1u);
  EXPECT_FALSE(Holds(Camera(), again));
}

TEST_F(GalleryFilesTest, FileThatAStepFindsThereIsReportedAndSorted) {
  const auto there = CloudFile("there"), fresh = CloudFile("fresh");
  Gallery::AlbumFiles albumFiles;
  const auto isThere = [&](const FilePtr& file) {
    return file == there ? Gallery::AlreadyThere : Gallery::Done;
  };
  EXPECT_EQ(
      gallery.ClassifyFiles(Gallery::Everything, {there, fresh}, albumFiles, Collect(), isThere, nullptr),
      1u);
  EXPECT_EQ(states, (std::vector<int>{4, 0}));
  EXPECT_EQ(albumFiles[Camera()], Files{fresh});
}

// Numbers by hand: 10, 20 and 30 bytes, two kinds.
class ActionLogTest : public GalleryFilesTest {
 protected:
  void SetUp() override {
    GalleryFilesTest::SetUp();
    for (const auto& [name, size] :
         {std::pair{L"a.jpg", 10}, std::pair{L"b.png", 20}, std::pair{L"c.JPG", 30}}) {
      const auto file = CloudFile("file" + std::to_string(size));
      file->SetFileName(name);
      file->Size = size;
      files.push_back(file);
    }
    Add(files);
  }
  static std::string Line(const std::string& values) {
    return R"({"action":0,"type":1,"values":{)" + values + "}}";
  }
  using Lines = std::vector<std::string>;

  Files files;
  OperationLog log;
};

TEST_F(ActionLogTest, RecyclingByTheUser) {
  EXPECT_EQ(gallery.RecycleFiles({files[0], files[1], files[2]}, false, Collect()), 3u);
  EXPECT_EQ(log.Of(168), Lines{Line(R"("fileType":".jpg;.png","size":"60","total":"3")")});
}

TEST_F(ActionLogTest, RecoveringTellsHowManyWereInTheBinBefore) {
  gallery.RecycleFiles(files, false);
  EXPECT_EQ(gallery.RecoverFiles({files[1]}, false), 1u);
  EXPECT_EQ(log.Of(169), Lines{Line(R"("fileType":".png","size":"20","total":"3")")});
}

TEST_F(ActionLogTest, DeletingTellsHowManyWereInTheBinBefore) {
  gallery.RecycleFiles(files, false);
  EXPECT_EQ(gallery.DeleteFiles({files[0], files[2]}, false), 2u);
  EXPECT_EQ(log.Of(170), Lines{Line(R"("fileType":".jpg","size":"40","total":"3")")});
}

TEST_F(ActionLogTest, MovingNamesBothAlbums) {
  const auto trip = CloudAlbum("trip", L"Trip");
  EXPECT_EQ(gallery.MoveFiles({files[0], files[1]}, trip, false), 2u);
  EXPECT_EQ(
      log.Of(185),
      Lines{Line(
          R"("Newid":"trip","Oldid":"default-album-1","fileType":".jpg;.png","size":"30","total":"2")")});
}

TEST_F(GalleryFilesTest, ClassificationWithoutAReportDoesNothing) {
  Gallery::AlbumFiles albumFiles;
  EXPECT_EQ(
      gallery.ClassifyFiles(Gallery::Everything, {CloudFile("a")}, albumFiles, nullptr, nullptr, nullptr),
      0u);
  EXPECT_TRUE(albumFiles.empty());
}

TEST_F(GalleryFilesTest, ClassificationTellsWhatIsWrongWithAFile) {
  const auto noId = CloudFile("a");
  noId->SetUniqueId("");
  Gallery::AlbumFiles albumFiles;
  gallery.ClassifyFiles(Gallery::Everything, {nullptr, noId, CloudFile("b", "no-album"), CloudFile("c")},
                        albumFiles, Collect(), nullptr, nullptr);
  EXPECT_EQ(states, (std::vector<int>{1, 1, 2, 0}));
}

TEST_F(GalleryFilesTest, VideoIsInAllVideosOnly) {
  const auto video = CloudFile("v");
  video->SavedFileType = 4;
  Add({video, CloudFile("p")});
  EXPECT_EQ(Ids(AlbumOf(AlbumKind::AllVideos)), std::vector<std::string>{"v"});
  EXPECT_EQ(Ids(AlbumOf(AlbumKind::AllPictures)), std::vector<std::string>{"p"});
  EXPECT_EQ(Ids(AlbumOf(AlbumKind::TimeLine)).size(), 2u);
}

TEST_F(GalleryFilesTest, RecentUploadsAreThoseOfNinetyDays) {
  const auto recent = LocalFile("recent"), old = LocalFile("old"), foreign = CloudFile("foreign");
  recent->FirstUpdateTime = clock.ms - 89 * kDayMs;
  old->FirstUpdateTime = clock.ms - 91 * kDayMs;
  foreign->FirstUpdateTime = clock.ms.load();
  Add({recent, old, foreign});
  EXPECT_EQ(Ids(AlbumOf(AlbumKind::RecentlyUpload)), std::vector<std::string>{"recent"});
  clock.ms += 2 * kDayMs;
  Restart();
  EXPECT_TRUE(Ids(AlbumOf(AlbumKind::RecentlyUpload)).empty());
}

TEST_F(GalleryFilesTest, FileOfTheBinIsInTheBinAlone) {
  const auto file = CloudFile("a");
  file->SetRecycleAlbumId("default-album-3");
  file->IsFavorite = true;
  file->RecycleTime = 10;
  Add({file});
  EXPECT_EQ(Ids(Bin()), std::vector<std::string>{"a"});
  for (const AlbumKind kind : {AlbumKind::TimeLine, AlbumKind::AllPictures, AlbumKind::Favorite}) {
    EXPECT_TRUE(Ids(AlbumOf(kind)).empty());
  }
  EXPECT_TRUE(Ids(Camera()).empty());
}

TEST_F(GalleryFilesTest, DeletedBinComesBackWithItsFirstFile) {
  auto bin = gallery.GetOrCreateSystemAlbum(AlbumKind::RecycleBin);
  const auto row = std::make_shared<Album>();
  ASSERT_TRUE(gallery.Init());
  CloudAlbum("default-album-1", L"Camera roll");
  bin->IsDelete = 1;
  gallery.LoadAlbums({bin});
  ASSERT_NE(gallery.GetDeletedAlbum("default-album-3"), nullptr);
  const auto file = CloudFile("a");
  file->SetRecycleAlbumId("default-album-3");
  Add({file});
  EXPECT_EQ(gallery.GetDeletedAlbum("default-album-3"), nullptr);
  EXPECT_EQ(Bin()->IsDelete, 0);
}

TEST_F(GalleryFilesTest, RemovedFilesLeaveMemoryAndKeepTheirRows) {
  const auto a = CloudFile("a"), b = CloudFile("b");
  Add({a, b});
  EXPECT_EQ(gallery.RemoveFiles({a}), 1u);
  EXPECT_EQ(gallery.GetFile("a"), nullptr);
  EXPECT_NE(Row("a"), nullptr);
  EXPECT_EQ(Ids(Camera()), std::vector<std::string>{"b"});
  EXPECT_EQ(Ids(AlbumOf(AlbumKind::TimeLine)), std::vector<std::string>{"b"});
}

TEST_F(GalleryFilesTest, RecycledFilesGoToTheBinInMemoryAndTable) {
  const auto file = CloudFile("a");
  file->IsFavorite = true;
  Add({file, CloudFile("b")});
  EXPECT_EQ(gallery.RecycleFiles({file, CloudFile("stranger")}, false, Collect()), 1u);
  EXPECT_EQ(states, (std::vector<int>{0, 1}));
  EXPECT_EQ(Ids(Bin()), std::vector<std::string>{"a"});
  EXPECT_EQ(Ids(Camera()), std::vector<std::string>{"b"});
  EXPECT_TRUE(Ids(AlbumOf(AlbumKind::Favorite)).empty());
  const auto row = Row("a");
  EXPECT_TRUE(row->IsInBin());
  EXPECT_EQ(row->RecycleTime, clock.ms);
  EXPECT_EQ(row->GalleryState, 2);
  EXPECT_EQ(row->ExpandValue("album_name"), "Camera roll");
}

TEST_F(GalleryFilesTest, RecycledNeverUploadedFileIsDeleted) {
  const auto file = LocalFile("l");
  Add({file});
  EXPECT_EQ(gallery.RecycleFiles({file}, false), 1u);
  EXPECT_TRUE(Row("l")->IsDeleted);
  EXPECT_TRUE(Ids(Camera()).empty());
  EXPECT_TRUE(Ids(Bin()).empty());
}

// Nobody else knows of it, so that nobody has to be told.
TEST_F(GalleryFilesTest, DeletedNeverUploadedFileIsForgottenWithItsThumbnails) {
  const auto file = LocalFile("local");
  Add({file});
  const auto small = platform::NativePath(file->ThumbnailName()),
             large = platform::NativePath(file->LcdName());
  for (const auto& path : {small, large}) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << "bytes";
  }
  gallery.RecycleFiles({file}, false);
  ASSERT_TRUE(Row("local")->IsDeleted);
  Restart();
  EXPECT_EQ(Row("local"), nullptr);
  EXPECT_EQ(gallery.GetFile("local"), nullptr);
  EXPECT_FALSE(std::filesystem::exists(small));
  EXPECT_FALSE(std::filesystem::exists(large));
}

TEST_F(GalleryFilesTest, ThumbnailsOfADeletionThatTheCloudKnowsGo) {
  const auto file = CloudFile("m");
  Add({file});
  const auto small = platform::NativePath(file->ThumbnailName());
  std::filesystem::create_directories(small.parent_path());
  std::ofstream(small) << "bytes";
  gallery.DeleteFiles({file}, false);
  ASSERT_TRUE(std::filesystem::exists(small));
  ASSERT_TRUE(gallery.DeleteGone({"m"}));
  EXPECT_FALSE(std::filesystem::exists(small));
}

TEST_F(GalleryFilesTest, ExpiredFilesOfTheBinAreDeletedOnLoad) {
  const auto old = CloudFile("old"), recent = CloudFile("recent");
  Add({old, recent});
  gallery.RecycleFiles({old}, false);
  clock.ms += 29 * kDayMs;
  gallery.RecycleFiles({recent}, false);
  clock.ms += 2 * kDayMs;
  Restart();
  EXPECT_TRUE(Row("old")->IsDeleted);
  EXPECT_FALSE(Row("recent")->IsDeleted);
  EXPECT_EQ(Ids(gallery.GetAlbum("default-album-3")), std::vector<std::string>{"recent"});
}

TEST_F(GalleryFilesTest, DeletedLiveFileGoesThroughTheBinAndKeepsItsRow) {
  const auto file = CloudFile("a");
  Add({file});
  EXPECT_EQ(gallery.DeleteFiles({file}, false), 1u);
  EXPECT_TRUE(file->IsDeleted);
  EXPECT_EQ(gallery.GetFile("a"), file);
  EXPECT_TRUE(Row("a")->IsDeleted);
  EXPECT_TRUE(Ids(Bin()).empty());
  EXPECT_TRUE(Ids(Camera()).empty());
}

TEST_F(GalleryFilesTest, DeletionFromSyncRemovesRowAndRecord) {
  const auto file = CloudFile("a"), inBin = CloudFile("b");
  inBin->SetRecycleAlbumId("default-album-3");
  Add({file, inBin});
  EXPECT_EQ(gallery.DeleteFiles({file, inBin}, true), 2u);
  for (const char* id : {"a", "b"}) {
    EXPECT_EQ(gallery.GetFile(id), nullptr);
    EXPECT_EQ(Row(id), nullptr);
  }
  EXPECT_TRUE(Ids(Bin()).empty());
}

TEST_F(GalleryFilesTest, FileWithoutAnAlbumCannotBeDeletedHereButByTheCloud) {
  const auto album = CloudAlbum("gone", L"Gone");
  const auto file = CloudFile("a", "gone");
  Add({file});
  file->SetAlbumId("no-album");
  EXPECT_EQ(gallery.DeleteFiles({file}, false, Collect()), 0u);
  EXPECT_EQ(states, std::vector<int>{2});
  EXPECT_EQ(gallery.DeleteFiles({file}, true), 1u);
  EXPECT_EQ(Row("a"), nullptr);
}

TEST_F(GalleryFilesTest, RecoveredFileStandsWhereItStood) {
  const auto file = CloudFile("a");
  Add({file});
  gallery.RecycleFiles({file}, false);
  EXPECT_EQ(gallery.RecoverFiles({file}, false, Collect()), 1u);
  EXPECT_EQ(Ids(Camera()), std::vector<std::string>{"a"});
  EXPECT_EQ(Ids(AlbumOf(AlbumKind::TimeLine)), std::vector<std::string>{"a"});
  EXPECT_TRUE(Ids(Bin()).empty());
  EXPECT_EQ(Row("a")->RecycleAlbumId(), "");
  EXPECT_EQ(Row("a")->RecycleTime, -1);
}

TEST_F(GalleryFilesTest, RecoveryMakesTheAlbumThatHasGone) {
  const auto album = gallery.CreateAlbum(L"Trip", false, -1);
  const auto file = CloudFile("a", album->AlbumId.Get());
  Add({file});
  gallery.DeleteAlbum(album);
  clock.ms += 5;
  int listenerCalls = 0;
  // A listener may come back to the gallery in the middle of it all.
  gallery.SetAlbumListener([&](int, const Album::Ptr&) { listenerCalls += gallery.GetFile("a") != nullptr; });
  EXPECT_EQ(gallery.RecoverFiles({file}, false, Collect()), 1u);
  const auto home = gallery.AlbumNameIsExist(L"Trip");
  ASSERT_NE(home, nullptr);
  EXPECT_NE(home, album);
  EXPECT_EQ(file->AlbumId(), home->AlbumId.Get());
  EXPECT_EQ(Ids(home), std::vector<std::string>{"a"});
  EXPECT_EQ(Row("a")->AlbumId(), home->AlbumId.Get());
  EXPECT_GT(listenerCalls, 0);
}

TEST_F(GalleryFilesTest, RecoveryWithoutAHomeFails) {
  const auto file = CloudFile("a", "nowhere");
  file->SetRecycleAlbumId("default-album-3");
  Add({file});
  EXPECT_EQ(gallery.RecoverFiles({file}, false, Collect()), 0u);
  EXPECT_EQ(states, std::vector<int>{2});
  EXPECT_TRUE(file->IsInBin());
  EXPECT_EQ(Ids(Bin()), std::vector<std::string>{"a"});
  EXPECT_TRUE(Ids(AlbumOf(AlbumKind::TimeLine)).empty());
  EXPECT_EQ(file->RecycleTime, -1);
}

TEST_F(GalleryFilesTest, MovedFilesChangeAlbumInMemoryAndTable) {
  const auto target = gallery.CreateAlbum(L"Target", false, -1);
  const auto a = CloudFile("a"), b = CloudFile("b");
  Add({a, b});
  EXPECT_EQ(gallery.MoveFiles({a}, target, false), 1u);
  EXPECT_EQ(Ids(target), std::vector<std::string>{"a"});
  EXPECT_EQ(Ids(Camera()), std::vector<std::string>{"b"});
  EXPECT_EQ(Row("a")->AlbumId(), target->AlbumId.Get());
  EXPECT_EQ(Row("a")->GalleryState, 2);
}

TEST_F(GalleryFilesTest, MovedFileTellsItsNewPlaceAfterARestartToo) {
  const auto a = CloudFile("a");
  Add({a});
  const auto target = gallery.CreateAlbum(L"Target", false, -1);
  clock.ms += 5;
  ASSERT_EQ(gallery.MoveFiles({a}, target, false), 1u);
  EXPECT_EQ(Row("a")->ExpandValue("sourcePath"),
            "/storage/emulated/0" + target->Lpath.Get() + "/" + platform::WideToUtf8(a->FileName()));
  EXPECT_EQ(Row("a")->OperateTime, clock.ms);
}

TEST_F(GalleryFilesTest, MoveIntoAnAlbumWithThatNameIsBlocked) {
  const auto target = gallery.CreateAlbum(L"Target", false, -1);
  const auto a = CloudFile("a"), there = CloudFile("t", target->AlbumId.Get());
  there->SetFileName(L"a.jpg");
  Add({a, there});
  EXPECT_EQ(gallery.MoveFiles({a}, target, false, Collect()), 0u);
  EXPECT_EQ(states, std::vector<int>{4});
  EXPECT_EQ(Ids(Camera()), std::vector<std::string>{"a"});
  EXPECT_EQ(a->AlbumId(), "default-album-1");
}

TEST_F(GalleryFilesTest, RefusedMoveLeavesTheFileInItsAlbum) {
  const auto target = gallery.CreateAlbum(L"Target", false, -1);
  const auto a = CloudFile("a"), b = CloudFile("b");
  Add({a, b});
  a->IsDeleted = true;
  EXPECT_EQ(gallery.MoveFiles({a, b, CloudFile("stranger")}, target, false, Collect()), 1u);
  EXPECT_EQ(states, (std::vector<int>{6, 0, 1}));
  EXPECT_TRUE(Holds(Camera(), a));
}

TEST_F(GalleryFilesTest, WholeAlbumMovesWithItsFilesInTheBin) {
  const auto target = gallery.CreateAlbum(L"Target", false, -1);
  const auto a = CloudFile("a"), b = CloudFile("b"), recycled = CloudFile("r");
  Add({a, b, recycled});
  gallery.RecycleFiles({recycled}, false);
  EXPECT_EQ(gallery.MoveFiles(Camera(), target), 0);
  EXPECT_EQ(target->FileCount(), 2u);
  EXPECT_EQ(recycled->AlbumId(), target->AlbumId.Get());
  EXPECT_EQ(gallery.MoveFiles(nullptr, target), -1);
  EXPECT_EQ(gallery.MoveFiles(target, nullptr), -1);
  EXPECT_EQ(gallery.MoveFiles({a}, AlbumOf(AlbumKind::TimeLine), false), 0u);
}

TEST_F(GalleryFilesTest, FavoriteMarkIsStoredAndShown) {
  const auto file = CloudFile("a");
  Add({file});
  EXPECT_TRUE(gallery.FavoriteFiles(file, true));
  EXPECT_FALSE(gallery.FavoriteFiles(file, true));
  EXPECT_TRUE(Row("a")->IsFavorite);
  EXPECT_EQ(Row("a")->GalleryState, 2);
  EXPECT_EQ(Ids(AlbumOf(AlbumKind::Favorite)), std::vector<std::string>{"a"});
  EXPECT_TRUE(gallery.FavoriteFiles(file, false));
  EXPECT_TRUE(Ids(AlbumOf(AlbumKind::Favorite)).empty());
  EXPECT_FALSE(gallery.FavoriteFiles(nullptr, true));
}

TEST_F(GalleryFilesTest, RecycledFileCannotBecomeAFavorite) {
  const auto file = CloudFile("a");
  Add({file});
  gallery.RecycleFiles({file}, false);
  file->GalleryState = 0;
  EXPECT_FALSE(gallery.FavoriteFiles(file, true));
  EXPECT_FALSE(file->IsFavorite);
  EXPECT_EQ(file->GalleryState, 0);
}

TEST_F(GalleryFilesTest, UploadedFileIsFoundUnderItsNewId) {
  const auto file = LocalFile("local");
  Files others;
  for (int i = 0; i < 500; ++i) others.push_back(CloudFile("o" + std::to_string(i)));
  Add({file});
  file->SetUniqueId("cloud");
  Add(others);  // the table grows between the change and its announcement
  gallery.UpdateFileUId(file, "local");
  EXPECT_EQ(gallery.GetFile("cloud"), file);
  EXPECT_EQ(gallery.GetFile("local"), nullptr);
  EXPECT_EQ(gallery.FileCount(), 501u);
  EXPECT_EQ(Row("local"), nullptr);
  EXPECT_NE(Row("cloud"), nullptr);
  EXPECT_TRUE(Holds(Camera(), file));
}

TEST_F(GalleryFilesTest, NewIdThatCouldNotBeWrittenIsWrittenLater) {
  const auto file = LocalFile("local");
  Add({file});
  auto& store = DBHelper::GetInstance();
  ASSERT_TRUE(store.Execute("ALTER TABLE GalleryFile RENAME TO Away;"));
  file->SetUniqueId("cloud");
  EXPECT_FALSE(gallery.UpdateFileUId(file, "local"));
  EXPECT_EQ(gallery.GetFile("cloud"), file);
  EXPECT_FALSE(gallery.WriteLateIds());
  ASSERT_TRUE(store.Execute("ALTER TABLE Away RENAME TO GalleryFile;"));
  EXPECT_TRUE(gallery.WriteLateIds());
  EXPECT_EQ(Row("local"), nullptr);
  EXPECT_NE(Row("cloud"), nullptr);
}

// A change of the user, stored under the new id before that was announced.
TEST_F(GalleryFilesTest, NewIdWhoseRowStandsAlreadyReplacesTheFormer) {
  const auto file = LocalFile("local"), late = LocalFile("late");
  Add({file, late});
  auto& store = DBHelper::GetInstance();
  file->SetUniqueId("cloud");
  ASSERT_TRUE(gallery.FavoriteFiles(file, true));
  file->SetFileId("content");
  EXPECT_TRUE(gallery.UpdateFileUId(file, "local"));
  EXPECT_EQ(Row("local"), nullptr);
  ASSERT_NE(Row("cloud"), nullptr);
  EXPECT_EQ(Row("cloud")->FileId(), "content");

  late->SetUniqueId("later");
  ASSERT_TRUE(store.Execute("ALTER TABLE GalleryFile RENAME TO Away;"));
  EXPECT_FALSE(gallery.UpdateFileUId(late, "late"));
  ASSERT_TRUE(store.Execute("ALTER TABLE Away RENAME TO GalleryFile;"));
  ASSERT_TRUE(gallery.FavoriteFiles(late, true));
  EXPECT_TRUE(gallery.WriteLateIds());
  EXPECT_EQ(Row("late"), nullptr);
  EXPECT_NE(Row("later"), nullptr);
}

TEST_F(GalleryFilesTest, IdsAreLookedUpInTheirOrder) {
  const auto a = CloudFile("a"), b = CloudFile("b");
  Add({a, b});
  Files found{CloudFile("stale")};
  EXPECT_EQ(gallery.GetGalleryFiles({"b", "no", "a"}, found), 2u);
  EXPECT_EQ(found, (Files{b, a}));
  EXPECT_EQ(gallery.GetGalleryFiles({}, found), 0u);
  EXPECT_TRUE(found.empty());
}

TEST_F(GalleryFilesTest, AllFilesComeInOrderOfTheirIds) {
  const auto a = CloudFile("a"), b = CloudFile("b"), c = CloudFile("c");
  Add({c, a, b});
  Files all;
  gallery.GetAllFiles(all);
  EXPECT_EQ(all, (Files{a, b, c}));
}

TEST_F(GalleryFilesTest, EverythingSurvivesARestart) {
  const auto album = gallery.CreateAlbum(L"Trip", false, -1);
  const auto live = CloudFile("live", album->AlbumId.Get(), 5000), recycled = CloudFile("recycled");
  live->SetExpandText(R"({"x":"y"})");
  live->SetLocalPath(L"/pictures/\u732b.jpg");
  live->IsFavorite = true;
  Add({live, recycled});
  gallery.RecycleFiles({recycled}, false);
  Restart();
  const auto again = gallery.GetFile("live");
  ASSERT_NE(again, nullptr);
  EXPECT_NE(again, live);
  EXPECT_EQ(again->LocalPath(), L"/pictures/\u732b.jpg");
  EXPECT_EQ(again->ExpandValue("x"), "y");
  EXPECT_EQ(Ids(gallery.GetAlbum(album->AlbumId.Get())), std::vector<std::string>{"live"});
  EXPECT_EQ(Ids(AlbumOf(AlbumKind::Favorite)), std::vector<std::string>{"live"});
  EXPECT_EQ(Ids(Bin()), std::vector<std::string>{"recycled"});
}

TEST_F(GalleryFilesTest, FirstAddRefreshesTheTimeLineEvenWithoutFiles) {
  ASSERT_TRUE(gallery.Init());
  int calls = 0;
  AlbumOf(AlbumKind::TimeLine)->SetListener([&calls] { ++calls; });
  EXPECT_EQ(gallery.AddFiles({}), 0u);
  EXPECT_EQ(gallery.AddFiles({}), 0u);
  EXPECT_EQ(calls, 1);
}

}  // namespace
