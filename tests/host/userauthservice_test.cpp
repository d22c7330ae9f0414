#include "host/account/userauthservice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "testprofile.h"

namespace {

namespace fs = std::filesystem;
using ::testing::MatchesRegex;

class UserAuthTest : public ::testing::Test {
 protected:
  Json::Value Stored() const {
    Json::Value stored;
    std::istringstream(profile.Read("account.json")) >> stored;
    return stored;
  }
  unsigned Rights() const {
    struct stat status {};
    EXPECT_EQ(::stat(profile.Config("account.json").c_str(), &status), 0);
    return status.st_mode & 0777;
  }

  TestProfile profile;
  UserAuthService& auth = *UserAuthService::GetInstance();
  GlobalParamWrapper& param = *GlobalParamWrapper::GetInstance();
};

TEST_F(UserAuthTest, NewProfileGetsAnAccountForTheOwnerOnly) {
  ASSERT_TRUE(auth.Load());
  EXPECT_EQ(auth.GetCurrentUserID().size(), 36U);
  EXPECT_EQ(auth.GetCurrentAT(), L"");
  EXPECT_EQ(auth.GetCurrentRT(), L"");
  EXPECT_EQ(auth.GetCurrentCountryCode(), L"");
  EXPECT_FALSE(auth.IsChinaAccount());
  EXPECT_EQ(Rights(), 0600U);
  EXPECT_TRUE(param.GetIsUserLoggedIn());
  EXPECT_EQ(param.GetUserInfo().userId, auth.GetCurrentUserID());
}

TEST_F(UserAuthTest, AccountIsTheSameAfterARestart) {
  ASSERT_TRUE(auth.Load());
  const std::wstring id = auth.GetCurrentUserID();
  const std::string file = profile.Read("account.json");
  ASSERT_TRUE(auth.Load());
  EXPECT_EQ(auth.GetCurrentUserID(), id);
  EXPECT_EQ(profile.Read("account.json"), file);
}

TEST_F(UserAuthTest, TwoProfilesHaveTwoUsers) {
  ASSERT_TRUE(auth.Load());
  const std::wstring id = auth.GetCurrentUserID();
  const TestProfile other;
  ASSERT_TRUE(auth.Load());
  EXPECT_NE(auth.GetCurrentUserID(), id);
}

TEST_F(UserAuthTest, WidenedRightsAreNarrowed) {
  ASSERT_TRUE(auth.Load());
  fs::permissions(profile.Config("account.json"), fs::perms{0644});
  ASSERT_TRUE(auth.Load());
  EXPECT_EQ(Rights(), 0600U);
}

TEST_F(UserAuthTest, MasterKeysAreReadyAfterInitOnly) {
  ASSERT_TRUE(auth.Load());
  EXPECT_EQ(param.GetHMAC_MK1(), "");
  ASSERT_TRUE(auth.InitMk1AndMk2());
  EXPECT_THAT(param.GetHMAC_MK1(), MatchesRegex("[0-9a-f]{64}"));
  EXPECT_THAT(param.GetHMAC_MK2(), MatchesRegex("[0-9a-f]{64}"));
  EXPECT_NE(param.GetHMAC_MK1(), param.GetHMAC_MK2());
  EXPECT_EQ(Stored()["mk1"].asString(), param.GetHMAC_MK1());
  const std::string first = param.GetHMAC_MK1();
  ASSERT_TRUE(auth.Load());
  ASSERT_TRUE(auth.InitMk1AndMk2());
  EXPECT_EQ(param.GetHMAC_MK1(), first);
}

// A renewal by another process must not take the keys from an upload that runs.
TEST_F(UserAuthTest, TokensOfAnotherProcessKeepTheMasterKeys) {
  ASSERT_TRUE(auth.Load());
  ASSERT_TRUE(auth.InitMk1AndMk2());
  const std::string mk1 = param.GetHMAC_MK1(), mk2 = param.GetHMAC_MK2();
  Json::Value account = Stored();
  account["accessToken"] = "renewed";
  profile.Write("account.json", account.toStyledString());
  ASSERT_TRUE(auth.Load());
  EXPECT_EQ(auth.GetCurrentAT(), L"renewed");
  EXPECT_EQ(param.GetHMAC_MK1(), mk1);
  EXPECT_EQ(param.GetHMAC_MK2(), mk2);
  account["mk2"] = mk1;
  profile.Write("account.json", account.toStyledString());
  ASSERT_TRUE(auth.Load());
  EXPECT_EQ(param.GetHMAC_MK1(), "");
  EXPECT_EQ(param.GetHMAC_MK2(), "");
}

TEST_F(UserAuthTest, MissingMasterKeysAreMadeAndStored) {
  profile.Write("account.json", R"({"userId":"me","note":"kept"})");
  ASSERT_TRUE(auth.Load());
  ASSERT_TRUE(auth.InitMk1AndMk2());
  EXPECT_EQ(Stored()["mk2"].asString(), param.GetHMAC_MK2());
  EXPECT_EQ(Stored()["note"].asString(), "kept");
  EXPECT_EQ(Rights(), 0600U);
}

TEST_F(UserAuthTest, MissingMasterKeysOfAServicesAccountAreNotMadeUp) {
  profile.Write("account.json", R"({"userId":"me","server":"https://cloud.example"})");
  const std::string before = profile.Read("account.json");
  ASSERT_TRUE(auth.Load());
  EXPECT_FALSE(auth.InitMk1AndMk2());
  EXPECT_EQ(profile.Read("account.json"), before);
}

TEST_F(UserAuthTest, ExportedKeysOfALocalAccountCanBeImportedByAnother) {
  ASSERT_TRUE(auth.Load());
  const Json::Value exported = auth.ExportKeys();
  const Json::Value first = Stored();
  EXPECT_EQ(exported["format"], "zentara-keys-1");
  EXPECT_EQ(exported["userId"], first["userId"]);
  for (const char* name : {"mk1", "mk2", "userKey1", "userKey3", "userKeyId1", "userKeyId3"})
    EXPECT_EQ(exported["keys"][name], first[name]) << name;
  const TestProfile other;
  ASSERT_TRUE(auth.Load());
  Json::Value before;
  std::istringstream(other.Read("account.json")) >> before;
  ASSERT_EQ(auth.ImportKeys(exported, "", UserAuthService::Replace::UnusedKeys),
            UserAuthService::ImportResult::Done);
  Json::Value after;
  std::istringstream(other.Read("account.json")) >> after;
  EXPECT_EQ(after["mk1"], first["mk1"]);
  EXPECT_EQ(after["userKeyId3"], first["userKeyId3"]);
  EXPECT_EQ(after["userId"], before["userId"]);
  ASSERT_EQ(after["formerKeys"].size(), 1U);
  EXPECT_EQ(after["formerKeys"][0]["mk1"], before["mk1"]);
}

TEST_F(UserAuthTest, DamagedExportsAreRefused) {
  ASSERT_TRUE(auth.Load());
  const std::string before = profile.Read("account.json");
  Json::Value shortKey = auth.ExportKeys();
  shortKey["keys"]["mk2"] = "00";
  Json::Value noKeys = auth.ExportKeys();
  noKeys["keys"] = 5;
  Json::Value later = auth.ExportKeys();
  later["format"] = "zentara-keys-2";
  for (const Json::Value& damaged : {shortKey, noKeys, later, Json::Value(), Json::Value("text")}) {
    EXPECT_EQ(auth.ImportKeys(damaged, "", UserAuthService::Replace::AnyKeys),
              UserAuthService::ImportResult::NoKeys);
  }
  EXPECT_EQ(profile.Read("account.json"), before);
}

TEST_F(UserAuthTest, DamagedMasterKeysAreRefusedAndKept) {
  profile.Write("account.json", R"({"userId":"me","mk1":"zz","mk2":""})");
  const std::string before = profile.Read("account.json");
  ASSERT_TRUE(auth.Load());
  EXPECT_FALSE(auth.InitMk1AndMk2());
  EXPECT_EQ(param.GetHMAC_MK1(), "");
  EXPECT_EQ(profile.Read("account.json"), before);
}

TEST_F(UserAuthTest, UserKeysAreDecoded) {
  profile.Write("account.json", R"({"userId":"me","countryCode":"CN","accessToken":"at","refreshToken":"rt",
    "userKey1":"000102030405060708090A0b0c0d0e0f",
    "userKey3":"ff0000000000000000000000000000000000000000000000000000000000001f",
    "userKeyId1":"id-one","userKeyId3":"0123456789abcdef0123456789abcdefTOO LONG"})");
  ASSERT_TRUE(auth.Load());
  const st_UserInfo user = param.GetUserInfo();
  for (unsigned i = 0; i < 16; ++i) EXPECT_EQ(user.userKey1[i], i);
  EXPECT_EQ(user.userKey1[16], 0);
  EXPECT_EQ(user.userKey3[0], 0xFF);
  EXPECT_EQ(user.userKey3[31], 0x1F);
  EXPECT_STREQ(user.userKeyId1, L"id-one");
  EXPECT_STREQ(user.userKeyId3, L"0123456789abcdef0123456789abcdef");
  EXPECT_EQ(auth.GetCurrentAT(), L"at");
  EXPECT_EQ(auth.GetCurrentRT(), L"rt");
  EXPECT_TRUE(auth.IsChinaAccount());
  EXPECT_EQ(param.GetCountryCode(), L"CN");
}

TEST_F(UserAuthTest, NewAccountHasUserKeys) {
  ASSERT_TRUE(auth.Load());
  const st_UserInfo user = param.GetUserInfo();
  EXPECT_EQ(std::wcslen(user.userKeyId1), 32U);
  EXPECT_EQ(std::wcslen(user.userKeyId3), 32U);
  EXPECT_NE(std::wstring(user.userKeyId1), user.userKeyId3);
  EXPECT_TRUE(std::any_of(user.userKey1, user.userKey1 + 16, [](unsigned char byte) { return byte != 0; }));
  EXPECT_TRUE(std::any_of(user.userKey3, user.userKey3 + 32, [](unsigned char byte) { return byte != 0; }));
}

TEST_F(UserAuthTest, DamagedAccountIsNeverReplaced) {
  for (const char* damaged : {"{\"userId\":", "{}", "[]", "", R"({"userId":""})", R"({"userId":5})"}) {
    profile.Write("account.json", damaged);
    EXPECT_FALSE(auth.Load()) << damaged;
    EXPECT_EQ(profile.Read("account.json"), damaged);
    EXPECT_EQ(auth.GetCurrentUserID(), L"");
    EXPECT_FALSE(param.GetIsUserLoggedIn());
    EXPECT_FALSE(auth.InitMk1AndMk2());
  }
}

TEST_F(UserAuthTest, UnwritableProfileFails) {
  platform::SetProfileRoot("/proc/none");
  EXPECT_FALSE(auth.Load());
  EXPECT_FALSE(param.GetIsUserLoggedIn());
}

TEST_F(UserAuthTest, ProcessesThatStartAtOnceShareTheAccount) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  constexpr int kProcesses = 6;
  for (int i = 0; i < kProcesses; ++i) {
    if (::fork() != 0) continue;
    const bool loaded = auth.Load();
    const std::wstring id = auth.GetCurrentUserID();
    const std::string told(id.begin(), id.end());
    ::_exit(loaded && ::write(ends[1], told.data(), told.size()) == 36 ? 0 : 1);
  }
  for (int i = 0; i < kProcesses; ++i) {
    int status = 1;
    ASSERT_GT(::wait(&status), 0);
    EXPECT_EQ(status, 0);
  }
  std::string told(36 * kProcesses, '\0');
  ASSERT_EQ(::read(ends[0], told.data(), told.size()), static_cast<ssize_t>(told.size()));
  for (int i = 0; i < kProcesses; ++i)
    EXPECT_EQ(told.substr(36 * static_cast<std::size_t>(i), 36), Stored()["userId"].asString());
  ::close(ends[0]);
  ::close(ends[1]);
}

}  // namespace
