#include <future>

#include "host/base/globalparamwrapper.h"
#include "synctest.h"
#include "utils/globaldata.h"

namespace {

constexpr char kInit[] = R"({"deviceCategory":"pc","serviceType":"cloudphoto","operType":"clearmetadata"})";

class ClientInitTest : public SyncTest {};

TEST_F(ClientInitTest, OnlyThePushForThisClientCounts) {
  const auto push = [](const std::string& service, const std::string& operation) {
    return R"({"deviceCategory":"pc","serviceType":")" + service + R"(","operType":")" + operation + "\"}";
  };
  EXPECT_TRUE(SyncHelper::DoNeedToInitClient(kInit));
  EXPECT_TRUE(SyncHelper::DoNeedToInitClient(push("cloudphoto", "clearfile")));
  EXPECT_TRUE(SyncHelper::DoNeedToInitClient(push("cloudphoto", "clearthumbnail")));
  EXPECT_FALSE(SyncHelper::DoNeedToInitClient(push("cloudphoto", "clear")));
  EXPECT_FALSE(SyncHelper::DoNeedToInitClient(push("clouddisk", "clearfile")));
  EXPECT_FALSE(SyncHelper::DoNeedToInitClient(""));
  EXPECT_FALSE(SyncHelper::DoNeedToInitClient("{"));
  EXPECT_FALSE(SyncHelper::DoNeedToInitClient("[]"));
  EXPECT_FALSE(SyncHelper::DoNeedToInitClient(
      R"({"deviceCategory":"phone","serviceType":"cloudphoto","operType":"clearmetadata"})"));
  EXPECT_FALSE(
      SyncHelper::DoNeedToInitClient(R"({"deviceCategory":"pc","serviceType":"cloudphoto","operType":7})"));
}

TEST_F(ClientInitTest, PushListsAgainAndEndsInStep) {
  for (int i = 0; i < 5; ++i) cloud.AddMedia("m" + std::to_string(i), L"m" + std::to_wstring(i) + L".jpg");
  Settle();
  sync->ProcessPushMsg("300", kInit);
  EXPECT_EQ(VersionRow().HasDownAll, 1);
  sync->ProcessPushMsg("301", kInit);
  EXPECT_EQ(VersionRow().HasDownAll, 0);
  cloud.Delete("m1");
  cloud.Edit("m2", [](CloudFileInfo& info) { info.favorite = true; });
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(sync->GetState().mode, SyncModeFull);
  Settle();
  EXPECT_EQ(VersionRow().HasDownAll, 1);
  ExpectInStep();
}

TEST_F(ClientInitTest, PushWithoutARowMakesNone) {
  sync->ProcessPushMsg("301", kInit);
  std::vector<AlbumLocalVersion> rows;
  EXPECT_TRUE(DBHelper::GetInstance().GetLocalVersions(rows));
  EXPECT_TRUE(rows.empty());
}

TEST_F(ClientInitTest, PushOnAnUnchangedCloudResumes) {
  cloud.AddMedia("a", L"a.jpg");
  Settle();
  sync->ProcessPushMsg("301", kInit);
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(sync->GetState().mode, SyncModeResume);
  ExpectInStep();
}

TEST_F(ClientInitTest, PushWhoseRowCannotBeWrittenWholeIsWrittenInParts) {
  cloud.AddMedia("a", L"a.jpg");
  Settle();
  DatabaseFaults::FailWrite(1);
  sync->ProcessPushMsg("301", kInit);
  EXPECT_EQ(VersionRow().HasDownAll, 0);
}

TEST_F(ClientInitTest, ClearMarkersCompareBehindTheirDash) {
  EXPECT_TRUE(SyncHelper::IsClearNewer("2020-9", "2019-12"));
  EXPECT_FALSE(SyncHelper::IsClearNewer("2020-12", "2021-9"));
  EXPECT_TRUE(SyncHelper::IsClearNewer("", "1"));
  EXPECT_FALSE(SyncHelper::IsClearNewer("", ""));
  EXPECT_FALSE(SyncHelper::IsClearNewer("5", ""));
  EXPECT_FALSE(SyncHelper::IsClearNewer("5", "5"));
}

