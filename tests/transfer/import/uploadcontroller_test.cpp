// Files on their way into the local gallery: what is taken and what is refused.

#include "transfer/import/uploadcontroller.h"

#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

#include "common/platform/files.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "host/base/globalparamwrapper.h"
#include "support/gallerytest.h"
#include "support/operationlog.h"
#include "tests/support/picturefiles.h"
#include "transfer/thumbnails/thumbnailhelper.h"
#include "utils/mediaworkers.h"
#include "utils/methodfunction.h"
#include "utils/picturecheck.h"
#include "utils/picturemetadata.h"

namespace fs = std::filesystem;

namespace {

class UploadControllerTest : public GalleryTest {
 protected:
  void SetUp() override {
    GalleryTest::SetUp();
    upward::Install(&ThumbnailHelper::GetInstance());
    album = gallery.CreateAlbum(L"Imported", false, -1);
  }
  void TearDown() override {
    upward::Install(static_cast<IThumbnails*>(nullptr));
    GalleryTest::TearDown();
  }
  // A picture that differs from every other by its date.
  static std::string Picture(int number, unsigned orientation = 1) {
    char date[32];
    std::snprintf(date, sizeof date, "2020:01:%02d 10:11:12", 1 + number % 28);
    return JpegWith(Exif({ShortTag(274, orientation), TextTag(271, "Maker" + std::to_string(number))},
                         {TextTag(36867, date)}));
  }
  std::wstring Write(const fs::path& name, const std::string& bytes) { return pictures.Write(name, bytes); }
  UploadController::Result Import(const std::vector<std::wstring>& paths) {
    UploadController controller;
    return controller.AddToLocal(paths, album);
  }
  std::string ReasonOf(const std::wstring& path) {
    const auto result = Import({path});
    return result.refused.empty() ? "" : result.refused[0].textKey;
  }

  TemporaryFolder pictures;
  Album::Ptr album;
};

TEST_F(UploadControllerTest, GoodPictureBecomesARecordThatWaitsForUpload) {
  const auto path = Write("a.jpg", Picture(1, 6));
  const auto result = Import({path});
  ASSERT_EQ(result.added.size(), 1u);
  EXPECT_TRUE(result.refused.empty());
  const auto file = result.added[0];
  EXPECT_EQ(file->UniqueId(), file->Guid());
  EXPECT_EQ(file->GalleryState, 1);
  EXPECT_TRUE(file->IsLocalUpload);
  EXPECT_EQ(file->FileName(), L"a.jpg");
  EXPECT_EQ(file->LocalPath(), path);
  EXPECT_EQ(file->AlbumId(), album->AlbumId.Get());
  EXPECT_EQ(file->SavedFileType, 1);
  EXPECT_EQ(file->FirstUpdateTime, clock.ms);
  EXPECT_EQ(file->ExpandValue("resolution"), "64 x 48");
  EXPECT_EQ(file->ExpandValue("rotate"), "90");
  EXPECT_EQ(file->ExpandValue("first_update_time"), std::to_string(clock.ms));
  EXPECT_EQ(file->ExpandValue("sourcePath"), "/storage/emulated/0" + album->Lpath.Get() + "/a.jpg");
  EXPECT_EQ(ParseJson(file->PictureMetadata())["cameraMaker"].asString(), "Maker1");
  EXPECT_TRUE(Holds(album, file));
  EXPECT_TRUE(Holds(AlbumOf(AlbumKind::RecentlyUpload), file));
  EXPECT_TRUE(fs::exists(platform::NativePath(file->ThumbnailPath())));
  const auto row = Row(file->UniqueId());
  ASSERT_NE(row, nullptr);
  EXPECT_EQ(row->GalleryState, 1);
  EXPECT_EQ(row->Hash(), file->Hash());
}

TEST_F(UploadControllerTest, EachReasonForARefusalIsTold) {
  EXPECT_EQ(ReasonOf(pictures.Wide("missing.jpg")), "IDS_GALLERT_FILE_NOT_EXIST");
  EXPECT_EQ(ReasonOf(Write("folder.jpg/x.txt", "x").substr(0, pictures.Wide("folder.jpg").size())),
            "IDS_GALLERT_FILE_NOT_EXIST");
  EXPECT_EQ(ReasonOf(Write("letter.txt", "Dear")), "IDS_GALLERT_INCOR_FILE_FORMAT");
  EXPECT_EQ(ReasonOf(Write("letter.jpg", "Dear")), "IDS_GALLERT_INCOR_FILE_FORMAT");
  EXPECT_EQ(ReasonOf(Write("empty.jpg", "")), "IDS_GALLERT_FILE_FILE_SIZE_LESS");
  EXPECT_EQ(ReasonOf(Write("broken.mp4", "no video")), "IDS_GALLERT_VIDEO_CANNOT_PLAYED");
  EXPECT_EQ(ReasonOf(Write(std::string(247, 'n') + ".jpg", Picture(1))),
            "IDS_TRANSERR_Error_FileNameTooLong");
  EXPECT_EQ(ReasonOf(Write("huge.png", PngClaiming(60'000, 60'000))), "IDS_GALLERT_INSUF_MEMORY");
  EXPECT_EQ(album->FileCount(), 0u);
  EXPECT_EQ(DBHelper::GetInstance().CountFiles(), 0);
}

TEST_F(UploadControllerTest, ImportIsLoggedWithItsRefusals) {
  const OperationLog log;
  const auto refusal = [](const std::string& reason) {
    return R"({"action":1,"type":1,"values":{"errorReason":")" + reason + "\"}}";
  };
  const auto good = Write("a.jpg", Picture(1));
  Import({good, pictures.Wide("missing.jpg"), Write("letter.txt", "Dear"), Write("letter.jpg", "Dear"),
          Write("empty.jpg", ""), Write("broken.mp4", "no video"), Write("again.jpg", Picture(1))});
  const std::string size = std::to_string(Picture(1).size());
  EXPECT_EQ(log.Of(161),
            (std::vector<std::string>{
                refusal("Gallery file is not exist"), refusal("Gallery not support this file format"),
                refusal("Gallery not support this file format"), refusal("Gallery file size is zero"),
                refusal("Gallery video cannot played"),
                R"({"action":0,"type":1,"values":{"num":"1","size":")" + size + R"(","total":"7"}})"}));
}

