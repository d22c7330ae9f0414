#include <gtest/gtest.h>

#include <fstream>

#include "cloud/cloudphotov2helper.h"
#include "cloudserver.h"
#include "host/base/coperationmanageservice.h"
#include "host/requests/cloudspacequery.h"

namespace {

using SpaceTest = CloudTest;
using PropertiesTest = GalleryTest;

TEST_F(SpaceTest, QuotaIsTold) {
  const SpaceInfo space = CloudSpaceQuery::GetSpaceInfo();
  EXPECT_EQ(space.status, 0);
  EXPECT_EQ(space.total, std::int64_t{1024} << 30);  // what "user add" gives
  EXPECT_EQ(space.free, space.total);
  EXPECT_FALSE(space.IsFull());
}

TEST_F(SpaceTest, NoAnswerIsNoFullCloud) {
  server.Fault(R"({"path":"/quota","status":500})");
  SpaceInfo space = CloudSpaceQuery::GetSpaceInfo();
  EXPECT_EQ(space.status, 500);
  EXPECT_FALSE(space.IsFull());
  server.Kill();
  space = CloudSpaceQuery::GetSpaceInfo();
  EXPECT_EQ(space.status, CloudSpaceQuery::kNotTold);
  EXPECT_FALSE(space.IsFull());
}

TEST_F(SpaceTest, FullCloudIsFull) {
  EXPECT_TRUE((SpaceInfo{0, 100, 0}.IsFull()));
  EXPECT_FALSE((SpaceInfo{0, 0, 0}.IsFull()));
}

TEST_F(PropertiesTest, FileCountsBeforeServiceBeforeDefault) {
  auto& properties = *COperationManageService::GetInstance();
  properties.SetServerSettings({});
  EXPECT_EQ(properties.GetPcClientProPertiesConfig().briefingPeriodDays, 7);
  properties.SetServerSettings({{"briefingPeriodDays", "3"}, {"other", "x"}});
  EXPECT_EQ(properties.GetPcClientProPertiesConfig().briefingPeriodDays, 3);
  EXPECT_EQ(properties.GetPcClientProPertiesConfig().other.at("other"), "x");
  std::filesystem::create_directories(folder.Path() / "config/ZentaraCloud");
  std::ofstream(folder.Path() / "config/ZentaraCloud/settings.json") << R"({"briefingPeriodDays":5})";
  EXPECT_EQ(properties.GetPcClientProPertiesConfig().briefingPeriodDays, 5);
  std::ofstream(folder.Path() / "config/ZentaraCloud/settings.json") << R"({"briefingPeriodDays":0})";
  EXPECT_EQ(properties.GetPcClientProPertiesConfig().briefingPeriodDays, 3);
  properties.SetServerSettings({});
}

TEST_F(SpaceTest, AboutTellsTheProperties) {
  ASSERT_EQ(CloudPhotoV2Helper::GetCutStatus(), 2);
  EXPECT_EQ(COperationManageService::GetInstance()->GetPcClientProPertiesConfig().other.at("v2cut"), "1");
}

}  // namespace
