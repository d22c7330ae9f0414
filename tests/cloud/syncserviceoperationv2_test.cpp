#include "cloud/syncserviceoperationv2.h"

#include <gmock/gmock.h>

#include "cloud/cloudphotov2helper.h"
#include "cloudserver.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class PatientOperation : public SyncServiceOperationV2 {
 public:
  explicit PatientOperation(std::chrono::milliseconds wait) { lockRetryWait = wait; }
};

class SyncOperationTest : public CloudTest {
 protected:
  using Albums = ISyncServiceOperation::AlbumList;

  std::string Lock() {
    const auto lock = operation.GetLock(nullptr);
    EXPECT_NE(lock, nullptr);
    return lock ? lock->token : "";
  }
  static Album::Ptr NewAlbum(const std::string& id, const std::wstring& name) {
    auto album = std::make_shared<Album>();
    album->AlbumId = id;
    album->AlbumName = name;
    album->Lpath = "/Pictures/" + id;
    album->CreateTime = 1'714'558'830'125;
    album->SetExpandText(R"({"emptyShow":"1"})");
    album->Classify();
    return album;
  }
  // The service's own view, by another device. Three albums are there from the
  // start: two ordinary ones and the bin.
  Json::Value AlbumsThere() { return OtherDevice(server, "reader").Send("GET", "/albums")["albums"]; }
  Json::Value MediaThere(const std::string& id) {
    return OtherDevice(server, "reader").Send("GET", "/media/" + id);
  }
  std::string MediaOfOther(const std::string& name) {
    OtherDevice other(server, "other");
    const std::string id = other.AddMedia(name);
    other.GiveLockBack();
    return id;
  }
  static CloudFileInfo FileInfo(const std::string& id, const std::wstring& name) {
    CloudFileInfo file;
    file.uniqueId = id;
    file.fileId = "content-" + id;
    file.fileName = name;
    file.albumId = "default-album-1";
    return file;
  }

  SyncServiceOperationV2 operation;
};

TEST_F(SyncOperationTest, LimitsAreWhatTheServiceTold) {
  CloudPhotoV2Helper::maxBatchNumber = 23;
  const SyncServiceOperationV2 made;
  EXPECT_EQ(made.GetAlbumLimit(), 23);
  EXPECT_EQ(made.GetFileLimit(), 23);
  EXPECT_TRUE(made.IsInFirstHalfHour());
}

TEST_F(SyncOperationTest, AlbumsComeWithTheGallerysBin) {
  const auto albums = operation.GetCloudAlbums();
  ASSERT_NE(albums, nullptr);
  const auto bins = std::count_if(albums->begin(), albums->end(),
                                  [](const auto& album) { return album->AlbumId.Get() == kRecycleAlbumId; });
  EXPECT_EQ(bins, gallery.GetAlbum(kRecycleAlbumId) ? 1 : 0);
  (void)gallery.GetOrCreateSystemAlbum(AlbumKind::RecycleBin);
  const auto withBin = operation.GetCloudAlbums();
  ASSERT_NE(withBin, nullptr);
  EXPECT_EQ(withBin->back(), gallery.GetAlbum(kRecycleAlbumId));
}

TEST_F(SyncOperationTest, IncrementTellsNewKnownAndDeletedMedia) {
  OtherDevice other(server, "device-2");
  const std::string fresh = other.AddMedia("new.jpg"), known = other.AddMedia("known.jpg"),
                    gone = other.AddMedia("gone.jpg");
  other.Send("DELETE", "/media/" + gone);
  Add({CloudFile(known)});
  std::vector<CloudFileInfo> files(1);
  std::string cursor;
  ASSERT_TRUE(operation.GetCloudIncrementFiles(0, {}, cursor, files));
  ASSERT_EQ(files.size(), 3U);
  EXPECT_EQ(files[0].uniqueId + files[0].otype, fresh + "0");
  EXPECT_EQ(files[1].uniqueId + files[1].otype, known + "1");
  EXPECT_EQ(files[2].uniqueId + files[2].otype, gone + "2");
  EXPECT_EQ(files[2].device, "");
}

