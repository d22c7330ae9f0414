#include "sync/lostfilemanager.h"

#include <gmock/gmock.h>

#include <fstream>
#include <future>

#include "clouduploads.h"
#include "host/base/globalparamwrapper.h"
#include "loopbackserver.h"
#include "synctest.h"
#include "utils/globaldata.h"

namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

constexpr std::int64_t kNow = 1'700'000'000;  // the test clock, seconds
constexpr std::int64_t kDay = 86400;
constexpr std::int64_t kNeverAsked = 0;
constexpr int kStepsOfAMinute = 600;

std::string Page(const std::string& media, const std::string& next = "", const std::string& newStart = "") {
  return LoopbackServer::Answer(200, R"({"media":[)" + media + R"(],"nextCursor":")" + next +
                                         R"(","newStartCursor":")" + newStart + "\"}");
}
std::string Refusal(const std::string& code) {
  return LoopbackServer::Answer(410, R"({"error":{"status":410,"description":"d","errors":[{"code":")" +
                                         code + R"(","reason":"why","subject":""}]}})");
}
std::string Media(const std::string& id, int status, int size, const std::string& attachments) {
  return R"({"id":")" + id + R"(","status":)" + std::to_string(status) + R"(,"size":)" +
         std::to_string(size) + R"(,"attachments":[)" + attachments + "]}";
}
std::string Part(const std::string& usage, int status) {
  return R"({"usage":")" + usage + R"(","status":)" + std::to_string(status) + "}";
}

// Lets no time pass: counts the steps that were waited, and logs the user out
// after so many.
class Minutes {
 public:
  explicit Minutes(int minutes) : stepsLeft(minutes * kStepsOfAMinute) {}

  void Pass(std::chrono::milliseconds step) {
    if (step != std::chrono::milliseconds(100)) return;  // the breath between two pages
    ++steps;
    if (onStep) onStep(steps);
    if (steps != stepsLeft) return;
    GlobalParamWrapper::GetInstance()->SetUser({}, {});
    loggedOut.set_value();
  }
  void WaitForLogout() { loggedOut.get_future().wait(); }

  std::function<void(int step)> onStep;
  std::atomic<int> steps{0};

 private:
  const int stepsLeft;
  std::promise<void> loggedOut;
};

struct Asked {
  std::vector<std::string> content;
  std::vector<std::string> thumbnails;
};

// A gallery that has been downloaded completely, its sync against a fake account,
// and the list of lost files as the answers of a server that a test writes.
class LostFilesTest : public SyncTest {
 protected:
  void SetUp() override {
    SyncTest::SetUp();
    SyncHelper::Replace(sync.get());
    GlobalParamWrapper::GetInstance()->SetServerTime(kNow);  // Another test's service told another time.
    AddRow(1, kNeverAsked);
  }
  void TearDown() override {
    SyncHelper::Replace(nullptr);
    SyncTest::TearDown();
  }

  void AddRow(std::int64_t hasDownAll, std::int64_t lastQuery, const std::string& cursor = {}) {
    ASSERT_TRUE(DBHelper::GetInstance().Execute("DELETE FROM AlbumLocalVersion;"));
    AlbumLocalVersion row;
    row.AlbumVersion = row.AlbumListVersion = "1";
    row.HasDownAll = hasDownAll;
    row.lastLostFileQueryTimestamp = lastQuery;
    row.lostFileQueryCursor = cursor;
    ASSERT_TRUE(DBHelper::GetInstance().AddLocalVersion(row));
  }

