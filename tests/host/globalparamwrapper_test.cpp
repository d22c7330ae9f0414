#include "host/base/globalparamwrapper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>
#include <unistd.h>

#include "common/platform/clock.h"
#include "testprofile.h"

namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

class GlobalParamTest : public ::testing::Test {
 protected:
  bool LoadWith(std::string_view settings) {
    profile.Write("settings.json", settings);
    return param.Load();
  }
  Json::Value Stored() const {
    Json::Value stored;
    std::istringstream(profile.Read("settings.json")) >> stored;
    return stored;
  }

  TestProfile profile;
  GlobalParamWrapper& param = *GlobalParamWrapper::GetInstance();
};

TEST_F(GlobalParamTest, DefaultsHoldWithoutAFileAndNoneIsMade) {
  ASSERT_TRUE(param.Load());
  char name[256] = {};
  ASSERT_EQ(::gethostname(name, sizeof name - 1), 0);
  EXPECT_EQ(param.GetDeviceName(), std::wstring(name, name + std::strlen(name)));
  EXPECT_EQ(param.GetCloudPhotoUrl(), L"");
  EXPECT_EQ(param.GetCloudPhotoV2Url(), L"");
  EXPECT_FALSE(param.GetDataHidePeriod());
  EXPECT_FALSE(param.GetIsHideData());
  EXPECT_TRUE(param.GetEnableShowLostCloudPhoto());
  EXPECT_TRUE(param.GetEnableCloudPhotoAssetRefund());
  EXPECT_EQ(param.GetCloudPhotoAssetRefundPeriod(), 7);
  EXPECT_TRUE(param.IsStatusThatNeedToBeRefunded(2));
  EXPECT_FALSE(param.IsStatusThatNeedToBeRefunded(1));
  EXPECT_EQ(param.GetOtherUserProperties(), L"");
  EXPECT_FALSE(param.GetUserPropertiesShow());
  EXPECT_TRUE(param.CheckFunctionOpen(L"gallery"));
  EXPECT_FALSE(param.IsBaseServiceUser());
  EXPECT_EQ(param.GetCountryCode(), L"");
  EXPECT_EQ(param.GetPackageName(), L"com.zentara.cloud.desktop");
  EXPECT_EQ(param.GetZtClientMode(), L"pc");
  EXPECT_EQ(param.GetTimeoutConnect(), 15000);
  EXPECT_EQ(param.GetLimitLowSpeed(), 1);
  EXPECT_EQ(param.GetTimeoutLowSpeed(), 30);
  EXPECT_FALSE(param.GetIsUseLocalCertificate());
  EXPECT_FALSE(param.IsReplaceCommaCountry());
  EXPECT_FALSE(fs::exists(profile.Config("settings.json")));
}

TEST_F(GlobalParamTest, SettingsReplaceDefaults) {
  ASSERT_TRUE(LoadWith(R"({"deviceName":"\u4e2d","cloudPhotoUrl":"http://one","cloudPhotoV2Url":"http://two",
    "dataHidePeriod":true,"hideData":true,"enableShowLostCloudPhoto":false,"enableCloudPhotoAssetRefund":false,
    "cloudPhotoAssetRefundPeriodDays":3,"statusesToRefund":[4,5],"otherUserProperties":"{}",
    "userPropertiesShow":true,"closedFunctions":["gallery"],"modules":["SupportUpgrade"],"baseServiceUser":true,"countryCode":"DE",
    "packageName":"p","clientMode":"m","timeoutConnectMs":1,"limitLowSpeedBytes":2,"timeoutLowSpeedSeconds":3,
    "useLocalCertificate":true})"));
  EXPECT_EQ(param.GetDeviceName(), L"\u4E2D");
  EXPECT_EQ(param.GetCloudPhotoUrl(), L"http://one");
  EXPECT_EQ(param.GetCloudPhotoV2Url(), L"http://two");
  EXPECT_TRUE(param.GetDataHidePeriod());
  EXPECT_TRUE(param.GetIsHideData());
  EXPECT_TRUE(param.CheckModuleValid(L"SupportUpgrade"));
  EXPECT_FALSE(param.CheckModuleValid(L"Another"));
  EXPECT_FALSE(param.GetEnableShowLostCloudPhoto());
  EXPECT_FALSE(param.GetEnableCloudPhotoAssetRefund());
  EXPECT_EQ(param.GetCloudPhotoAssetRefundPeriod(), 3);
  EXPECT_FALSE(param.IsStatusThatNeedToBeRefunded(2));
  EXPECT_TRUE(param.IsStatusThatNeedToBeRefunded(5));
  EXPECT_EQ(param.GetOtherUserProperties(), L"{}");
  EXPECT_TRUE(param.GetUserPropertiesShow());
  EXPECT_FALSE(param.CheckFunctionOpen(L"gallery"));
  EXPECT_TRUE(param.CheckFunctionOpen(L"drive"));
  EXPECT_TRUE(param.IsBaseServiceUser());
  EXPECT_EQ(param.GetCountryCode(), L"DE");
  EXPECT_EQ(param.GetPackageName(), L"p");
  EXPECT_EQ(param.GetZtClientMode(), L"m");
  EXPECT_EQ(param.GetTimeoutConnect(), 1);
  EXPECT_EQ(param.GetLimitLowSpeed(), 2);
  EXPECT_EQ(param.GetTimeoutLowSpeed(), 3);
  EXPECT_TRUE(param.GetIsUseLocalCertificate());
  EXPECT_TRUE(param.IsReplaceCommaCountry());
}

