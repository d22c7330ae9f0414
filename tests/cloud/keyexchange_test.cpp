// The keys of an account on their way between its devices.

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "cloudserver.h"
#include "common/platform/paths.h"
#include "host/base/globalparamwrapper.h"
#include "host/base/jsonfile.h"
#include "loopbackserver.h"

namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using LoginResult = UserAuthService::LoginResult;
using ImportResult = UserAuthService::ImportResult;
using Replace = UserAuthService::Replace;

constexpr char kPassword[] = "wonderland";
constexpr char kNoKeys[] = R"({"keys":null,"revision":0})";
constexpr char kTokens[] =
    R"({"accessToken":"at-1","refreshToken":"rt-1","expiresIn":3600,"userId":"user-1","userName":"alice"})";
constexpr char kConflict[] =
    R"({"error":{"status":409,"description":"","errors":[{"code":"31084093","reason":"","subject":""}]}})";

// Keys of which every digit is known, sealed as wrappedkeys_test tells.
constexpr char kSealed[] =
    R"({"revision":1,"keys":{"format":1,"sealed":"AAECAwQFBgcICQoLDA0ODxAREhMUFRYXh0ua2cfgSO/MwIVExJqvOp8GQbVxXFv4)"
    "Bt8R0A5yssf4OaFC6r56Ivdqi7jQMOka8/xB+RTZG6nahTHwtpHw3mkvmH39TWdD7DnGh+Bxq/"
    "PqrcASeFrU8uyltdEAGJKIw4r8KvEUoY"
    "1inSAkgQFm5BYngvU3ThYJHWsKN8TbHJH0HdOTWi+01IpTzmyQePZkj2YFvrfFg8RNoT+y5QophQIKz1Uta+"
    "2GwcnhLILCspy9m1J1OMdW"
    "n3TW2oVxW+rkyaKR+skHB8qkG0oeI3DlSQs4GYuId+AY0G2G2bvZ3XpKL2LUzlfZhbdUtoqofxAWA5zykUo1l9ySasCN+"
    "W9LxSSATbX1tK"
    "2739k119GNpARbbSGqAXtEkIEewuheq/"
    "4QNHHttVBnt09iNDZ7nrtdCCwZIdMrA6LZYXh9UoY8x8KHTPhOkSQvCN97Fe7x4yJAtEGU30nN"
    R"(6AboxpK9SeCfZdodPHHAycvTYHpYaw4SEmB6eklDQr4r/bW1z97Ze8c="}})";

class KeyExchangeTest : public CloudTest {
 protected:
  // Nobody is logged in yet.
  void SetUp() override { GalleryTest::SetUp(); }
  void TearDown() override {
    platform::SetProfileRoot(folder.Path());
    CloudTest::TearDown();
  }

  LoginResult Login(const std::string& password = kPassword) {
    return session.Login(server.Url(), "alice", password);
  }
  // Another device of this person: a profile of its own.
  void GoTo(const std::string& device) {
    platform::SetProfileRoot(folder / device);
    ASSERT_TRUE(session.Load());
  }
  std::filesystem::path AccountFile() const {
    return platform::ConfigRoot() / "ZentaraCloud" / "account.json";
  }
  Json::Value Stored() const {
    Json::Value account;
    EXPECT_EQ(JsonFile::Load(AccountFile(), account), JsonFile::LoadResult::Loaded);
    return account;
  }
  std::string FileText() const {
    std::ifstream file(AccountFile());
    return {std::istreambuf_iterator<char>(file), {}};
  }
  static Json::Value KeysOf(const Json::Value& account) {
    Json::Value keys(Json::objectValue);
    for (const char* name : {"mk1", "mk2", "userKey1", "userKey3", "userKeyId1", "userKeyId3"})
      keys[name] = account[name];
    return keys;
  }
  // A record of the account with content announced, which counts as used space.
  void AnnounceContent() {
    OtherDevice phone(server, "phone");
    phone.TakeLock();
    phone.Send("POST", "/media?mode=temp&fields=id", ContentBody());
    phone.GiveLockBack();
  }
  static std::string ContentBody();

  static Json::Value Sevens(const Json::Value& exported) {
    Json::Value other = exported;
    other["keys"]["mk1"] = std::string(64, '7');
    return other;
  }
};

