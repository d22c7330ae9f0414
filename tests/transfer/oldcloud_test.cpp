// Thumbnails and originals of the service's first generation. What it answers is
// written out by hand; what is encrypted was encrypted by the openssl command line.

#include <gmock/gmock.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <future>

#include "cloudserver.h"
#include "common/platform/paths.h"
#include "host/account/userauthservice.h"
#include "host/base/globalparamwrapper.h"
#include "host/base/jsontext.h"
#include "loopbackserver.h"
#include "tests/support/gallerytest.h"
#include "tests/support/picturefiles.h"
#include "transfer/download/gallerydownloadtask.h"
#include "transfer/stream/contentcopy.h"
#include "transfer/thumbnails/gallerythumbnailmodule.h"
#include "transfer/thumbnails/thumbnailhelper.h"
#include "utils/globaldata.h"

namespace fs = std::filesystem;

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ZentaraDeskClient::GalleryThumbnailModule;

constexpr char kUserKey[] = "000102030405060708090a0b0c0d0e0f";
constexpr char kKey[] = "A0A1A2A3A4A5A6A7A8A9AAABACADAEAF";
constexpr char kIv[] = "f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff";
constexpr char kPath[] = "POST /JPJX/CloudPhoto HTTP/1.1";

std::string Contents(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return "(none)";
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string Hex(const std::string& bytes) {
  std::string text;
  for (const char byte : bytes) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned char>(byte));
    text += digits;
  }
  return text;
}

std::string HeaderOf(const std::string& request, const std::string& name) {
  const auto start = request.find("\r\n" + name + ":");
  if (start == std::string::npos) return "(none)";
  const auto text = request.find_first_not_of(' ', start + 2 + name.size() + 1);
  return request.substr(text, request.find("\r\n", text) - text);
}

Json::Value BodyOf(const std::string& request) {
  return JsonText::Parse(request.substr(request.find("\r\n\r\n") + 4)).value_or(Json::Value());
}

// An old cloud: it answers commands with `told`, and addresses by their path.
class OldCloudTest : public GalleryTest {
 protected:
  void SetUp() override {
    GalleryTest::SetUp();
    TakeCountry("CN", kUserKey);
    GlobalData::cloudGeneration = GlobalData::kGenerationV1;
    GlobalData::cloudPhotoUrl = server.Url();
    (void)CloudAlbum("album-7", L"Trip");
    ASSERT_TRUE(GalleryThumbnailModule::GetInstance().StartFetching());
  }
  void TearDown() override {
    GalleryThumbnailModule::GetInstance().Stop();
    GlobalData::cloudPhotoUrl.clear();
    GlobalData::cloudGeneration = GlobalData::kGenerationUnknown;
    GalleryTest::TearDown();
  }