  // Until so many minutes have been waited; returns the requests that came.
  std::vector<std::string> Run(std::vector<std::string> answers, int minutes = 1) {
    LoopbackServer server(std::move(answers));
    LogInAt(server.Url());
    RunFor(minutes);
    return server.Requests();
  }
  void RunFor(int minutes) {
    Minutes time(minutes);
    time.onStep = onStep;
    CloudPhoto::LostFileManager manager([&time](std::chrono::milliseconds step) { time.Pass(step); });
    manager.StartupRefundTask(
        [this](const std::vector<std::string>& ids) {
          asked.content.insert(asked.content.end(), ids.begin(), ids.end());
          if (onRefund) onRefund();
          return refundsSucceed.load();
        },
        [this](const std::vector<std::string>& ids) {
          asked.thumbnails.insert(asked.thumbnails.end(), ids.begin(), ids.end());
          return refundsSucceed.load();
        });
    time.WaitForLogout();
  }
  void LogInAt(const std::string& url) {
    std::filesystem::create_directories(folder / "config/ZentaraCloud");
    std::ofstream(folder / "config/ZentaraCloud/account.json")
        << R"({"userId":"alice","accessToken":"at","refreshToken":"","server":")" + url + "\"}";
    ASSERT_TRUE(UserAuthService::GetInstance()->Load());
  }
  void Setting(const std::string& json) {
    std::filesystem::create_directories(folder / "config/ZentaraCloud");
    std::ofstream(folder / "config/ZentaraCloud/settings.json") << json;
    ASSERT_TRUE(GlobalParamWrapper::GetInstance()->Load());
  }
  static std::string CursorOf(const std::string& request) {
    const auto at = request.find("cursor=");
    return at == std::string::npos ? "" : request.substr(at + 7, request.find_first_of("& ", at) - at - 7);
  }

  Asked asked;
  std::atomic<bool> refundsSucceed{true};
  std::function<void(int step)> onStep;
  std::function<void()> onRefund;  // of contents
};

TEST_F(LostFilesTest, SwitchedOffNothingIsSentAndTheCursorStays) {
  Setting(R"({"enableCloudPhotoAssetRefund":false})");
  AddRow(1, kNeverAsked, "7");
  const LogText log;
  EXPECT_THAT(Run({Page("")}, 3), IsEmpty());
  EXPECT_EQ(VersionRow().lostFileQueryCursor, "7");
  EXPECT_EQ(VersionRow().lastLostFileQueryTimestamp, kNeverAsked);
  EXPECT_TRUE(log.Has("assetRefundSwitch=0"));
  EXPECT_TRUE(log.Has("end refund task"));
}

TEST_F(LostFilesTest, BeforeTheFirstFullDownloadNothingIsAskedHoweverLongItTakes) {
  AddRow(0, kNeverAsked);
  const LogText log;
  EXPECT_THAT(Run({Page("")}, 60), IsEmpty());
  EXPECT_TRUE(log.Has("start refund task"));
  EXPECT_TRUE(log.Has("not logged in"));
  EXPECT_FALSE(log.Has("end refund task"));
}

TEST_F(LostFilesTest, FullDownloadThatEndsMeanwhileStartsTheSearch) {
  AddRow(0, kNeverAsked);
  onStep = [this](int step) {
    if (step == 2 * kStepsOfAMinute) AddRow(1, kNeverAsked);
  };
  EXPECT_THAT(Run({Page("")}, 3), SizeIs(1));
}

TEST_F(LostFilesTest, WithoutAVersionRowNoQueryIsDue) {
  AddRow(1, kNow);
  onStep = [this](int step) {
    if (step != 10) return;
    ASSERT_TRUE(DBHelper::GetInstance().Execute("DELETE FROM AlbumLocalVersion;"));
    clock.ms += 1000 * kDay * 1000;
  };
  EXPECT_THAT(Run({Page("")}, 3), IsEmpty());
}

TEST_F(LostFilesTest, QueryIsDueAfterThePeriodToTheSecond) {
  Setting(R"({"cloudPhotoAssetRefundPeriodDays":3})");
  AddRow(1, kNow - 3 * kDay + 1);
  EXPECT_THAT(Run({Page("")}), IsEmpty());
  AddRow(1, kNow - 3 * kDay);
  EXPECT_THAT(Run({Page("")}), SizeIs(1));
  EXPECT_EQ(VersionRow().lastLostFileQueryTimestamp, kNow);
}

TEST_F(LostFilesTest, StoredTimeIsReadAsASigned32BitNumber) {
  AddRow(1, (std::int64_t{1} << 32) + kNow);
  EXPECT_THAT(Run({Page("")}), IsEmpty());
  AddRow(1, (std::int64_t{1} << 32) + 5);
  EXPECT_THAT(Run({Page("")}), SizeIs(1));
}

TEST_F(LostFilesTest, PageWithoutCursorsEndsTheWalkAndStoresTheTime) {
  AddRow(1, kNeverAsked, "5");
  const auto requests = Run({Page("")});
  ASSERT_THAT(requests, SizeIs(1));
  EXPECT_THAT(requests[0],
              AllOf(HasSubstr("GET /cloudPhoto/v1/losts?"), HasSubstr("Authorization:Bearer at")));
  EXPECT_EQ(CursorOf(requests[0]), "5");
  EXPECT_EQ(VersionRow().lostFileQueryCursor, "5");
  EXPECT_EQ(VersionRow().lastLostFileQueryTimestamp, kNow);
}