std::string KeyExchangeTest::ContentBody() {
  return R"({"fileName":"a.jpg","albumId":"default-album-1","fileType":1,"attachments":[{"usage":"content",)"
         R"("asset":{"resource":{"length":100,"sha256":")" +
         std::string(64, 'a') + R"("},"attributes":{}}}]})";
}

TEST_F(KeyExchangeTest, SecondDeviceTakesTheKeysOfTheFirst) {
  ASSERT_EQ(Login(), LoginResult::Done);
  const Json::Value first = KeysOf(Stored());
  ASSERT_TRUE(session.InitMk1AndMk2());
  EXPECT_EQ(first["mk1"].asString(), GlobalParamWrapper::GetInstance()->GetHMAC_MK1());
  GoTo("laptop");
  ASSERT_EQ(Login(), LoginResult::Done);
  EXPECT_EQ(KeysOf(Stored()), first);
  ASSERT_TRUE(session.InitMk1AndMk2());
  EXPECT_EQ(GlobalParamWrapper::GetInstance()->GetHMAC_MK2(), first["mk2"].asString());
}

TEST_F(KeyExchangeTest, AccountsHaveKeysOfTheirOwn) {
  server.AddUser("bob", "master builder");
  ASSERT_EQ(Login(), LoginResult::Done);
  const Json::Value alice = KeysOf(Stored());
  ASSERT_EQ(session.Login(server.Url(), "bob", "master builder"), LoginResult::Done);
  const Json::Value bob = KeysOf(Stored());
  for (const std::string& name : bob.getMemberNames()) EXPECT_NE(bob[name], alice[name]) << name;
}

TEST_F(KeyExchangeTest, PasswordNeverLeavesTheDevice) {
  LoopbackServer other({LoopbackServer::Answer(401, "{}")});
  EXPECT_NE(session.Login(other.Url(), "alice", kPassword), LoginResult::Done);
  const std::string request = other.Requests().at(0);
  EXPECT_THAT(request, HasSubstr(std::string("\"password\":\"") + CloudServer::kAliceSecret + "\""));
  EXPECT_EQ(request.find(kPassword), std::string::npos);
}

TEST_F(KeyExchangeTest, NothingSecretReachesTheLog) {
  const LogText log;
  ASSERT_EQ(Login(), LoginResult::Done);
  GoTo("laptop");
  EXPECT_EQ(Login("wrong-word"), LoginResult::Refused);
  ASSERT_EQ(Login(), LoginResult::Done);
  const Json::Value exported = session.ExportKeys();
  EXPECT_EQ(session.ImportKeys(exported, "wrong-word", Replace::UnusedKeys), ImportResult::Refused);
  EXPECT_TRUE(log.Has("UserAuthService::ImportKeys"));
  for (const std::string& name : exported["keys"].getMemberNames())
    EXPECT_FALSE(log.Has(exported["keys"][name].asString())) << name;
  for (const char* secret : {kPassword, "wrong-word", CloudServer::kAliceSecret})
    EXPECT_FALSE(log.Has(secret));
}

TEST_F(KeyExchangeTest, WrongPasswordStoresNothing) {
  const std::string before = FileText();
  EXPECT_EQ(Login("wrong"), LoginResult::Refused);
  EXPECT_EQ(FileText(), before);
}

TEST_F(KeyExchangeTest, LoginOfADeviceThatLostItsAnswerTakesTheKeysThatItSent) {
  server.Fault(R"({"method":"PUT","path":"/keys","close":true})");
  const std::string before = FileText();
  EXPECT_EQ(Login(), LoginResult::Unreachable);
  EXPECT_EQ(FileText(), before);
  EXPECT_EQ(OtherDevice(server, "phone").Send("GET", "/keys")["revision"].asInt(), 1);
  ASSERT_EQ(Login(), LoginResult::Done);
  EXPECT_EQ(OtherDevice(server, "phone").Send("GET", "/keys")["revision"].asInt(), 1);
}