  void TakeCountry(const std::string& country, const std::string& key) {
    folder.Write(
        "config/ZentaraCloud/account.json",
        R"({"userId":"me","accessToken":"secret token","accessTokenEnds":99999999999,"refreshToken":"rt","userKeyId1":"1",)"
        R"("userKeyId3":"3","countryCode":")" +
            country + R"(","userKey1":")" + key + R"(","userKey3":")" + key + key + R"("})");
    ASSERT_TRUE(UserAuthService::GetInstance()->Load());
  }

  std::string Respond(const std::string& request) {
    const std::lock_guard hold(turn);
    if (request.starts_with("POST")) return LoopbackServer::Answer(200, told);
    const std::string path = request.substr(4, request.find(' ', 4) - 4);
    const auto found = contents.find(path);
    if (found == contents.end()) return LoopbackServer::Answer(404, "gone");
    if (expired.erase(path) != 0) return LoopbackServer::Answer(403, "expired");
    const std::string range = HeaderOf(request, "Range");
    if (!givesRanges || range == "(none)") return LoopbackServer::Answer(200, found->second);
    const auto start = std::stoul(range.substr(range.find('=') + 1));
    const auto end =
        range.ends_with('-') ? found->second.size() : std::stoul(range.substr(range.find('-') + 1)) + 1;
    return LoopbackServer::Answer(206, found->second.substr(start, end - start));
  }

  // What a file's address is asked for by, answered with where `path` is.
  void TellUrl(const std::string& path) {
    told = R"({"code":0,"info":"","urlList":[{"uniqueId":"old-1","url":")" + server.Url() + path + R"("}]})";
  }

  FilePtr OldFile(const std::wstring& name = L"beach.jpg") {
    const FilePtr file = CloudFile("old-1", "album-7");
    file->SetFileName(name);
    file->SetFileId("id-original");
    file->SetHash("hash-1");
    Add({file});
    return file;
  }
  FilePtr WithThumbnails(const FilePtr& file) {
    file->SetThumbFileId("id-small");
    file->SetLcdFileId("id-large");
    return file;
  }

  // What the test sets and the server answers are apart by a request; the thread
  // sanitizer sees only locks.
  void Meet() { const std::lock_guard hold(turn); }
  void Fetch(const FilePtr& file, bool isLcd = false) {
    Meet();
    std::promise<void> done;
    ThumbnailHelper::GetInstance().DownloadThumbs(
        {{file, isLcd, false, [&done](const FilePtr&) { done.set_value(); }, {}}});
    done.get_future().wait();
    Meet();
  }
  static fs::path SmallOf(const FilePtr& file) { return platform::NativePath(file->ThumbnailName()); }
  static fs::path LargeOf(const FilePtr& file) { return platform::NativePath(file->LcdName()); }
  std::vector<std::string> Names(const std::string& below) const {
    std::vector<std::string> names;
    std::error_code error;
    for (const auto& entry : fs::recursive_directory_iterator(folder / below, error))
      if (entry.is_regular_file()) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }

  std::shared_ptr<GalleryDownloadTask> Task(const FilePtr& file, std::int64_t size) {
    file->Size = size;
    DownloadTaskProperty row;
    row.FileName = file->FileName();
    row.UniqueId = file->UniqueId();
    row.FileId = file->FileId();
    row.TotalLength = size;
    row.LocalPath = folder.Wide("downloaded/") + file->FileName();
    auto task = std::make_shared<GalleryDownloadTask>(row);
    EXPECT_TRUE(task->AddToDB());
    return task;
  }
  bool Run(TransferTask& task) {
    Meet();
    task.SetStatus(TaskStatus::Waiting, 0);
    task.SetStatus(TaskStatus::Running, 0);
    const bool done = task.StartTask();
    Meet();
    return done;
  }

  std::string OpenSsl(const std::string& key, const std::string& plain) {
    folder.Write("plain", plain);
    const std::string command = std::string("openssl enc -aes-128-cbc -K ") + key + " -iv " + kIv + " -in " +
                                (folder / "plain").string() + " -out " + (folder / "sealed").string();
    EXPECT_EQ(std::system(command.c_str()), 0);
    return Contents(folder / "sealed");
  }
  // Goes on in the regional service, whose file record has these items.
  void TellRegional(const std::string& items, const std::string& size, const std::string& iv = kIv) {
    TakeCountry("DE", kUserKey);
    told = R"({"code":0,"info":"","file":{"type":"File","name":"beach.jpg","size":)" + size + R"(,"e_iv":")" +
           iv + R"(","e_fek":")" + kIv + Hex(OpenSsl(kUserKey, kKey)) + R"(","items":[)" + items + "]}}";
  }
  std::string Item(const std::string& name, const std::vector<std::string>& slices) {
    std::string list;
    for (std::size_t i = 0; i < slices.size(); ++i) {
      const std::string path = "/" + name + "/" + std::to_string(i);
      contents[path] = slices[i];
      list += std::string(i > 0 ? "," : "") + R"({"length":)" + std::to_string(slices[i].size()) +
              R"(,"downloadUrl":{"url":")" + server.Url() + path + R"(","headers":{"x-part":"p)" +
              std::to_string(i) + R"("}}})";
    }
    return R"({"name":")" + name + R"(","slices":[)" + list + "]}";
  }

  std::mutex turn;
  std::string told;
  std::map<std::string, std::string> contents;
  std::set<std::string> expired;  // answered with 403 once
  bool givesRanges = true;
  LoopbackServer server{[this](const std::string& request) { return Respond(request); }};
};