TEST_F(GlobalParamTest, ValuesOfAnotherTypeCountAsMissing) {
  ASSERT_TRUE(LoadWith(R"({"hideData":"true","timeoutConnectMs":"5","limitLowSpeedBytes":-1,
    "timeoutLowSpeedSeconds":1e300,"packageName":7,"statusesToRefund":2,"closedFunctions":{"gallery":1}})"));
  EXPECT_FALSE(param.GetIsHideData());
  EXPECT_EQ(param.GetTimeoutConnect(), 15000);
  EXPECT_EQ(param.GetLimitLowSpeed(), 1);
  EXPECT_EQ(param.GetTimeoutLowSpeed(), 30);
  EXPECT_EQ(param.GetPackageName(), L"com.zentara.cloud.desktop");
  EXPECT_TRUE(param.IsStatusThatNeedToBeRefunded(2));
  EXPECT_TRUE(param.CheckFunctionOpen(L"gallery"));
}

TEST_F(GlobalParamTest, LimitsOfSpeedAreNumbersOrTheirDigits) {
  ASSERT_TRUE(LoadWith("{}"));
  EXPECT_EQ(param.GetUploadLimit(), 0);
  EXPECT_EQ(param.GetDownloadLimit(), 0);
  ASSERT_TRUE(LoadWith(R"({"uploadLimitBytes":1000000,"downloadLimitBytes":"10000000"})"));
  EXPECT_EQ(param.GetUploadLimit(), 1'000'000);
  EXPECT_EQ(param.GetDownloadLimit(), 10'000'000);
  ASSERT_TRUE(LoadWith(R"({"uploadLimitBytes":-1,"downloadLimitBytes":"fast"})"));
  EXPECT_EQ(param.GetUploadLimit(), 0);
  EXPECT_EQ(param.GetDownloadLimit(), 0);
}

TEST_F(GlobalParamTest, BrokenFilesAreKeptAside) {
  const std::string deep(5000, '[');
  for (const std::string& broken :
       {std::string("{\"hideData\": tru"), std::string("[1]"), std::string(), deep}) {
    EXPECT_FALSE(LoadWith(broken));
    EXPECT_EQ(profile.Read("settings.json.broken"), broken);
    EXPECT_FALSE(fs::exists(profile.Config("settings.json")));
    EXPECT_FALSE(param.GetIsHideData());
  }
}

TEST_F(GlobalParamTest, FileThatCannotBeReadIsNeverWritten) {
  fs::create_directories(profile.Config("settings.json"));  // A folder in its place.
  EXPECT_FALSE(param.Load());
  param.SetIsUseLocalCertificate(true);
  EXPECT_TRUE(param.GetIsUseLocalCertificate());
  EXPECT_TRUE(fs::is_directory(profile.Config("settings.json")));
}

TEST_F(GlobalParamTest, StoringKeepsUnknownKeys) {
  ASSERT_TRUE(LoadWith(R"({"futureKey":{"a":[1,2]},"hideData":true})"));
  param.SetIsUseLocalCertificate(true);
  EXPECT_EQ(Stored()["futureKey"]["a"][1].asInt(), 2);
  EXPECT_TRUE(Stored()["hideData"].asBool());
  EXPECT_TRUE(Stored()["useLocalCertificate"].asBool());
  ASSERT_TRUE(param.Load());
  EXPECT_TRUE(param.GetIsUseLocalCertificate());
}

TEST_F(GlobalParamTest, PauseOfAnotherProcessHoldsAndIsKept) {
  ASSERT_TRUE(LoadWith("{}"));
  EXPECT_FALSE(param.GetTransfersPaused());
  profile.Write("settings.json", R"({"transfersPaused":true,"uploadWorkers":2})");
  fs::last_write_time(profile.Config("settings.json"),
                      fs::file_time_type::clock::now() + std::chrono::hours(1));
  param.SetIsUseLocalCertificate(true);
  EXPECT_TRUE(Stored()["transfersPaused"].asBool());
  EXPECT_EQ(Stored()["uploadWorkers"].asInt(), 2);
  EXPECT_TRUE(param.GetTransfersPaused());
  profile.Write("settings.json", "{}");
  fs::last_write_time(profile.Config("settings.json"),
                      fs::file_time_type::clock::now() + std::chrono::hours(2));
  EXPECT_FALSE(param.GetTransfersPaused());
}

