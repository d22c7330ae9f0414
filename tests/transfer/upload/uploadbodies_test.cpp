// The requests of an upload as they go out, field by field: the service at hand
// would forgive much that another does not.

#include <gmock/gmock.h>

#include "cloudserver.h"
#include "host/base/jsontext.h"
#include "tests/transfer/knownkeys.h"
#include "transfer/upload/fileparamsconstruct.h"

namespace {

using testing::HasSubstr;
using testing::Not;

constexpr char kServer[] = "https://cloud.example";
constexpr char kSha256OfA[] = "ca978112ca1bbdcafac231b39a23dc4da786eff8147c4e72b9807785afee48bb";
constexpr char kSha256OfBc[] = "1e0bbd6c686ba050b8eb03ffeedc64fdc9d80947fce821abbe5d6dc8d252c5ac";
constexpr char kSha256OfAbc[] = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
// An answer to kCreateMedia.
constexpr char kDoc[] = R"({"id": "media-1", "attachments": [
  {"usage": "content", "asset": {"id": "asset-1", "versionId": "version-1", "attributes": {"kept": 1},
   "resource": {"hash": "hash-1", "sha256": "sha-1",
                "objects": [{"id": "object-0"}, {"id": "object-1"}]}}},
  {"usage": "thumbnail", "asset": {}}]})";

Json::Value Parsed(const std::string& text) { return JsonText::Parse(text).value_or(Json::Value()); }

Json::Value Cipher() {
  Json::Value cipher = Parsed(R"({"algorithm": "AES_128_CBC_PKCS5Padding", "dataType": 12,
    "iv": "f2817c1df3a626e4c5dfffc88e6e4304", "hfek": "1|f2817c1df3a626e4c5dfffc88e6e4304",
    "keychains": [{"type": 1, "algorithm": "AES_128_CBC_PKCS5Padding", "id": "key-one"},
                  {"type": 3, "algorithm": "AES_256_CBC_PKCS5Padding", "id": "key-three"}]})");
  cipher["keychains"][0]["ekey"] = kFoxKey1;
  cipher["keychains"][1]["ekey"] = kFoxKey3;
  return cipher;
}

