#include "contenttest.h"

#include <gmock/gmock.h>

#include <fstream>
#include <thread>

#include "common/platform/paths.h"
#include "host/base/globalparamwrapper.h"
#include "host/requests/ns/cloudphotov2.h"
#include "transfer/contentcrypto.h"
#include "transfer/gallerytransmanager.h"
#include "utils/globaldata.h"

namespace fs = std::filesystem;

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DownloadTaskTest : public ContentTest {
 protected:
  // A file that is in the cloud, and no longer here.
  FilePtr Uploaded(const std::string& name, const std::string& bytes) {
    auto file = Source(name, bytes);
    EXPECT_TRUE(Upload(file));
    server.ForgetRequests();
    return file;
  }
};

TEST_F(DownloadTaskTest, EverySizeComesBackAsItWas) {
  for (const std::size_t size :
       {std::size_t{1}, std::size_t{15}, std::size_t{16}, std::size_t{17}, std::size_t{kSliceSize - 1},
        std::size_t{kSliceSize}, std::size_t{kSliceSize + 1}, std::size_t{5 * kSliceSize + 3}}) {
    SCOPED_TRACE(size);
    const std::string name = "s" + std::to_string(size);
    const auto file = Uploaded(name, Noise(size, static_cast<unsigned>(size)));
    const auto task = DownloadTask(file, name);
    ASSERT_TRUE(Run(*task));
    EXPECT_EQ(task->Status(), TaskStatus::Completed);
    EXPECT_TRUE(Bytes(task) == Noise(size, static_cast<unsigned>(size)));
    EXPECT_EQ(file->LocalPath(), task->GetLocalPath());
    EXPECT_EQ(Row(file->UniqueId())->LocalPath(), task->GetLocalPath());
  }
  std::vector<DownloadTaskProperty> rows;
  ASSERT_TRUE(DBHelper::GetInstance().GetDownloads(rows));
  EXPECT_THAT(rows, IsEmpty());
}

TEST_F(DownloadTaskTest, FileThatStandsThereIsNotWrittenOver) {
  const auto file = Uploaded("a", Noise(50));
  folder.Write("downloaded/a.jpg", "somebody's own");
  const auto task = DownloadTask(file, "a.jpg");
  ASSERT_TRUE(Run(*task));
  EXPECT_THAT(Downloads(), ElementsAre("a (1).jpg", "a.jpg"));
  EXPECT_TRUE(Bytes(task) == Noise(50));
}

TEST_F(DownloadTaskTest, NameTakenMeanwhileGivesWayToAPlaceThatNoOtherDownloadHas) {
  const auto file = Uploaded("a", Noise(2 * kSliceSize));
  const auto task = DownloadTask(file, "a.jpg");
  task->Position = kSliceSize;
  folder.Write("downloaded/a.jpg.download", Noise(2 * kSliceSize).substr(0, kSliceSize));
  folder.Write("downloaded/a.jpg", "somebody's own");
  // One that waits, and one of which nobody knows any more.
  const auto other = DownloadTask(CloudFile("other"), "a (1).jpg");
  folder.Write("downloaded/a (2).jpg.download", "another one's slice");
  ASSERT_TRUE(Run(*task));
  EXPECT_EQ(platform::NativePath(task->GetLocalPath()), folder / "downloaded/a (3).jpg");
  EXPECT_TRUE(Bytes(task) == Noise(2 * kSliceSize));
  EXPECT_THAT(Downloads(), ElementsAre("a (2).jpg.download", "a (3).jpg", "a.jpg"));
  EXPECT_EQ(CountRequests("GET /cloudPhoto/v1/objects/"), 1u);
}

