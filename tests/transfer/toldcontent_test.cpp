// Contents as a record of the cloud tells them, also where no healthy cloud would.

#include <gmock/gmock.h>

#include <fstream>
#include <thread>

#include "common/platform/paths.h"
#include "contenttest.h"
#include "host/base/globalparamwrapper.h"
#include "loopbackserver.h"
#include "tests/platform/filesizelimit.h"
#include "transfer/contentcrypto.h"
#include "transfer/httpfetch.h"
#include "utils/globaldata.h"

namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
using E = TransferErrorInterface;

// The text kFox and its ciphertext, made with the openssl command line:
//   openssl enc -aes-128-cbc -K 19cef7...d9c1 -iv f2817c...4304
constexpr char kFox[] = "The quick brown fox jumps over the lazy dog";
constexpr char kFoxSha256[] = "d7a8fbb307d7809469ca9abcb0082e4f8d5651e46d3cdb762d02d0bf37c9e592";
constexpr char kSealed[] =
    "2d45a20b2ce89269b84ce59b521eb570f008b616bda9bb186d61908f1c57fb8f142ab31d6fa09dccb2ac238103b88505";
constexpr char kSealedNothing[] = "7d82b7b21f72e50737e9df3cafa05fc5";

std::string Ok(const std::string& body) { return LoopbackServer::Answer(200, body); }

class ToldContentTest : public ContentTest {
 protected:
  void SetUp() override {
    ContentTest::SetUp();
    file = CloudFile("m");
    file->SetFileName(L"fox.jpg");
    file->Size = 43;
    Add({file});
    media["id"] = "m";
  }
  // The content in one object at `url`.
  Json::Value& Content(const std::string& url) {
    Json::Value& content = media["attachments"][0];
    content["usage"] = "content";
    content["status"] = 1;
    Json::Value& asset = content["asset"];
    asset["id"] = "asset-1";
    asset["versionId"] = "version-1";
    asset["cipher"]["iv"] = "f2817c1df3a626e4c5dfffc88e6e4304";
    asset["cipher"]["hmac"] = "19cef782d548b76d9e5e1b5c057dd9c1f2817c1df3a626e4c5dfffc88e6e4304";
    asset["resource"]["length"] = 43;
    asset["resource"]["sha256"] = kFoxSha256;
    Json::Value& object = asset["resource"]["objects"][0];
    object["number"] = 7;
    object["length"] = 48;
    object["downloadUrl"]["url"] = url;
    return asset;
  }
  void OnlyAThumbnail(const std::string& url) {
    media["attachments"][0]["usage"] = "thumbnail";
    media["thumbnailDownloadLink"] = url;
  }
  // One run with a service that answers with the record, and then with these.
  bool RunWith(const std::vector<std::string>& more = {}) {
    std::vector<std::string> answers{Ok(media.toStyledString())};
    answers.insert(answers.end(), more.begin(), more.end());
    LoopbackServer service(answers);
    GoTo(service.Url());
    task = DownloadTask(file, platform::NativePath(file->FileName()).string());
    const bool done = Run(*task);
    asked = service.Requests();
    return done;
  }

  FilePtr file;
  Json::Value media{Json::objectValue};
  std::shared_ptr<GalleryDownloadTask> task;
  std::vector<std::string> asked;  // of the service
};

TEST_F(ToldContentTest, LengthOfASliceIsRaisedToWholeBlocks) {
  LoopbackServer objects({Ok(ContentCrypto::FromHex(kSealed) + "what comes behind")});
  Content(objects.Url() + "/o")["resource"]["objects"][0]["length"] = 2 * 16 + 5;
  ASSERT_TRUE(RunWith());
  EXPECT_EQ(Bytes(task), kFox);
}

TEST_F(ToldContentTest, ShortSliceIsNoContent) {
  LoopbackServer objects({Ok(ContentCrypto::FromHex(kSealed).substr(0, 47))});
  Content(objects.Url() + "/o");
  EXPECT_FALSE(RunWith());
  EXPECT_EQ(task->LastErr().code, E::kService);
  EXPECT_THAT(task->LastErr().cause, HasSubstr("slice file length check failed! fileid: m"));
}

