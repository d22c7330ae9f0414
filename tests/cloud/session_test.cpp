#include <gmock/gmock.h>
#include <sys/stat.h>

#include <fstream>

#include "cloud/cloudphotov2helper.h"
#include "cloudserver.h"
#include "common/platform/text.h"
#include "host/base/globalparamwrapper.h"
#include "host/base/jsonfile.h"
#include "host/requests/ns/basic.h"
#include "host/requests/ns/cloudphotov2.h"
#include "loopbackserver.h"
#include "support/faketask.h"

namespace {

using ::testing::ElementsAre;
using ::testing::Not;
using LoginResult = UserAuthService::LoginResult;

class SessionTest : public CloudTest {
 protected:
  void SetUp() override {
    GalleryTest::SetUp();
    localUser = session.GetCurrentUserID();
    server.ForgetRequests();
  }
  LoginResult Login(const std::string& password = "wonderland") {
    return session.Login(server.Url() + "/", "alice", password);
  }
  std::filesystem::path AccountFile() const { return folder.Path() / "config/ZentaraCloud/account.json"; }
  Json::Value Stored() const {
    Json::Value account;
    EXPECT_EQ(JsonFile::Load(AccountFile(), account), JsonFile::LoadResult::Loaded);
    return account;
  }
  std::string Token() { return platform::WideToUtf8(session.GetCurrentAT()); }