TEST_F(ClientInitTest, NewerClearMarkerResetsTheDatabase) {
  cloud.AddMedia("a", L"a.jpg");
  cloud.clearVersion = "x-3";
  std::vector<std::wstring> reset;
  services.makeServiceV1 = [this] { return cloud.Service(); };
  services.resetDatabase = [&](const std::wstring& path) {
    reset.push_back(path);
    return true;
  };
  RestartClient();
  Settle();
  sync->CheckAndClearDatabase();
  EXPECT_TRUE(reset.empty());
  cloud.clearVersion = "x-4";
  sync->CheckAndClearDatabase();
  ASSERT_EQ(reset.size(), 1u);
  EXPECT_TRUE(reset.front().ends_with(L"cpp.dat"));
  GlobalData::cloudGeneration = GlobalData::kGenerationV1;
  sync->CheckAndClearDatabase();
  EXPECT_EQ(reset.size(), 1u);
}

TEST_F(ClientInitTest, SilentClearMarkerLeavesOurs) {
  cloud.clearVersion = "x-3";
  cloud.AddMedia("a", L"a.jpg");
  Settle();
  EXPECT_EQ(VersionRow().ClearVersion, "x-3");
  cloud.clearVersion.clear();
  cloud.Touch();
  Settle();
  EXPECT_EQ(VersionRow().ClearVersion, "x-3");
}

TEST_F(ClientInitTest, LostFileThatArrivesWhileHiddenIsInTheTableOnly) {
  cloud.AddMedia("a", L"a.jpg");
  Settle();
  HideLostFiles();
  cloud.AddMedia("lost", L"lost.jpg");
  cloud.Edit("lost", [](CloudFileInfo& info) { info.cloudContentStatus = 2; });
  EXPECT_TRUE(Cycle());
  EXPECT_TRUE(Row("lost"));
  EXPECT_FALSE(gallery.GetFile("lost"));
  RestartClient();
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(gallery.FileCount(), 1u);
}

TEST_F(ClientInitTest, LostFilesStayInTheTableAndOutOfMemoryWhileHidden) {
  cloud.AddMedia("a", L"a.jpg");
  Settle();
  cloud.AddMedia("lost", L"lost.jpg");
  cloud.Edit("lost", [](CloudFileInfo& info) { info.cloudContentStatus = 2; });
  EXPECT_TRUE(Cycle());
  EXPECT_TRUE(Row("lost"));
  // The host shows them unless told otherwise.
  EXPECT_TRUE(gallery.GetFile("lost"));
  gallery.RemoveFiles({gallery.GetFile("lost")});
  bool shown = true;
  sync->CheckDisplaySwitch(shown);
  EXPECT_FALSE(gallery.GetFile("lost"));
  shown = false;
  sync->CheckDisplaySwitch(shown);
  EXPECT_TRUE(shown);
  EXPECT_EQ(gallery.GetFile("lost") != nullptr, GlobalParamWrapper::GetInstance()->GetIsUserLoggedIn());
}

TEST_F(ClientInitTest, WatchLooksOnceAMinute) {
  // The version is never told, so that nothing is down.
  cloud.onCall = [this](const std::string&) { cloud.FailCall(1); };
  std::chrono::milliseconds passed{0};
  std::promise<void> done;
  services.pause = [&](std::chrono::milliseconds time) {
    passed += time;
    if (passed != std::chrono::seconds(61)) return;
    GlobalParamWrapper::GetInstance()->SetUser({}, {});
    done.set_value();
  };
  RestartClient();
  const OperationLog log;
  sync->StartSync();
  done.get_future().wait();
  sync->StopSync();
  sync->StopTimer();
  EXPECT_EQ(log.Count("wait for stop loop"), 2u);
}

}  // namespace