TEST_F(OldCloudTest, SmallThumbnailComesByTheAddressThatTheServiceTells) {
  const FilePtr file = WithThumbnails(OldFile());
  contents["/small"] = JpegWith("", 60, 40);
  TellUrl("/small");
  Fetch(file);
  EXPECT_EQ(Contents(SmallOf(file)), contents["/small"]);
  EXPECT_THAT(Names("cache"), SizeIs(1));
  const auto requests = server.Requests();
  ASSERT_THAT(requests, SizeIs(2));
  EXPECT_TRUE(requests[0].starts_with(kPath)) << requests[0];
  const Json::Value body = BodyOf(requests[0]);
  EXPECT_EQ(body["cmd"].asString(), "cloudphoto.file.getUrl");
  EXPECT_EQ(body["ownerId"].asString(), "me");
  ASSERT_EQ(body["fileList"].size(), 1U);
  const Json::Value& asked = body["fileList"][0];
  EXPECT_EQ(asked["albumId"].asString(), "album-7");
  EXPECT_EQ(asked["uniqueId"].asString(), "old-1");
  EXPECT_EQ(asked["hash"].asString(), "hash-1");
  EXPECT_EQ(asked["fileId"].asString(), "id-small");
  EXPECT_EQ(asked["type"].asInt(), 2);
}

TEST_F(OldCloudTest, CommandsCarryTheLegacyAuthorization) {
  const FilePtr file = WithThumbnails(OldFile());
  contents["/small"] = JpegWith("", 60, 40);
  TellUrl("/small");
  Fetch(file);
  for (const std::string& request : server.Requests()) {
    const std::string sent = HeaderOf(request, "Authorization");
    ASSERT_NE(sent, "(none)");
    folder.Write("sent", sent);
    ASSERT_EQ(std::system(
                  ("base64 -d " + (folder / "sent").string() + " > " + (folder / "opened").string()).c_str()),
              0);
    EXPECT_TRUE(Contents(folder / "opened").starts_with("8:"));
    EXPECT_TRUE(Contents(folder / "opened").ends_with("::secret+token"));
  }
}

TEST_F(OldCloudTest, ScreenPictureIsAskedForByItsOwnId) {
  const FilePtr file = WithThumbnails(OldFile());
  contents["/large"] = JpegWith("", 120, 80);
  TellUrl("/large");
  Fetch(file, true);
  EXPECT_EQ(Contents(LargeOf(file)), contents["/large"]);
  const Json::Value asked = BodyOf(server.Requests().at(0))["fileList"][0];
  EXPECT_EQ(asked["fileId"].asString(), "id-large");
  EXPECT_EQ(asked["type"].asInt(), 1);
}

TEST_F(OldCloudTest, FileInTheBinIsAskedForInTheBinsAlbum) {
  const FilePtr file = WithThumbnails(OldFile());
  file->SetRecycleAlbumId("default-album-3");
  contents["/small"] = JpegWith("", 60, 40);
  TellUrl("/small");
  Fetch(file);
  EXPECT_EQ(BodyOf(server.Requests().at(0))["fileList"][0]["albumId"].asString(), "default-album-3");
}

TEST_F(OldCloudTest, FilmHasItsPosterForAThumbnail) {
  const FilePtr file = OldFile(L"waves.mp4");
  file->SavedFileType = 4;
  file->SetVideoThumbId("id-poster");
  contents["/poster"] = JpegWith("", 60, 40);
  TellUrl("/poster");
  Fetch(file);
  EXPECT_EQ(Contents(SmallOf(file)), contents["/poster"]);
  EXPECT_EQ(BodyOf(server.Requests().at(0))["fileList"][0]["type"].asInt(), 3);
}