TEST_F(UploadControllerTest, FileThatCannotBeOpenedIsLoggedAsThat) {
  const auto path = Write("a.jpg", Picture(1));
  fs::permissions(pictures.Path(), fs::perms::owner_all | fs::perms::group_exec | fs::perms::others_exec);
  fs::permissions(platform::NativePath(path), fs::perms::none);
  const OperationLog log;
  // What the administrator may open, somebody else may not.
  const bool isRoot = ::geteuid() == 0;
  ASSERT_TRUE(!isRoot || ::seteuid(65534) == 0);
  EXPECT_EQ(ReasonOf(path), "IDS_GALLERT_UNABLE_TO_OPEN_FILE");
  ASSERT_TRUE(!isRoot || ::seteuid(0) == 0);
  EXPECT_EQ(log.Of(161).at(0),
            R"({"action":1,"type":1,"values":{"errorReason":" Galley unable to open file"}})");
}

// Nothing is wrong with it, so it must not be called damaged.
TEST_F(UploadControllerTest, BitmapOfFaxLinesIsRefusedAsAFormatThatIsNotSupported) {
  constexpr std::uint32_t kOs2Header = 64, kFaxLines = 3;
  std::string header = Long(kOs2Header) + Long(32) + Long(32) + Short(1) + Short(1) + Long(kFaxLines);
  header.resize(kOs2Header);
  const std::string fax =
      "BM" + Long(206) + Long(0) + Long(14 + kOs2Header) + header + std::string(128, '\x35');
  EXPECT_EQ(ReasonOf(Write("fax.bmp", fax)), "IDS_GALLERT_INCOR_FILE_FORMAT");
}

// It could never go up.
TEST_F(UploadControllerTest, FileOfWhichNoPictureComesIsRefusedAsDamaged) {
  class NoDecoder : public IThumbnails {
   public:
    bool MakeLocal(const GalleryFile&, const std::wstring&, bool) override { return false; }
    void Fetch(const Files&, std::function<void(const FilePtr&)>) override {}
  } decoder;
  upward::Install(&decoder);
  EXPECT_EQ(ReasonOf(Write("a.jpg", Picture(1))), "IDS_GALLERY_FILE_DAMAGED");
  EXPECT_EQ(DBHelper::GetInstance().CountFiles(), 0);
  EXPECT_EQ(album->FileCount(), 0u);
}

