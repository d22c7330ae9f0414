// Thumbnails from the real service. What lies there is encrypted by the openssl
// command line, and sizes are written out by hand.

#include <gmock/gmock.h>

#include <fstream>
#include <future>
#include <limits>

#include "clouduploads.h"
#include "common/platform/paths.h"
#include "host/base/globalparamwrapper.h"
#include "loopbackserver.h"
#include "tests/support/picturefiles.h"
#include "transfer/thumbnails/gallerythumbnailmodule.h"
#include "transfer/thumbnails/thumbnailhelper.h"
#include "transfer/thumbnails/thumbnailhelperext.h"
#include "utils/globaldata.h"
#include "utils/methodfunction.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;
using ZentaraDeskClient::GalleryThumbnailModule;

constexpr char kKey[] = "000102030405060708090A0B0C0D0E0F";
constexpr char kIv[] = "f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff";

// A picture of exactly so many bytes: readers pass over what follows its end.
std::string PictureOf(std::size_t bytes, int width) {
  std::string picture = JpegWith("", width, 40);
  EXPECT_LE(picture.size(), bytes);
  picture.resize(bytes, '\0');
  return picture;
}

std::string Hex(const std::string& bytes) {
  std::string text;
  for (const char byte : bytes) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02X", static_cast<unsigned char>(byte));
    text += digits;
  }
  return text;
}

std::string Contents(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

class ThumbnailDownloadTest : public CloudTest {
 protected:
  void SetUp() override {
    CloudTest::SetUp();
    GlobalData::cloudGeneration = GlobalData::kGenerationV2;
    small = PictureOf(1600, 60);   // 100 blocks: a whole one of padding follows
    large = PictureOf(3000, 120);  // 187.5 blocks
  }
  void TearDown() override {
    GalleryThumbnailModule::GetInstance().Stop();
    CloudTest::TearDown();
  }

  std::string OpenSsl(const std::string& cipher, const std::string& key, const std::string& plain) {
    folder.Write("plain", plain);
    const std::string command = "openssl enc -" + cipher + " -K " + key + " -iv " + kIv + " -in " +
                                (folder / "plain").string() + " -out " + (folder / "sealed").string();
    EXPECT_EQ(std::system(command.c_str()), 0);
    return Contents(folder / "sealed");
  }
  Json::Value Cipher() {
    const std::string userKey = session.ExportKeys()["keys"]["userKey3"].asString();
    Json::Value chain(Json::objectValue);
    chain["type"] = 3;
    chain["ekey"] = Hex(OpenSsl("aes-256-cbc", userKey, kKey)).insert(0, "F0F1F2F3F4F5F6F7F8F9FAFBFCFDFEFF");
    Json::Value cipher(Json::objectValue);
    cipher["iv"] = kIv;
    cipher["keychains"].append(chain);
    return cipher;
  }
  UploadedAsset Thumbnails() {
    UploadedAsset asset{"thumbnail", 4600, {}, Cipher(), {}, MethodFunction::Sha256(small + large)};
    asset.objects = {OpenSsl("aes-128-cbc", kKey, small) + OpenSsl("aes-128-cbc", kKey, large)};
    EXPECT_EQ(asset.objects[0].size(), 1616U + 3008U);
    asset.attributes["length"]["small"] = 1600;
    asset.attributes["length"]["large"] = 3000;
    asset.attributes["sha256"]["small"] = MethodFunction::Sha256(small);
    asset.attributes["sha256"]["large"] = MethodFunction::Sha256(large);
    return asset;
  }
  UploadedAsset PlainThumbnails() {
    UploadedAsset asset = Thumbnails();
    asset.cipher = Json::Value();
    asset.objects = {small + large};
    return asset;
  }
  // The media on the service, and its file in the gallery.
  FilePtr Uploaded(const UploadedAsset& asset) {
    OtherDevice phone(server, "phone");
    const std::string id = UploadMedia(phone, "a.jpg", {asset});
    const FilePtr file = CloudFile(id);
    Add({file});
    server.ForgetRequests();
    return file;
  }
  bool Fetch(const FilePtr& file, bool isLcd = false) {
    return ThumbnailHelper::GetInstance().DownloadThumbnailV2(file, isLcd, {});
  }
  static std::string SmallOf(const FilePtr& file) {
    return Contents(platform::NativePath(file->ThumbnailName()));
  }
  static std::string LargeOf(const FilePtr& file) { return Contents(platform::NativePath(file->LcdName())); }
  // Names below both cache folders.
  std::vector<std::string> Cached() const {
    std::vector<std::string> names;
    if (!std::filesystem::exists(folder / "cache")) return names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder / "cache"))
      if (entry.is_regular_file()) names.push_back(entry.path().filename().string());
    return names;
  }
  int Count(const std::string& request) {
    int count = 0;
    for (const std::string& seen : server.Requests()) count += seen.starts_with(request) ? 1 : 0;
    return count;
  }
  std::string StatusAtTheService(const FilePtr& file) {
    OtherDevice tablet(server, "tablet");
    return tablet.Send("GET", "/media/" + file->UniqueId())["attachments"][0]["status"].asString();
  }

  std::string small, large;
};