TEST_F(DownloadTaskTest, OutageIsToldFromWhatWouldFailAgain) {
  const auto file = Uploaded("b", Noise(100));
  using O = TransferErrorInterface::Outage;
  const std::vector<std::pair<std::string, O>> faults{
      {R"("path":"/media/","status":503)", O::Yes},        {R"("path":"/media/","close":true)", O::Yes},
      {R"("path":"/media/","status":404)", O::No},         {R"("path":"/objects/","status":429)", O::Yes},
      {R"("path":"/objects/","cutAfterBytes":9)", O::Yes}, {R"("path":"/objects/","status":410)", O::No}};
  const auto task = DownloadTask(file, "b.jpg");
  for (const auto& [fault, outage] : faults) {
    SCOPED_TRACE(fault);
    server.Fault(R"({"method":"GET","times":0,)" + fault + "}");
    EXPECT_FALSE(Run(*task));
    EXPECT_EQ(task->LastErr().outage, outage);
    server.ClearFaults();
  }
  server.Kill();
  EXPECT_FALSE(Run(*task));
  EXPECT_EQ(task->LastErr().outage, O::Yes);
  GlobalData::cloudGeneration = GlobalData::kGenerationUnknown;
  EXPECT_FALSE(Run(*task));
  EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kVersionUnknown);
  EXPECT_EQ(task->LastErr().outage, O::Yes);
}

TEST_F(DownloadTaskTest, FileThatWasUploadedMeanwhileIsAskedForByItsNewId) {
  const auto file = Uploaded("new", Noise(100));
  const std::string guid = "0F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F0", id = file->UniqueId();
  file->SetGuid(guid);
  ASSERT_TRUE(DBHelper::GetInstance().UpdateFile(file, id));
  const auto task = DownloadTask(file, "new.jpg");
  task->UniqueId = guid;
  const LogText log;
  ASSERT_TRUE(Run(*task));
  EXPECT_TRUE(Bytes(task) == Noise(100));
  EXPECT_EQ(task->GetTransferId(), id);
  EXPECT_TRUE(log.Has("update uniqueId from " + guid + " to " + id));
}

TEST_F(DownloadTaskTest, FolderThatCannotBeSearchedEndsWithAReason) {
  const auto file = Uploaded("c", Noise(100));
  fs::create_symlink("loop", folder / "loop");
  auto& manager = GalleryTransManager::GetInstance();
  const LogText log;
  ASSERT_EQ(manager.GalleryDownload(file, folder.Wide("loop/deeper")), 1u);
  ASSERT_TRUE(manager.WaitUntilIdle(TaskType::Download, nullptr));
  const auto task = manager.Tasks(TaskType::Download).at(0);
  EXPECT_EQ(task->Status(), TaskStatus::Failed);
  EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kNoSpaceOnDisk);
  EXPECT_NE(task->LastErr().cause, "");
  EXPECT_TRUE(log.Has("set local file fail!"));
  manager.DeleteTasks({task});
  const std::string told = log.Operations();
  for (const char* text :
       {R"("event":184)", R"("num":"1")", R"("total":"1")", R"("size":"100")", R"("suf":"jpg:1")"})
    EXPECT_NE(told.find(text), std::string::npos) << text;
}

TEST_F(DownloadTaskTest, RowThatOutlivedItsDownloadMakesNoSecondFile) {
  const auto file = Uploaded("done", Noise(2 * kSliceSize));
  ASSERT_TRUE(Run(*DownloadTask(file, "done.jpg")));
  server.ForgetRequests();
  // As a crash leaves it between the file's name and the end of the row.
  const auto task = DownloadTask(file, "done.jpg");
  task->Position = 2 * kSliceSize;
  ASSERT_TRUE(Run(*task));
  EXPECT_THAT(Downloads(), ElementsAre("done.jpg"));
  EXPECT_EQ(CountRequests("GET /cloudPhoto/v1/objects/"), 0u);
  std::vector<DownloadTaskProperty> rows;
  ASSERT_TRUE(DBHelper::GetInstance().GetDownloads(rows));
  EXPECT_THAT(rows, IsEmpty());
}