// Of earlier versions, which took it; each sync would fail at it.
TEST_F(UploadControllerTest, AcceptedFileOfWhichNoPictureComesGetsANeutralOneOnce) {
  const auto old = LocalFile("old"), away = LocalFile("away");
  old->SetLocalPath(Write("old.jpg", "no picture"));
  away->SetLocalPath(pictures.Wide("missing/away.jpg"));
  Add({old, away});
  const auto small = platform::NativePath(old->ThumbnailPath()), large = platform::NativePath(old->LcdPath());
  ASSERT_TRUE(fs::exists(small) && fs::exists(large));
  EXPECT_TRUE(IsWholePicture(old->ThumbnailPath()) && IsWholePicture(old->LcdPath()));
  EXPECT_EQ(away->ThumbnailPath(), L"") << "its picture may come back";
  Restart();
  const auto made = fs::last_write_time(small);
  EXPECT_EQ(platform::NativePath(gallery.GetFile("old")->ThumbnailPath()), small);
  EXPECT_EQ(fs::last_write_time(small), made);
}

TEST_F(UploadControllerTest, VideoKeepsItsTurn) {
  class Decoder : public IThumbnails {
   public:
    bool MakeLocal(const GalleryFile&, const std::wstring& target, bool) override {
      fs::create_directories(platform::NativePath(target).parent_path());
      return static_cast<bool>(std::ofstream(platform::NativePath(target)) << "a picture");
    }
    void Fetch(const Files&, std::function<void(const FilePtr&)>) override {}
  } decoder;
  upward::Install(&decoder);
  const auto result = Import({Write("turned.mp4", TurnedVideo())});
  ASSERT_EQ(result.added.size(), 1u);
  EXPECT_EQ(result.added[0]->ExpandValue("rotate"), "90");
  EXPECT_EQ(ParseJson(result.added[0]->VideoMetadata()).size(), 3u);
}

// A helper that reads files and never answers.
class SlowReaderTest : public UploadControllerTest {
 protected:
  void SetUp() override {
    UploadControllerTest::SetUp();
    folder.Write("helper", "#!/bin/sh\ntouch $0.reads\nexec sleep 100000\n");
    fs::permissions(folder / "helper", fs::perms::owner_all);
  }
  void TearDown() override {
    MediaWorkers::Replace(nullptr);
    UploadControllerTest::TearDown();
  }
};

TEST_F(SlowReaderTest, FileThatIsTooSlowIsRefusedWithThatReason) {
  MediaWorkers workers(folder / "helper", std::chrono::milliseconds(50));
  MediaWorkers::Replace(&workers);
  EXPECT_EQ(ReasonOf(Write("a.jpg", Picture(1))), "IDS_GALLERY_FILE_TOO_SLOW");
  EXPECT_EQ(ReasonOf(Write("a.mp4", "a film")), "IDS_GALLERY_FILE_TOO_SLOW");
  EXPECT_EQ(DBHelper::GetInstance().CountFiles(), 0);
}

TEST_F(SlowReaderTest, StopEndsAnImportInTheMiddleOfAFile) {
  MediaWorkers workers(folder / "helper", std::chrono::hours(1));
  MediaWorkers::Replace(&workers);
  std::atomic<bool> stop{false};
  UploadController controller;
  controller.stop = &stop;
  std::thread user([&] {
    while (!fs::exists(folder / "helper.reads")) std::this_thread::yield();
    stop = true;
  });
  const auto result = controller.AddToLocal({Write("a.jpg", Picture(1)), Write("b.jpg", Picture(2))}, album);
  user.join();
  EXPECT_TRUE(result.stopped);
  EXPECT_TRUE(result.added.empty());
  EXPECT_TRUE(result.refused.empty());
}