TEST_F(LostFilesTest, PagesFollowByNextCursorAndNewStartCursorIsKept) {
  const auto requests = Run({Page("", "10"), Page("", "20"), Page("", "", "33")});
  ASSERT_THAT(requests, SizeIs(3));
  EXPECT_EQ(CursorOf(requests[0]), "");
  EXPECT_EQ(CursorOf(requests[1]), "10");
  EXPECT_EQ(CursorOf(requests[2]), "20");
  EXPECT_EQ(VersionRow().lostFileQueryCursor, "33");
}

TEST_F(LostFilesTest, PageThatNamesItselfAsTheNextEndsTheWalk) {
  EXPECT_THAT(Run({Page("", "10"), Page("", "10")}), SizeIs(2));
  EXPECT_EQ(VersionRow().lostFileQueryCursor, "10");
}

TEST_F(LostFilesTest, NewStartCursorWinsOverNextCursorAndEndsTheWalk) {
  EXPECT_THAT(Run({Page("", "10", "33")}), SizeIs(1));
  EXPECT_EQ(VersionRow().lostFileQueryCursor, "33");
  EXPECT_EQ(VersionRow().lastLostFileQueryTimestamp, kNow);
}

TEST_F(LostFilesTest, RefusedCursorStartsTheWalkAnewWithoutAWait) {
  for (const char* code : {"31084100", "31084002", "999931084100"}) {
    AddRow(1, kNeverAsked, "77");
    std::string stored = "not looked at";
    onStep = [&](int step) {
      if (step == 1) stored = VersionRow().lostFileQueryCursor;
    };
    const LogText log;
    const auto requests = Run({Refusal(code), Page("", "", "")});
    ASSERT_THAT(requests, SizeIs(2)) << code;
    EXPECT_EQ(CursorOf(requests[0]), "77");
    EXPECT_EQ(CursorOf(requests[1]), "");
    // The first wait is that behind the walk.
    EXPECT_EQ(stored, "");
    EXPECT_EQ(VersionRow().lastLostFileQueryTimestamp, kNow);
    EXPECT_TRUE(
        log.Has(std::string("get list of lost files failed,errorCode:") + code + ",errorDescription:why"));
  }
}

TEST_F(LostFilesTest, OtherFailuresAreTriedAgainAfterAMinute) {
  const LogText log;
  const auto requests = Run({"", Refusal("31085000"), LoopbackServer::Answer(200, "[]"),
                             LoopbackServer::Answer(502, "<html>"), Page("", "", "9")},
                            5);
  EXPECT_THAT(requests, SizeIs(5));
  EXPECT_EQ(VersionRow().lostFileQueryCursor, "9");
  EXPECT_TRUE(log.Has("errorDescription:network request failed"));
  EXPECT_TRUE(log.Has("errorCode:31085000,errorDescription:why"));
  EXPECT_TRUE(log.Has("errorCode:200,errorDescription:failed to parse data"));
  EXPECT_TRUE(log.Has("errorCode:502,errorDescription:failed to parse data"));
}

TEST_F(LostFilesTest, FailedRequestWaitsExactlyAMinute) {
  int stepsAtSecond = -1;
  std::atomic<int> steps{0};
  onStep = [&](int step) { steps = step; };
  LoopbackServer server({Refusal("31085000"), Page("")});
  LogInAt(server.Url());
  onStep = [&](int step) {
    if (stepsAtSecond < 0 && server.Requests().size() == 2) stepsAtSecond = step;
  };
  RunFor(2);
  EXPECT_EQ(stepsAtSecond, kStepsOfAMinute + 1);  // the first step of the wait behind the walk
}

