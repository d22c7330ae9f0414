// A disk without room, played by a limit on the size of the server's files.

#include <sys/resource.h>

#include <set>

#include "photocloud/base/digest.h"
#include "photocloud/base/json.h"
#include "serverprocess.h"
#include "testcloud.h"
#include "testhttp.h"

namespace photocloud::testing {
namespace {

class DiskTest : public ::testing::Test {
 protected:
  DiskTest() {
    const ProgramResult added = RunProgram({PHOTOCLOUD_PROGRAM, "user", "add", "--data", folder.path,
                                            "--fast-password", "--login-secret-file", "-", "anna"},
                                           "secret\n");
    EXPECT_EQ(added.status, 0) << added.output;
    server = std::make_unique<ServerProcess>(PHOTOCLOUD_PROGRAM, folder.path.string());
    http = std::make_unique<HttpConnection>(server->Port());
    const HttpReply login =
        http->Call("POST", "/cloudPhoto/v1/auth/login", R"({"userName":"anna","password":"secret"})");
    headers["Authorization"] = "Bearer " + login.json["accessToken"].asString();
    headers["x-zt-lock"] = Call("GET", "/cloudPhoto/v1/locks").json["token"].asString();
  }

  HttpReply Call(const std::string& method, const std::string& target, const std::string& body = "") {
    return http->Call(method, target, body, headers);
  }

  HttpReply MakeAlbum(const std::string& id) {
    return Call("POST", "/cloudPhoto/v1/albums", R"({"id":")" + id + R"(","albumName":")" + id + "\"}");
  }

  // No file of the server grows beyond that.
  void LimitFiles(rlim_t bytes) const {
    rlimit limit{};
    ASSERT_EQ(::prlimit(server->Process(), RLIMIT_FSIZE, nullptr, &limit), 0);
    limit.rlim_cur = std::min(bytes, limit.rlim_max);
    ASSERT_EQ(::prlimit(server->Process(), RLIMIT_FSIZE, &limit, nullptr), 0);
  }

  TempFolder folder;
  std::unique_ptr<ServerProcess> server;
  std::unique_ptr<HttpConnection> http;
  std::map<std::string, std::string> headers;
};

TEST_F(DiskTest, ChangeThatFindsNoRoomIsRefusedAndTheNextOneGoesOn) {
  ASSERT_EQ(MakeAlbum("before").status, 200);
  LimitFiles(std::filesystem::file_size(folder.path / "photocloud.db-wal"));
  const HttpReply refused = MakeAlbum("refused");
  EXPECT_EQ(refused.status, 507);
  EXPECT_EQ(refused.json["error"]["errors"][0]["code"], "31085070");
  EXPECT_EQ(Call("GET", "/cloudPhoto/v1/albums").json["albums"].size(), 4u);
  LimitFiles(RLIM_INFINITY);
  EXPECT_EQ(MakeAlbum("after").status, 200);
  std::set<std::string> found;
  const HttpReply list = Call("GET", "/cloudPhoto/v1/albums");
  for (const Json::Value& album : list.json["albums"]) found.insert(album["id"].asString());
  EXPECT_EQ(found, (std::set<std::string>{"default-album-1", "default-album-2", "default-album-3", "before",
                                          "after"}));
}

TEST_F(DiskTest, ObjectThatFindsNoRoomIsRefusedAndCanBeSentAgain) {
  constexpr rlim_t kRoom = 1 << 20;
  const std::string content(2 << 20, 'c');
  const HttpReply made =
      Call("POST", "/cloudPhoto/v1/media?mode=temp", WriteJson(UploadBody("a.jpg", content, "s", "l")));
  ASSERT_EQ(made.status, 200) << made.body;
  const Json::Value& asset = made.json["attachments"][0]["asset"];
  const Json::Value& object = asset["resource"]["objects"][0];
  const std::string bytes = Sealed(content, static_cast<std::size_t>(object["length"].asInt()));
  Json::Value body(Json::objectValue);
  body["resource"]["objects"][0]["objectId"] = object["id"];
  body["resource"]["objects"][0]["md5"] = Md5Hex(bytes);
  body["resource"]["objects"][0]["sha256"] = Sha256Hex(bytes);
  const HttpReply announced = Call("POST",
                                   "/cloudPhoto/v1/media/" + made.json["id"].asString() + "/assets/" +
                                       asset["id"].asString() + "/revisions/" + asset["versionId"].asString(),
                                   WriteJson(body));
  ASSERT_EQ(announced.status, 200) << announced.body;
  const Json::Value& target = announced.json["resource"]["objects"][0];
  const std::string upload = TargetOf(target["uploadUrl"]["url"].asString());
  LimitFiles(kRoom);
  EXPECT_EQ(HttpConnection(server->Port()).Call("PUT", upload, bytes).status, 507);
  EXPECT_TRUE(std::filesystem::is_empty(folder.path / "objects" / "incoming"));
  LimitFiles(RLIM_INFINITY);
  EXPECT_EQ(HttpConnection(server->Port()).Call("PUT", upload, bytes).status, 200);
  EXPECT_EQ(http->Call("GET", TargetOf(target["downloadUrl"]["url"].asString())).body, bytes);
}

}  // namespace
}  // namespace photocloud::testing
