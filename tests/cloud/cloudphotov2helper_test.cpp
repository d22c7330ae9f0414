#include "cloud/cloudphotov2helper.h"

#include <gmock/gmock.h>

#include <fstream>

#include "cloudserver.h"
#include "common/platform/text.h"
#include "common/platform/window.h"
#include "host/base/globalparamwrapper.h"
#include "loopbackserver.h"
#include "utils/globaldata.h"
#include "utils/messages.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// The host's frame; messages are handled at once on the posting thread.
class Frame {
 public:
  Frame()
      : window(platform::RegisterWindow(
            [this](platform::UINT message, platform::WPARAM, platform::LPARAM) {
              messages.push_back(message);
              return platform::LRESULT{0};
            },
            [](const std::function<void()>& work) { work(); })) {
    GlobalParamWrapper::GetInstance()->SetMainWnd(window);
  }
  ~Frame() {
    GlobalParamWrapper::GetInstance()->SetMainWnd(nullptr);
    platform::UnregisterWindow(window);
  }
  std::vector<platform::UINT> messages;

 private:
  HWND window;
};

class CloudHelperTest : public CloudTest {
 protected:
  void HideData() {
    std::filesystem::create_directories(folder.Path() / "config/ZentaraCloud");
    std::ofstream(folder.Path() / "config/ZentaraCloud/settings.json") << R"({"hideData":true})";
    ASSERT_TRUE(GlobalParamWrapper::GetInstance()->Load());
  }
  void AnswerWithCode(const std::string& path, const std::string& code) {
    server.Fault(R"({"path":")" + path + R"(","errorCode":")" + code + R"(","times":0})");
  }
  // Tables as after a sync: a row in step, one with changes, one never uploaded.
  void FillTables() {
    auto changed = CloudFile("changed");
    changed->GalleryState = 2;
    auto inStep = CloudFile("in-step");
    changed->Offset = 60;
    changed->SetFileName(L"new-name.jpg");
    auto deleted = CloudFile("deleted"), onDisk = CloudFile("on-disk", "default-album-300-disk");
    deleted->IsDeleted = true;
    onDisk->SetLocalPath(L"\\pictures\\on-disk.jpg");
    CloudAlbum("default-album-300-disk", L"On disk");
    CloudAlbum("default-album-300-plain", L"In step");
    const auto renamed = CloudAlbum("default-album-300-renamed", L"Renamed");
    const auto gone = CloudAlbum("default-album-300-gone", L"Gone");
    renamed->Operation = "1";
    gone->IsDelete = 1;
    ASSERT_TRUE(DBHelper::GetInstance().AddAlbums({renamed, gone}));
    Add({inStep, changed, LocalFile("local"), deleted, onDisk});
    AlbumLocalVersion version;
    version.AlbumVersion = "5";
    ASSERT_TRUE(DBHelper::GetInstance().AddLocalVersion(version));
  }
  static std::vector<std::string> RowIds() {
    DBHelper::FileVector files;
    EXPECT_TRUE(DBHelper::GetInstance().GetFiles(files, true));
    std::vector<std::string> ids;
    for (const auto& file : files) ids.push_back(file->UniqueId());
    std::sort(ids.begin(), ids.end());
    return ids;
  }
  static std::size_t VersionRows() {
    std::vector<AlbumLocalVersion> rows;
    EXPECT_TRUE(DBHelper::GetInstance().GetLocalVersions(rows));
    return rows.size();
  }
  static std::vector<std::string> AlbumNames() {
    DBHelper::AlbumVector albums;
    EXPECT_TRUE(DBHelper::GetInstance().GetAlbums(albums));
    std::vector<std::string> names;
    for (const auto& album : albums) names.push_back(platform::WideToUtf8(album->AlbumName.Get()));
    std::sort(names.begin(), names.end());
    return names;
  }
  // What waits is there, and the album of a file that lies on this computer.
  void ExpectCleared() {
    EXPECT_THAT(RowIds(), ElementsAre("changed", "deleted", "local", "on-disk"));
    EXPECT_EQ(VersionRows(), 0U);
    EXPECT_THAT(AlbumNames(), ElementsAre("Gone", "On disk", "Renamed"));
    EXPECT_EQ(Row("changed")->Offset, 0);
    EXPECT_EQ(Row("changed")->FileName(), L"new-name.jpg");
    EXPECT_EQ(Row("changed")->GalleryState, 2);
    EXPECT_TRUE(Row("deleted")->IsDeleted);
    EXPECT_EQ(Row("on-disk")->LocalPath(), L"\\pictures\\on-disk.jpg");
  }
  void ExpectUntouched() {
    EXPECT_THAT(RowIds(), ElementsAre("changed", "deleted", "in-step", "local", "on-disk"));
    EXPECT_EQ(VersionRows(), 1U);
    EXPECT_THAT(AlbumNames(), ElementsAre("Camera roll", "Gone", "In step", "On disk", "Renamed"));
    EXPECT_EQ(Row("changed")->Offset, 60);
  }
};