class UploadBodiesTest : public GalleryTest {
 protected:
  void SetUp() override {
    GalleryTest::SetUp();
    folder.Write("config/ZentaraCloud/account.json",
                 R"({"userId":"me","accessToken":"token-1","server":"https://cloud.example"})");
    ASSERT_TRUE(UserAuthService::GetInstance()->Load());
    GlobalParamWrapper::GetInstance()->SetUser(KnownUser(), L"");
    file->SetHash("stored");
    file->SetFileName(L"R\u00e4der.JPG");
    file->CreateTime = 1'600'000'000'125;
    file->IsFavorite = true;
    file->SetPictureMetadata(R"({"imageWidth": 4000})");
    file->SetExpandText(R"({"rotate": "90"})");
    source.size = 43;
    source.sha256 = "sha-of-the-content";
    source.hashId = "id-of-the-content";
    source.smallThumbnail = "a";
    source.largeThumbnail = "bc";
    record.file = file;
    record.lockToken = "lock-1";
    record.mk2 = kMasterKey2;
    record.contentHmac = kFoxHmac;
    record.thumbHmac = kFoxHmac;
    record.source = &source;
    record.doc = Parsed(kDoc);
    record.md5 = "md5-1";
    record.sha256 = "sha256-1";
  }

  bool Build(UploadCommand command) {
    headers.clear();
    url.clear();
    text.clear();
    return FileParamsConstruct<FileSliceCmdParamsV2>(command, record)
        .ParamsProcessV2(headers, text, method, url);
  }
  Json::Value Body(UploadCommand command) {
    EXPECT_TRUE(Build(command));
    return Parsed(text);
  }

  FilePtr file = LocalFile("local");
  UploadSource source;
  FileSliceCmdParamsV2 record;
  HttpHeaders headers;
  std::string text, url;
  std::int32_t method = kHttpNone;
};

TEST_F(UploadBodiesTest, RequestsGoToTheirPlacesUnderTheLock) {
  const std::string revision = "/cloudPhoto/v1/media/media-1/assets/asset-1/revisions/version-1";
  const std::map<UploadCommand, std::pair<int, std::string>> places = {
      {kCreateMedia,
       {kHttpPost,
        "/cloudPhoto/v1/media?mode=temp&fields=fileName,attachments,signedDownloadLink,"
        "smallThumbnailDownloadLink,thumbnailDownloadLink,id,pictureMetadata,uploadType"}},
      {kAnnounceSlice, {kHttpPost, revision}},
      {kConfirmSlice, {kHttpPost, revision}},
      {kPublishMedia,
       {kHttpPatch,
        "/cloudPhoto/v1/media/"
        "media-1?mode=normal&fields=id,attachments,source,sha256,hash,status,fileName"}}};
  for (const auto& [command, place] : places) {
    ASSERT_TRUE(Build(command));
    EXPECT_EQ(url, kServer + place.second);
    EXPECT_EQ(method, place.first);
    EXPECT_EQ(headers["x-zt-lock"], "lock-1");
    EXPECT_EQ(headers["Authorization"], "Bearer token-1");
    EXPECT_THAT(text, Not(HasSubstr("\n")));
  }
}

TEST_F(UploadBodiesTest, CreateBodyHasTheFieldsOfTheWire) {
  Json::Value expected = Parsed(R"({"albumId": "default-album-1", "createdTime": "2020-09-13T12:26:40.125Z",
    "favorite": true, "fileName": "Räder.JPG", "fileType": 1, "mimeType": "image/jpeg", "recycled": false,
    "hashId": "stored", "properties": {"rotate": "90"},
    "attachments": [{"usage": "content"}, {"usage": "thumbnail"}]})");
  Json::Value& content = expected["attachments"][0]["asset"];
  content["resource"] = Parsed(R"({"length": 43, "sha256": "sha-of-the-content"})");
  content["resource"]["hash"] = kFoxResourceHash;
  content["cipher"] = Cipher();
  content["attributes"] = Parsed(R"({"pictureMetadata": {"imageWidth": 4000}})");
  Json::Value& thumbnail = expected["attachments"][1]["asset"];
  thumbnail["attributes"] = Parsed(R"({"length": {"small": 1, "large": 2}})");
  thumbnail["attributes"]["sha256"]["small"] = kSha256OfA;
  thumbnail["attributes"]["sha256"]["large"] = kSha256OfBc;
  thumbnail["resource"]["attributes"] = thumbnail["attributes"];
  thumbnail["resource"]["hash"] = kFoxResourceHash;
  thumbnail["resource"]["length"] = 3;
  thumbnail["resource"]["sha256"] = kSha256OfAbc;
  thumbnail["cipher"] = Cipher();
  EXPECT_EQ(Body(kCreateMedia), expected);
  EXPECT_THAT(text, HasSubstr("Räder"));
}

TEST_F(UploadBodiesTest, CreateBodyFollowsTheFile) {
  file->SetFileName(L"strange.unknown");
  file->SetPictureMetadata("");
  file->SetVideoMetadata(R"({"durationTime": 5})");
  file->SetUniqueId("known");
  record.album = CloudAlbum(kRecycleAlbumId, L"Bin");
  Json::Value body = Body(kCreateMedia);
  EXPECT_FALSE(body.isMember("mimeType"));
  EXPECT_EQ(body["recycled"], true);
  EXPECT_EQ(body["id"], "known");
  EXPECT_EQ(body["attachments"][0]["asset"]["attributes"],
            Parsed(R"({"videoMetadata": {"durationTime": 5}})"));
  // What is a picture and a film, as a moving photograph, counts as a picture.
  file->SetPictureMetadata(R"({"imageWidth": 1})");
  body = Body(kCreateMedia);
  EXPECT_EQ(body["attachments"][0]["asset"]["attributes"],
            Parsed(R"({"pictureMetadata": {"imageWidth": 1}})"));
}

