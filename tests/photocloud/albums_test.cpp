#include "photocloud/base/json.h"
#include "testcloud.h"

namespace photocloud::testing {
namespace {

TEST_F(CloudTest, CreatedAlbumIsListedWithWhatItWasGiven) {
  const Json::Value body = Json(R"({"id":"default-album-300-1-2","albumName":"Trip","type":"0",
      "createdTime":"2030-05-01T10:20:30","localPath":"/Pictures/PC/Trip1","properties":{"emptyShow":"1"}})");
  ASSERT_EQ(cloud.Call(anna, "POST", "/cloudPhoto/v1/albums", body).status, 200);
  const Reply list =
      cloud.Call(anna, "GET",
                 "/cloudPhoto/v1/albums?queryParam=albumType%3D0&orderBy=createdTime+desc&"
                 "fields=nextCursor,albums(albumName,id,type,createdTime,properties,localPath)");
  ASSERT_EQ(list.json["albums"].size(), 3u);
  EXPECT_EQ(list.json["albums"][0], body);
  EXPECT_EQ(list.json["nextCursor"], "");
}

TEST_F(CloudTest, AlbumListComesInPages) {
  for (int i = 0; i < 5; ++i)
    cloud.MakeAlbum(anna, "album" + std::to_string(i), "Album " + std::to_string(i));
  std::set<std::string> seen;
  std::string cursor = "0";
  int pages = 0;
  do {
    const Reply page = cloud.Call(anna, "GET", "/cloudPhoto/v1/albums?pageSize=3&cursor=" + cursor);
    ASSERT_EQ(page.status, 200) << page.raw.body;
    for (const Json::Value& album : page.json["albums"])
      EXPECT_TRUE(seen.insert(album["id"].asString()).second);
    cursor = page.json["nextCursor"].asString();
    ++pages;
  } while (!cursor.empty());
  EXPECT_EQ(pages, 3);
  EXPECT_EQ(seen.size(), 8u);
}

TEST_F(CloudTest, NameOfAnotherAlbumIsRefused) {
  cloud.MakeAlbum(anna, "one", "Trip");
  EXPECT_EQ(
      cloud.Call(anna, "POST", "/cloudPhoto/v1/albums", Json(R"({"id":"two","albumName":"Trip"})")).Code(),
      "31084932");
  cloud.MakeAlbum(anna, "two", "Other");
  EXPECT_EQ(cloud.Call(anna, "PATCH", "/cloudPhoto/v1/albums/two", Json(R"({"albumName":"Trip"})")).Code(),
            "31084932");
}

TEST_F(CloudTest, NameOfADeletedAlbumIsFree) {
  cloud.MakeAlbum(anna, "one", "Trip");
  ASSERT_EQ(cloud.Call(anna, "DELETE", "/cloudPhoto/v1/albums/one").status, 200);
  cloud.MakeAlbum(anna, "two", "Trip");
}

TEST_F(CloudTest, RepeatedCreationChangesNothing) {
  const Json::Value body = Json(R"({"id":"one","albumName":"Trip","createdTime":"2024-01-01T00:00:00"})");
  cloud.Call(anna, "POST", "/cloudPhoto/v1/albums", body);
  const std::string version = cloud.Version(anna);
  EXPECT_EQ(cloud.Call(anna, "POST", "/cloudPhoto/v1/albums", body).status, 200);
  EXPECT_EQ(cloud.Version(anna), version);
}

TEST_F(CloudTest, CreationUnderAKnownIdBringsTheAlbumToThatState) {
  cloud.MakeAlbum(anna, "one", "Trip");
  cloud.MakeAlbum(anna, "one", "Journey");
  ASSERT_EQ(cloud.Call(anna, "DELETE", "/cloudPhoto/v1/albums/one").status, 200);
  cloud.MakeAlbum(anna, "one", "Again");
  EXPECT_EQ(
      cloud.Call(anna, "PATCH", "/cloudPhoto/v1/albums/one", Json(R"({"localPath":"/x"})")).json["albumName"],
      "Again");
}

TEST_F(CloudTest, UnknownAndDeletedAlbumsCannotBeChanged) {
  EXPECT_EQ(cloud.Call(anna, "PATCH", "/cloudPhoto/v1/albums/none", Json(R"({"albumName":"x"})")).Code(),
            "31084909");
  EXPECT_EQ(cloud.Call(anna, "DELETE", "/cloudPhoto/v1/albums/none").Code(), "31084909");
  cloud.MakeAlbum(anna, "one", "Trip");
  cloud.Call(anna, "DELETE", "/cloudPhoto/v1/albums/one");
  EXPECT_EQ(cloud.Call(anna, "PATCH", "/cloudPhoto/v1/albums/one", Json(R"({"albumName":"x"})")).Code(),
            "31084909");
}

TEST_F(CloudTest, RepeatedDeletionSucceedsWithoutANewVersion) {
  cloud.MakeAlbum(anna, "one", "Trip");
  cloud.Call(anna, "DELETE", "/cloudPhoto/v1/albums/one");
  const std::string version = cloud.Version(anna);
  EXPECT_EQ(cloud.Call(anna, "DELETE", "/cloudPhoto/v1/albums/one").status, 200);
  EXPECT_EQ(cloud.Version(anna), version);
}

TEST_F(CloudTest, AlbumWithMediaIsKeptUntilTheyAreInTheBin) {
  cloud.MakeAlbum(anna, "one", "Trip");
  const std::string id = cloud.MakeMedia(anna, "a.jpg");
  ASSERT_EQ(cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + id, Json(R"({"albumId":"one"})")).status,
            200);
  EXPECT_EQ(cloud.Call(anna, "DELETE", "/cloudPhoto/v1/albums/one").Code(), "31084038");
  cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + id, Json(R"({"recycled":true})"));
  EXPECT_EQ(cloud.Call(anna, "DELETE", "/cloudPhoto/v1/albums/one").status, 200);
  // It cannot come out of the bin into an album that is gone.
  EXPECT_EQ(cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + id, Json(R"({"recycled":false})")).Code(),
            "31084909");
}

TEST_F(CloudTest, OwnAlbumsOfTheCloudStay) {
  for (const char* id : {"default-album-1", "default-album-2", "default-album-3"}) {
    EXPECT_EQ(cloud.Call(anna, "DELETE", std::string("/cloudPhoto/v1/albums/") + id).Code(), "31084007");
  }
  const std::string version = cloud.Version(anna);
  EXPECT_EQ(cloud
                .Call(anna, "POST", "/cloudPhoto/v1/albums",
                      Json(R"({"id":"default-album-3","albumName":"Bin","type":"4"})"))
                .status,
            200);
  EXPECT_EQ(cloud.Version(anna), version);
}

TEST_F(CloudTest, AlbumFieldsOfAWrongTypeAreNamed) {
  const std::pair<const char*, const char*> cases[] = {
      {R"({"albumName":1})", "albumName"},
      {R"({"albumName":""})", "albumName"},
      {R"({"id":"","albumName":"x"})", "id"},
      {R"({"albumName":"x","createdTime":"yesterday"})", "createdTime"},
      {R"({"albumName":"x","properties":"{}"})", "properties"},
      {R"({"albumName":"x","localPath":[]})", "localPath"},
  };
  for (const auto& [body, field] : cases) {
    const Reply reply = cloud.Call(anna, "POST", "/cloudPhoto/v1/albums", Json(body));
    EXPECT_EQ(reply.Code(), "31084000") << body;
    EXPECT_EQ(reply.json["error"]["errors"][0]["subject"], field) << body;
  }
}

}  // namespace
}  // namespace photocloud::testing