TEST_F(DownloadTaskTest, OtherFileOfTheSameSizeIsNotTakenForTheDownload) {
  const auto file = Uploaded("same", Noise(2 * kSliceSize));
  folder.Write("downloaded/same.jpg", Noise(2 * kSliceSize, 99));
  const auto task = DownloadTask(file, "same.jpg");
  task->Position = 2 * kSliceSize;
  ASSERT_TRUE(Run(*task));
  EXPECT_THAT(Downloads(), ElementsAre("same (1).jpg", "same.jpg"));
  EXPECT_TRUE(Bytes(task) == Noise(2 * kSliceSize));
}

TEST_F(DownloadTaskTest, FailedSliceLeavesNoFileAndTheRepeatGoesOnThere) {
  const auto file = Uploaded("four", Noise(4 * kSliceSize));
  server.Fault(R"({"method":"GET","path":"/objects/","nth":3,"times":1,"status":500})");
  const auto task = DownloadTask(file, "four.jpg");
  EXPECT_FALSE(Run(*task));
  EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kService);
  EXPECT_THAT(Downloads(), ElementsAre("four.jpg.download"));
  std::vector<DownloadTaskProperty> rows;
  ASSERT_TRUE(DBHelper::GetInstance().GetDownloads(rows));
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].Position, 2 * kSliceSize);
  server.ForgetRequests();
  // As after a restart: a new task of the row.
  const auto again = std::make_shared<GalleryDownloadTask>(rows[0]);
  ASSERT_TRUE(Run(*again));
  EXPECT_EQ(CountRequests("GET /cloudPhoto/v1/objects/"), 2u);
  EXPECT_TRUE(Bytes(again) == Noise(4 * kSliceSize));
}

TEST_F(DownloadTaskTest, BytesBehindTheStoredPositionAreCut) {
  const auto file = Uploaded("torn", Noise(3 * kSliceSize));
  const auto task = DownloadTask(file, "torn.jpg");
  task->Position = kSliceSize;
  folder.Write("downloaded/torn.jpg.download", Noise(3 * kSliceSize).substr(0, kSliceSize) + "half a slice");
  ASSERT_TRUE(Run(*task));
  EXPECT_TRUE(Bytes(task) == Noise(3 * kSliceSize));
  EXPECT_EQ(CountRequests("GET /cloudPhoto/v1/objects/"), 2u);
}

TEST_F(DownloadTaskTest, BytesOfAnotherFileAreFoundAndTheRepeatStartsOver) {
  const auto file = Uploaded("mixed", Noise(2 * kSliceSize));
  const auto task = DownloadTask(file, "mixed.jpg");
  task->Position = kSliceSize;
  folder.Write("downloaded/mixed.jpg.download", Noise(kSliceSize, 99));
  EXPECT_FALSE(Run(*task));
  EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kService);
  EXPECT_EQ(Bytes(task), "(none)");
  ASSERT_TRUE(Run(*task));
  EXPECT_TRUE(Bytes(task) == Noise(2 * kSliceSize));
}

TEST_F(DownloadTaskTest, EachRequestMayFailAndARepeatFinishes) {
  const std::string bytes = Noise(2 * kSliceSize + 9);
  const auto file = Uploaded("faulty", bytes);
  const std::vector<std::string> faults = {R"("status":403)",       R"("status":500)",
                                           R"("status":503)",       R"("close":true)",
                                           R"("dropRequest":true)", R"("cutAfterBytes":9)"};
  for (const std::string& fault : faults) {
    for (int nth = 1; nth <= 4; ++nth) {
      SCOPED_TRACE(fault + " at request " + std::to_string(nth));
      server.Fault(R"({"method":"GET","path":"/media/|/objects/","nth":)" + std::to_string(nth) + "," +
                   fault + "}");
      const std::string name = "f" + std::to_string(nth);
      const auto task = DownloadTask(file, name);
      if (!Run(*task)) {
        EXPECT_EQ(task->Status(), TaskStatus::Failed);
        EXPECT_NE(task->LastErr().code, TransferErrorInterface::kNone);
        EXPECT_NE(task->LastErr().cause, "");
        EXPECT_EQ(Bytes(task), "(none)");
        server.ClearFaults();
        EXPECT_TRUE(Run(*task));
      }
      server.ClearFaults();
      EXPECT_TRUE(Bytes(task) == bytes);
      fs::remove_all(folder / "downloaded");
    }
  }
}