TEST_F(CloudHelperTest, CutStatusOfARealServiceIsV2) {
  CloudPhotoV2Helper::maxBatchNumber = 1;
  EXPECT_EQ(CloudPhotoV2Helper::GetCutStatus(), 2);
  EXPECT_EQ(GlobalData::cloudGeneration, 2);
  EXPECT_GT(CloudPhotoV2Helper::maxBatchNumber, 1);
  EXPECT_THAT(server.Requests(), ElementsAre("GET /cloudPhoto/v1/about"));
}

TEST_F(CloudHelperTest, CutStatusStaysWhenTheServiceFails) {
  GlobalData::cloudGeneration = 1;
  server.Fault(R"({"path":"/about","status":500})");
  EXPECT_EQ(CloudPhotoV2Helper::GetCutStatus(), 1);
  server.Kill();
  EXPECT_EQ(CloudPhotoV2Helper::GetCutStatus(), 1);
  EXPECT_EQ(GlobalData::cloudGeneration, 1);
}

TEST_F(CloudHelperTest, HiddenDataCostsNoRequest) {
  const LogText log;
  HideData();
  EXPECT_EQ(CloudPhotoV2Helper::GetCutStatus(), 3);
  EXPECT_EQ(CloudPhotoV2Helper::GetAllVersion(), nullptr);
  EXPECT_THAT(server.Requests(), IsEmpty());
  EXPECT_TRUE(log.Has("DataHidePeriod About Request Fail"));
  EXPECT_TRUE(log.Has("DataHidePeriod get Start Cursor Request Fail"));
}

TEST_F(CloudHelperTest, VersionsComeFromTheCursors) {
  OtherDevice(server, "other").AddMedia("a.jpg");
  server.Action(R"({"action":"setSuspendCursor","userName":"alice","value":"17-4"})");
  ASSERT_EQ(CloudPhotoV2Helper::GetCutStatus(), 2);
  const auto version = CloudPhotoV2Helper::GetAllVersion();
  ASSERT_NE(version, nullptr);
  EXPECT_EQ(version->fileVersion, 1);
  EXPECT_EQ(version->albumVersion, "1");
  EXPECT_EQ(version->albumListVersion, "1");
  EXPECT_EQ(version->minVersion, 0);
  EXPECT_EQ(version->clearVersion, "17-4");
  EXPECT_EQ(version->code, 0);
}

TEST_F(CloudHelperTest, AlbumsOfAllPagesAreListed) {
  OtherDevice other(server, "other");
  for (int i = 0; i < 101; ++i) other.AddAlbum("album-" + std::to_string(i), "Album " + std::to_string(i));
  const auto albums = CloudPhotoV2Helper::GetAlbums("");
  ASSERT_NE(albums, nullptr);
  EXPECT_EQ(albums->size(), 103U);  // with the two that every account has
}

TEST_F(CloudHelperTest, AlbumListIsAllOrNothing) {
  OtherDevice other(server, "other");
  for (int i = 0; i < 101; ++i) other.AddAlbum("album-" + std::to_string(i), "Album " + std::to_string(i));
  server.Fault(R"({"method":"GET","path":"/albums","nth":2,"status":500})");
  EXPECT_EQ(CloudPhotoV2Helper::GetAlbums(""), nullptr);
}