TEST_F(UploadControllerTest, FileThatGrowsHasSizeAndHashOfTheSameBytes) {
  const auto path = Write("growing.jpg", Picture(1));
  const auto native = platform::NativePath(path);
  std::atomic<bool> done{false};
  std::thread writer([&] {
    std::ofstream end(native, std::ios::app | std::ios::binary);
    while (!done) end << 'x' << std::flush;
  });
  const auto result = Import({path});
  done = true;
  writer.join();
  if (result.added.empty()) {
    EXPECT_STREQ(result.refused.at(0).textKey, "IDS_GALLERY_FILE_STILL_WRITTEN");
    return;
  }
  std::string bytes;
  ASSERT_FALSE(platform::ReadFile(native, bytes, 1 << 30));
  const auto head = pictures.Write("head", bytes.substr(0, static_cast<std::size_t>(result.added[0]->Size)));
  EXPECT_EQ(result.added[0]->Hash(), MethodFunction::FileHashId(head));
}

TEST_F(UploadControllerTest, SameContentIsRefusedInTheAlbumNotInAnother) {
  Import({Write("a.jpg", Picture(1))});
  EXPECT_EQ(ReasonOf(Write("copy.jpg", Picture(1))), "IDS_GALLERT_FILE_ALREADY_EXIST");
  album = gallery.CreateAlbum(L"Other", false, -1);
  EXPECT_EQ(Import({pictures.Wide("copy.jpg")}).added.size(), 1u);
}

TEST_F(UploadControllerTest, SameContentTwiceInOneListIsTakenOnce) {
  const auto result =
      Import({Write("a.jpg", Picture(1)), Write("b.jpg", Picture(1)), pictures.Wide("a.jpg")});
  EXPECT_EQ(result.added.size(), 1u);
  ASSERT_EQ(result.refused.size(), 2u);
  EXPECT_STREQ(result.refused[0].textKey, "IDS_GALLERT_FILE_ALREADY_EXIST");
  EXPECT_STREQ(result.refused[1].textKey, "IDS_GALLERT_FILE_TOUPLOADED");
  // Only the taken file has left a thumbnail.
  const auto cache = platform::NativePath(result.added[0]->ThumbnailName()).parent_path();
  EXPECT_EQ(std::distance(fs::directory_iterator(cache), fs::directory_iterator()), 1);
}

TEST_F(UploadControllerTest, OtherContentOfOneNameGetsANumberInRowAndList) {
  const auto result =
      Import({Write("x/a.jpg", Picture(1)), Write("y/a.jpg", Picture(2)), Write("z/a.jpg", Picture(3))});
  ASSERT_EQ(result.added.size(), 3u);
  EXPECT_EQ(result.added[1]->FileName(), L"a(1).jpg");
  EXPECT_EQ(result.added[2]->FileName(), L"a(2).jpg");
  for (const auto& file : result.added) {
    EXPECT_EQ(file->GalleryState, 1);
    EXPECT_EQ(Row(file->UniqueId())->FileName(), file->FileName());
    EXPECT_EQ(Row(file->UniqueId())->GalleryState, 1);
  }
}

TEST_F(UploadControllerTest, BurstFoldsUnderItsCoverInAnyOrder) {
  std::vector<std::wstring> paths;
  for (int shot = 10; shot >= 1; --shot) {
    char name[64];
    std::snprintf(name, sizeof name, "IMG_BURST%03d%s.jpg", shot, shot == 4 ? "_COVER" : "");
    paths.push_back(Write(name, Picture(shot)));
  }
  Import(paths);
  ASSERT_EQ(album->FileCount(), 1u);
  const auto cover = album->Files()[0];
  EXPECT_EQ(cover->FileName(), L"IMG_BURST004_COVER.jpg");
  EXPECT_EQ(cover->GetMembers().size(), 9u);
  Restart();
  EXPECT_EQ(AlbumOf(AlbumKind::TimeLine)->FileCount(), 1u);
}

TEST_F(UploadControllerTest, NamesOfAllScriptsSurviveARestart) {
  const std::vector<std::string> names{"\xE7\x8C\xAB.jpg", "\xE0\xB9\x81\xE0\xB8\xA1\xE0\xB8\xA7.jpg",
                                       "\xF0\x9F\x90\xB1.jpg", "back\\slash.jpg",
                                       "bad\xFF\xFE"
                                       "bytes.jpg"};
  std::vector<std::wstring> paths;
  for (std::size_t i = 0; i < names.size(); ++i)
    paths.push_back(Write(names[i], Picture(static_cast<int>(i))));
  ASSERT_EQ(Import(paths).added.size(), names.size());
  Restart();
  std::set<std::string> found;
  for (const auto& file : AlbumOf(AlbumKind::TimeLine)->Files()) {
    EXPECT_TRUE(fs::exists(platform::NativePath(file->LocalPath())));
    found.insert(platform::NativePath(file->FileName()).string());
  }
  EXPECT_EQ(found, std::set<std::string>(names.begin(), names.end()));
}