TEST_F(ThumbnailDownloadTest, BothPicturesArriveAsTheyWereEncrypted) {
  const FilePtr file = Uploaded(Thumbnails());
  ASSERT_TRUE(Fetch(file));
  EXPECT_EQ(SmallOf(file), small);
  EXPECT_EQ(LargeOf(file), "");
  ASSERT_TRUE(Fetch(file, true));
  EXPECT_EQ(LargeOf(file), large);
  EXPECT_THAT(Cached(), SizeIs(2));
}

TEST_F(ThumbnailDownloadTest, PlainPicturesArrive) {
  const FilePtr file = Uploaded(PlainThumbnails());
  ASSERT_TRUE(Fetch(file));
  ASSERT_TRUE(Fetch(file, true));
  EXPECT_EQ(SmallOf(file), small);
  EXPECT_EQ(LargeOf(file), large);
}

TEST_F(ThumbnailDownloadTest, LengthAsANumberBringsTheWholeObject) {
  UploadedAsset asset = Thumbnails();
  asset.plainBytes = 1600;
  asset.objects = {OpenSsl("aes-128-cbc", kKey, small)};
  asset.attributes = Json::Value(Json::objectValue);
  asset.attributes["length"] = 1600;
  const FilePtr file = Uploaded(asset);
  ASSERT_TRUE(Fetch(file));
  ASSERT_TRUE(Fetch(file, true));
  EXPECT_EQ(SmallOf(file), small);
  EXPECT_EQ(LargeOf(file), small);
}

TEST_F(ThumbnailDownloadTest, WithoutALengthTheFilesSizeCounts) {
  UploadedAsset asset = Thumbnails();
  asset.plainBytes = 1600;
  asset.objects = {OpenSsl("aes-128-cbc", kKey, small)};
  asset.attributes = Json::Value(Json::objectValue);
  const FilePtr file = Uploaded(asset);
  file->Size = 1600;
  ASSERT_TRUE(Fetch(file));
  EXPECT_EQ(SmallOf(file), small);
}

// The service as text: the ranges that are asked for, and one that gives none.
class ToldThumbnailTest : public ThumbnailDownloadTest {
 protected:
  void SetUp() override {
    ThumbnailDownloadTest::SetUp();
    asset = Thumbnails();
    media["id"] = "m";
    media["attachments"][0]["usage"] = "thumbnail";
    Told()["id"] = "asset-1";
    Told()["versionId"] = "version-1";
    Told()["cipher"] = asset.cipher;
    Told()["attributes"] = asset.attributes;
  }
  Json::Value& Told() { return media["attachments"][0]["asset"]; }
  Json::Value& Url() { return Told()["resource"]["objects"][0]["downloadUrl"]["url"]; }
  // One fetch with a service that answers with the record, and then with these.
  bool FetchWith(bool isLcd, const std::vector<std::string>& more = {}) {
    std::vector<std::string> answers{LoopbackServer::Answer(200, media.toStyledString())};
    answers.insert(answers.end(), more.begin(), more.end());
    LoopbackServer service(answers);
    GoTo(service.Url());
    const bool done = Fetch(file, isLcd);
    asked = service.Requests();
    return done;
  }

  const FilePtr file = CloudFile("m");
  UploadedAsset asset;
  Json::Value media{Json::objectValue};
  std::vector<std::string> asked;  // of the service
};