TEST_F(CloudHelperTest, AlbumFieldsAreTaken) {
  OtherDevice other(server, "other");
  other.TakeLock();
  other.Send(
      "POST", "/albums",
      R"({"id":"a1","albumName":"Trip é","localPath":"/DCIM/Trip","createdTime":"2024-05-01T10:20:30.125Z",)"
      R"("properties":{"hide":"1"}})");
  const auto albums = CloudPhotoV2Helper::GetAlbums("");
  ASSERT_NE(albums, nullptr);
  const auto found = std::find_if(albums->begin(), albums->end(),
                                  [](const auto& album) { return album->AlbumId.Get() == "a1"; });
  ASSERT_NE(found, albums->end());
  EXPECT_EQ((*found)->AlbumName.Get(), L"Trip \u00E9");
  EXPECT_EQ((*found)->Lpath.Get(), "/DCIM/Trip");
  EXPECT_EQ((*found)->AlbumType.Get(), "0");
  EXPECT_EQ((*found)->CreateTime, 1'714'558'830'125);
  EXPECT_TRUE((*found)->IsHidden());
}

constexpr char kAllFields[] =
    R"(,"favorite":true,"size":77,"hashId":"hash-1","createdTime":"2024-05-01T10:20:30.125Z",)"
    R"("editedTime":"2024-05-01T10:20:31Z","source":"src","properties":{"rotate":"90"},)"
    R"("pictureMetadata":{"width":4,"height":3},"videoMetadata":{"durationTime":"12","width":"4","height":3})";

TEST_F(CloudHelperTest, MediaFieldsAreTaken) {
  const std::string id = OtherDevice(server, "other").AddMedia("beach.jpg", "default-album-1", kAllFields);
  std::string cursor;
  const auto page = CloudPhotoV2Helper::GetFiles(cursor, 0);
  ASSERT_NE(page, nullptr);
  ASSERT_EQ(page->media.size(), 1U);
  const CloudFileInfo& file = page->media[0];
  EXPECT_EQ(file.uniqueId, id);
  EXPECT_EQ(file.fileId, id);
  EXPECT_EQ(file.fileName, L"beach.jpg");
  EXPECT_EQ(file.fileType, "1");
  EXPECT_EQ(file.hash, "hash-1");
  EXPECT_EQ(file.albumId, "default-album-1");
  EXPECT_EQ(file.recycleAlbumId, "");
  EXPECT_EQ(file.recycleTime, -1);
  EXPECT_EQ(file.createTime, 1'714'558'830'125);
  EXPECT_EQ(file.sdsmtime, 1'714'558'831'000);
  EXPECT_EQ(file.size, 77);
  EXPECT_TRUE(file.favorite);
  EXPECT_EQ(file.expand["rotate"].asString(), "90");
  EXPECT_EQ(file.cloudContentStatus, 1);
  EXPECT_EQ(file.pictureMetadata, R"({"height":3,"width":4})");
  EXPECT_EQ(file.videoMetadata, R"({"durationTime":12,"height":3,"width":4})");
  EXPECT_THAT(page->status, ElementsAre("1"));
  EXPECT_THAT(page->editedTime, ElementsAre(1'714'558'831'000));
  EXPECT_EQ(cursor, "");
}

TEST_F(CloudHelperTest, MediaComeInPagesOfAHundred) {
  OtherDevice other(server, "other");
  for (int i = 0; i < 101; ++i) other.AddMedia("f" + std::to_string(i) + ".jpg");
  std::string cursor;
  auto page = CloudPhotoV2Helper::GetFiles(cursor, 1);
  ASSERT_NE(page, nullptr);
  EXPECT_EQ(page->media.size(), 100U);
  EXPECT_EQ(page->media[0].fileName, L"");  // a comparison asks for six fields
  ASSERT_NE(cursor, "");
  page = CloudPhotoV2Helper::GetFiles(cursor, 1);
  ASSERT_NE(page, nullptr);
  EXPECT_EQ(page->media.size(), 1U);
  EXPECT_EQ(cursor, "");
  const auto all = CloudPhotoV2Helper::GetFilesByAlbumId("default-album-1");
  ASSERT_NE(all, nullptr);
  EXPECT_EQ(all->media.size(), 101U);
}