TEST_F(UploadControllerTest, StopLeavesWhatWasAdded) {
  std::vector<std::wstring> paths;
  for (int i = 0; i < 20; ++i) paths.push_back(Write("p" + std::to_string(i) + ".jpg", Picture(i)));
  std::atomic<bool> stop{false};
  UploadController controller;
  controller.stop = &stop;
  controller.onProgress = [&stop](const UploadController::Progress& progress) { stop = progress.done == 7; };
  const auto result = controller.AddToLocal(paths, album);
  EXPECT_TRUE(result.stopped);
  EXPECT_EQ(result.added.size(), 7u);
  EXPECT_EQ(DBHelper::GetInstance().CountFiles(), 7);
  EXPECT_EQ(Import(paths).added.size(), 13u);
}

TEST_F(UploadControllerTest, TooLongAListIsRefusedAsAWhole) {
  const std::vector<std::wstring> paths(UploadController::kFilesUpperLimit + 1, Write("a.jpg", Picture(1)));
  const auto result = Import(paths);
  EXPECT_TRUE(result.overLimit);
  EXPECT_TRUE(result.added.empty());
  EXPECT_EQ(album->FileCount(), 0u);
}

TEST_F(UploadControllerTest, NoAlbumAddsNothing) {
  album = nullptr;
  EXPECT_TRUE(Import({Write("a.jpg", Picture(1))}).added.empty());
}

TEST_F(UploadControllerTest, CacheThatCannotBeWrittenIsToldApart) {
  // A file stands where the cache folder should be made.
  const auto cache = platform::NativePath(GlobalParamWrapper::GetInstance()->GetUserCachePath());
  fs::remove_all(cache);
  fs::create_directories(cache.parent_path());
  std::ofstream(cache) << "in the way";
  EXPECT_EQ(ReasonOf(Write("a.jpg", Picture(1))), "IDS_TRANSERR_Error_WRITE_DENIED");
  EXPECT_EQ(DBHelper::GetInstance().CountFiles(), 0);
}

TEST_F(UploadControllerTest, RowsThatCannotBeWrittenAreRefusedAndNotShown) {
  const auto path = Write("a.jpg", Picture(1));
  ASSERT_TRUE(DBHelper::GetInstance().Execute("DROP TABLE GalleryFile;"));
  const auto result = Import({path});
  EXPECT_TRUE(result.added.empty());
  ASSERT_EQ(result.refused.size(), 1u);
  EXPECT_STREQ(result.refused[0].textKey, "IDS_TRANSERR_Error_WRITE_DENIED");
  EXPECT_EQ(album->FileCount(), 0u);
}

TEST_F(UploadControllerTest, PictureOfTheUserIsNeverTouched) {
  const auto path = Write("a.jpg", Picture(1));
  const auto native = platform::NativePath(path);
  const auto before = fs::last_write_time(native);
  const auto file = Import({path}).added.at(0);
  (void)file->LcdPath();
  gallery.DeleteFiles({file}, true);
  EXPECT_TRUE(fs::exists(native));
  EXPECT_EQ(fs::last_write_time(native), before);
  EXPECT_EQ(fs::file_size(native), Picture(1).size());
}

TEST_F(UploadControllerTest, FolderNamedAsTheThumbnailMakesItFail) {
  const auto source = Write("a.jpg", Picture(1));
  const auto target = pictures.Wide("thumb.jpg");
  fs::create_directories(platform::NativePath(target));
  EXPECT_FALSE(ThumbnailHelper::GetInstance().CreateThumbnail(source, target, 100, "guid"));
  fs::remove(platform::NativePath(target));
  std::ofstream(platform::NativePath(target)) << "old";
  EXPECT_TRUE(ThumbnailHelper::GetInstance().CreateThumbnail(source, target, 100, "guid"));
  EXPECT_GT(fs::file_size(platform::NativePath(target)), 100u);
}

}  // namespace