TEST_F(ToldThumbnailTest, WithoutObjectsItComesThroughTheProxy) {
  LoopbackServer links({LoopbackServer::Answer(200, small)});
  media["smallThumbnailDownloadLink"] = links.Url() + "/s";
  const LogText log;
  ASSERT_TRUE(FetchWith(false));
  EXPECT_EQ(SmallOf(file), small);
  EXPECT_TRUE(log.Has("download form fileproxy, fileid: m"));
  EXPECT_THAT(links.Requests()[0], Not(HasSubstr("Authorization")));
}

TEST_F(ToldThumbnailTest, ObjectWithoutAnAddressIsNamed) {
  Url() = "";
  const LogText log;
  EXPECT_FALSE(FetchWith(false));
  EXPECT_TRUE(log.Has("downloadUrl is empty"));
  EXPECT_TRUE(log.Has("download thumb error:get url error! file id: m"));
}

// Signed addresses are long.
TEST_F(ToldThumbnailTest, LongAddressIsTakenAndOneThatIsNoneIsNamed) {
  LoopbackServer objects({LoopbackServer::Answer(200, asset.objects[0])});
  Url() = objects.Url() + "/o?sign=" + std::string(2000, 'a');
  ASSERT_TRUE(FetchWith(false));
  EXPECT_EQ(SmallOf(file), small);
  Url() = "http://[" + std::string(400, 'a');
  const LogText log;
  EXPECT_FALSE(FetchWith(true));
  EXPECT_TRUE(log.Has("DownloadThumbnail error,urlCode:3"));
}

TEST_F(ToldThumbnailTest, LargePictureOfAnotherLengthIsRefused) {
  LoopbackServer objects({LoopbackServer::Answer(200, asset.objects[0].substr(0, 4000))});
  Url() = objects.Url() + "/o";
  const LogText log;
  EXPECT_FALSE(FetchWith(true));
  EXPECT_TRUE(log.Has("download thumb error:file size error! isLcd:1 fileLen:3008 downloadLength:4000"));
  EXPECT_THAT(Cached(), IsEmpty());
}

TEST_F(ToldThumbnailTest, LengthsThatNoPictureHasAreRefused) {
  LoopbackServer objects({LoopbackServer::Answer(200, asset.objects[0])});
  Url() = objects.Url() + "/o";
  for (const std::int64_t length : {std::numeric_limits<std::int64_t>::max(), std::int64_t{-1}}) {
    Told()["attributes"]["length"]["small"] = Json::Int64{length};
    for (const bool isLcd : {false, true}) {
      const LogText log;
      EXPECT_FALSE(FetchWith(isLcd));
      EXPECT_TRUE(log.Has("download thumb error:file size error! file id: m"));
    }
  }
  EXPECT_THAT(objects.Requests(), IsEmpty());
}

TEST_F(ToldThumbnailTest, LossIsReportedAlsoWhenTheStatusCannotBeRead) {
  LoopbackServer objects({LoopbackServer::Answer(404, "")});
  Url() = objects.Url() + "/o";
  const LogText log;
  EXPECT_FALSE(
      FetchWith(false, {LoopbackServer::Answer(200, R"({"id":"m"})"), LoopbackServer::Answer(502, ""),
                        LoopbackServer::Answer(200, R"({"id":"m"})")}));
  EXPECT_TRUE(log.Has("service error! http code:502"));
  ASSERT_THAT(asked, SizeIs(4));
  EXPECT_THAT(asked[3], HasSubstr("PATCH /cloudPhoto/v1/media/m/assets/asset-1/revisions/version-1"));
  EXPECT_THAT(asked[3], HasSubstr(R"({"status":2})"));
  EXPECT_NE(log.Operations().find(R"("status":"2")"), std::string::npos);
}

TEST_F(ToldThumbnailTest, RefusedStatusIsAnOperationLog) {
  LoopbackServer objects({LoopbackServer::Answer(404, "")});
  Url() = objects.Url() + "/o";
  const LogText log;
  const std::string refused =
      R"({"error":{"status":403,"description":"","errors":[{"code":"31000403","reason":"","subject":""}]}})";
  EXPECT_FALSE(
      FetchWith(false, {LoopbackServer::Answer(200, R"({"id":"m"})"), LoopbackServer::Answer(403, refused),
                        LoopbackServer::Answer(200, R"({"id":"m"})")}));
  EXPECT_THAT(log.Operations(), HasSubstr("AddOperationLog GetUrl error:"));
  EXPECT_THAT(log.Operations(), HasSubstr("31000403"));
}

