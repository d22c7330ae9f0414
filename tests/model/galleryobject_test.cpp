// The object that a host drives.

#include <future>

#include "cloud/cheader.h"
#include "cloud/cloudphotov2helper.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "host/account/userauthservice.h"
#include "host/base/globalparamwrapper.h"
#include "support/faketask.h"
#include "support/gallerytest.h"
#include "sync/modelload.h"
#include "sync/synchelper.h"
#include "transfer/gallerytransmanager.h"
#include "utils/globaldata.h"
#include "zentaragalleryobj.h"

namespace {

class GalleryObjectTest : public GalleryTest {
 protected:
  ZentaraGalleryObj object;
  bool empty = false;
};

TEST_F(GalleryObjectTest, HomeIsEmptyBeforeAnyFileIsLoaded) {
  object.InitWnd();
  const Json::Value items = object.GetGalleryHomeData(empty);
  EXPECT_TRUE(empty);
  EXPECT_TRUE(items.isArray());
  EXPECT_EQ(items.size(), 0u);
}

TEST_F(GalleryObjectTest, HomeShowsTheNewestHundred) {
  Files files;
  for (int i = 0; i < 150; ++i)
    files.push_back(CloudFile("f" + std::to_string(i), "default-album-1", 1000 + i));
  Add(files);
  const Json::Value items = object.GetGalleryHomeData(empty);
  EXPECT_FALSE(empty);
  ASSERT_EQ(items.size(), 100u);
  EXPECT_EQ(items[0]["uniqueId"].asString(), "f149");
  EXPECT_EQ(items[99]["uniqueId"].asString(), "f50");
}

TEST_F(GalleryObjectTest, HomeItemTellsKindPlaceAndTime) {
  const auto picture = CloudFile("p", "default-album-1", 3000),
             video = CloudFile("v", "default-album-1", 2000);
  const auto cover = CloudFile("c", "default-album-1", 1000), other = CloudFile("o", "default-album-1", 500);
  picture->SetLocalPath(L"/a/\u732b.jpg");
  picture->SetExpandText(R"({"rotate":"90"})");
  video->SavedFileType = 4;
  cover->ContinuousType = 1;
  other->SavedFileType = 7;
  Add({picture, video, cover, other});
  const Json::Value items = object.GetGalleryHomeData(empty);
  ASSERT_EQ(items.size(), 4u);
  EXPECT_EQ(items[0]["fileType"].asInt(), 0);
  EXPECT_EQ(items[1]["fileType"].asInt(), 2);
  EXPECT_EQ(items[2]["fileType"].asInt(), 1);
  EXPECT_FALSE(items[3].isMember("fileType"));
  EXPECT_EQ(items[0]["guid"].asString(), "guid-of-p");
  EXPECT_EQ(items[0]["createTime"].asInt64(), 3000);
  EXPECT_EQ(items[0]["localPath"].asString(), "/a/\xE7\x8C\xAB.jpg");
  EXPECT_EQ(items[0]["fileName"].asString(), "p.jpg");
  EXPECT_EQ(items[0]["rotateAngle"].asInt(), 90);
  EXPECT_EQ(items[1]["rotateAngle"].asInt(), 0);
  const std::string cache = platform::WideToUtf8(GlobalParamWrapper::GetInstance()->GetUserCachePath());
  EXPECT_EQ(items[0]["thumbPath"].asString(), cache + "\\Thumbnail\\");
}

// A window without a cloud has no cycles that would look at the bin.
TEST_F(GalleryObjectTest, OldFilesLeaveTheBinOfAProcessThatStaysOpenForDays) {
  TestClock clock;
  auto& now = clock.ms;
  BinWatch::lookPeriod = std::chrono::milliseconds(1);
  object.InitWnd();
  const auto old = CloudFile("old"), fresh = CloudFile("fresh");
  for (const auto& file : {old, fresh}) file->SetRecycleAlbumId("default-album-3");
  old->RecycleTime = now - 29 * kDayMs;
  fresh->RecycleTime = now.load();
  Add({old, fresh});
  std::promise<void> changed;
  std::atomic<int> told{0};
  const auto bin = gallery.GetAlbum("default-album-3");
  ASSERT_NE(bin, nullptr);
  bin->SetListener([&] {
    if (++told == 1) changed.set_value();
  });
  now += 2 * kDayMs;
  EXPECT_EQ(changed.get_future().wait_for(std::chrono::minutes(1)), std::future_status::ready);
  bin->SetListener({});
  object.CloseWndClear();
  BinWatch::lookPeriod = std::chrono::hours(1);
  EXPECT_TRUE(old->IsDeleted);
  EXPECT_FALSE(fresh->IsDeleted);
}

TEST_F(GalleryObjectTest, AngleOnAV2CloudComesFromTheMetadata) {
  const auto file = CloudFile("p");
  file->SetExpandText(R"({"rotate":"90"})");
  file->SetPictureMetadata(R"({"rotation":3})");
  Add({file});
  GlobalData::cloudGeneration = GlobalData::kGenerationV2;
  EXPECT_EQ(object.GetGalleryHomeData(empty)[0]["rotateAngle"].asInt(), 180);
}

TEST_F(GalleryObjectTest, NextUserFindsNothingOfTheFirst) {
  object.InitWnd();
  CloudAlbum("default-album-1", L"Camera roll");
  Add({CloudFile("secret")});
  gallery.CreateAlbum(L"Private", false, -1);
  GlobalData::cloudGeneration = GlobalData::kGenerationV2;
  object.CloseWndClear();
  EXPECT_EQ(GlobalData::cloudGeneration, GlobalData::kGenerationUnknown);

  const TemporaryFolder otherProfile;
  platform::SetProfileRoot(otherProfile.Path());
  ASSERT_TRUE(GlobalParamWrapper::GetInstance()->Load());
  ASSERT_TRUE(UserAuthService::GetInstance()->Load());
  object.InitWnd();
  ASSERT_TRUE(LoadModel());
  EXPECT_EQ(gallery.FileCount(), 0u);
  EXPECT_EQ(gallery.AlbumNameIsExist(L"Private"), nullptr);
  EXPECT_TRUE(object.GetGalleryHomeData(empty).empty());
  EXPECT_TRUE(empty);
}

TEST_F(GalleryObjectTest, NothingOfTheFirstUserIsSentAfterTheClose) {
  auto& header = CHeader::GetInstance();
  object.InitWnd();
  const std::wstring secrets[] = {L"first-access", L"first-refresh", L"first-user"};
  ASSERT_TRUE(header.Init(CHeader::AccessToken, secrets[0]));
  ASSERT_TRUE(header.Init(CHeader::RefreshToken, secrets[1]));
  ASSERT_TRUE(header.Init(CHeader::UserId, secrets[2]));
  GalleryTransManager::GetInstance().SetLockToken("first-lock");
  GlobalData::GalleryMigrated = true;
  CloudPhotoV2Helper::maxBatchNumber = 7;
  CloudPhotoV2Helper::failures503 = 4;
  object.CloseWndClear();
  HttpHeaders flat;
  Json::Value json(Json::objectValue);
  header.Build(flat);
  header.BuildJson(json, GalleryTransManager::GetInstance().LockToken());
  std::string sent = json.toStyledString();
  for (const auto& [name, value] : flat) sent += name + ":" + value + "\n";
  for (const std::wstring& secret : secrets)
    EXPECT_EQ(sent.find(platform::WideToUtf8(secret)), std::string::npos) << sent;
  EXPECT_EQ(sent.find("first-lock"), std::string::npos);
  EXPECT_EQ(header.GetUserId(), "");
  EXPECT_FALSE(GlobalData::GalleryMigrated);
  EXPECT_EQ(CloudPhotoV2Helper::maxBatchNumber, 50);
  EXPECT_EQ(CloudPhotoV2Helper::failures503, 0);
}

TEST_F(GalleryObjectTest, WhatTheSyncQueuesWhileItStopsDoesNotOutliveTheClose) {
  auto& transfers = GalleryTransManager::GetInstance();
  transfers.SetMakeUpload([](const FilePtr& file, const Album::Ptr&) {
    return std::make_shared<FakeTask>(TaskType::Upload, file->UniqueId());
  });
  SyncServices services;
  std::size_t queued = 0;
  services.stopLostFiles = [&] { queued += transfers.GalleryUpload({LocalFile("late")}, nullptr); };
  SyncHelper sync(services);
  SyncHelper::Replace(&sync);
  object.InitWnd();
  object.CloseWndClear();
  EXPECT_EQ(queued, 1u);
  EXPECT_TRUE(transfers.Tasks(TaskType::Upload).empty());
  SyncHelper::Replace(nullptr);
  sync.SetServices({});
  transfers.SetMakeUpload({});
}

}  // namespace