TEST_F(KeyExchangeTest, ServiceThatDoesNotTakeTheKeysOpensNoSession) {
  const std::string before = FileText();
  for (const char* rule :
       {R"({"path":"/keys","status":503})", R"({"path":"/keys","dropRequest":true})",
        R"({"path":"/keys","cutAfterBytes":3})", R"({"method":"PUT","path":"/keys","status":500})"}) {
    server.Fault(rule);
    server.ForgetRequests();
    EXPECT_EQ(Login(), LoginResult::Unreachable) << rule;
    EXPECT_EQ(FileText(), before) << rule;
    EXPECT_THAT(server.Requests(), Contains("POST /cloudPhoto/v1/auth/logout")) << rule;
  }
  EXPECT_EQ(Login(), LoginResult::Done);
}

TEST_F(KeyExchangeTest, KeysOfADeviceThatWasFasterAreTaken) {
  LoopbackServer other({LoopbackServer::Answer(200, kTokens), LoopbackServer::Answer(200, kNoKeys),
                        LoopbackServer::Answer(409, kConflict), LoopbackServer::Answer(200, kSealed),
                        LoopbackServer::Answer(200, "{}")});
  ASSERT_EQ(session.Login(other.Url(), "alice", kPassword), LoginResult::Done);
  const Json::Value account = Stored();
  EXPECT_EQ(account["mk1"].asString(), std::string(64, '1'));
  EXPECT_EQ(account["userKeyId3"].asString(), std::string(32, '6'));
  EXPECT_TRUE(account["formerKeys"].isNull());  // The ones made here never were in use.
  const auto requests = other.Requests();
  EXPECT_THAT(requests.at(2), HasSubstr("PUT /cloudPhoto/v1/keys"));
  EXPECT_THAT(requests.at(2), HasSubstr("\"ifRevision\":0"));
  EXPECT_THAT(requests.at(3), HasSubstr("Authorization:Bearer at-1"));
}

TEST_F(KeyExchangeTest, ServiceThatContradictsItselfIsLeft) {
  LoopbackServer other({LoopbackServer::Answer(200, kTokens), LoopbackServer::Answer(200, kNoKeys),
                        LoopbackServer::Answer(409, kConflict), LoopbackServer::Answer(200, kNoKeys),
                        LoopbackServer::Answer(409, kConflict), LoopbackServer::Answer(200, kNoKeys),
                        LoopbackServer::Answer(409, kConflict)});
  EXPECT_EQ(session.Login(other.Url(), "alice", kPassword), LoginResult::Unreachable);
}

TEST_F(KeyExchangeTest, KeysThatDoNotOpenStoreNothingAndEndTheSession) {
  OtherDevice(server, "phone")
      .Send("PUT", "/keys", R"({"ifRevision":0,"keys":{"format":1,"sealed":"AAAA"}})");
  const std::string before = FileText();
  server.ForgetRequests();
  EXPECT_EQ(Login(), LoginResult::KeysUnreadable);
  EXPECT_EQ(FileText(), before);
  EXPECT_THAT(server.Requests(), Contains("POST /cloudPhoto/v1/auth/logout"));
  int accounts = 0;
  for (const auto& entry : std::filesystem::directory_iterator(AccountFile().parent_path()))
    accounts += entry.path().filename().string().starts_with("account") ? 1 : 0;
  EXPECT_EQ(accounts, 1);
}

TEST_F(KeyExchangeTest, KeysThatGiveWayAreKept) {
  ASSERT_EQ(Login(), LoginResult::Done);
  Json::Value account = Stored();
  const Json::Value shared = KeysOf(account);
  account["mk1"] = std::string(64, '7');
  std::ofstream(AccountFile()) << JsonFile::Text(account);
  ASSERT_TRUE(session.Load());
  ASSERT_EQ(Login(), LoginResult::Done);
  EXPECT_EQ(KeysOf(Stored()), shared);
  ASSERT_EQ(Stored()["formerKeys"].size(), 1U);
  EXPECT_EQ(Stored()["formerKeys"][0]["mk1"].asString(), std::string(64, '7'));
}

