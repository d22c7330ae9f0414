#include "photocloud/content/assetlayout.h"

#include "testcloud.h"

namespace photocloud::testing {
namespace {

ContentLimits Limits() { return TestCloud::SmallSettings().content; }

Json::Value Content(std::int64_t length, bool encrypted = true) {
  Json::Value attachment(Json::objectValue);
  attachment["usage"] = "content";
  if (encrypted) attachment["asset"]["cipher"]["iv"] = "00";
  attachment["asset"]["resource"]["hash"] = "ab";
  attachment["asset"]["resource"]["sha256"] = std::string(64, 'a');
  attachment["asset"]["resource"]["length"] = Json::Int64(length);
  return attachment;
}

Json::Value Thumbnail(std::int64_t small, std::int64_t large, std::int64_t sum) {
  Json::Value attachment = Content(sum);
  attachment["usage"] = "thumbnail";
  attachment["asset"]["attributes"]["length"]["small"] = Json::Int64(small);
  attachment["asset"]["attributes"]["length"]["large"] = Json::Int64(large);
  return attachment;
}

std::vector<std::int64_t> Lengths(const Json::Value& attachment) {
  const auto plan = PlanAsset(attachment, "m", Limits());
  std::vector<std::int64_t> lengths;
  if (!std::holds_alternative<AssetPlan>(plan)) return lengths;
  for (const SliceRecord& slice : std::get<AssetPlan>(plan).slices) lengths.push_back(slice.length);
  return lengths;
}

TEST(AssetLayout, EachPieceGrowsToTheNextBlock) {
  using Lengths_ = std::vector<std::int64_t>;
  const std::pair<std::int64_t, Lengths_> cases[] = {
      {0, {16}},
      {1, {16}},
      {15, {16}},
      {16, {32}},
      {17, {32}},
      {63, {64}},
      {64, {80}},
      {65, {80, 16}},
      {128, {80, 80}},
      {129, {80, 80, 16}},
      {200, {80, 80, 80, 16}},
  };
  for (const auto& [length, expected] : cases) EXPECT_EQ(Lengths(Content(length)), expected) << length;
}

TEST(AssetLayout, StartsAreThePlainPositions) {
  const auto plan = std::get<AssetPlan>(PlanAsset(Content(150), "m", Limits()));
  ASSERT_EQ(plan.slices.size(), 3u);
  for (std::size_t i = 0; i < plan.slices.size(); ++i) {
    EXPECT_EQ(plan.slices[i].number, static_cast<std::int64_t>(i));
    EXPECT_EQ(plan.slices[i].start, static_cast<std::int64_t>(i) * 64);
    EXPECT_EQ(plan.slices[i].assetId, plan.asset.id);
  }
  EXPECT_EQ(plan.asset.sliceSize, 64);
}

TEST(AssetLayout, PlainContentKeepsItsLength) {
  EXPECT_EQ(Lengths(Content(100, false)), (std::vector<std::int64_t>{64, 36}));
  EXPECT_EQ(Lengths(Content(0, false)), (std::vector<std::int64_t>{0}));
}

TEST(AssetLayout, ThumbnailIsOneObjectOfTwoPieces) {
  EXPECT_EQ(Lengths(Thumbnail(100, 200, 300)), (std::vector<std::int64_t>{112 + 208}));
  EXPECT_EQ(Lengths(Thumbnail(16, 32, 48)), (std::vector<std::int64_t>{32 + 48}));
  Json::Value single = Thumbnail(1, 2, 300);
  single["asset"]["attributes"]["length"] = 300;
  EXPECT_EQ(Lengths(single), (std::vector<std::int64_t>{304}));
}

TEST(AssetLayout, ThumbnailLengthsMustAddUp) { EXPECT_TRUE(Lengths(Thumbnail(100, 200, 301)).empty()); }

TEST(AssetLayout, WrongShapesAreRefused) {
  Json::Value cases[6];
  for (Json::Value& value : cases) value = Content(10);
  cases[0]["usage"] = "poster";
  cases[1]["asset"]["resource"]["length"] = -1;
  cases[2]["asset"]["resource"]["sha256"] = "abc";
  cases[3]["asset"]["cipher"] = "text";
  cases[4]["asset"].removeMember("resource");
  cases[5] = "attachment";
  for (const Json::Value& value : cases) {
    const auto plan = PlanAsset(value, "m", Limits());
    ASSERT_TRUE(std::holds_alternative<ErrorCode>(plan)) << value;
    EXPECT_EQ(std::get<ErrorCode>(plan), ErrorCode::Malformed);
  }
}

TEST(AssetLayout, SizesHaveLimits) {
  EXPECT_EQ(std::get<ErrorCode>(PlanAsset(Content((1 << 20) + 1), "m", Limits())), ErrorCode::BodyTooLarge);
  EXPECT_EQ(std::get<ErrorCode>(PlanAsset(Thumbnail(4000, 97, 4097), "m", Limits())),
            ErrorCode::BodyTooLarge);
}

}  // namespace
}  // namespace photocloud::testing