TEST_F(CloudHelperTest, AlbumListingLeavesOtherAlbumsAndTheBinOut) {
  OtherDevice other(server, "other");
  other.AddAlbum("it's 50% more", "Trip");
  const std::string id = other.AddMedia("in.jpg", "it's 50% more");
  other.AddMedia("elsewhere.jpg");
  const std::string binned = other.AddMedia("binned.jpg", "it's 50% more");
  other.Send("PATCH", "/media/" + binned, R"({"albumId":"default-album-3"})");
  const auto page = CloudPhotoV2Helper::GetFilesByAlbumId("it's 50% more");
  ASSERT_NE(page, nullptr);
  ASSERT_EQ(page->media.size(), 1U);
  EXPECT_EQ(page->media[0].uniqueId, id);
}

TEST_F(CloudHelperTest, DetailsComeForThoseThatTheCloudHas) {
  CloudPhotoV2Helper::maxBatchNumber = 2;
  OtherDevice other(server, "other");
  const std::string a = other.AddMedia("a.jpg"), b = other.AddMedia("b.jpg"), c = other.AddMedia("c.jpg");
  const auto files = CloudPhotoV2Helper::GetFileDetail({a, "nowhere", c, b});
  ASSERT_NE(files, nullptr);
  ASSERT_EQ(files->size(), 3U);
  EXPECT_EQ((*files)[0].fileName, L"a.jpg");
  EXPECT_EQ((*files)[1].uniqueId, c);
  EXPECT_EQ((*files)[2].uniqueId, b);
}

TEST_F(CloudHelperTest, DetailThatCouldNotBeLookedUpIsNotTakenForGone) {
  const std::string id = OtherDevice(server, "other").AddMedia("a.jpg");
  server.Fault(R"({"method":"GET","path":"/cloudPhoto/v1/media/","status":503})");
  EXPECT_EQ(CloudPhotoV2Helper::GetFileDetail({id}), nullptr);
  EXPECT_NE(CloudPhotoV2Helper::GetFileDetail({id}), nullptr);
}

TEST_F(CloudHelperTest, DetailsOfAnEmptyIdAreNotAskedFor) {
  const LogText log;
  EXPECT_EQ(CloudPhotoV2Helper::GetFileDetail({"a", ""}), nullptr);
  EXPECT_TRUE(log.Has("build batch req err!"));
  EXPECT_THAT(server.Requests(), IsEmpty());
}

TEST_F(CloudHelperTest, ChangesTellTheirKindAndDevice) {
  OtherDevice other(server, "device-2");
  const std::string kept = other.AddMedia("kept.jpg"), gone = other.AddMedia("gone.jpg");
  other.Send("DELETE", "/media/" + gone);
  std::string next = "untouched";
  const auto files = CloudPhotoV2Helper::GetChangeFiles("0", next);
  ASSERT_NE(files, nullptr);
  ASSERT_EQ(files->size(), 2U);
  EXPECT_EQ((*files)[0].uniqueId, kept);
  EXPECT_EQ((*files)[0].otype, "1");
  EXPECT_EQ((*files)[0].device, "device-2");
  EXPECT_EQ((*files)[1].uniqueId, gone);
  EXPECT_EQ((*files)[1].otype, "2");
  EXPECT_EQ(next, "");
}

TEST_F(CloudHelperTest, ExpiredCursorClearsRowsButNotThoseWithChanges) {
  const LogText log;
  FillTables();
  server.Action(R"({"action":"bumpVersion","userName":"alice"})");
  server.Action(R"({"action":"expireCursors","userName":"alice"})");
  std::string next = "kept";
  EXPECT_EQ(CloudPhotoV2Helper::GetChangeFiles("0", next), nullptr);
  EXPECT_EQ(next, "kept");
  EXPECT_TRUE(log.Has("Cursor Is EXPIRED, DownLoad All"));
  ExpectCleared();
}

TEST_F(CloudHelperTest, ExpiredCursorOfAListingAndOfTheVersionsClearsToo) {
  FillTables();
  AnswerWithCode("/cloudPhoto/v1/media", "31084100");
  std::string cursor = "kept";
  EXPECT_EQ(CloudPhotoV2Helper::GetFiles(cursor, 0), nullptr);
  EXPECT_EQ(cursor, "kept");
  ExpectCleared();
}

TEST_F(CloudHelperTest, ExpiredCursorOfTheVersionsClearsToo) {
  const LogText log;
  FillTables();
  AnswerWithCode("getStartCursor", "31084100");
  EXPECT_EQ(CloudPhotoV2Helper::GetAllVersion(), nullptr);
  EXPECT_TRUE(log.Has("Get FileVer Failed "));
  ExpectCleared();
}