TEST_F(ThumbnailDownloadTest, StoppedFetchIsNoError) {
  const LogText log;
  EXPECT_FALSE(ThumbnailHelper::GetInstance().DownloadThumbnailV2(Uploaded(Thumbnails()), false,
                                                                  [] { return false; }));
  EXPECT_FALSE(log.Has("download thumb error"));
}

TEST_F(ToldThumbnailTest, OnlyTheRangeOfTheWantedPictureIsAskedFor) {
  for (const bool isLcd : {false, true}) {
    LoopbackServer objects({LoopbackServer::Answer(200, asset.objects[0])});
    Url() = objects.Url() + "/o";
    ASSERT_TRUE(FetchWith(isLcd));
    EXPECT_EQ(isLcd ? LargeOf(file) : SmallOf(file), isLcd ? large : small);
    ASSERT_THAT(objects.Requests(), SizeIs(1));
    EXPECT_THAT(objects.Requests()[0],
                HasSubstr(isLcd ? "Range:bytes=1616-4623\r\n" : "Range:bytes=0-1615\r\n"));
    EXPECT_THAT(objects.Requests()[0], Not(HasSubstr("Authorization")));
  }
}

TEST_F(ThumbnailDownloadTest, ExpiredAddressIsReplacedByAFreshOne) {
  const FilePtr file = Uploaded(Thumbnails());
  server.Fault(R"({"path":"/objects/","status":403})");
  ASSERT_TRUE(Fetch(file));
  EXPECT_EQ(SmallOf(file), small);
  EXPECT_EQ(Count("GET /cloudPhoto/v1/media/"), 2);
  EXPECT_EQ(Count("GET /cloudPhoto/v1/objects/"), 2);
}

TEST_F(ThumbnailDownloadTest, FailedFetchIsTriedThreeTimes) {
  const FilePtr file = Uploaded(Thumbnails());
  server.Fault(R"({"path":"/objects/","cutAfterBytes":100})");
  server.Fault(R"({"path":"/objects/","nth":2,"status":503})");
  const LogText log;
  ASSERT_TRUE(Fetch(file));
  EXPECT_EQ(SmallOf(file), small);
  EXPECT_TRUE(log.Has("download thumbnail retry times=2"));
  server.Fault(R"({"path":"/objects/","status":503,"times":0})");
  server.ForgetRequests();
  EXPECT_FALSE(Fetch(file, true));
  EXPECT_EQ(Count("GET /cloudPhoto/v1/objects/"), 3);
  EXPECT_THAT(log.Operations(), HasSubstr("AddOperationLog download thumb error:download failed! file id: " +
                                          file->UniqueId()));
  EXPECT_THAT(Cached(), SizeIs(1));
}

TEST_F(ThumbnailDownloadTest, DamagedBytesNeverGetTheFinalName) {
  const FilePtr file = Uploaded(Thumbnails());
  server.Action(R"({"action":"damageObject","userName":"alice","usage":"thumbnail","mediaId":")" +
                file->UniqueId() + "\"}");
  EXPECT_FALSE(Fetch(file));
  EXPECT_THAT(Cached(), IsEmpty());
}

TEST_F(ThumbnailDownloadTest, PictureOfAnotherDigestIsDeleted) {
  UploadedAsset asset = Thumbnails();
  asset.attributes["sha256"]["small"] = std::string(64, '0');
  const FilePtr file = Uploaded(asset);
  const LogText log;
  EXPECT_FALSE(Fetch(file));
  EXPECT_TRUE(log.Has("SmallThm download fail, different assetsha256 = " + std::string(64, '0') +
                      " contentsha256= " + MethodFunction::Sha256(small)));
  EXPECT_TRUE(log.Has("DELETE THM SUCCESS PATH = "));
  EXPECT_TRUE(Fetch(file, true));
  EXPECT_THAT(Cached(), SizeIs(1));
}

TEST_F(ThumbnailDownloadTest, BytesThatAreNoPictureAreRefused) {
  small.replace(0, 4, "text");
  large.resize(1000);  // ends in the middle
  large = large.substr(0, 500) + std::string(2500, '\0');
  const FilePtr file = Uploaded(Thumbnails());
  const LogText log;
  EXPECT_FALSE(Fetch(file));
  EXPECT_TRUE(log.Has("download thumb error:file format error!"));
  EXPECT_THAT(Cached(), IsEmpty());
}