TEST_F(SyncOperationTest, IncrementGoesOnAtItsCursor) {
  OtherDevice other(server, "device-2");
  for (int i = 0; i < 101; ++i) other.AddMedia("f" + std::to_string(i) + ".jpg");
  std::vector<CloudFileInfo> files;
  std::string cursor;
  ASSERT_TRUE(operation.GetCloudIncrementFiles(0, {}, cursor, files));
  EXPECT_EQ(files.size(), 100U);
  ASSERT_NE(cursor, "");
  ASSERT_TRUE(operation.GetCloudIncrementFiles(0, {}, cursor, files));
  ASSERT_EQ(files.size(), 1U);
  EXPECT_EQ(files[0].fileName, L"f100.jpg");
  EXPECT_EQ(cursor, "");
}

TEST_F(SyncOperationTest, AlbumIdsCostNoRequest) {
  std::vector<CloudFileInfo> files;
  std::string cursor = "12";
  EXPECT_TRUE(operation.GetCloudIncrementFiles(5, {"default-album-3"}, cursor, files));
  EXPECT_EQ(cursor, "");
  EXPECT_THAT(files, IsEmpty());
  EXPECT_THAT(server.Requests(), IsEmpty());
}

TEST_F(SyncOperationTest, FailedIncrementLeavesTheCursor) {
  server.Fault(R"({"path":"/changes","status":500})");
  std::vector<CloudFileInfo> files;
  std::string cursor = "12";
  EXPECT_FALSE(operation.GetCloudIncrementFiles(5, {}, cursor, files));
  EXPECT_EQ(cursor, "12");
}

TEST_F(SyncOperationTest, LockBringsItsVersions) {
  MediaOfOther("a.jpg");
  const auto lock = operation.GetLock(nullptr);
  ASSERT_NE(lock, nullptr);
  EXPECT_EQ(lock->code, 0);
  EXPECT_NE(lock->token, "");
  EXPECT_GT(lock->keepInterval, 0);
  EXPECT_EQ(lock->fileVersion, 1);
  EXPECT_EQ(lock->albumListVersion, "1");
  const auto kept = operation.KeepLock(lock->token);
  ASSERT_NE(kept, nullptr);
  EXPECT_EQ(kept->code, 0);
  EXPECT_GT(kept->keepInterval, 0);
  EXPECT_TRUE(operation.ReleaseLock(lock->token));
  EXPECT_EQ(operation.KeepLock(lock->token), nullptr);
}

TEST_F(SyncOperationTest, LockIsTriedThreeTimesAndGivenBackWithoutVersions) {
  PatientOperation hasty(std::chrono::milliseconds(1));
  server.Fault(R"({"path":"getStartCursor","status":500,"times":0})");
  EXPECT_EQ(hasty.GetLock(nullptr), nullptr);
  const std::string get = "GET /cloudPhoto/v1/locks", version = "GET /cloudPhoto/v1/changes/getStartCursor";
  EXPECT_THAT(server.Requests(),
              ElementsAre(get, version, get, version, get, version, "DELETE /cloudPhoto/v1/locks"));
  OtherDevice(server, "other").TakeLock();
}

TEST_F(SyncOperationTest, HeldLockIsTriedAgainAndHad) {
  PatientOperation hasty(std::chrono::milliseconds(1));
  server.Fault(R"({"path":"/locks","status":423,"times":2})");
  EXPECT_NE(hasty.GetLock(nullptr), nullptr);
}

TEST_F(SyncOperationTest, CancelWordEndsTheWait) {
  PatientOperation patient(std::chrono::hours(1));
  server.Fault(R"({"path":"/locks","status":423,"times":0})");
  std::atomic<bool> cancel{false};
  std::thread canceller([&] {
    while (server.Requests().empty()) std::this_thread::yield();
    cancel = true;
  });
  EXPECT_EQ(patient.GetLock(&cancel), nullptr);
  canceller.join();
  // One try, which asks for the version although the lock is refused.
  EXPECT_THAT(server.Requests(),
              ElementsAre("GET /cloudPhoto/v1/locks", "GET /cloudPhoto/v1/changes/getStartCursor"));
}