TEST_F(DownloadTaskTest, ExpiredLinkCostsOneReadAndThatSlice) {
  const auto file = Uploaded("expired", Noise(3 * kSliceSize));
  server.Fault(R"({"method":"GET","path":"/objects/","nth":2,"times":1,"status":403})");
  const auto task = DownloadTask(file, "expired.jpg");
  ASSERT_TRUE(Run(*task));
  EXPECT_EQ(CountRequests("GET /cloudPhoto/v1/objects/"), 4u);
  EXPECT_EQ(CountRequests("GET /cloudPhoto/v1/media/"), 2u);
  EXPECT_TRUE(Bytes(task) == Noise(3 * kSliceSize));
}

TEST_F(DownloadTaskTest, DamagedObjectNeverBecomesAFile) {
  const auto file = Uploaded("damaged", Noise(2 * kSliceSize));
  server.Action(R"({"action":"damageObject","userName":"alice","mediaId":")" + file->UniqueId() +
                R"(","number":1})");
  const auto task = DownloadTask(file, "damaged.jpg");
  EXPECT_FALSE(Run(*task));
  EXPECT_EQ(Bytes(task), "(none)");
}

TEST_F(DownloadTaskTest, LostContentIsMarkedAndComesBackAfterItsReturn) {
  const auto file = Uploaded("lost", Noise(100));
  const std::wstring source = file->LocalPath();
  server.Action(R"({"action":"loseObject","userName":"alice","mediaId":")" + file->UniqueId() + R"("})");
  const auto task = DownloadTask(file, "lost.jpg");
  EXPECT_FALSE(Run(*task));
  EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kService);
  EXPECT_EQ(file->cloudContentStatus, 2);
  EXPECT_EQ(Row(file->UniqueId())->cloudContentStatus, 2);
  ASSERT_TRUE(Upload(file));
  ASSERT_TRUE(Run(*task));
  EXPECT_TRUE(Bytes(task) == Noise(100));
}

TEST_F(DownloadTaskTest, LostVideoIsNotAskedOfTheProxy) {
  const auto file = Source("film", Noise(100));
  file->SetFileName(L"film.mp4");
  ASSERT_TRUE(Upload(file));
  server.Action(R"({"action":"loseObject","userName":"alice","mediaId":")" + file->UniqueId() + R"("})");
  const auto task = DownloadTask(file, "film.mp4");
  const LogText log;
  EXPECT_FALSE(Run(*task));
  EXPECT_TRUE(log.Has("file is video, not download from fileproxy, fileid is: " + file->UniqueId()));
  EXPECT_THAT(Downloads(), IsEmpty());
}

TEST_F(DownloadTaskTest, MediaThatTheCloudForgotLeavesTheGallery) {
  const auto file = Uploaded("forgotten", Noise(100));
  const std::string id = file->UniqueId();
  const auto answer = NS::Request::Sync(
      NS::CloudPhoto::V2::MediaReq::Delete(id, GalleryTransManager::GetInstance().LockToken()));
  ASSERT_EQ(answer.httpCode, 200);
  const auto task = DownloadTask(file, "forgotten.jpg");
  EXPECT_FALSE(Run(*task));
  EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kMediaGone);
  EXPECT_EQ(task->LastErr().level, TransferErrorInterface::kFatal);
  EXPECT_EQ(gallery.GetFile(id), nullptr);
  EXPECT_EQ(Row(id), nullptr);
  std::vector<DownloadTaskProperty> rows;
  ASSERT_TRUE(DBHelper::GetInstance().GetDownloads(rows));
  EXPECT_THAT(rows, IsEmpty());
}