TEST_F(ThumbnailDownloadTest, WrongKeyIsToldWithoutTheKey) {
  UploadedAsset asset = Thumbnails();
  std::string ekey = asset.cipher["keychains"][0]["ekey"].asString();
  ekey.back() = ekey.back() == '0' ? '1' : '0';
  asset.cipher["keychains"][0]["ekey"] = ekey;
  const FilePtr file = Uploaded(asset);
  const LogText log;
  EXPECT_FALSE(Fetch(file));
  EXPECT_TRUE(log.Has("download thumb error:decode failed!"));
  EXPECT_FALSE(log.Has(ekey.substr(0, 32)));
  EXPECT_THAT(Cached(), IsEmpty());
}

TEST_F(ThumbnailDownloadTest, LostObjectComesThroughTheProxyAndIsReported) {
  const FilePtr file = Uploaded(PlainThumbnails());
  server.Fault(R"({"path":"/objects/","status":404})");
  const LogText log;
  ASSERT_TRUE(Fetch(file));
  EXPECT_EQ(SmallOf(file), small);
  EXPECT_TRUE(log.Has("Download file lost thumbnail, fileid: " + file->UniqueId()));
  EXPECT_EQ(StatusAtTheService(file), "2");
  server.Fault(R"({"path":"/objects/","status":404})");
  ASSERT_TRUE(Fetch(file, true));
  EXPECT_EQ(LargeOf(file), large);
  EXPECT_TRUE(log.Has("thumbnail status is already 2, not to update, fileId: " + file->UniqueId()));
}

TEST_F(ThumbnailDownloadTest, LostObjectThatTheServiceNoticedItselfIsNotReported) {
  const FilePtr file = Uploaded(Thumbnails());
  server.Action(R"({"action":"loseObject","userName":"alice","usage":"thumbnail","mediaId":")" +
                file->UniqueId() + "\"}");
  EXPECT_FALSE(Fetch(file));
  EXPECT_EQ(Count("PATCH "), 0);
  EXPECT_EQ(StatusAtTheService(file), "2");
  EXPECT_THAT(Cached(), IsEmpty());
}

TEST_F(ThumbnailDownloadTest, GoneCoverLeavesTheMembersOfItsBurst) {
  const FilePtr cover = CloudFile("cover"), member = CloudFile("member");
  cover->SetFileName(L"IMG_BURST001_COVER.jpg");
  member->SetFileName(L"IMG_BURST002.jpg");
  for (const FilePtr& file : {cover, member}) file->ParseBurstName();
  Add({cover, member});
  ASSERT_TRUE(cover->HasMember(member));
  EXPECT_FALSE(Fetch(cover));
  EXPECT_EQ(gallery.GetFile("cover"), nullptr);
  EXPECT_NE(gallery.GetFile("member"), nullptr);
  EXPECT_NE(Row("member"), nullptr);
}

TEST_F(ThumbnailDownloadTest, MediaThatIsGoneLeavesTheGallery) {
  const FilePtr file = Uploaded(Thumbnails());
  OtherDevice phone(server, "phone");
  phone.TakeLock();
  (void)phone.Send("DELETE", "/media/" + file->UniqueId());
  EXPECT_FALSE(Fetch(file));
  EXPECT_EQ(gallery.GetFile(file->UniqueId()), nullptr);
  EXPECT_EQ(Row(file->UniqueId()), nullptr);
}

TEST_F(ThumbnailDownloadTest, FullCacheFolderLeavesNothingBehind) {
  const FilePtr file = Uploaded(Thumbnails());
  const auto path = platform::NativePath(file->ThumbnailName());
  std::filesystem::create_directories(path / "in the way");
  EXPECT_FALSE(Fetch(file));
  EXPECT_THAT(Cached(), IsEmpty());
}

// --- The background task

class ThumbnailModuleTest : public ThumbnailDownloadTest {
 protected:
  void Start() { ASSERT_TRUE(module.StartFetching()); }
  // A request whose turn lasts until `go` is set.
  ThumbnailRequest Held(const FilePtr& file) {
    return {file, false, false, Note(), [this] {
              begun.set_value();
              go.get_future().wait();
              return true;
            }};
  }
  std::function<void(const FilePtr&)> Note() {
    return [this](const FilePtr& file) {
      std::lock_guard hold(lock);
      ended.push_back(file->UniqueId());
    };
  }
  std::vector<std::string> Ended() {
    std::lock_guard hold(lock);
    return ended;
  }