TEST_F(SyncOperationTest, AlbumsAreCreatedUnderTheirOwnIds) {
  const auto result =
      operation.UploadCreateAlbum({NewAlbum("a1", L"Trip \u00E9"), NewAlbum("a2", L"Home")}, Lock());
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(result->code, 0);
  EXPECT_THAT(result->succeeded, ElementsAre("a1", "a2"));
  EXPECT_THAT(result->failed, IsEmpty());
  for (const Json::Value& album : AlbumsThere()) {
    if (album["id"] != "a1") continue;
    EXPECT_EQ(album["albumName"].asString(), "Trip é");
    EXPECT_EQ(album["localPath"].asString(), "/Pictures/a1");
    EXPECT_EQ(album["createdTime"].asString(), "2024-05-01T10:20:30.125Z");
    EXPECT_EQ(album["properties"]["emptyShow"].asString(), "1");
  }
  EXPECT_EQ(AlbumsThere().size(), 5U);
}

TEST_F(SyncOperationTest, SomeRefusedItemsGiveBothLists) {
  const std::string lock = Lock();
  ASSERT_NE(operation.UploadCreateAlbum({NewAlbum("a1", L"Trip")}, lock), nullptr);
  const auto result = operation.UploadCreateAlbum({NewAlbum("a2", L"Trip"), NewAlbum("a3", L"Free")}, lock);
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(result->code, 31);
  EXPECT_THAT(result->succeeded, ElementsAre("a3"));
  ASSERT_EQ(result->failed.size(), 1U);
  EXPECT_EQ(result->failed[0].id, "a2");
  EXPECT_EQ(result->failed[0].code, "5");
  EXPECT_NE(result->failed[0].reason, "");
}

TEST_F(SyncOperationTest, AlbumsAreRenamedAndUnknownOnesSaidSo) {
  const std::string lock = Lock();
  ASSERT_NE(operation.UploadCreateAlbum({NewAlbum("a1", L"Trip")}, lock), nullptr);
  const auto result =
      operation.UploadModifyAlbum({NewAlbum("a1", L"Journey"), NewAlbum("a9", L"None")}, lock);
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(result->code, 31);
  EXPECT_THAT(result->succeeded, ElementsAre("a1"));
  ASSERT_EQ(result->failed.size(), 1U);
  EXPECT_EQ(result->failed[0].code, "4");
}

TEST_F(SyncOperationTest, AlbumWithFilesIsNotDeleted) {
  const std::string id = MediaOfOther("a.jpg");
  const std::string lock = Lock();
  ASSERT_NE(operation.UploadCreateAlbum({NewAlbum("a1", L"Trip"), NewAlbum("a2", L"Empty")}, lock), nullptr);
  CloudFileInfo file = FileInfo(id, L"a.jpg");
  file.albumId = "a1";
  ASSERT_EQ(operation.UploadModifyFile({file}, lock)->code, 0);
  const auto result = operation.UploadDeleteAlbum({"a1", "a2"}, lock);
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(result->code, 31);
  EXPECT_THAT(result->succeeded, ElementsAre("a2"));
  ASSERT_EQ(result->failed.size(), 1U);
  EXPECT_EQ(result->failed[0].id, "a1");
  EXPECT_NE(result->failed[0].code.find("4038"), std::string::npos);
}

TEST_F(SyncOperationTest, FilesAreChanged) {
  const std::string id = MediaOfOther("a.jpg");
  CloudFileInfo file = FileInfo(id, L"b.jpg");
  file.favorite = true;
  file.operateTime = 1'714'558'830'125;
  file.expand["rotate"] = "90";
  file.pictureMetadata = R"({"width":4})";
  const auto result = operation.UploadModifyFile({file}, Lock());
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(result->code, 0);
  ASSERT_EQ(result->succeeded.size(), 1U);
  EXPECT_EQ(result->succeeded[0].uniqueId, id);
  const Json::Value media = MediaThere(id);
  EXPECT_EQ(media["fileName"].asString(), "b.jpg");
  EXPECT_EQ(media["editedTime"].asString(), "2024-05-01T10:20:30.125Z");
  EXPECT_TRUE(media["favorite"].asBool());
  EXPECT_FALSE(media["recycled"].asBool());
  EXPECT_EQ(media["properties"]["rotate"].asString(), "90");
  EXPECT_EQ(media["pictureMetadata"]["width"].asInt(), 4);
}