TEST_F(LostFilesTest, AttachmentsDecideWhatIsLost) {
  const std::string records =
      Media("none", 2, 0, "") + "," + Media("bare", 2, 1, "") + "," +
      Media("content", 2, 5, Part("content", 2) + "," + Part("thumbnail", 1)) + "," +
      Media("thumb", 2, 5, Part("content", 1) + "," + Part("thumbnail", 2)) + "," +
      Media("large", 2, 5,
            Part("content", 1) + "," + Part("largeThumbnail", 2) + "," + Part("smallThumbnail", 1)) +
      "," +
      Media("small", 2, 5,
            Part("content", 1) + "," + Part("largeThumbnail", 1) + "," + Part("smallThumbnail", 2)) +
      "," + Media("half", 2, 5, Part("content", 1) + "," + Part("largeThumbnail", 1)) + "," +
      Media("both", 1, 5,
            Part("content", 1) + "," + Part("largeThumbnail", 1) + "," + Part("smallThumbnail", 1)) +
      "," + Media("nothumb", 2, 0, Part("content", 1));
  // "both" and "nothumb" have lost nothing; the latter's status is put right.
  (void)Run({Page(records, "", "9"), LoopbackServer::Answer(200, R"({"id":"nothumb"})")});
  EXPECT_THAT(asked.content, ElementsAre("none", "bare", "content"));
  EXPECT_THAT(asked.thumbnails, ElementsAre("bare", "thumb", "large", "small", "half"));
}

TEST_F(LostFilesTest, RowsOfLostContentAreMarkedWithTheStatus) {
  Setting(R"({"statusesToRefund":[2,4]})");
  Add({CloudFile("a"), CloudFile("b"), CloudFile("c")});
  const std::string records = Media("a", 4, 5, "") + "," +
                              Media("b", 2, 5, Part("content", 1) + "," + Part("thumbnail", 2)) + "," +
                              Media("unknown", 2, 5, "");
  (void)Run({Page(records)});
  EXPECT_EQ(Row("a")->cloudContentStatus, 4);
  EXPECT_EQ(Row("b")->cloudContentStatus, 0);
  EXPECT_EQ(Row("c")->cloudContentStatus, 0);
}

TEST_F(LostFilesTest, RecordThatOnlyCarriesAWrongStatusIsPutRightAndMakesNoTask) {
  Add({CloudFile("a")});
  gallery.GetFile("a")->cloudContentStatus = 2;
  ASSERT_TRUE(DBHelper::GetInstance().SetContentStatus("a", 2));
  cloud.AddMedia("a", L"a.jpg");
  cloud.ForgetCalls();
  const LogText log;
  const auto requests = Run({Page(Media("a", 2, 5, Part("content", 1) + "," + Part("thumbnail", 1))),
                             LoopbackServer::Answer(200, R"({"id":"a"})")});
  ASSERT_THAT(requests, SizeIs(2));
  EXPECT_THAT(requests[1], AllOf(HasSubstr("PATCH /cloudPhoto/v1/media/a?fields="),
                                 HasSubstr("\"status\":\"normal\""), HasSubstr("x-zt-lock:")));
  EXPECT_EQ(Row("a")->cloudContentStatus, 1);
  EXPECT_EQ(gallery.GetFile("a")->cloudContentStatus, 1);
  EXPECT_FALSE(cloud.IsLocked());
  EXPECT_THAT(asked.content, IsEmpty());
  EXPECT_THAT(asked.thumbnails, IsEmpty());
  EXPECT_TRUE(log.Has("record.status update success,fileId:a"));
}

TEST_F(LostFilesTest, StatusThatCannotBePutRightDoesNotHoldTheWalkUp) {
  Add({CloudFile("a")});
  const LogText log;
  (void)Run({Page(Media("a", 2, 5, Part("content", 1) + "," + Part("thumbnail", 1)), "", "9"),
             Refusal("31084092")});
  EXPECT_EQ(Row("a")->cloudContentStatus, 0);
  EXPECT_EQ(VersionRow().lostFileQueryCursor, "9");
  EXPECT_TRUE(log.Has("UpdateMediaStatus error:"));
  EXPECT_TRUE(log.Has("record.status update fail,fileId:a"));
}

TEST_F(LostFilesTest, PageWhoseTasksCannotBeMadeComesAgain) {
  refundsSucceed = false;
  onStep = [this](int step) {
    if (step == kStepsOfAMinute) refundsSucceed = true;
  };
  const LogText log;
  const std::string page = Page(Media("a", 2, 5, ""), "", "9");
  const auto requests = Run({page, page}, 2);
  ASSERT_THAT(requests, SizeIs(2));
  EXPECT_EQ(CursorOf(requests[1]), "");
  EXPECT_THAT(asked.content, ElementsAre("a", "a"));
  EXPECT_THAT(asked.thumbnails, ElementsAre("a"));  // not asked for behind the failure
  EXPECT_EQ(VersionRow().lostFileQueryCursor, "9");
  EXPECT_TRUE(log.Has("failed to refund data or save the cursor"));
}