TEST_F(UploadBodiesTest, KindsWithoutANumberAreTheUsualOne) {
  const std::map<int, int> numbers = {{-1, 0}, {0, 0},   {1, 1},   {4, 4}, {9, 9},
                                      {10, 0}, {11, 11}, {12, 12}, {13, 0}};
  for (const auto& [kind, number] : numbers) {
    file->SavedFileType = kind;
    EXPECT_EQ(Body(kCreateMedia)["fileType"], number) << kind;
  }
}

TEST_F(UploadBodiesTest, SliceBodyHasTheFieldsOfTheWire) {
  record.objectIndex = 1;
  EXPECT_EQ(Body(kAnnounceSlice), Parsed(R"({"attributes": {"kept": 1}, "resource": {"hash": "hash-1",
    "sha256": "sha-1", "objects": [{"objectId": "object-1", "md5": "md5-1", "sha256": "sha256-1"}]}})"));
}

TEST_F(UploadBodiesTest, StateBodyClosesTheAssetWithItsLastObject) {
  record.sliceResponse = Parsed(R"({"resource": {"objects": [
    {"downloadUrl": {"headers": {"Accept": "zero"}}}, {"downloadUrl": {"headers": {"Accept": "one"}}}]}})");
  Json::Value expected = Parsed(R"({"resource": {"hash": "hash-1", "sha256": "sha-1", "objects": [
    {"objectId": "object-0", "uploadStatus": {"status": 200, "headers": {"Accept": "zero"}, "body": "string"}}]}})");
  EXPECT_EQ(Body(kConfirmSlice), expected);
  record.objectIndex = 1;
  expected["resource"]["objects"][0]["objectId"] = "object-1";
  expected["resource"]["objects"][0]["uploadStatus"]["headers"]["Accept"] = "one";
  expected["state"] = 0;
  EXPECT_EQ(Body(kConfirmSlice), expected);
}

TEST_F(UploadBodiesTest, FinalBodyHasTheFieldsOfTheWire) {
  EXPECT_EQ(Body(kPublishMedia), Parsed(R"({"creator": {"userId": "me"}, "owner": {"userId": "me"},
    "mimeType": "image/jpeg", "fileName": "Räder.JPG", "favorite": true, "albumId": "default-album-1",
    "fileType": 1, "hashId": "id-of-the-content", "id": "media-1", "size": 43, "source": "PC",
    "uploadType": "client"})"));
}

TEST_F(UploadBodiesTest, FileWithoutANameIsNotCreated) {
  const LogText log;
  file->SetFileName(L"");
  EXPECT_FALSE(Build(kCreateMedia));
  EXPECT_EQ(url, "");
  EXPECT_TRUE(log.Has("upload Filename is empty!"));
  EXPECT_TRUE(log.Has("build cmd fail!"));
}

TEST_F(UploadBodiesTest, ContentThatNobodyCouldReadIsNotCreated) {
  record.mk2.clear();
  EXPECT_FALSE(Build(kCreateMedia));
  record.mk2 = kMasterKey2;
  record.thumbHmac.clear();
  EXPECT_FALSE(Build(kCreateMedia));
}

TEST_F(UploadBodiesTest, PathThatIsTooLongFails) {
  const LogText log;
  const std::string rest =
      "/cloudPhoto/v1/media/?mode=normal&fields=id,attachments,source,sha256,hash,status,fileName";
  record.doc["id"] = std::string(255 - rest.size(), 'x');
  EXPECT_TRUE(Build(kPublishMedia));
  record.doc["id"] = std::string(256 - rest.size(), 'x');
  EXPECT_FALSE(Build(kPublishMedia));
  EXPECT_EQ(url, "");
  EXPECT_TRUE(log.Has("url is empty!"));
}

TEST_F(UploadBodiesTest, ThumbnailsWithoutAKeyAreNotAnnounced) {
  const LogText log;
  record.thumbHmac.clear();
  EXPECT_EQ(AES_128_CBC_Thumb(record), "");
  EXPECT_TRUE(log.Has("thm upload get smallLargeHmac failed!"));
  record.md5.clear();
  EXPECT_FALSE(Build(kAnnounceSlice));
  EXPECT_TRUE(log.Has("build cmd fail!"));
}

}  // namespace