TEST_F(SyncOperationTest, RecycledFileGoesToTheBinAndBack) {
  const std::string id = MediaOfOther("a.jpg");
  const std::string lock = Lock();
  CloudFileInfo file = FileInfo(id, L"a.jpg");
  file.recycleAlbumId = kRecycleAlbumId;
  file.recycleTime = 1'714'558'830'125;
  ASSERT_EQ(operation.UploadModifyFile({file}, lock)->code, 0);
  EXPECT_TRUE(MediaThere(id)["recycled"].asBool());
  EXPECT_EQ(MediaThere(id)["recycledTime"].asString(), "2024-05-01T10:20:30.125Z");
  EXPECT_EQ(MediaThere(id)["albumId"].asString(), "default-album-1");
  file = FileInfo(id, L"a.jpg");
  ASSERT_EQ(operation.UploadModifyFile({file}, lock)->code, 0);
  EXPECT_FALSE(MediaThere(id)["recycled"].asBool());
}

TEST_F(SyncOperationTest, FilesThatAreGoneKeepTheirCode) {
  const std::string id = MediaOfOther("a.jpg");
  const std::string lock = Lock();
  const auto deleted = operation.UploadDeleteFile({FileInfo(id, L"a.jpg"), FileInfo("nowhere", L"")}, lock);
  ASSERT_NE(deleted, nullptr);
  EXPECT_EQ(deleted->code, 31);
  EXPECT_EQ(deleted->succeeded.at(0).uniqueId, id);
  EXPECT_EQ(deleted->failed.at(0).id, "nowhere");
  EXPECT_EQ(deleted->failed.at(0).fileId, "content-nowhere");
  EXPECT_EQ(deleted->failed.at(0).code, "31084041");
  const auto changed = operation.UploadModifyFile({FileInfo(id, L"b.jpg")}, lock);
  ASSERT_NE(changed, nullptr);
  EXPECT_EQ(changed->code, 1);
  EXPECT_THAT(changed->succeeded, IsEmpty());
  EXPECT_EQ(changed->failed.at(0).code, "31084041");
}

TEST_F(SyncOperationTest, BatchWithoutTheLockChangesNothing) {
  const auto result = operation.UploadCreateAlbum({NewAlbum("a1", L"Trip")}, "no-lock");
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(result->code, 1);
  EXPECT_EQ(AlbumsThere().size(), 3U);
}

TEST_F(SyncOperationTest, FailedBatchGivesNoResult) {
  const LogText log;
  const std::string lock = Lock();
  server.Fault(R"({"path":"/batch","status":500})");
  EXPECT_EQ(operation.UploadCreateAlbum({NewAlbum("a1", L"Trip")}, lock), nullptr);
  EXPECT_TRUE(log.Has("AddOperationLog BatchCreateAlbum error:"));
  server.Fault(R"({"path":"/batch","dropRequest":true})");
  EXPECT_EQ(operation.UploadDeleteFile({FileInfo("1", L"")}, lock), nullptr);
  EXPECT_TRUE(log.Has("net error! info:"));
}

TEST_F(SyncOperationTest, EnvelopeCarriesTheItemsInTheirOrder) {
  const std::string lock = Lock();
  server.ForgetRequests();
  ASSERT_NE(operation.UploadDeleteAlbum({"b", "a/1"}, lock), nullptr);
  EXPECT_THAT(server.Requests(), ElementsAre("POST /cloudPhoto/v1/batch", "[DELETE /cloudPhoto/v1/albums/b]",
                                             "[DELETE /cloudPhoto/v1/albums/a%2F1]"));
}

}  // namespace