  GalleryThumbnailModule& module = GalleryThumbnailModule::GetInstance();
  ThumbnailHelper& helper = ThumbnailHelper::GetInstance();
  std::promise<void> begun, go;

 private:
  std::mutex lock;
  std::vector<std::string> ended;
};

TEST_F(ThumbnailModuleTest, LeftOversOfKilledProcessesGo) {
  const FilePtr file = CloudFile("m");
  Add({file});
  const auto thumbnail = platform::NativePath(file->ThumbnailName()),
             large = platform::NativePath(file->LcdName());
  const auto beside = [](std::filesystem::path path, const char* suffix) { return path += suffix; };
  const auto old = std::filesystem::file_time_type::clock::now() - std::chrono::hours(2);
  for (const auto& path : {thumbnail, beside(thumbnail, ".1.crypt"), beside(large, ".2.tmp")}) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << "bytes";
    std::filesystem::last_write_time(path, old);
  }
  std::ofstream(beside(thumbnail, ".3.crypt")) << "under way";
  Start();
  module.WaitForSweep();
  EXPECT_THAT(Cached(),
              testing::UnorderedElementsAre(thumbnail.filename(), beside(thumbnail, ".3.crypt").filename()));
}

TEST_F(ThumbnailModuleTest, ThumbnailsOfFilesThatHaveLeftTheTableGo) {
  const FilePtr kept = CloudFile("kept"), gone = CloudFile("gone"), fresh = CloudFile("fresh");
  Add({kept});
  const auto old = std::filesystem::file_time_type::clock::now() - std::chrono::hours(2);
  for (const auto& file : {kept, gone, fresh}) {
    for (const auto& path :
         {platform::NativePath(file->ThumbnailName()), platform::NativePath(file->LcdName())}) {
      std::filesystem::create_directories(path.parent_path());
      std::ofstream(path) << "bytes";
      // A file that is being added has its thumbnail before its row.
      if (file != fresh) std::filesystem::last_write_time(path, old);
    }
  }
  Start();
  module.WaitForSweep();
  const auto isThere = [](const std::wstring& path) {
    return std::filesystem::exists(platform::NativePath(path));
  };
  EXPECT_TRUE(isThere(kept->ThumbnailName()) && isThere(kept->LcdName()));
  EXPECT_TRUE(isThere(fresh->ThumbnailName()) && isThere(fresh->LcdName()));
  EXPECT_FALSE(isThere(gone->ThumbnailName()) || isThere(gone->LcdName()));
}

TEST_F(ThumbnailModuleTest, FetchesInTheBackground) {
  const FilePtr file = Uploaded(Thumbnails());
  Start();
  helper.Fetch({file}, Note());
  module.WaitUntilIdle();
  EXPECT_THAT(Ended(), ElementsAre(file->UniqueId()));
  EXPECT_EQ(SmallOf(file), small);
  EXPECT_EQ(file->ThumbnailPath(), file->ThumbnailName());
}

TEST_F(ThumbnailModuleTest, SecondRequestIsDroppedWhileTheFirstRuns) {
  const FilePtr file = Uploaded(Thumbnails());
  const LogText log;
  Start();
  helper.DownloadThumbs({Held(file)});
  begun.get_future().wait();
  helper.Fetch({file}, Note());
  EXPECT_TRUE(log.Has("thumbGuidSet exist " + file->UniqueId()));
  EXPECT_TRUE(log.Has("thumbGuidSet.size:1"));
  go.set_value();
  module.WaitUntilIdle();
  EXPECT_EQ(Count("GET /cloudPhoto/v1/objects/"), 1);
  EXPECT_THAT(Ended(), ElementsAre(file->UniqueId(), file->UniqueId()));
}

TEST_F(ThumbnailModuleTest, OtherSizeOfAFileWaitsForTheFetchUnderWay) {
  const FilePtr file = Uploaded(Thumbnails());
  const LogText log;
  Start();
  helper.DownloadThumbs({Held(file)});
  begun.get_future().wait();
  for (int painted = 0; painted < 2; ++painted)
    helper.DownloadThumbs({{file, true, false, Note(), {}}, {file, false, false, Note(), {}}});
  EXPECT_TRUE(log.Has("thumbGuidSet exist " + file->UniqueId()));
  EXPECT_TRUE(log.Has("thumbGuidSet.size:1"));
  EXPECT_FALSE(log.Has("thumbGuidSet.size:2"));
  go.set_value();
  module.WaitUntilIdle();
  EXPECT_EQ(SmallOf(file), small);
  EXPECT_EQ(LargeOf(file), large);
  EXPECT_EQ(Count("GET /cloudPhoto/v1/objects/"), 2);
  EXPECT_THAT(Ended(), SizeIs(5));
}