TEST_F(ToldContentTest, SliceOfNothingButPaddingIsNoContent) {
  LoopbackServer objects({Ok(ContentCrypto::FromHex(kSealedNothing))});
  Content(objects.Url() + "/o")["resource"]["objects"][0]["length"] = 16;
  EXPECT_FALSE(RunWith());
  EXPECT_EQ(task->LastErr().cause, "Decrypt Error! fileid: m");
}

TEST_F(ToldContentTest, SliceWithoutAnAddressIsNamed) {
  Content("");
  EXPECT_FALSE(RunWith());
  EXPECT_THAT(task->LastErr().cause, HasSubstr("get url failed! objects: 7"));
  EXPECT_EQ(task->LastErr().outage, E::Outage::No);
}

TEST_F(ToldContentTest, FailedSliceDoesNotWaitForTheNextOne) {
  LoopbackServer objects({Ok(std::string(48, 'x'))});
  Json::Value& list = Content(objects.Url() + "/o")["resource"]["objects"];
  list[1] = list[0];
  list[1]["start"] = 43;
  list[1]["downloadUrl"]["url"] = server.Url() + "/cloudPhoto/v1/objects/slow";
  server.Fault(R"({"method":"GET","path":"/objects/","delayMs":3600000})");
  // Nothing but the failure ends the wait for it.
  std::ofstream(folder / "config/ZentaraCloud/settings.json") << R"({"timeoutLowSpeedSeconds":0})";
  ASSERT_TRUE(GlobalParamWrapper::GetInstance()->Load());
  EXPECT_FALSE(RunWith());
  EXPECT_EQ(task->LastErr().cause, "Decrypt Error! fileid: m");
}

TEST_F(ToldContentTest, DeletedAssetHasNoUrl) {
  LoopbackServer objects({Ok(ContentCrypto::FromHex(kSealed))});
  Content(objects.Url() + "/o")["deleted"] = true;
  EXPECT_FALSE(RunWith());
  EXPECT_EQ(task->LastErr().code, E::kNoUrl);
  EXPECT_THAT(task->LastErr().cause, HasSubstr(" attachment size is: 1"));
  EXPECT_THAT(objects.Requests(), IsEmpty());
}

TEST_F(ToldContentTest, RecordThatSaysSoMarksTheMigration) {
  GlobalData::GalleryMigrated = false;
  LoopbackServer objects({Ok(ContentCrypto::FromHex(kSealed))});
  Content(objects.Url() + "/o");
  media["properties"]["migrate"] = "1";
  const LogText log;
  ASSERT_TRUE(RunWith());
  EXPECT_TRUE(GlobalData::GalleryMigrated);
  EXPECT_TRUE(log.Has("gallery has migreted, migrate = 1."));
  GlobalData::GalleryMigrated = false;
}

TEST_F(ToldContentTest, OnlyAThumbnailStandsForAnImageWhateverItsLength) {
  LoopbackServer links({Ok("a small picture")});
  OnlyAThumbnail(links.Url() + "/t");
  ASSERT_TRUE(RunWith());
  EXPECT_EQ(Bytes(task), "a small picture");
  EXPECT_EQ(task->GetTotalSize(), 15);
}

TEST_F(ToldContentTest, OnlyAThumbnailIsNoFilm) {
  LoopbackServer links({Ok("a small picture")});
  OnlyAThumbnail(links.Url() + "/t");
  file->SetFileName(L"fox.mp4");
  EXPECT_FALSE(RunWith());
  EXPECT_EQ(task->LastErr().code, E::kNoUrl);
  EXPECT_THAT(links.Requests(), IsEmpty());
}

TEST_F(ToldContentTest, ContentWithoutObjectsComesByItsLinkWhateverItsLength) {
  LoopbackServer links({Ok("another length")});
  Content("")["resource"].removeMember("objects");
  media["contentDownloadLink"] = links.Url() + "/c";
  const LogText log;
  ASSERT_TRUE(RunWith());
  EXPECT_EQ(Bytes(task), "another length");
  EXPECT_TRUE(log.Has("download from fileproxy, fileid: m"));
}