// Each process is a device of its own, both on their first login.
TEST_F(KeyExchangeTest, DevicesThatLogInAtOnceHaveTheSameKeys) {
  // Both have asked for keys, and found none, before either can send its own.
  server.Fault(R"({"method":"GET","path":"/keys","delayMs":400,"times":2})");
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  constexpr std::size_t kDigits = 64;
  for (const char* device : {"one", "two"}) {
    if (::fork() != 0) continue;
    platform::SetProfileRoot(folder / device);
    const bool done = session.Load() && Login() == LoginResult::Done;
    const std::string key = done ? Stored()["mk1"].asString() : std::string();
    ::_exit(::write(ends[1], key.data(), key.size()) == kDigits ? 0 : 1);
  }
  for (int i = 0; i < 2; ++i) {
    int status = 1;
    ASSERT_GT(::wait(&status), 0);
    EXPECT_EQ(status, 0);
  }
  ::close(ends[1]);
  std::string keys(2 * kDigits, '\0');
  ASSERT_EQ(::read(ends[0], keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
  EXPECT_EQ(keys.substr(0, kDigits), keys.substr(kDigits));
  ::close(ends[0]);
}

TEST_F(KeyExchangeTest, ImportBringsExportedKeysToAllDevices) {
  ASSERT_EQ(Login(), LoginResult::Done);
  const Json::Value other = Sevens(session.ExportKeys());
  const std::string token = Stored()["accessToken"].asString();
  ASSERT_EQ(session.ImportKeys(other, kPassword, Replace::UnusedKeys), ImportResult::Done);
  EXPECT_EQ(KeysOf(Stored()), other["keys"]);
  EXPECT_EQ(Stored()["accessToken"].asString(), token);
  GoTo("laptop");
  ASSERT_EQ(Login(), LoginResult::Done);
  EXPECT_EQ(KeysOf(Stored()), other["keys"]);
}

TEST_F(KeyExchangeTest, ImportRefusesOtherKeysOnceContentWasUploaded) {
  ASSERT_EQ(Login(), LoginResult::Done);
  const Json::Value exported = session.ExportKeys();
  AnnounceContent();
  const std::string before = FileText();
  EXPECT_EQ(session.ImportKeys(exported, kPassword, Replace::UnusedKeys), ImportResult::Done);
  EXPECT_EQ(session.ImportKeys(Sevens(exported), kPassword, Replace::UnusedKeys), ImportResult::InUse);
  EXPECT_EQ(FileText(), before);
  ASSERT_EQ(session.ImportKeys(Sevens(exported), kPassword, Replace::AnyKeys), ImportResult::Done);
  EXPECT_EQ(Stored()["formerKeys"][0], exported["keys"]);
}

TEST_F(KeyExchangeTest, ImportRefusesTheFormerKeysOnADeviceThatStillHasThem) {
  ASSERT_EQ(Login(), LoginResult::Done);
  GoTo("laptop");
  ASSERT_EQ(Login(), LoginResult::Done);
  const Json::Value former = session.ExportKeys();
  GoTo("");
  ASSERT_EQ(session.ImportKeys(Sevens(former), kPassword, Replace::UnusedKeys), ImportResult::Done);
  AnnounceContent();
  GoTo("laptop");
  EXPECT_EQ(session.ImportKeys(former, kPassword, Replace::UnusedKeys), ImportResult::InUse);
}

TEST_F(KeyExchangeTest, ImportRepairsARecordThatDoesNotOpen) {
  ASSERT_EQ(Login(), LoginResult::Done);
  AnnounceContent();
  const Json::Value exported = session.ExportKeys();
  OtherDevice(server, "phone")
      .Send("PUT", "/keys", R"({"ifRevision":1,"keys":{"format":1,"sealed":"AAAA"}})");
  ASSERT_EQ(session.ImportKeys(exported, kPassword, Replace::UnusedKeys), ImportResult::Done);
  GoTo("laptop");
  ASSERT_EQ(Login(), LoginResult::Done);
  EXPECT_EQ(KeysOf(Stored()), exported["keys"]);
}

TEST_F(KeyExchangeTest, ImportUnderAWrongPasswordIsRefused) {
  ASSERT_EQ(Login(), LoginResult::Done);
  const Json::Value other = Sevens(session.ExportKeys());
  const std::string before = FileText();
  EXPECT_EQ(session.ImportKeys(other, "mistyped", Replace::AnyKeys), ImportResult::Refused);
  EXPECT_EQ(FileText(), before);
  server.Kill();
  EXPECT_EQ(session.ImportKeys(other, kPassword, Replace::AnyKeys), ImportResult::Unreachable);
  EXPECT_EQ(FileText(), before);
}

}  // namespace
