#include <sqlite3.h>

#include <atomic>
#include <thread>

#include "photocloud/base/json.h"
#include "testcloud.h"

namespace photocloud::testing {
namespace {

Json::Value LoginBody(const std::string& user, const std::string& password) {
  Json::Value body(Json::objectValue);
  body["userName"] = user;
  body["password"] = password;
  return body;
}

TEST_F(CloudTest, LoginGivesTokensThatWork) {
  const Reply reply =
      cloud.Call({}, "POST", "/cloudPhoto/v1/auth/login", LoginBody("anna", "secret of anna"));
  ASSERT_EQ(reply.status, 200);
  EXPECT_EQ(reply.json["expiresIn"], 3600);
  EXPECT_EQ(cloud.Call({"", reply.json["accessToken"].asString(), ""}, "GET", "/cloudPhoto/v1/about").status,
            200);
}

TEST_F(CloudTest, LoginNamesTheDeviceOfRequestsThatNameNone) {
  Json::Value body = LoginBody("anna", "secret of anna");
  body["deviceId"] = "desktop";
  Device unnamed{"", cloud.Call({}, "POST", "/cloudPhoto/v1/auth/login", body).json["accessToken"].asString(),
                 anna.lock};
  cloud.MakeMedia(unnamed, "a.jpg");
  EXPECT_EQ(cloud.Call(anna, "GET", "/cloudPhoto/v1/changes").json["changes"][0]["device"], "desktop");
  body["deviceId"] = std::string(300, 'x');
  EXPECT_EQ(cloud.Call({}, "POST", "/cloudPhoto/v1/auth/login", body).Code(), "31084000");
}

TEST_F(CloudTest, WrongPasswordAndUnknownNameAnswerAlike) {
  const Reply wrong = cloud.Call({}, "POST", "/cloudPhoto/v1/auth/login", LoginBody("anna", "guess"));
  const Reply unknown = cloud.Call({}, "POST", "/cloudPhoto/v1/auth/login", LoginBody("nobody", "guess"));
  EXPECT_EQ(wrong.Code(), "31084011");
  EXPECT_EQ(wrong.raw.body, unknown.raw.body);
}

Request LoginFrom(const std::string& address, const std::string& password) {
  Request request;
  request.method = "POST";
  request.SetTarget("/cloudPhoto/v1/auth/login");
  request.address = address;
  request.body = WriteJson(LoginBody("anna", password));
  return request;
}

TEST_F(CloudTest, GuessesGetSlowerAndEndInARefusalForAWhile) {
  for (int i = 0; i < 5; ++i) {
    const Reply reply = cloud.CallRaw(LoginFrom("192.0.2.1", "guess"));
    EXPECT_EQ(reply.status, 401);
    EXPECT_EQ(reply.raw.delivery.delayMs, 0);
  }
  std::int64_t before = 0;
  Reply reply = cloud.CallRaw(LoginFrom("192.0.2.1", "guess"));
  for (; reply.status == 401; reply = cloud.CallRaw(LoginFrom("192.0.2.1", "guess"))) {
    EXPECT_GT(reply.raw.delivery.delayMs, before);
    before = reply.raw.delivery.delayMs;
  }
  EXPECT_GT(before, 1000);
  EXPECT_EQ(reply.Code(), "31084029");
  EXPECT_EQ(reply.raw.headers.at(0).first, "Retry-After");
  cloud.clock.Advance(75 * 1000);
  reply = cloud.CallRaw(LoginFrom("192.0.2.1", "secret of anna"));
  EXPECT_EQ(reply.status, 200);
  EXPECT_EQ(reply.raw.delivery.delayMs, 0);
}

TEST_F(CloudTest, GuessesFromElsewhereDoNotLockTheOwnerOut) {
  for (int i = 0; i < 20; ++i) cloud.CallRaw(LoginFrom("192.0.2.1", "guess"));
  const Reply owner = cloud.CallRaw(LoginFrom("198.51.100.7", "secret of anna"));
  EXPECT_EQ(owner.status, 200);
  EXPECT_EQ(owner.raw.delivery.delayMs, 0);
  // From the guesser's address it is slow, and goes on as long as few wait.
  cloud.clock.Advance(10 * 1000);
  const Reply slow = cloud.CallRaw(LoginFrom("192.0.2.1", "secret of anna"));
  EXPECT_EQ(slow.status, 200);
  EXPECT_GT(slow.raw.delivery.delayMs, 0);
}

TEST_F(CloudTest, ManyAddressesAtOneNameAreSlowedAndNeverCloseIt) {
  for (int i = 0; i < 200; ++i) cloud.CallRaw(LoginFrom("10.0.0." + std::to_string(i), "guess"));
  const Reply owner = cloud.CallRaw(LoginFrom("198.51.100.7", "secret of anna"));
  EXPECT_EQ(owner.status, 200);
  EXPECT_LE(owner.raw.delivery.delayMs, 5000);
}

TEST_F(CloudTest, GuessesAtTheSameTimeAreAsSlowAsOneAfterTheOther) {
  std::atomic<int> atOnce{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 40; ++i) {
    threads.emplace_back([&] {
      const auto result = cloud.services.accounts.Login({"anna", "guess", "", "192.0.2.1"});
      if (std::get<ErrorCode>(result.outcome) == ErrorCode::LoginRefused && result.waitMs == 0) ++atOnce;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_LE(atOnce, 5);
}

TEST_F(CloudTest, RefusedLoginsAreLoggedByNumberAndAddress) {
  ::testing::internal::CaptureStderr();
  cloud.CallRaw(LoginFrom("192.0.2.1", "guess"));
  const std::string log = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(log.find(R"("account":"1","address":"192.0.2.1","event":"login refused")"), std::string::npos)
      << log;
  EXPECT_EQ(log.find("anna"), std::string::npos) << log;
}

TEST_F(CloudTest, AccessTokenExpiresAndRefreshGivesANewOne) {
  const Reply login =
      cloud.Call({}, "POST", "/cloudPhoto/v1/auth/login", LoginBody("anna", "secret of anna"));
  const Device device{"", login.json["accessToken"].asString(), ""};
  cloud.clock.Advance(3601 * 1000);
  EXPECT_EQ(cloud.Call(device, "GET", "/cloudPhoto/v1/about").Code(), "31084001");
  Json::Value body(Json::objectValue);
  body["refreshToken"] = login.json["refreshToken"];
  const Reply refreshed = cloud.Call({}, "POST", "/cloudPhoto/v1/auth/refresh", body);
  ASSERT_EQ(refreshed.status, 200);
  EXPECT_EQ(
      cloud.Call({"", refreshed.json["accessToken"].asString(), ""}, "GET", "/cloudPhoto/v1/about").status,
      200);
}

TEST_F(CloudTest, UsedRefreshTokenWorksForAMinuteOnly) {
  const Reply login =
      cloud.Call({}, "POST", "/cloudPhoto/v1/auth/login", LoginBody("anna", "secret of anna"));
  Json::Value body(Json::objectValue);
  body["refreshToken"] = login.json["refreshToken"];
  EXPECT_EQ(cloud.Call({}, "POST", "/cloudPhoto/v1/auth/refresh", body).status, 200);
  EXPECT_EQ(cloud.Call({}, "POST", "/cloudPhoto/v1/auth/refresh", body).status, 200);
  cloud.clock.Advance(61000);
  EXPECT_EQ(cloud.Call({}, "POST", "/cloudPhoto/v1/auth/refresh", body).Code(), "31084012");
}

TEST_F(CloudTest, LogoutEndsTheSession) {
  EXPECT_EQ(cloud.Call(anna, "POST", "/cloudPhoto/v1/auth/logout").status, 200);
  EXPECT_EQ(cloud.Call(anna, "GET", "/cloudPhoto/v1/about").status, 401);
}

TEST_F(CloudTest, DisabledAccountIsRefusedAtOnceAndCanComeBack) {
  ASSERT_TRUE(cloud.services.accounts.SetDisabled("anna", true));
  EXPECT_EQ(cloud.Call(anna, "GET", "/cloudPhoto/v1/about").status, 401);
  EXPECT_EQ(cloud.Call({}, "POST", "/cloudPhoto/v1/auth/login", LoginBody("anna", "secret of anna")).Code(),
            "31084003");
  ASSERT_TRUE(cloud.services.accounts.SetDisabled("anna", false));
  EXPECT_EQ(cloud.Call(cloud.Login("anna", "desktop"), "GET", "/cloudPhoto/v1/about").status, 200);
}

TEST_F(CloudTest, StoreHoldsNeitherPasswordNorTokens) {
  const auto account = cloud.store.FindAccountByName("anna");
  ASSERT_TRUE(account);
  EXPECT_EQ(account->verifier.rfind("$argon2id$", 0), 0u);
  std::string file;
  for (const char* name : {"photocloud.db", "photocloud.db-wal"}) {
    std::FILE* stream = std::fopen((cloud.folder.path / name).c_str(), "rb");
    ASSERT_NE(stream, nullptr);
    char buffer[4096];
    for (std::size_t count; (count = std::fread(buffer, 1, sizeof buffer, stream)) > 0;)
      file.append(buffer, count);
    std::fclose(stream);
  }
  EXPECT_NE(file.find(account->verifier), std::string::npos);
  EXPECT_EQ(file.find("secret of anna"), std::string::npos);
  EXPECT_EQ(file.find(anna.token), std::string::npos);
}

TEST_F(CloudTest, NameCanBeTakenOnce) {
  EXPECT_FALSE(cloud.services.accounts.Create("anna", "other", 1));
  EXPECT_FALSE(cloud.services.accounts.Create("", "other", 1));
  EXPECT_FALSE(cloud.services.accounts.Create("empty", "", 1));
}

TEST_F(CloudTest, AccountsSeeNothingOfEachOther) {
  cloud.AddUser("berta");
  Device berta = cloud.Writer("berta", "laptop");
  const std::string id = Upload(cloud, anna, "a.jpg", std::string(100, 'a'));
  cloud.MakeAlbum(anna, "trip", "Trip");
  EXPECT_EQ(cloud.Call(berta, "GET", "/cloudPhoto/v1/media/" + id).Code(), "31084041");
  EXPECT_EQ(cloud.Call(berta, "PATCH", "/cloudPhoto/v1/media/" + id, Json(R"({"favorite":true})")).Code(),
            "31084041");
  EXPECT_EQ(cloud.Call(berta, "DELETE", "/cloudPhoto/v1/media/" + id).Code(), "31084041");
  EXPECT_EQ(cloud.Call(berta, "DELETE", "/cloudPhoto/v1/albums/trip").Code(), "31084909");
  EXPECT_EQ(cloud.Call(berta, "GET", "/cloudPhoto/v1/media").json["media"].size(), 0u);
  EXPECT_EQ(cloud.Version(berta), "0");
  // The other one's lock opens nothing either.
  berta.lock = anna.lock;
  EXPECT_EQ(cloud.Call(berta, "POST", "/cloudPhoto/v1/albums", Json(R"({"albumName":"x"})")).Code(),
            "31084230");
}

TEST_F(CloudTest, RemovedAccountLeavesNoObjects) {
  Upload(cloud, anna, "a.jpg", std::string(100, 'a'));
  const auto account = cloud.store.FindAccountByName("anna");
  EXPECT_FALSE(cloud.objects.List(account->id).empty());
  cloud.store.RemoveAccount(account->id);
  cloud.services.Sweep();
  EXPECT_TRUE(cloud.objects.List(account->id).empty());
  EXPECT_EQ(cloud.Call(anna, "GET", "/cloudPhoto/v1/about").status, 401);
}

TEST_F(CloudTest, FirstDeviceWinsTheKeys) {
  EXPECT_TRUE(cloud.Call(anna, "GET", "/cloudPhoto/v1/keys").json["keys"].isNull());
  const Json::Value first = Json(R"({"ifRevision":0,"keys":{"blob":"one"}})");
  const Json::Value second = Json(R"({"ifRevision":0,"keys":{"blob":"two"}})");
  EXPECT_EQ(cloud.Call(anna, "PUT", "/cloudPhoto/v1/keys", first).json["revision"], 1);
  EXPECT_EQ(cloud.Call(anna, "PUT", "/cloudPhoto/v1/keys", second).Code(), "31084093");
  EXPECT_EQ(cloud.Call(anna, "GET", "/cloudPhoto/v1/keys").json["keys"]["blob"], "one");
}

TEST_F(CloudTest, KeysHaveALargestSize) {
  Json::Value body = Json(R"({"ifRevision":0,"keys":{}})");
  body["keys"]["blob"] = std::string(70000, 'x');
  EXPECT_EQ(cloud.Call(anna, "PUT", "/cloudPhoto/v1/keys", body).Code(), "31084013");
}

TEST_F(CloudTest, AboutAlwaysCarriesSettings) {
  const Reply reply = cloud.Call(anna, "GET", "/cloudPhoto/v1/about?fields=dataVersion,maxBatchNumber");
  EXPECT_EQ(reply.json, Json(R"({"dataVersion":"v2.0","maxBatchNumber":5,
                                 "settings":{"suspendCursor":"","v2cut":"1"}})"));
}

TEST_F(CloudTest, AboutTellsSinceWhenTheDataAreThoseOfABackup) {
  (void)cloud.Call(anna, "GET", "/cloudPhoto/v1/about");
  std::int64_t before = cloud.store.FindAccountByName("anna")->version;
  cloud.store.NextVersion(cloud.store.FindAccountByName("anna")->id);
  ++before;
  sqlite3* database = nullptr;
  ASSERT_EQ(sqlite3_open((cloud.folder.path / "photocloud.db").c_str(), &database), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(database, "DELETE FROM settings WHERE name='secret'", nullptr, nullptr, nullptr),
            SQLITE_OK);
  sqlite3_close(database);
  (void)cloud.store.Secret();
  const std::string restored = std::to_string(before + 1'000'000'000);
  EXPECT_EQ(cloud.Call(anna, "GET", "/cloudPhoto/v1/about").json["settings"]["restoredCursor"], restored);
  const Reply cursor = cloud.Call(anna, "GET", "/cloudPhoto/v1/changes/getStartCursor");
  EXPECT_EQ(cursor.json["startCursor"], restored);
  EXPECT_EQ(cursor.json["fullUploadCursor"], restored);
  EXPECT_EQ(cloud.Call(anna, "GET", "/cloudPhoto/v1/changes?cursor=" + std::to_string(before)).Code(),
            "31084100");
}

TEST_F(CloudTest, HiddenDataAreRefusedWithTheirOwnCode) {
  ASSERT_TRUE(
      cloud.Call({}, "POST", "/faults/actions", Json(R"({"action":"hideData","userName":"anna"})")).status ==
      200);
  for (const char* path :
       {"about", "albums", "media", "changes", "changes/getStartCursor", "locks", "losts"}) {
    EXPECT_EQ(cloud.Call(anna, "GET", std::string("/cloudPhoto/v1/") + path).Code(), "31084052") << path;
  }
  EXPECT_EQ(cloud.Call(anna, "GET", "/cloudPhoto/v1/quota").status, 200);
  cloud.Call({}, "POST", "/faults/actions", Json(R"({"action":"showData","userName":"anna"})"));
  EXPECT_EQ(cloud.Call(anna, "GET", "/cloudPhoto/v1/about").status, 200);
}

TEST_F(CloudTest, RegistrationStateIsTold) {
  cloud.Call({}, "POST", "/faults/actions",
             Json(R"({"action":"setUserStatus","userName":"anna","value":"W"})"));
  EXPECT_EQ(
      cloud.Call(anna, "GET", "/cloudPhoto/v1/users/registerInfo?countryCode=DE&fields=userStatus").json,
      Json(R"({"userStatus":"W"})"));
}

}  // namespace
}  // namespace photocloud::testing