TEST_F(ToldContentTest, SessionGoesToTheServiceAlone) {
  const std::string own = server.Url();
  EXPECT_THAT(SessionHeaders(own + "/c?x=1"), ElementsAre(testing::StartsWith("Authorization:Bearer ")));
  const std::string port = own.substr(own.rfind(':'));
  for (const std::string& url :
       {"http://127.0.0.2" + port + "/c", std::string("http://127.0.0.1:1/c"),
        "https://127.0.0.1" + port + "/c", own + "@127.0.0.2/c", std::string(), std::string("/c")}) {
    EXPECT_THAT(SessionHeaders(url), IsEmpty()) << url;
  }
  LoopbackServer links({Ok(kFox)});
  Content("").removeMember("cipher");
  media["contentDownloadLink"] = links.Url() + "/c";
  ASSERT_TRUE(RunWith());
  EXPECT_EQ(Bytes(task), kFox);
  EXPECT_THAT(asked[0], HasSubstr("Authorization:Bearer "));
  EXPECT_THAT(links.Requests(), ElementsAre(Not(HasSubstr("Authorization"))));
}

TEST_F(ToldContentTest, ExpiredAddressWithoutAFreshOneEndsTheRun) {
  LoopbackServer objects({LoopbackServer::Answer(403, "")});
  Content(objects.Url() + "/o");
  Json::Value changed = media;
  changed["attachments"][0]["asset"]["resource"]["sha256"] = std::string(64, 'a');
  const std::vector<std::pair<std::string, std::string>> answers{
      {"", "net error! info:"},
      {LoopbackServer::Answer(410, R"({"error":{"status":410,"description":"d","errors":[]}})"),
       "GetUrl error:status:410"},
      {LoopbackServer::Answer(502, "no record"), "service error! http code:502"},
      {Ok(changed.toStyledString()), "update url from server fail, fileid: m"}};
  for (const auto& [answer, text] : answers) {
    SCOPED_TRACE(text);
    const LogText log;
    EXPECT_FALSE(RunWith({answer}));
    EXPECT_EQ(task->LastErr().cause, "update url from server fail, fileid: m");
    EXPECT_TRUE(log.Has(text));
  }
}

TEST_F(ToldContentTest, AddressThatAlwaysExpiresIsAskedForUntilTheUserStops) {
  LoopbackServer objects({LoopbackServer::Answer(403, "")});
  Content(objects.Url() + "/o");
  std::thread user([&] {
    while (objects.Requests().size() < 5) std::this_thread::yield();
    task->StopTask(TaskStatus::PausedByUser, 0);
  });
  EXPECT_FALSE(RunWith());
  user.join();
  EXPECT_EQ(task->Status(), TaskStatus::PausedByUser);
}

TEST_F(ToldContentTest, FileThatLeftTheGalleryStillArrives) {
  LoopbackServer objects({Ok(ContentCrypto::FromHex(kSealed))});
  Content(objects.Url() + "/o");
  ASSERT_EQ(gallery.RemoveFiles({file}), 1u);
  ASSERT_TRUE(RunWith());
  EXPECT_EQ(Bytes(task), kFox);
  EXPECT_EQ(task->LastErr().code, E::kRecordNotFound);
  EXPECT_EQ(task->LastErr().level, E::kInfo);
}

TEST_F(ToldContentTest, FirstGenerationIsAskedForNoRecordOfTheSecond) {
  GlobalData::cloudGeneration = GlobalData::kGenerationV1;
  EXPECT_FALSE(RunWith());
  EXPECT_EQ(task->LastErr().code, E::kNoUrl);
  EXPECT_EQ(task->LastErr().outage, E::Outage::No);
  EXPECT_THAT(asked, Each(StartsWith("POST /JPJX/CloudPhoto ")));
}

// --- Lost contents

class LostContentTest : public ToldContentTest {
 protected:
  void SetUp() override {
    ToldContentTest::SetUp();
    Content(objects.Url() + "/o");
    media["contentDownloadLink"] = proxy.Url() + "/c";
  }
  LoopbackServer objects{{LoopbackServer::Answer(404, "")}};
  LoopbackServer proxy{{Ok(kFox)}};
};