// A comparison follows, which gives back what the backup lacks: rows are its yardstick.
TEST_F(CloudHelperTest, ExpiredCursorOfAServiceThatCameFromABackupClearsNothing) {
  FillTables();
  LoopbackServer restored([](const std::string& request) {
    if (request.find("/about") == std::string::npos)
      return LoopbackServer::Answer(
          410,
          R"({"error":{"status":410,"description":"gone","errors":[{"code":"31084100","reason":"gone"}]}})");
    return LoopbackServer::Answer(
        200, R"({"dataVersion":"v2.0","maxBatchNumber":5,"settings":{"v2cut":"1","restoredCursor":"1005"}})");
  });
  GoTo(restored.Url());
  ASSERT_TRUE(
      DBHelper::GetInstance().Execute("UPDATE AlbumLocalVersion SET LatestVersion = 5, HasDownAll = 1;"));
  std::string cursor = "kept", next;
  EXPECT_EQ(CloudPhotoV2Helper::GetFiles(cursor, 1), nullptr);
  EXPECT_EQ(CloudPhotoV2Helper::GetChangeFiles("5", next), nullptr);
  EXPECT_EQ(CloudPhotoV2Helper::GetAllVersion(), nullptr);
  ExpectUntouched();

  ASSERT_TRUE(DBHelper::GetInstance().Execute("UPDATE AlbumLocalVersion SET LatestVersion = 1005;"));
  EXPECT_EQ(CloudPhotoV2Helper::GetFiles(cursor, 1), nullptr);
  ExpectCleared();
}

TEST_F(CloudHelperTest, StateOfTheServiceIsWhatItsLastAnswerSaid) {
  CloudPhotoV2Helper::Forget();
  EXPECT_FALSE(CloudPhotoV2Helper::GetServiceState().known);
  ASSERT_EQ(CloudPhotoV2Helper::GetCutStatus(), 2);
  EXPECT_TRUE(CloudPhotoV2Helper::GetServiceState().known);
  EXPECT_FALSE(CloudPhotoV2Helper::GetServiceState().disabled);
  const auto about = [](const char* status) {
    return LoopbackServer::Answer(
        200, std::string(R"({"dataVersion":"v2.0","status":")") + status +
                 R"(","settings":{"v2cut":"1","disableTime":"1700000000000","deleteTime":"1702592000000",)"
                 R"("suspendCursor":"900"}})");
  };
  LoopbackServer off({about("disabled"), about("1"), about("normal")});
  GoTo(off.Url());
  for (const bool disabled : {true, true, false}) {
    (void)CloudPhotoV2Helper::GetCutStatus();
    const auto state = CloudPhotoV2Helper::GetServiceState();
    EXPECT_TRUE(state.known);
    EXPECT_EQ(state.disabled, disabled);
    EXPECT_EQ(state.disableTimeMs, 1'700'000'000'000);
    EXPECT_EQ(state.deleteTimeMs, 1'702'592'000'000);
    EXPECT_EQ(state.clearVersion, "900");
  }
  CloudPhotoV2Helper::Forget();
  EXPECT_FALSE(CloudPhotoV2Helper::GetServiceState().known);
}

TEST_F(CloudHelperTest, EmptyingThatFailsInTheMiddleChangesNothing) {
  FillTables();
  // The last of its statements meets a table that refuses.
  ASSERT_TRUE(DBHelper::GetInstance().Execute(
      "CREATE TRIGGER refuse BEFORE DELETE ON Album BEGIN SELECT RAISE(ABORT, 'refused'); END;"));
  AnswerWithCode("getStartCursor", "31084100");
  EXPECT_EQ(CloudPhotoV2Helper::GetAllVersion(), nullptr);
  ExpectUntouched();
  ASSERT_TRUE(DBHelper::GetInstance().Execute("DROP TRIGGER refuse;"));
  EXPECT_EQ(CloudPhotoV2Helper::GetAllVersion(), nullptr);
  ExpectCleared();
}

