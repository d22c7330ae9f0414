// Sessions that their owner sees and ends, and the change of the password.

#include "photocloud/base/json.h"
#include "testcloud.h"

namespace photocloud::testing {
namespace {

constexpr const char* kSessions = "/cloudPhoto/v1/sessions";
constexpr const char* kPassword = "/cloudPhoto/v1/auth/password";

class SessionsTest : public CloudTest {
 protected:
  // A login that tells its device.
  Device LoginAs(const std::string& deviceId, const std::string& secret = "secret of anna") {
    const Reply reply = LoginReply(deviceId, secret);
    EXPECT_EQ(reply.status, 200) << reply.raw.body;
    return {deviceId, TextOf(reply.json, "accessToken"), ""};
  }
  Reply LoginReply(const std::string& deviceId, const std::string& secret) {
    Json::Value body(Json::objectValue);
    body["userName"] = "anna";
    body["password"] = secret;
    body["deviceId"] = deviceId;
    return cloud.Call({}, "POST", "/cloudPhoto/v1/auth/login", body);
  }
  std::string IdOf(const Device& device) {
    const Json::Value list = cloud.Call(device, "GET", kSessions).json["sessions"];
    for (const Json::Value& session : list) {
      if (session["current"].asBool()) return session["id"].asString();
    }
    return {};
  }
  bool IsRefused(const Device& device) {
    return cloud.Call(device, "GET", "/cloudPhoto/v1/about").Code() == "31084001";
  }
  std::shared_ptr<PushStream> Listen(const Device& device) {
    return cloud.Call(device, "GET", "/cloudPhoto/v1/push").raw.stream;
  }
  Reply Change(const Device& device, const std::string& current, const std::string& next,
               const std::string& blob, int ifRevision) {
    Json::Value body(Json::objectValue);
    body["password"] = current;
    body["newPassword"] = next;
    body["keys"]["blob"] = blob;
    body["ifRevision"] = ifRevision;
    return cloud.Call(device, "POST", kPassword, body);
  }
  Json::Value Keys() { return cloud.Call(anna, "GET", "/cloudPhoto/v1/keys").json; }
};

TEST_F(SessionsTest, ListTellsDevicesNewestUseFirst) {
  const auto start = cloud.clock.NowMs();
  cloud.clock.Advance(1000);
  const Device phone = LoginAs("phone");
  cloud.clock.Advance(120 * 1000);
  const Json::Value list = cloud.Call(anna, "GET", kSessions).json["sessions"];
  ASSERT_EQ(list.size(), 2u);
  EXPECT_TRUE(list[0]["current"].asBool());
  EXPECT_EQ(list[1]["deviceId"], "phone");
  EXPECT_FALSE(list[1]["current"].asBool());
  EXPECT_NEAR(static_cast<double>(list[1]["createdTime"].asInt64() - start), 1000, 900);
  EXPECT_NEAR(static_cast<double>(list[0]["lastUsedTime"].asInt64() - start), 121000, 900);
  cloud.clock.Advance(1000);
  EXPECT_EQ(cloud.Call(phone, "GET", kSessions).json["sessions"][0]["deviceId"], "phone");
}

TEST_F(SessionsTest, UseIsRememberedAcrossAServerStart) {
  const Device phone = LoginAs("phone");
  cloud.clock.Advance(600 * 1000);
  const auto used = cloud.clock.NowMs();
  cloud.Call(phone, "GET", "/cloudPhoto/v1/about");
  cloud.services.Sweep();
  Services next(cloud.store, cloud.objects, cloud.clock, cloud.services.settings, PasswordCost::Least);
  const auto caller = next.accounts.Authenticate(anna.token);
  for (const Session& session : next.accounts.ListSessions(std::get<Caller>(caller))) {
    if (session.deviceId == "phone") {
      EXPECT_GE(session.lastUsedMs, used);
    }
  }
}

TEST_F(SessionsTest, EndedSessionIsRefusedWithItsStreamAndItsRefreshToken) {
  const Reply login = LoginReply("phone", "secret of anna");
  const Device phone{"phone", TextOf(login.json, "accessToken"), ""};
  const auto stream = Listen(phone);
  const auto own = Listen(anna);
  const std::string id = IdOf(phone);
  EXPECT_EQ(cloud.Call(anna, "DELETE", std::string(kSessions) + "/" + id).json, Json("{}"));
  EXPECT_TRUE(IsRefused(phone));
  EXPECT_TRUE(stream->HasEnded());
  EXPECT_FALSE(own->HasEnded());
  Json::Value refresh(Json::objectValue);
  refresh["refreshToken"] = login.json["refreshToken"];
  EXPECT_EQ(cloud.Call({}, "POST", "/cloudPhoto/v1/auth/refresh", refresh).Code(), "31084012");
  EXPECT_EQ(cloud.Call(anna, "DELETE", std::string(kSessions) + "/" + id).Code(), "31084042");
}

TEST_F(SessionsTest, OnlyOwnSessionsCanBeEnded) {
  cloud.AddUser("berta");
  const Device berta = cloud.Login("berta", "laptop");
  EXPECT_EQ(cloud.Call(berta, "DELETE", std::string(kSessions) + "/" + IdOf(anna)).Code(), "31084042");
  EXPECT_FALSE(IsRefused(anna));
  EXPECT_EQ(cloud.Call(berta, "GET", kSessions).json["sessions"].size(), 1u);
  for (const char* id : {"0", "-1", "x", "99999999999999999999", "%00"}) {
    EXPECT_EQ(cloud.Call(anna, "DELETE", std::string(kSessions) + "/" + id).Code(), "31084042") << id;
  }
}

TEST_F(SessionsTest, IdsAreNotUsedAgain) {
  const std::string id = IdOf(LoginAs("phone"));
  cloud.Call(anna, "DELETE", std::string(kSessions) + "/" + id);
  EXPECT_NE(IdOf(LoginAs("tablet")), id);
}

TEST_F(SessionsTest, LogoutEndsThePushStream) {
  const Device phone = LoginAs("phone");
  const auto stream = Listen(phone);
  cloud.Call(phone, "POST", "/cloudPhoto/v1/auth/logout");
  EXPECT_TRUE(stream->HasEnded());
}

TEST_F(SessionsTest, OldRefreshTokenWorksOnce) {
  Json::Value body(Json::objectValue);
  body["refreshToken"] = LoginReply("phone", "secret of anna").json["refreshToken"];
  EXPECT_EQ(cloud.Call({}, "POST", "/cloudPhoto/v1/auth/refresh", body).status, 200);
  const Reply repeated = cloud.Call({}, "POST", "/cloudPhoto/v1/auth/refresh", body);
  EXPECT_EQ(repeated.status, 200);
  EXPECT_EQ(cloud.Call({}, "POST", "/cloudPhoto/v1/auth/refresh", body).Code(), "31084012");
  // The one that was answered goes on.
  body["refreshToken"] = repeated.json["refreshToken"];
  EXPECT_EQ(cloud.Call({}, "POST", "/cloudPhoto/v1/auth/refresh", body).status, 200);
}

TEST_F(SessionsTest, PasswordChangeTakesSecretAndKeysInOneStep) {
  ASSERT_EQ(cloud.Call(anna, "PUT", "/cloudPhoto/v1/keys", Json(R"({"ifRevision":0,"keys":{"blob":"one"}})"))
                .status,
            200);
  const Device phone = LoginAs("phone");
  const auto stream = Listen(phone);
  const auto own = Listen(anna);
  const Reply reply = Change(anna, "secret of anna", "new secret", "two", 1);
  ASSERT_EQ(reply.status, 200) << reply.raw.body;
  EXPECT_EQ(reply.json, Json(R"({"keys":{"blob":"two"},"revision":2})"));
  EXPECT_EQ(Keys(), reply.json);
  EXPECT_TRUE(IsRefused(phone));
  EXPECT_TRUE(stream->HasEnded());
  EXPECT_FALSE(own->HasEnded());
  EXPECT_EQ(LoginReply("phone", "secret of anna").Code(), "31084011");
  EXPECT_EQ(LoginReply("phone", "new secret").status, 200);
}

TEST_F(SessionsTest, PasswordChangeIsRefusedAsAWhole) {
  const auto nothingChanged = [&] {
    EXPECT_EQ(Keys()["revision"], 0);
    EXPECT_EQ(LoginReply("phone", "secret of anna").status, 200);
  };
  EXPECT_EQ(Change(anna, "guess", "new secret", "two", 0).Code(), "31084011");
  nothingChanged();
  EXPECT_EQ(Change(anna, "secret of anna", "new secret", "two", 3).Code(), "31084093");
  nothingChanged();
  EXPECT_EQ(Change(anna, "secret of anna", "", "two", 0).Code(), "31084000");
  nothingChanged();
  EXPECT_EQ(Change(anna, "secret of anna", "new secret", std::string(70000, 'x'), 0).Code(), "31084013");
  nothingChanged();
}

TEST_F(SessionsTest, RepeatedPasswordChangeSaysTheSameAgain) {
  const Reply first = Change(anna, "secret of anna", "new secret", "two", 0);
  ASSERT_EQ(first.status, 200);
  EXPECT_EQ(Change(anna, "secret of anna", "new secret", "two", 0).json, first.json);
  // Other keys, or another secret, are no repeat.
  EXPECT_EQ(Change(anna, "secret of anna", "new secret", "three", 0).Code(), "31084011");
  EXPECT_EQ(Change(anna, "secret of anna", "other secret", "two", 0).Code(), "31084011");
  EXPECT_EQ(Keys(), first.json);
}

TEST_F(SessionsTest, DisabledAccountHearsNothingMore) {
  const auto stream = Listen(anna);
  // As another process does it: this one finds out by looking.
  SqliteStore other(cloud.folder.path / "photocloud.db");
  AccountService(other, cloud.clock, PasswordCost::Least).SetDisabled("anna", true);
  cloud.services.EndLostStreams();
  EXPECT_TRUE(stream->HasEnded());
}

TEST_F(SessionsTest, NamesDifferInMoreThanCase) {
  EXPECT_FALSE(cloud.services.accounts.Create("Anna", "other", 1));
  EXPECT_TRUE(cloud.services.accounts.Create("Anne", "other", 1));
  Json::Value body(Json::objectValue);
  body["userName"] = "ANNA";
  body["password"] = "secret of anna";
  EXPECT_EQ(cloud.Call({}, "POST", "/cloudPhoto/v1/auth/login", body).json["userName"], "anna");
}

}  // namespace
}  // namespace photocloud::testing