TEST_F(OldCloudTest, FilmWithoutAPosterIsNotFetchedForItsThumbnail) {
  const FilePtr file = OldFile(L"waves.mp4");
  file->SavedFileType = 4;
  contents["/film"] = "a film";
  TellUrl("/film");
  Fetch(file);
  EXPECT_THAT(server.Requests(), IsEmpty());
  EXPECT_THAT(Names("cache"), IsEmpty());
}

TEST_F(OldCloudTest, PictureWithoutThumbnailsGetsOneOfItsOriginal) {
  const FilePtr file = OldFile();
  contents["/original"] = JpegWith("", 1000, 500);
  TellUrl("/original");
  Fetch(file);
  EXPECT_EQ(BodyOf(server.Requests().at(0))["fileList"][0]["type"].asInt(), 0);
  ASSERT_TRUE(fs::exists(SmallOf(file)));
  EXPECT_LT(fs::file_size(SmallOf(file)), contents["/original"].size());
  EXPECT_THAT(Names("cache"), SizeIs(1));
}

TEST_F(OldCloudTest, OriginalOfWhichNoThumbnailCanBeMadeIsNamed) {
  const LogText log;
  const FilePtr file = OldFile();
  contents["/original"] = "no picture";
  TellUrl("/original");
  Fetch(file);
  EXPECT_THAT(Names("cache"), IsEmpty());
  EXPECT_TRUE(log.Has("download thumb error:Create Thumbnail failed! file id: " + file->UniqueId()));
}

TEST_F(OldCloudTest, ExpiredAddressOfAThumbnailIsAskedForAnew) {
  const FilePtr file = WithThumbnails(OldFile());
  contents["/small"] = JpegWith("", 60, 40);
  expired = {"/small"};
  TellUrl("/small");
  Fetch(file);
  EXPECT_EQ(Contents(SmallOf(file)), contents["/small"]);
  EXPECT_THAT(server.Requests(), SizeIs(4));
}