TEST_F(CloudHelperTest, OtherErrorsClearNothing) {
  FillTables();
  AnswerWithCode("/cloudPhoto/v1/", "31084101");
  std::string cursor;
  EXPECT_EQ(CloudPhotoV2Helper::GetFiles(cursor, 0), nullptr);
  EXPECT_EQ(CloudPhotoV2Helper::GetChangeFiles("0", cursor), nullptr);
  EXPECT_EQ(CloudPhotoV2Helper::GetAllVersion(), nullptr);
  EXPECT_EQ(CloudPhotoV2Helper::GetAlbums(""), nullptr);
  EXPECT_EQ(CloudPhotoV2Helper::GetFilesByAlbumId("a"), nullptr);
  EXPECT_EQ(CloudPhotoV2Helper::GetFileDetail({"a"}), nullptr);
  ExpectUntouched();
}

TEST_F(CloudHelperTest, CutAnswerAndNoAnswerAreNoEmptyListing) {
  const LogText log;
  FillTables();
  OtherDevice(server, "other").AddMedia("a.jpg");
  server.Fault(R"({"method":"GET","path":"/cloudPhoto/v1/media","cutAfterBytes":20})");
  std::string cursor;
  EXPECT_EQ(CloudPhotoV2Helper::GetFiles(cursor, 0), nullptr);
  EXPECT_TRUE(log.Has("net error! info:"));
  server.Kill();
  EXPECT_EQ(CloudPhotoV2Helper::GetFiles(cursor, 0), nullptr);
  EXPECT_EQ(CloudPhotoV2Helper::GetAlbums(""), nullptr);
  ExpectUntouched();
}

TEST_F(CloudHelperTest, PageThatNamesItselfAsTheNextEndsTheListing) {
  const LogText log;
  LoopbackServer looping({LoopbackServer::Answer(200, R"({"nextCursor":"7","media":[],"changes":[]})")});
  GoTo(looping.Url());
  std::string cursor = "6";
  EXPECT_NE(CloudPhotoV2Helper::GetFiles(cursor, 0), nullptr);
  EXPECT_EQ(cursor, "7");
  EXPECT_EQ(CloudPhotoV2Helper::GetFiles(cursor, 0), nullptr);
  EXPECT_EQ(CloudPhotoV2Helper::GetChangeFiles("7", cursor), nullptr);
  EXPECT_TRUE(log.Has("the service repeats a cursor"));
}

TEST_F(CloudHelperTest, UnavailableServiceIsCountedForListingsOnly) {
  server.Fault(R"({"path":"/cloudPhoto/v1/","status":503,"times":3})");
  std::string cursor;
  EXPECT_EQ(CloudPhotoV2Helper::GetAllVersion(), nullptr);
  EXPECT_EQ(CloudPhotoV2Helper::failures503, 0);
  EXPECT_EQ(CloudPhotoV2Helper::GetFiles(cursor, 0), nullptr);
  EXPECT_EQ(CloudPhotoV2Helper::GetFiles(cursor, 0), nullptr);
  EXPECT_EQ(CloudPhotoV2Helper::failures503, 2);
  EXPECT_EQ(CloudPhotoV2Helper::last503Ms, clock.ms);
  EXPECT_NE(CloudPhotoV2Helper::GetFiles(cursor, 0), nullptr);
  EXPECT_EQ(CloudPhotoV2Helper::failures503, 2);
}

TEST_F(CloudHelperTest, SilentUserIsToldToTheFrame) {
  const LogText log;
  Frame frame;
  AnswerWithCode("/about", "31084977");
  (void)CloudPhotoV2Helper::GetCutStatus();
  EXPECT_THAT(frame.messages, ElementsAre(WM_FRAME_SILENT_USER));
  EXPECT_EQ(WM_FRAME_SILENT_USER, 3356U);
  EXPECT_TRUE(log.Has("Silent user status change and error code is 31084977"));
}