TEST_F(LostFilesTest, UpdateWithoutAnAnswerOrARecordIsToldApart) {
  for (const auto& [answer, text] :
       {std::pair<std::string, std::string>{"", "net error! info:"},
        {LoopbackServer::Answer(200, "[]"), "UpdateMediaStatus error,http code:200"}}) {
    SCOPED_TRACE(text);
    AddRow(1, kNeverAsked);
    const LogText log;
    (void)Run({Page(Media("a", 2, 5, Part("content", 1) + "," + Part("thumbnail", 1)), "", "9"), answer});
    EXPECT_TRUE(log.Has(text));
    EXPECT_TRUE(log.Has("record.status update fail,fileId:a"));
  }
}

TEST_F(LostFilesTest, WithoutTheLockAWrongStatusStaysAndTheWalkGoesOn) {
  cloud.onCall = [this](const std::string& call) {
    if (call == "GetLock") cloud.FailCall(1);
  };
  const LogText log;
  const auto requests =
      Run({Page(Media("a", 2, 5, Part("content", 1) + "," + Part("thumbnail", 1)), "", "9")});
  EXPECT_THAT(requests, SizeIs(1));
  EXPECT_TRUE(log.Has("record.status update fail,fileId:a"));
  EXPECT_EQ(VersionRow().lostFileQueryCursor, "9");
  EXPECT_THAT(asked.content, IsEmpty());
}

TEST_F(LostFilesTest, LogoutBeforeTheTasksAreMadeLeavesThePageForTheNextLogin) {
  AddRow(1, kNeverAsked, "5");
  cloud.onCall = [](const std::string& call) {
    if (call == "GetLock") GlobalParamWrapper::GetInstance()->SetUser({}, {});
  };
  LoopbackServer server({Page(
      Media("wrong", 2, 5, Part("content", 1) + "," + Part("thumbnail", 1)) + "," + Media("lost", 2, 5, ""),
      "", "9")});
  LogInAt(server.Url());
  const LogText log;
  CloudPhoto::LostFileManager manager;
  const auto refund = [this](const std::vector<std::string>& ids) {
    asked.content.insert(asked.content.end(), ids.begin(), ids.end());
    return true;
  };
  manager.StartupRefundTask(refund, refund);
  while (!log.Has("end refund task")) std::this_thread::yield();
  EXPECT_THAT(asked.content, IsEmpty());
  EXPECT_EQ(VersionRow().lostFileQueryCursor, "5");
}

TEST_F(LostFilesTest, FailureOnTheSecondPageRepeatsThatPage) {
  int pages = 0;
  onStep = [this](int) { refundsSucceed = true; };
  onRefund = [&] {
    if (++pages == 2) refundsSucceed = false;
  };
  const std::string lost = Media("a", 2, 5, Part("thumbnail", 1));
  const auto requests = Run({Page(lost, "7"), Page(lost, "", "9"), Page(lost, "", "9")}, 2);
  ASSERT_THAT(requests, SizeIs(3));
  EXPECT_EQ(CursorOf(requests[1]), "7");
  EXPECT_EQ(CursorOf(requests[2]), "7");
  EXPECT_EQ(VersionRow().lostFileQueryCursor, "9");
}

TEST_F(LostFilesTest, TimeThatCannotBeStoredBringsTheWalkAgain) {
  DatabaseFaults::FailWrite(2);
  EXPECT_THAT(Run({Page("", "", "9")}, 2), SizeIs(2));
  EXPECT_EQ(VersionRow().lastLostFileQueryTimestamp, kNow);
}

TEST_F(LostFilesTest, CursorThatCannotBeStoredBringsThePageAgain) {
  const std::string page = Page("", "", "9");
  DatabaseFaults::FailWrite(1);
  EXPECT_THAT(Run({page, page}, 2), SizeIs(2));
  EXPECT_EQ(VersionRow().lostFileQueryCursor, "9");
}

TEST_F(LostFilesTest, StoppedSyncAsksForNothing) {
  sync->StopSync();
  EXPECT_THAT(Run({Page("")}, 2), IsEmpty());
}