  std::wstring localUser;
};

TEST_F(SessionTest, LoginKeepsServerAndTokensForTheOwnerOnly) {
  ASSERT_EQ(Login(), LoginResult::Done);
  const Json::Value account = Stored();
  EXPECT_EQ(account["server"].asString(), server.Url());
  EXPECT_EQ(account["userName"].asString(), "alice");
  EXPECT_EQ(account["accessToken"].asString(), Token());
  EXPECT_FALSE(Token().empty());
  EXPECT_FALSE(account["refreshToken"].asString().empty());
  // The server's tokens live for an hour; the clock stands.
  EXPECT_EQ(account["accessTokenEnds"].asInt64(), 1'700'000'000 + 3600);
  struct stat status {};
  ASSERT_EQ(::stat(AccountFile().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
  EXPECT_NE(session.GetCurrentUserID(), localUser);
  EXPECT_EQ(GlobalParamWrapper::GetInstance()->GetUserInfo().userId, session.GetCurrentUserID());
}

TEST_F(SessionTest, PasswordAndTokensReachNoLog) {
  const LogText log;
  ASSERT_EQ(Login(), LoginResult::Done);
  EXPECT_EQ(Login("not-the-word"), LoginResult::Refused);
  EXPECT_TRUE(log.Has("UserAuthService::Login"));
  EXPECT_FALSE(log.Has("not-the-word"));
  EXPECT_FALSE(log.Has(Token()));
}

TEST_F(SessionTest, FailedLoginsChangeNothing) {
  EXPECT_EQ(Login("wrong"), LoginResult::Refused);
  EXPECT_EQ(session.Login("http://cloud.example", "alice", "wonderland"), LoginResult::NotAllowed);
  server.Kill();
  EXPECT_EQ(Login(), LoginResult::Unreachable);
  EXPECT_EQ(session.GetCurrentUserID(), localUser);
  EXPECT_EQ(session.GetServerUrl(), "");
  EXPECT_EQ(Token(), "");
}

TEST_F(SessionTest, AnotherKindOfServerIsUnreachable) {
  LoopbackServer other({LoopbackServer::Answer(200, "<html></html>")});
  EXPECT_EQ(session.Login(other.Url(), "alice", "wonderland"), LoginResult::Unreachable);
}

TEST_F(SessionTest, LogoutEndsTheTransfersFirst) {
  ASSERT_EQ(Login(), LoginResult::Done);
  FakeManager manager;
  const auto task = std::make_shared<FakeTask>(TaskType::Upload, "a");
  std::string userAtTheEnd;
  task->WhenDone([&](const TransferTask::Ptr&) { userAtTheEnd = session.GetUserName(); });
  ASSERT_TRUE(manager.AddUpload(task));
  task->WaitForRun(1);
  ASSERT_TRUE(session.Logout());
  EXPECT_EQ(userAtTheEnd, "alice");
  EXPECT_TRUE(manager.Tasks(TaskType::Upload).empty());
}

TEST_F(SessionTest, LogoutEndsTheSessionAndBringsTheLocalAccountBack) {
  ASSERT_TRUE(session.InitMk1AndMk2());
  const std::string localKey = GlobalParamWrapper::GetInstance()->GetHMAC_MK1();
  ASSERT_EQ(Login(), LoginResult::Done);
  const std::wstring cloudUser = session.GetCurrentUserID();
  ASSERT_TRUE(session.InitMk1AndMk2());
  const std::string cloudKey = GlobalParamWrapper::GetInstance()->GetHMAC_MK1();
  EXPECT_NE(cloudKey, localKey);
  server.ForgetRequests();
  ASSERT_TRUE(session.Logout());
  EXPECT_THAT(server.Requests(), ElementsAre("POST /cloudPhoto/v1/auth/logout"));
  EXPECT_EQ(session.GetCurrentUserID(), localUser);
  EXPECT_EQ(Token(), "");
  ASSERT_TRUE(session.InitMk1AndMk2());
  EXPECT_EQ(GlobalParamWrapper::GetInstance()->GetHMAC_MK1(), localKey);
  ASSERT_EQ(Login(), LoginResult::Done);
  EXPECT_EQ(session.GetCurrentUserID(), cloudUser);
  ASSERT_TRUE(session.InitMk1AndMk2());
  EXPECT_EQ(GlobalParamWrapper::GetInstance()->GetHMAC_MK1(), cloudKey);
}

TEST_F(SessionTest, AccountKeptAsideHoldsNoToken) {
  ASSERT_EQ(Login(), LoginResult::Done);
  const std::string token = Token();
  ASSERT_TRUE(session.Logout());
  int accounts = 0;
  for (const auto& entry : std::filesystem::directory_iterator(AccountFile().parent_path())) {
    if (!entry.path().filename().string().starts_with("account")) continue;
    ++accounts;
    std::ifstream file(entry.path());
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    EXPECT_EQ(text.find(token), std::string::npos) << entry.path();
  }
  EXPECT_EQ(accounts, 3);  // the present one, and each user's as it was left
}

TEST_F(SessionTest, TwoUsersOfOneProfileHaveTheirOwnIds) {
  server.AddUser("bob", "master builder");
  ASSERT_EQ(Login(), LoginResult::Done);
  const std::wstring alice = session.GetCurrentUserID();
  ASSERT_EQ(session.Login(server.Url(), "bob", "master builder"), LoginResult::Done);
  EXPECT_NE(session.GetCurrentUserID(), alice);
  ASSERT_TRUE(session.Logout());
  EXPECT_EQ(session.GetCurrentUserID(), localUser);
}

TEST_F(SessionTest, TokenIsRenewedShortlyBeforeItEnds) {
  ASSERT_EQ(Login(), LoginResult::Done);
  const std::string first = Token();
  server.ForgetRequests();
  clock.ms += (3600 - 301) * 1000;
  EXPECT_TRUE(session.KeepTokenFresh());
  EXPECT_EQ(Token(), first);
  clock.ms += 1000;
  EXPECT_TRUE(session.KeepTokenFresh());
  EXPECT_NE(Token(), first);
  EXPECT_EQ(Stored()["accessToken"].asString(), Token());
  EXPECT_THAT(server.Requests(), ElementsAre("POST /cloudPhoto/v1/auth/refresh"));
}

TEST_F(SessionTest, RefusedTokenIsRenewedAndTheRequestSentOnceMore) {
  ASSERT_EQ(Login(), LoginResult::Done);
  server.Action(R"({"action":"advanceClock","seconds":3601})");
  server.ForgetRequests();
  EXPECT_NE(CloudPhotoV2Helper::GetAllVersion(), nullptr);
  EXPECT_THAT(server.Requests(),
              ElementsAre("GET /cloudPhoto/v1/changes/getStartCursor", "POST /cloudPhoto/v1/auth/refresh",
                          "GET /cloudPhoto/v1/changes/getStartCursor"));
}

TEST_F(SessionTest, SessionThatHasEndedIsNotAskedForAgain) {
  ASSERT_EQ(Login(), LoginResult::Done);
  server.Action(R"({"action":"advanceClock","seconds":2592001})");
  server.ForgetRequests();
  EXPECT_EQ(CloudPhotoV2Helper::GetAllVersion(), nullptr);
  EXPECT_EQ(Token(), "");
  EXPECT_EQ(CloudPhotoV2Helper::GetAllVersion(), nullptr);
  EXPECT_THAT(server.Requests(),
              ElementsAre("GET /cloudPhoto/v1/changes/getStartCursor", "POST /cloudPhoto/v1/auth/refresh",
                          "GET /cloudPhoto/v1/changes/getStartCursor"));
  EXPECT_EQ(Login(), LoginResult::Done);
}

TEST_F(SessionTest, ServiceThatIsDownEndsNoSession) {
  ASSERT_EQ(Login(), LoginResult::Done);
  const std::string token = Token();
  server.Kill();
  clock.ms += 3600 * 1000;
  EXPECT_FALSE(session.KeepTokenFresh());
  EXPECT_EQ(Token(), token);
}

TEST_F(SessionTest, TokensOfAnotherProcessAreTakenOver) {
  ASSERT_EQ(Login(), LoginResult::Done);
  Json::Value account = Stored();
  account["accessToken"] = "renewed-elsewhere";
  account["accessTokenEnds"] = Json::Int64(1'700'007'200);
  std::ofstream(AccountFile()) << JsonFile::Text(account);
  server.ForgetRequests();
  clock.ms += 3600 * 1000;
  EXPECT_TRUE(session.KeepTokenFresh());
  EXPECT_EQ(Token(), "renewed-elsewhere");
  EXPECT_TRUE(server.Requests().empty());
}

TEST_F(SessionTest, LoginSendsNoTokenToAnotherServer) {
  ASSERT_EQ(Login(), LoginResult::Done);
  LoopbackServer other({LoopbackServer::Answer(401, "{}")});
  (void)session.Login(other.Url(), "alice", "wonderland");
  EXPECT_EQ(other.Requests().at(0).find(Token()), std::string::npos);
  EXPECT_EQ(other.Requests().at(0).find("Authorization"), std::string::npos);
}

TEST_F(SessionTest, CallsCanBeMadeAsFutures) {
  ASSERT_EQ(Login(), LoginResult::Done);
  auto about = NS::Request::Future(NS::CloudPhoto::V2::AboutReq::Get("dataVersion"));
  auto answer = about.get();
  ASSERT_TRUE(answer.payload);
  EXPECT_EQ(answer.payload->dataVersion, "v2.0");
}

}  // namespace