TEST_F(LostContentTest, ComesThroughTheProxyAndIsReported) {
  const LogText log;
  ASSERT_TRUE(RunWith({Ok(R"({"id":"m"})")}));
  EXPECT_EQ(Bytes(task), kFox);
  EXPECT_EQ(task->LastErr().code, E::kNone);
  EXPECT_EQ(Row("m")->cloudContentStatus, 2);
  ASSERT_THAT(asked, SizeIs(2));
  EXPECT_THAT(asked[1], AllOf(HasSubstr("PATCH /cloudPhoto/v1/media/m/assets/asset-1/revisions/version-1"),
                              HasSubstr(R"({"status":1})")));
  EXPECT_TRUE(log.Has("Download file lost content, fileid: m"));
  EXPECT_TRUE(log.Has("download file from fileproxy, filename: m"));
  EXPECT_TRUE(log.Has("update file content status is 2, fileID is: m"));
  // Both are told: the fetch with the status as it was, the report with the new one.
  const std::string operations = log.Operations();
  for (const char* text : {R"("mediaId":"m")", R"("fileSize":"43")", R"("assetId":"asset-1")",
                           R"("versionId":"version-1")", R"("status":"1")"}) {
    const auto first = operations.find(text);
    ASSERT_NE(first, std::string::npos) << text;
    EXPECT_NE(operations.find(text, first + 1), std::string::npos) << text;
  }
}

TEST_F(LostContentTest, ReportThatFailsIsLoggedAndTheContentStays) {
  const std::vector<std::pair<std::string, std::string>> answers{
      {"", "net error! curlcode: "},
      {LoopbackServer::Answer(410, R"({"error":{"status":410,"description":"d","errors":[]}})"),
       "net request error! status:410"},
      {LoopbackServer::Answer(502, "no record"), "net request error! httpcode: 502"}};
  for (const auto& [answer, text] : answers) {
    SCOPED_TRACE(text);
    const LogText log;
    ASSERT_TRUE(RunWith({answer}));
    EXPECT_EQ(Bytes(task), kFox);
    EXPECT_TRUE(log.Has(text));
    std::filesystem::remove_all(folder / "downloaded");
  }
}

TEST_F(LostContentTest, StatusThatIsSetAlreadyIsNotWrittenAgain) {
  file->cloudContentStatus = 2;
  const LogText log;
  ASSERT_TRUE(RunWith({Ok(R"({"id":"m"})")}));
  EXPECT_TRUE(log.Has("status is already 2, no updatecontent status, fileID is: m"));
}

TEST_F(LostContentTest, WithoutALinkTheLossIsTheReason) {
  media.removeMember("contentDownloadLink");
  EXPECT_FALSE(RunWith());
  EXPECT_EQ(task->LastErr().code, E::kService);
  EXPECT_EQ(task->LastErr().cause, "the cloud has lost the content");
  EXPECT_EQ(task->LastErr().outage, E::Outage::No);
}

TEST_F(LostContentTest, OtherBytesOfTheProxyAreRefused) {
  LoopbackServer wrong({Ok(std::string(43, 'x'))});
  media["contentDownloadLink"] = wrong.Url() + "/c";
  EXPECT_FALSE(RunWith());
  EXPECT_EQ(Bytes(task), "(none)");
  EXPECT_THAT(asked, SizeIs(1));
}

TEST_F(LostContentTest, FullDiskIsNoFaultOfTheProxy) {
  LoopbackServer large({Ok(std::string(3 << 20, 'x'))});
  media["contentDownloadLink"] = large.Url() + "/c";
  {
    const FileSizeLimit fullDisk(2 << 20);
    EXPECT_FALSE(RunWith());
  }
  EXPECT_EQ(task->LastErr().code, E::kNoSpaceOnDisk);
  EXPECT_THAT(task->LastErr().cause, HasSubstr("file write failed!"));
  EXPECT_THAT(Downloads(), IsEmpty());
}

}  // namespace