TEST_F(DownloadTaskTest, GoneCoverLeavesTheMembersOfItsBurst) {
  const auto cover = CloudFile("cover"), member = CloudFile("member");
  cover->SetFileName(L"IMG_BURST001_COVER.jpg");
  member->SetFileName(L"IMG_BURST002.jpg");
  for (const auto& file : {cover, member}) file->ParseBurstName();
  Add({cover, member});
  ASSERT_TRUE(cover->HasMember(member));
  EXPECT_FALSE(Run(*DownloadTask(cover, "cover.jpg")));
  EXPECT_EQ(gallery.GetFile("cover"), nullptr);
  EXPECT_EQ(Row("cover"), nullptr);
  EXPECT_EQ(gallery.GetFile("member"), member);
  EXPECT_NE(Row("member"), nullptr);
}

TEST_F(DownloadTaskTest, GoneMediaThatOnlyTheTableKnowsLosesItsRow) {
  const auto file = CloudFile("hidden");
  Add({file});
  ASSERT_EQ(gallery.RemoveFiles({file}), 1u);
  EXPECT_FALSE(Run(*DownloadTask(file, "hidden.jpg")));
  EXPECT_EQ(Row("hidden"), nullptr);
}

TEST_F(DownloadTaskTest, FileThatStillWaitsForItsUploadStaysInTheGallery) {
  const auto file = Source("waiting", Noise(100));
  const auto task = DownloadTask(file, "waiting.jpg");
  EXPECT_FALSE(Run(*task));
  EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kMediaGone);
  EXPECT_EQ(gallery.GetFile("waiting"), file);
  EXPECT_NE(Row("waiting"), nullptr);
  EXPECT_TRUE(Upload(file));
}

TEST_F(DownloadTaskTest, MediaWithoutContentHasNoUrl) {
  OtherDevice phone(server, "phone");
  const auto release =
      NS::Request::Sync(NS::CloudPhoto::V2::Locks::Delete(GalleryTransManager::GetInstance().LockToken()));
  ASSERT_EQ(release.httpCode, 200);
  const auto file = CloudFile(phone.AddMedia("empty.mp4"));
  Add({file});
  const auto task = DownloadTask(file, "empty.mp4");
  EXPECT_FALSE(Run(*task));
  EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kNoUrl);
}

// What another writer than this client stored: the text kFox, in one object.
// Ciphertext and digests were made with the openssl command line:
//   openssl enc -aes-128-cbc -K 19cef7...d9c1 -iv f2817c...4304 | openssl md5
class ForeignContentTest : public DownloadTaskTest {
 protected:
  static constexpr char kFox[] = "The quick brown fox jumps over the lazy dog";
  static constexpr char kFoxMd5[] = "9e107d9d372bb6826bd81d3542a419d6";
  static constexpr char kFoxSha256[] = "d7a8fbb307d7809469ca9abcb0082e4f8d5651e46d3cdb762d02d0bf37c9e592";
  static constexpr char kSealed[] =
      "2d45a20b2ce89269b84ce59b521eb570f008b616bda9bb186d61908f1c57fb8f142ab31d6fa09dccb2ac238103b88505";
  static constexpr char kSealedMd5[] = "c2102d0ab3db54fbb4472438170948e5";
  static constexpr char kSealedSha256[] = "e12018233aab536e1873dcd6947f80523bca8d6010d0080225e43fee5f439dfc";

  void SetUp() override {
    DownloadTaskTest::SetUp();
    auto& transfers = GalleryTransManager::GetInstance();
    ASSERT_EQ(NS::Request::Sync(NS::CloudPhoto::V2::Locks::Delete(transfers.LockToken())).httpCode, 200);
  }