TEST_F(OldCloudTest, RefusedOrUselessAnswersLeaveNoThumbnail) {
  const FilePtr file = WithThumbnails(OldFile());
  contents["/text"] = "no picture";
  for (const std::string& answer :
       {std::string(R"({"code":30,"info":"no such file"})"), std::string(R"({"code":0,"urlList":[]})"),
        std::string(R"({"code":0})"), std::string("no json"), std::string("[]"), std::string("{}"),
        R"({"code":0,"urlList":[{"url":")" + server.Url() + R"(/text"}]})",
        R"({"code":0,"urlList":[{"url":")" + server.Url() + R"(/nothing"}]})",
        std::string(R"({"code":0,"urlList":[{"url":"ftp://x/y"}]})")}) {
    SCOPED_TRACE(answer);
    told = answer;
    Fetch(file);
    EXPECT_THAT(Names("cache"), IsEmpty());
  }
  file->SetUniqueId("");
  EXPECT_FALSE(ThumbnailHelper::GetInstance().DownloadThumbnailV1(file, false, {}));
}

TEST_F(OldCloudTest, RegionalThumbnailIsOpenedWithTheUsersKey) {
  const FilePtr file = OldFile();
  const std::string small = JpegWith("", 60, 40), large = JpegWith("", 120, 80);
  TellRegional(Item("small", {OpenSsl(kKey, small)}) + "," + Item("large", {OpenSsl(kKey, large)}), "5000");
  Fetch(file);
  Fetch(file, true);
  EXPECT_EQ(Contents(SmallOf(file)), small);
  EXPECT_EQ(Contents(LargeOf(file)), large);
  EXPECT_THAT(Names("cache"), SizeIs(2));
  const auto requests = server.Requests();
  ASSERT_THAT(requests, SizeIs(4));
  EXPECT_EQ(BodyOf(requests[0])["path"].asString(), "/GallerySync/beach.jpg");
  EXPECT_TRUE(requests[1].starts_with("GET /small/0 "));
  EXPECT_EQ(HeaderOf(requests[1], "x-part"), "p0");
  EXPECT_TRUE(requests[3].starts_with("GET /large/0 "));
}

TEST_F(OldCloudTest, RegionalFileInTheBinLiesInTheBinsFolder) {
  const FilePtr file = OldFile();
  file->SetRecycleAlbumId("default-album-3");
  const std::string small = JpegWith("", 60, 40);
  TellRegional(Item("small", {OpenSsl(kKey, small)}), "5000");
  Fetch(file);
  EXPECT_EQ(Contents(SmallOf(file)), small);
  EXPECT_EQ(BodyOf(server.Requests().at(0))["path"].asString(), "/GallerySyncRecycle/beach.jpg");
}

TEST_F(OldCloudTest, RegionalThumbnailUnderAnotherKeyIsThrownAway) {
  const FilePtr file = OldFile();
  TellRegional(Item("small", {OpenSsl(kKey, JpegWith("", 60, 40))}), "5000");
  TakeCountry("DE", "ffffffffffffffffffffffffffffffff");
  Fetch(file);
  EXPECT_THAT(Names("cache"), IsEmpty());
}

TEST_F(OldCloudTest, OriginalComesByItsAddress) {
  const FilePtr file = OldFile();
  contents["/original"] = std::string(100'000, 'o');
  TellUrl("/original");
  const auto task = Task(file, 100'000);
  ASSERT_TRUE(Run(*task));
  EXPECT_TRUE(Contents(folder / "downloaded/beach.jpg") == contents["/original"]);
  EXPECT_THAT(Names("downloaded"), ElementsAre("beach.jpg"));
  EXPECT_EQ(file->LocalPath(), task->GetLocalPath());
  const Json::Value asked = BodyOf(server.Requests().at(0))["fileList"][0];
  EXPECT_EQ(asked["fileId"].asString(), "id-original");
  EXPECT_EQ(asked["type"].asInt(), 0);
}

TEST_F(OldCloudTest, CopyOfAPictureComesByItsAddressInParts) {
  const FilePtr file = OldFile();
  contents["/original"] = std::string(std::size_t{4} << 20, 'a') + "the rest";
  file->Size = static_cast<std::int64_t>(contents["/original"].size());
  TellUrl("/original");
  Meet();
  ASSERT_EQ(CopyContent(file, folder / "copy.jpg", [] { return true; }), StreamContent::Outcome::Done);
  Meet();
  EXPECT_TRUE(Contents(folder / "copy.jpg") == contents["/original"]);
  EXPECT_EQ(BodyOf(server.Requests().at(0))["fileList"][0]["type"].asInt(), 0);
}

TEST_F(OldCloudTest, AddressesElsewhereNeverSeeTheSession) {
  const FilePtr file = OldFile();
  LoopbackServer elsewhere({LoopbackServer::Answer(200, "abc")});
  told = R"({"code":0,"urlList":[{"url":")" + elsewhere.Url() + R"(/x"}]})";
  ASSERT_TRUE(Run(*Task(file, 3)));
  ASSERT_THAT(elsewhere.Requests(), SizeIs(1));
  EXPECT_EQ(HeaderOf(elsewhere.Requests()[0], "Authorization"), "(none)");
  EXPECT_EQ(HeaderOf(elsewhere.Requests()[0], "userId"), "(none)");
}

TEST_F(OldCloudTest, InterruptedDownloadGoesOnBehindWhatIsThere) {
  for (const bool ranges : {true, false}) {
    SCOPED_TRACE(ranges);
    givesRanges = ranges;
    const FilePtr file = OldFile();
    contents["/original"] = std::string(60'000, 'a') + std::string(40'000, 'b');
    TellUrl("/original");
    const auto task = Task(file, 100'000);
    task->Position = 60'000;
    folder.Write("downloaded/beach.jpg.download", std::string(60'000, 'a'));
    const std::size_t before = server.Requests().size();
    ASSERT_TRUE(Run(*task));
    EXPECT_TRUE(Contents(folder / "downloaded/beach.jpg") == contents["/original"]);
    EXPECT_EQ(HeaderOf(server.Requests().at(before + 1), "Range"), "bytes=60000-");
    fs::remove(folder / "downloaded/beach.jpg");
  }
}

TEST_F(OldCloudTest, ExpiredAddressOfAnOriginalIsAskedForAnew) {
  const FilePtr file = OldFile();
  contents["/original"] = "original";
  expired = {"/original"};
  TellUrl("/original");
  ASSERT_TRUE(Run(*Task(file, 8)));
  EXPECT_EQ(Contents(folder / "downloaded/beach.jpg"), "original");
}

TEST_F(OldCloudTest, OriginalOfAnotherLengthIsNoOriginal) {
  const FilePtr file = OldFile();
  contents["/original"] = "short";
  TellUrl("/original");
  const auto task = Task(file, 100);
  EXPECT_FALSE(Run(*task));
  EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kService);
  EXPECT_FALSE(fs::exists(folder / "downloaded/beach.jpg"));
}

TEST_F(OldCloudTest, OriginalWithoutAnAddressFailsForGood) {
  const FilePtr file = OldFile();
  told = R"({"code":30,"info":"no such file"})";
  const auto task = Task(file, 100);
  EXPECT_FALSE(Run(*task));
  EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kNoUrl);
  EXPECT_EQ(task->LastErr().outage, TransferErrorInterface::Outage::No);
}

TEST_F(OldCloudTest, RegionalOriginalIsOpenedWhenAllItsSlicesAreThere) {
  const FilePtr file = OldFile();
  const std::string plain = std::string(50'000, 'r') + std::string(30'001, 's');
  const std::string sealed = OpenSsl(kKey, plain);
  TellRegional(Item("qorvex_s3_file", {sealed.substr(0, 40'000), sealed.substr(40'000)}), "80001");
  const auto task = Task(file, 80'001);
  ASSERT_TRUE(Run(*task));
  EXPECT_TRUE(Contents(folder / "downloaded/beach.jpg") == plain);
  EXPECT_THAT(Names("downloaded"), ElementsAre("beach.jpg"));
  EXPECT_EQ(BodyOf(server.Requests().at(0))["path"].asString(), "/GallerySync/beach.jpg");
  EXPECT_EQ(HeaderOf(server.Requests().at(2), "x-part"), "p1");
}

TEST_F(OldCloudTest, RegionalDownloadGoesOnBehindWholeSlices) {
  const FilePtr file = OldFile();
  const std::string plain(80'001, 'r'), sealed = OpenSsl(kKey, plain);
  TellRegional(Item("qorvex_s3_file", {sealed.substr(0, 40'000), sealed.substr(40'000)}), "80001");
  const auto task = Task(file, 80'001);
  task->Position = 40'000;
  folder.Write("downloaded/beach.jpg.download", sealed.substr(0, 45'000));
  ASSERT_TRUE(Run(*task));
  EXPECT_TRUE(Contents(folder / "downloaded/beach.jpg") == plain);
  ASSERT_THAT(server.Requests(), SizeIs(2));
  EXPECT_TRUE(server.Requests()[1].starts_with("GET /qorvex_s3_file/1 "));
}

TEST_F(OldCloudTest, DamagedRegionalOriginalLeavesNothing) {
  const FilePtr file = OldFile();
  const std::string plain(8'001, 'r'), sealed = OpenSsl(kKey, plain);
  const auto fails = [&](const std::string& item, const std::string& iv = kIv) {
    TellRegional(item, "8001", iv);
    const auto task = Task(file, 8'001);
    EXPECT_FALSE(Run(*task));
    EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kService);
    EXPECT_FALSE(fs::exists(folder / "downloaded/beach.jpg"));
    EXPECT_FALSE(fs::exists(folder / "downloaded/beach.jpg.crypt"));
    EXPECT_TRUE(task->DeleteFromDB());
  };
  std::string damaged = sealed;
  damaged.back() = static_cast<char>(damaged.back() ^ 1);
  fails(Item("qorvex_s3_file", {damaged}));
  fails(Item("qorvex_s3_file", {OpenSsl(kKey, plain + "more than a block of more")}));
  fails(Item("qorvex_s3_file", {sealed}), "f0");
  const std::string item = Item("qorvex_s3_file", {sealed});
  contents["/qorvex_s3_file/0"] = sealed.substr(16);
  fails(item);
}

}  // namespace