TEST_F(ThumbnailModuleTest, NewestRequestComesFirst) {
  Start();
  helper.DownloadThumbs({Held(LocalFile("held"))});
  begun.get_future().wait();
  helper.Fetch({LocalFile("a"), LocalFile("b"), LocalFile("c")}, Note());
  go.set_value();
  module.WaitUntilIdle();
  EXPECT_THAT(Ended(), ElementsAre("held", "c", "b", "a"));
}

TEST_F(ThumbnailModuleTest, ThumbnailThatIsThereIsNotFetched) {
  const FilePtr file = Uploaded(Thumbnails());
  ASSERT_TRUE(Fetch(file));
  server.ForgetRequests();
  Start();
  helper.Fetch({file}, Note());
  module.WaitUntilIdle();
  EXPECT_THAT(Ended(), SizeIs(1));
  EXPECT_THAT(server.Requests(), IsEmpty());
  helper.DownloadThumbs({{file, false, true, Note(), {}}});
  module.WaitUntilIdle();
  EXPECT_EQ(Count("GET /cloudPhoto/v1/objects/"), 1);
}

TEST_F(ThumbnailModuleTest, SearchHitsGetTheirThumbnailsAndUnknownOnesAreLeftOut) {
  const FilePtr file = Uploaded(Thumbnails());
  Start();
  EXPECT_EQ(ThumbnailHelperExt::DownloadSearchThumbs({"nowhere", file->UniqueId()}, Note()), 1u);
  module.WaitUntilIdle();
  EXPECT_THAT(Ended(), ElementsAre(file->UniqueId()));
  EXPECT_EQ(SmallOf(file), small);
  server.ForgetRequests();
  EXPECT_EQ(ThumbnailHelperExt::DownloadSearchThumbs({file->UniqueId()}, Note()), 1u);
  module.WaitUntilIdle();
  EXPECT_THAT(Ended(), SizeIs(2));
  EXPECT_THAT(server.Requests(), IsEmpty());
}

TEST_F(ThumbnailModuleTest, LocalFileMakesItsThumbnailAndAMovedOneIsFetched) {
  const FilePtr file = Uploaded(Thumbnails());
  folder.Write("here.jpg", JpegWith("", 800, 600));
  file->SetLocalPath(platform::WidePath(folder / "here.jpg"));
  Start();
  helper.Fetch({file}, Note());
  module.WaitUntilIdle();
  EXPECT_THAT(SmallOf(file), Not(IsEmpty()));
  EXPECT_THAT(server.Requests(), IsEmpty());
  std::filesystem::remove(folder / "here.jpg");
  helper.DownloadThumbs({{file, false, true, Note(), {}}});
  module.WaitUntilIdle();
  EXPECT_EQ(SmallOf(file), small);
}

TEST_F(ThumbnailModuleTest, FileThatNobodyLooksAtAnyMoreIsPassedOver) {
  const FilePtr file = Uploaded(Thumbnails());
  Start();
  helper.DownloadThumbs({{file, false, false, Note(), [] { return false; }}});
  module.WaitUntilIdle();
  EXPECT_THAT(Ended(), SizeIs(1));
  EXPECT_THAT(server.Requests(), IsEmpty());
}

TEST_F(ThumbnailModuleTest, StopCallsBackForWhatWaits) {
  Start();
  helper.DownloadThumbs({Held(LocalFile("held"))});
  begun.get_future().wait();
  helper.Fetch({LocalFile("a"), LocalFile("b")}, Note());
  std::thread stopper([this] { module.Stop(); });
  while (!module.StopRequested()) std::this_thread::yield();
  go.set_value();
  stopper.join();
  EXPECT_THAT(Ended(), ElementsAre("held", "a", "b"));
  helper.Fetch({LocalFile("a")}, Note());  // No module: called back at once.
  EXPECT_THAT(Ended(), SizeIs(4));
}

}  // namespace
