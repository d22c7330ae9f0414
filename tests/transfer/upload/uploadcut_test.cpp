// How the cloud cuts a content is its choice, and part of what is checked.

#include "contenttest.h"

namespace {

struct CutCase {
  const char* name;
  std::function<void(Json::Value& resource)> spoil;
};
class CutTest : public ContentTest, public testing::WithParamInterface<CutCase> {};

TEST_P(CutTest, CutThatDoesNotFitIsRefused) {
  const auto changer = ChangeAnswers([](const std::string& request, const std::string& answer) {
    if (!request.starts_with("POST /cloudPhoto/v1/media?")) return answer;
    Json::Value record = AnswerChanger::Body(answer);
    GetParam().spoil(record["attachments"][0]["asset"]["resource"]);
    return AnswerChanger::WithBody(record);
  });
  const auto task = UploadTask(Source("cut", Noise(2 * kSliceSize)));
  EXPECT_FALSE(Run(*task));
  EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kGeneral);
  EXPECT_EQ(CountRequests("PUT"), 0u);
  EXPECT_EQ(VisibleCount(), 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Cuts, CutTest,
    testing::Values(
        CutCase{"LastBecomesNegative", [](auto& resource) { resource["sliceSize"] = 3 * kSliceSize; }},
        CutCase{"OtherLength", [](auto& resource) { resource["length"] = 2 * kSliceSize - 1; }},
        CutCase{"Overlapping", [](auto& resource) { resource["objects"][1]["start"] = kSliceSize - 16; }},
        CutCase{"StartIsNegative", [](auto& resource) { resource["objects"][0]["start"] = -1; }},
        CutCase{"BytesOfAnObject", [](auto& resource) { resource["objects"][0]["length"] = 16; }},
        CutCase{"ObjectIsMissing", [](auto& resource) { resource["objects"].resize(1); }},
        CutCase{"NoObjects", [](auto& resource) { resource["objects"] = Json::Value(); }},
        CutCase{"ObjectTooMany",
                [](auto& resource) {
                  Json::Value more = resource["objects"][1];
                  more["start"] = 2 * kSliceSize;
                  more["length"] = 16;
                  resource["objects"].append(more);
                }},
        CutCase{"NoSize", [](auto& resource) { resource["sliceSize"] = 0; }},
        CutCase{"Tiny",
                [](auto& resource) {
                  resource["sliceSize"] = 64;
                  Json::Value object = resource["objects"][0];
                  object["length"] = 80;
                  resource["objects"].clear();
                  for (int start = 0; start < 2 * kSliceSize; start += 64) {
                    object["start"] = start;
                    resource["objects"].append(object);
                  }
                }},
        CutCase{"Huge",
                [](auto& resource) {
                  resource["sliceSize"] = Json::Int64{1} << 62;
                  resource["objects"][0]["length"] = Json::Int64{1} << 62;
                }}),
    [](const auto& cut) { return cut.param.name; });

// A service that loses one content again and again, and cuts it otherwise each time.
class OtherCutTest : public ContentTest {
 protected:
  // The content is lost, and the service cuts it at `sliceSize` when it comes back.
  // True when slices of that are announced.
  bool GiveBack(const FilePtr& file, int sliceSize) {
    server.Action(R"({"action":"loseObject","userName":"alice","mediaId":")" + file->UniqueId() + "\"}");
    const auto changer = ChangeAnswers([sliceSize](const std::string& request, const std::string& answer) {
      if (!request.starts_with("POST /cloudPhoto/v1/media?")) return answer;
      Json::Value record = AnswerChanger::Body(answer);
      for (Json::Value& attachment : record["attachments"]) {
        if (attachment["usage"] == "content") Cut(attachment["asset"]["resource"], sliceSize);
      }
      return AnswerChanger::WithBody(record);
    });
    server.ForgetRequests();
    (void)Upload(file);  // The real service knows nothing of the cut, and takes no slice of it.
    GoTo(server.Url());
    return CountRequests("POST /cloudPhoto/v1/media/") > 0;
  }
  static void Cut(Json::Value& resource, int sliceSize) {
    const Json::Value object = resource["objects"][0];
    const int length = resource["length"].asInt();
    resource["sliceSize"] = sliceSize;
    resource["objects"].clear();
    for (int start = 0; start < length; start += sliceSize) {
      Json::Value next = object;
      next["start"] = start;
      next["length"] = (std::min(sliceSize, length - start) / 16 + 1) * 16;
      next["state"] = 2;
      resource["objects"].append(next);
    }
    resource["state"] = 2;
  }
};

TEST_F(OtherCutTest, AnotherCutThanTheLastIsTakenOnceADay) {
  const auto file = Source("again", Noise(3 * kSliceSize));
  ASSERT_TRUE(Upload(file));
  const LogText log;
  EXPECT_TRUE(GiveBack(file, kSliceSize)) << "as it was cut at first";
  EXPECT_TRUE(GiveBack(file, kSliceSize / 2));
  EXPECT_TRUE(log.Has("goes back in another cut"));
  EXPECT_TRUE(GiveBack(file, kSliceSize / 2)) << "the same once more";
  EXPECT_FALSE(GiveBack(file, kSliceSize / 4));
  EXPECT_TRUE(log.Has("cut otherwise less than a day ago"));
  EXPECT_FALSE(GiveBack(file, kSliceSize));
  clock.ms += 24 * 3600 * 1000;
  EXPECT_TRUE(GiveBack(file, kSliceSize / 4));
  EXPECT_FALSE(GiveBack(file, kSliceSize / 2));
}

}  // namespace