TEST_F(CloudHelperTest, ServiceThatIsSwitchedOffForTheAccountIsTold) {
  constexpr std::int64_t kDayMs = std::int64_t{24} * 3600 * 1000;
  ASSERT_EQ(CloudPhotoV2Helper::GetCutStatus(), 2);
  EXPECT_TRUE(CloudPhotoV2Helper::GetServiceState().known);
  EXPECT_FALSE(CloudPhotoV2Helper::GetServiceState().disabled);
  server.ManageUser("suspend", "alice", {"--delete-days", "30"});
  ASSERT_EQ(CloudPhotoV2Helper::GetCutStatus(), 2);
  const auto state = CloudPhotoV2Helper::GetServiceState();
  EXPECT_TRUE(state.disabled);
  EXPECT_GT(state.disableTimeMs, 0);
  EXPECT_EQ(state.deleteTimeMs, state.disableTimeMs + 30 * kDayMs);
  server.ManageUser("resume", "alice");
  ASSERT_EQ(CloudPhotoV2Helper::GetCutStatus(), 2);
  EXPECT_FALSE(CloudPhotoV2Helper::GetServiceState().disabled);
  EXPECT_EQ(CloudPhotoV2Helper::GetServiceState().deleteTimeMs, 0);
}

TEST_F(CloudHelperTest, HiddenDataIsToldToTheFrameOnce) {
  Frame frame;
  server.Action(R"({"action":"hideData","userName":"alice"})");
  std::string next;
  (void)CloudPhotoV2Helper::GetCutStatus();
  (void)CloudPhotoV2Helper::GetChangeFiles("0", next);
  EXPECT_THAT(frame.messages, ElementsAre(WM_FRAME_DATA_HIDE_REQUEST_FAILED));
  EXPECT_EQ(WM_FRAME_DATA_HIDE_REQUEST_FAILED, 3363U);
  CloudPhotoV2Helper::ArmDataHideNotice();
  (void)CloudPhotoV2Helper::GetChangeFiles("0", next);
  EXPECT_EQ(frame.messages.size(), 2U);
}

TEST_F(CloudHelperTest, RegistrationStateIsAskedForBeforeTheFrameIsTold) {
  const LogText log;
  Frame frame;
  AnswerWithCode("/changes", "31084933");
  std::string next;
  (void)CloudPhotoV2Helper::GetChangeFiles("0", next);
  EXPECT_THAT(frame.messages, IsEmpty());
  EXPECT_EQ(server.Requests().back(), "GET /cloudPhoto/v1/users/registerInfo");
  server.Action(R"({"action":"setUserStatus","userName":"alice","value":"W"})");
  (void)CloudPhotoV2Helper::GetChangeFiles("0", next);
  EXPECT_THAT(frame.messages, ElementsAre(WM_FRAME_SILENT_USER));
  EXPECT_TRUE(log.Has("Silent user status is W"));
}

TEST_F(CloudHelperTest, LockIsTakenRenewedLostAndGivenBack) {
  const LogText log;
  const auto lock = CloudPhotoV2Helper::GetV2Lock("");
  ASSERT_NE(lock, nullptr);
  EXPECT_GT(lock->expiresInSeconds, 0);
  const auto renewed = CloudPhotoV2Helper::GetV2Lock(lock->token);
  ASSERT_NE(renewed, nullptr);
  EXPECT_EQ(renewed->token, lock->token);
  server.Action(R"({"action":"dropLock","userName":"alice"})");
  EXPECT_EQ(CloudPhotoV2Helper::GetV2Lock(lock->token), nullptr);
  EXPECT_TRUE(log.Has("Get Lock Failed "));
  EXPECT_TRUE(CloudPhotoV2Helper::DeleteV2Lock(lock->token));  // gone is given back
  OtherDevice other(server, "other");
  other.TakeLock();
  EXPECT_EQ(CloudPhotoV2Helper::GetV2Lock(""), nullptr);
  EXPECT_FALSE(CloudPhotoV2Helper::DeleteV2Lock(lock->token));
  EXPECT_TRUE(log.Has("Delete Lock Failed "));
  other.GiveLockBack();
  EXPECT_NE(CloudPhotoV2Helper::GetV2Lock(""), nullptr);
}

TEST_F(CloudHelperTest, TokensReachNoLog) {
  const LogText log;
  const auto lock = CloudPhotoV2Helper::GetV2Lock("");
  ASSERT_NE(lock, nullptr);
  server.Action(R"({"action":"dropLock","userName":"alice"})");
  EXPECT_EQ(CloudPhotoV2Helper::GetV2Lock(lock->token), nullptr);
  EXPECT_TRUE(log.Has("GetV2Lock"));
  EXPECT_FALSE(log.Has(lock->token));
}

}  // namespace
