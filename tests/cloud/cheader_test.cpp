#include "cloud/cheader.h"

#include <gmock/gmock.h>

#include <fstream>

#include "host/account/userauthservice.h"
#include "host/base/globalparamwrapper.h"
#include "support/gallerytest.h"

namespace {

using ::testing::MatchesRegex;

// A profile whose account holds `token`.
class CHeaderTest : public GalleryTest {
 protected:
  void SetUp() override {
    GalleryTest::SetUp();
    Configure(R"({"deviceName":"Desk","countryCode":"DE","packageName":"com.zentara.cloud.desktop"})");
    SetToken("token one/1");
    header.Init(CHeader::UserId, L"alice");
    header.Init(CHeader::DeviceUuid, L"DEVICE-1");
  }

  void Configure(const std::string& settings) {
    std::ofstream(folder.Path() / "config/ZentaraCloud/settings.json") << settings;
    std::ofstream(folder.Path() / "config/ZentaraCloud/device-id")
        << "01234567-89AB-CDEF-0123-456789ABCDEF\n";
    ASSERT_TRUE(GlobalParamWrapper::GetInstance()->Load());
  }
  // The host's current token; `stored`: CHeader is told as well.
  void SetToken(const std::string& token, bool stored = true) {
    std::ofstream(folder.Path() / "config/ZentaraCloud/account.json")
        << R"({"userId":"alice","countryCode":"","refreshToken":"","accessToken":")" << token << "\"}";
    ASSERT_TRUE(UserAuthService::GetInstance()->Load());
    if (stored) header.Init(CHeader::AccessToken, std::wstring(token.begin(), token.end()));
  }
  HttpHeaders Built() {
    HttpHeaders headers;
    header.Build(headers);
    return headers;
  }

  CHeader& header = CHeader::GetInstance();
};

TEST_F(CHeaderTest, BuildGivesTheTable) {
  HttpHeaders headers = Built();
  EXPECT_THAT(headers["x-zt-trace-id"], MatchesRegex("04101_11_1700000000_[0-9]{8}"));
  headers.erase("x-zt-trace-id");
  const HttpHeaders expected = {
      {"User-Agent", "Brevane/17.0.0.300"},
      {"x-zt-source-agent", "Brevane"},
      {"Accept-Language", "zh-CN"},
      {"x-zt-device-id", "01234567-89AB-CDEF-0123-456789ABCDEF"},
      {"x-zt-deviceUUID", "01234567-89AB-CDEF-0123-456789ABCDEF"},
      {"x-zt-device-type", "6"},
      {"x-zt-terminal", "PC"},
      {"x-zt-device-name", "Desk"},
      {"x-zt-auth-version", "1"},
      {"x-zt-country-code", "DE"},
      {"userId", "alice"},
      {"Content-Type", "application/json"},
      {"version", "17.0.0.300"},
      {"x-zt-app-version", "17.0.0.300"},
      // printf %s 'com.zentara.cloud.desktop' | openssl base64 -A
      {"AuthType", "Y29tLnplbnRhcmEuY2xvdWQuZGVza3RvcA=="},
      // printf %s '8:DEVICE-1:com.zentara.cloud.desktop::token+one%2F1' | openssl base64 -A
      {"Authorization", "ODpERVZJQ0UtMTpjb20uemVudGFyYS5jbG91ZC5kZXNrdG9wOjp0b2tlbitvbmUlMkYx"},
  };
  EXPECT_EQ(headers, expected);
}

TEST_F(CHeaderTest, EmptyTokenLeavesTheLastFieldEmpty) {
  SetToken("", false);
  clock.ms += 1'201'000;
  // printf %s '8:DEVICE-1:com.zentara.cloud.desktop::' | openssl base64 -A
  EXPECT_EQ(Built()["Authorization"], "ODpERVZJQ0UtMTpjb20uemVudGFyYS5jbG91ZC5kZXNrdG9wOjo=");
}

TEST_F(CHeaderTest, AuthorizationIsKeptFor1200Seconds) {
  const std::string first = Built()["Authorization"];
  SetToken("token two", false);
  clock.ms += 1'200'000;
  EXPECT_EQ(Built()["Authorization"], first);
  clock.ms += 1'000;
  // printf %s '8:DEVICE-1:com.zentara.cloud.desktop::token+two' | openssl base64 -A
  EXPECT_EQ(Built()["Authorization"], "ODpERVZJQ0UtMTpjb20uemVudGFyYS5jbG91ZC5kZXNrdG9wOjp0b2tlbit0d28=");
}

TEST_F(CHeaderTest, NewTokenIsNotSentUnderTheOldValue) {
  const std::string first = Built()["Authorization"];
  SetToken("token two");
  EXPECT_NE(Built()["Authorization"], first);
}

TEST_F(CHeaderTest, TraceIdChangesAndUserAgentDoesNot) {
  HttpHeaders first = Built(), second = Built();
  EXPECT_NE(first["x-zt-trace-id"], second["x-zt-trace-id"]);
  EXPECT_EQ(first["User-Agent"], second["User-Agent"]);
}

TEST_F(CHeaderTest, JsonFormHoldsListsTheBearerTokenAndTheLock) {
  Json::Value headers(Json::objectValue);
  header.BuildJson(headers, "lock-1");
  EXPECT_EQ(headers["Authorization"].size(), 1U);
  EXPECT_EQ(headers["Authorization"][0].asString(), "Bearer token one/1");
  EXPECT_EQ(headers["x-zt-lock"][0].asString(), "lock-1");
  EXPECT_EQ(headers["x-zt-terminal"][0].asString(), "PC");
  // 17 of the table and the lock.
  EXPECT_EQ(headers.size(), 18U);
}

TEST_F(CHeaderTest, JsonFormAppendsAndLeavesAnEmptyLockOut) {
  Json::Value headers(Json::objectValue);
  headers["version"].append("other");
  header.BuildJson(headers, "");
  ASSERT_EQ(headers["version"].size(), 2U);
  EXPECT_EQ(headers["version"][1].asString(), "17.0.0.300");
  EXPECT_FALSE(headers.isMember("x-zt-lock"));
}

TEST_F(CHeaderTest, UrlEncodeKeepsUnreservedBytesAndTurnsABlankIntoPlus) {
  EXPECT_EQ(CHeader::UrlEncode(L"aZ09-_.~ /+%\u00E9\u20AC"), "aZ09-_.~+%2F%2B%25%C3%A9%E2%82%AC");
  EXPECT_EQ(CHeader::UrlEncode(L""), "");
}

TEST_F(CHeaderTest, DeviceIdIsCutAt250BytesAlsoInsideASequence) {
  // A blank is three bytes escaped: 249 letters leave room for its "%".
  ASSERT_TRUE(header.Init(CHeader::DeviceUuid, std::wstring(249, L'a').append(L" b")));
  EXPECT_EQ(header.GetDeviceUuid(), std::string(249, 'a').append(1, '%'));
  EXPECT_EQ(GlobalDeviceId(), header.GetDeviceUuid());
}

TEST_F(CHeaderTest, EmptyValueAndUnknownKindAreRefused) {
  EXPECT_FALSE(header.Init(CHeader::UserId, L""));
  EXPECT_EQ(header.GetUserId(), "alice");
  EXPECT_FALSE(header.Init(5, L"value"));
}

}  // namespace