TEST_F(GlobalParamTest, DeviceIdIsMadeOnceForAProfile) {
  ASSERT_TRUE(param.Load());
  const std::wstring id = param.GetSystemUUid();
  EXPECT_EQ(id.size(), 36U);
  ASSERT_TRUE(param.Load());
  EXPECT_EQ(param.GetSystemUUid(), id);
  const TestProfile other;
  ASSERT_TRUE(param.Load());
  EXPECT_NE(param.GetSystemUUid(), id);
}

TEST_F(GlobalParamTest, DamagedDeviceIdIsMadeAnew) {
  profile.Write("device-id", "short\n");
  ASSERT_TRUE(param.Load());
  const std::wstring id = param.GetSystemUUid();
  EXPECT_EQ(id.size(), 36U);
  ASSERT_TRUE(param.Load());
  EXPECT_EQ(param.GetSystemUUid(), id);
}

TEST_F(GlobalParamTest, FoldersAreMadeAndHideTheUserId) {
  st_UserInfo user;
  user.userId = L"abc";
  param.SetUser(user, L"");
  // SHA-256 of "abc" as published in FIPS 180-4.
  const std::string level = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
  const std::pair<std::wstring, fs::path> kFolders[] = {
      {param.GetUserCachePath(), profile.folder / "cache/ZentaraCloud" / level},
      {param.GetUserDataBaseFolder(), profile.folder / "data/ZentaraCloud" / level},
      {param.GetUserDownloadsPath(), profile.folder / "downloads"},
      {param.GetUserProfilePath(), profile.folder.Path()},
      {param.GetAppDataLocalPath(), profile.folder / "data"},
  };
  for (const auto& [wide, expected] : kFolders) {
    EXPECT_EQ(platform::NativePath(wide), expected);
    EXPECT_TRUE(fs::is_directory(expected)) << expected;
  }
}

TEST_F(GlobalParamTest, FolderThatCannotBeMadeIsReportedOnce) {
  ASSERT_TRUE(param.Load());
  std::ofstream(profile.folder / "cache") << "a file in its place";
  testing::internal::CaptureStderr();
  (void)param.GetUserCachePath();
  (void)param.GetUserCachePath();
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_THAT(log, HasSubstr("a folder cannot be made"));
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1);
}

TEST_F(GlobalParamTest, LoggedInIsWhoHasAnId) {
  EXPECT_FALSE(param.GetIsUserLoggedIn());
  st_UserInfo user;
  user.userId = L"someone";
  user.userKey1[0] = 9;
  param.SetUser(user, L"FR");
  EXPECT_TRUE(param.GetIsUserLoggedIn());
  EXPECT_EQ(param.GetUserInfo().userId, L"someone");
  EXPECT_EQ(param.GetUserInfo().userKey1[0], 9);
  EXPECT_EQ(param.GetCountryCode(), L"FR");
}

TEST_F(GlobalParamTest, CommaIsWrittenWhereItIsCustomary) {
  ASSERT_TRUE(LoadWith(R"({"countryCode":"FR"})"));
  EXPECT_EQ(param.ReplaceComma(L"1.5"), L"1,5");
  ASSERT_TRUE(LoadWith(R"({"countryCode":"GB"})"));
  EXPECT_EQ(param.ReplaceComma(L"1.5"), L"1.5");
  ASSERT_TRUE(LoadWith(R"({"countryCode":"GB","replaceCommaCountries":["GB"]})"));
  EXPECT_EQ(param.ReplaceComma(L"1.5"), L"1,5");
}

class FixedClock final : public platform::Clock {
 public:
  std::int64_t Ticks() const override { return seconds * 10'000'000; }
  std::int64_t seconds = 1000;
};

TEST_F(GlobalParamTest, ServerTimeRunsOnFromTheLastAnswer) {
  FixedClock clock;
  platform::Clock::Replace(&clock);
  param.SetServerTime(5000);
  clock.seconds = 1010;
  EXPECT_EQ(param.GetServerTime(), 5010);
  param.SetServerTime(1010);
  platform::Clock::Replace(nullptr);
}

TEST_F(GlobalParamTest, RunningValuesAreThoseThatWereTold) {
  EXPECT_TRUE(param.GetNetIsConnect());
  param.SetNetIsConnect(false);
  EXPECT_FALSE(param.GetNetIsConnect());
  param.SetNetIsConnect(true);
  param.SetDropGallery(true);
  EXPECT_TRUE(param.GetDropGallery());
  param.SetDropGallery(false);
  EXPECT_FALSE(param.GetDropGallery());
  param.SetSelectConTrols({L"a", L"b"});
  EXPECT_EQ(param.GetSelectConTrolsSize(), 2U);
  EXPECT_EQ(param.GetSelectConTrols()[1], L"b");
  param.SetSelectCloudDriveSet({L"c"});
  EXPECT_EQ(param.GetSelectCloudDriveSet().count(L"c"), 1U);
  EXPECT_EQ(param.GetMainWnd(), nullptr);
  param.SetMasterKeys("11", "22");
  EXPECT_EQ(param.GetHMAC_MK1(), "11");
  EXPECT_EQ(param.GetHMAC_MK2(), "22");
}

}  // namespace