TEST_F(LostFilesTest, StopEndsTheWaitAtOnce) {
  // One step of the wait outlasts every test run.
  CloudPhoto::LostFileManager manager({}, std::chrono::hours(24));
  const LogText log;
  const auto isIn = [&log](const std::string& line) {
    while (!log.Has(line)) std::this_thread::yield();
  };
  AddRow(0, kNeverAsked);  // in front of the first full download
  manager.StartupRefundTask({}, {});
  isIn("start refund task");
  manager.Stop();
  ASSERT_TRUE(DBHelper::GetInstance().SetHasDownAll(1));
  LoopbackServer server({LoopbackServer::Answer(500, "")});
  LogInAt(server.Url());
  manager.StartupRefundTask({}, {});
  isIn("get list of lost files failed");
  manager.Stop();
  EXPECT_TRUE(log.Has("end refund task"));
}

// The real service, real contents, one of them gone.
class LostAtTheCloudTest : public CloudTest {
 protected:
  void SetUp() override {
    CloudTest::SetUp();
    ASSERT_TRUE(DBHelper::GetInstance().IntiDataBase("alice"));
    sync.SetServices(Services());
    SyncHelper::Replace(&sync);
  }
  void TearDown() override {
    SyncHelper::Replace(nullptr);
    CloudTest::TearDown();
  }
  // Tasks are noted in place of being run.
  SyncServices Services() {
    SyncServices services = HostSyncServices();
    services.createRefundTasks = [this](const std::vector<RefundTask>& tasks, bool held,
                                        std::function<void()> done) {
      EXPECT_TRUE(held);
      for (const RefundTask& task : tasks)
        (task.type == 0 ? asked.content : asked.thumbnails).push_back(task.fileId);
      done();
    };
    return services;
  }
  void RunUntilLogout() {
    Minutes time(1);
    CloudPhoto::LostFileManager manager([&time](std::chrono::milliseconds step) { time.Pass(step); });
    const auto refund = [this](int type) {
      return [this, type](const std::vector<std::string>& ids) {
        return sync.BetweenCycles([&] { return sync.RefundGetLock(ids, type, false); });
      };
    };
    manager.StartupRefundTask(refund(0), refund(1));
    time.WaitForLogout();
  }

  Asked asked;
  SyncHelper sync;
};

TEST_F(LostAtTheCloudTest, LostObjectsAreListedMarkedAndAskedFor) {
  OtherDevice phone(server, "phone");
  const std::string lost = UploadMedia(phone, "lost.jpg", AnyAssets('a'));
  const std::string blind = UploadMedia(phone, "blind.jpg", AnyAssets('g'));
  const std::string whole = UploadMedia(phone, "whole.jpg", AnyAssets('p'));
  phone.GiveLockBack();
  for (int cycle = 0; cycle < 6 && !Row(whole); ++cycle) (void)sync.RunOnce();
  ASSERT_TRUE(Row(lost) && Row(blind) && Row(whole));
  server.Action(R"({"action":"loseObject","userName":"alice","mediaId":")" + lost + "\"}");
  server.Action(R"({"action":"loseObject","userName":"alice","usage":"thumbnail","mediaId":")" + blind +
                "\"}");
  // The service notices a loss when somebody asks for the bytes.
  EXPECT_EQ(phone.AskForObject(lost, "content"), 404);
  EXPECT_EQ(phone.AskForObject(blind, "thumbnail"), 404);
  // The full download counts as a look at the list.
  clock.ms += 8 * kDay * 1000;
  RunUntilLogout();
  EXPECT_THAT(asked.content, ElementsAre(lost));
  EXPECT_THAT(asked.thumbnails, ElementsAre(blind));
  EXPECT_EQ(Row(lost)->cloudContentStatus, 2);
  EXPECT_EQ(Row(whole)->cloudContentStatus, 1);
  std::vector<AlbumLocalVersion> rows;
  ASSERT_TRUE(DBHelper::GetInstance().GetLocalVersions(rows));
  ASSERT_THAT(rows, SizeIs(1));
  EXPECT_NE(rows[0].lostFileQueryCursor, "");
  EXPECT_EQ(rows[0].lastLostFileQueryTimestamp, GlobalParamWrapper::GetInstance()->GetServerTime());
}

}  // namespace