  // `cipher` is JSON; empty for content that is not encrypted.
  FilePtr Stored(const std::string& cipher, const std::string& bytes, const std::string& md5,
                 const std::string& sha256) {
    OtherDevice phone(server, "phone");
    phone.TakeLock();
    const std::string asset = R"({"resource":{"hash":"00","length":43,"sha256":")" + std::string(kFoxSha256) +
                              R"("})" + (cipher.empty() ? "" : R"(,"cipher":)" + cipher) + "}";
    const Json::Value media =
        phone.Send("POST", "/media?mode=temp",
                   R"({"fileName":"fox.jpg","albumId":"default-album-1","fileType":1,"attachments":[)"
                   R"({"usage":"content","asset":)" +
                       asset + "}]}");
    const Json::Value& opened = media["attachments"][0]["asset"];
    const std::string id = media["id"].asString(), object = opened["resource"]["objects"][0]["id"].asString();
    const Json::Value announced =
        phone.Send("POST",
                   "/media/" + id + "/assets/" + opened["id"].asString() + "/revisions/" +
                       opened["versionId"].asString(),
                   R"({"resource":{"objects":[{"objectId":")" + object + R"(","md5":")" + md5 +
                       R"(","sha256":")" + sha256 + R"("}]}})");
    OtherDevice::PutObject(announced["resource"]["objects"][0]["uploadUrl"]["url"].asString(), bytes);
    phone.Send("PATCH", "/media/" + id + "?mode=normal", "{}");
    const auto file = CloudFile(id);
    file->Size = 43;
    Add({file});
    return file;
  }
};

TEST_F(ForeignContentTest, ContentWithoutACipherComesThroughItsLink) {
  const auto task = DownloadTask(Stored("", kFox, kFoxMd5, kFoxSha256), "fox.jpg");
  ASSERT_TRUE(Run(*task));
  EXPECT_EQ(Bytes(task), kFox);
}

TEST_F(ForeignContentTest, WithoutKeychainsTheHmacTextDecides) {
  const std::string cipher = R"({"iv":"f2817c1df3a626e4c5dfffc88e6e4304","keychains":[],)"
                             R"("hmac":"19cef782d548b76d9e5e1b5c057dd9c1f2817c1df3a626e4c5dfffc88e6e4304"})";
  const auto task =
      DownloadTask(Stored(cipher, ContentCrypto::FromHex(kSealed), kSealedMd5, kSealedSha256), "fox.jpg");
  const LogText log;
  ASSERT_TRUE(Run(*task));
  EXPECT_EQ(Bytes(task), kFox);
  EXPECT_TRUE(log.Has("decode failed! keyType=0"));
  EXPECT_TRUE(log.Has("decode by hmac success,fileid:" + task->GetTransferId()));
}

TEST_F(ForeignContentTest, WithoutAnyKeyTheContentStaysShut) {
  const auto task = DownloadTask(Stored(R"({"iv":"f2817c1df3a626e4c5dfffc88e6e4304","keychains":[]})",
                                        ContentCrypto::FromHex(kSealed), kSealedMd5, kSealedSha256),
                                 "fox.jpg");
  EXPECT_FALSE(Run(*task));
  EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kService);
  EXPECT_THAT(task->LastErr().cause, testing::HasSubstr("Decrypt Error! fileid: "));
  EXPECT_EQ(Bytes(task), "(none)");
}

TEST_F(DownloadTaskTest, WrongKeysNeverMakeAFile) {
  const auto file = Uploaded("locked", Noise(100));
  st_UserInfo user = GlobalParamWrapper::GetInstance()->GetUserInfo();
  user.userKey3[0] ^= 1;
  GlobalParamWrapper::GetInstance()->SetUser(user, L"");
  const auto task = DownloadTask(file, "locked.jpg");
  EXPECT_FALSE(Run(*task));
  EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kService);
  EXPECT_EQ(Bytes(task), "(none)");
}

TEST_F(DownloadTaskTest, DeletedTaskTakesItsUnfinishedFileAlong) {
  const auto file = Uploaded("dropped", Noise(3 * kSliceSize));
  server.Fault(R"({"method":"GET","path":"/objects/","nth":2,"times":1,"status":500})");
  const auto task = DownloadTask(file, "dropped.jpg");
  EXPECT_FALSE(Run(*task));
  EXPECT_THAT(Downloads(), ElementsAre("dropped.jpg.download"));
  EXPECT_TRUE(task->DeleteFromDB());
  EXPECT_THAT(Downloads(), IsEmpty());
}

}  // namespace
