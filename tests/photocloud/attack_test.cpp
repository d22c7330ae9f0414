// The real program against senders that mean it no good: what it takes before it
// knows them, what it takes at all, and what it makes of unclear requests.

#include <signal.h>
#include <sqlite3.h>

#include <fstream>
#include <latch>
#include <set>
#include <thread>

#include "photocloud/api/handlers.h"
#include "photocloud/base/digest.h"
#include "photocloud/base/json.h"
#include "serverprocess.h"
#include "testcloud.h"
#include "testhttp.h"

namespace photocloud::testing {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kMebi = 1 << 20;

class AttackTest : public ::testing::Test {
 protected:
  AttackTest() {
    EXPECT_EQ(RunProgram({PHOTOCLOUD_PROGRAM, "user", "add", "--data", Data(), "--fast-password",
                          "--login-secret-file", "-", "anna"},
                         "secret\n")
                  .status,
              0);
  }

  void Start(const std::vector<std::string>& more = {}) {
    server = std::make_unique<ServerProcess>(PHOTOCLOUD_PROGRAM, Data(), more);
    ASSERT_GT(server->Port(), 0);
    http = std::make_unique<HttpConnection>(server->Port());
    const HttpReply login =
        http->Call("POST", "/cloudPhoto/v1/auth/login", R"({"userName":"anna","password":"secret"})");
    headers["Authorization"] = "Bearer " + login.json["accessToken"].asString();
    headers["x-zt-lock"] = Call("GET", "/cloudPhoto/v1/locks").json["token"].asString();
  }

  std::string Data() const { return folder.path.string(); }
  std::string Bearer() { return "Authorization: " + headers["Authorization"] + "\r\n"; }
  HttpReply Call(const std::string& method, const std::string& target, const std::string& body = "") {
    return http->Call(method, target, body, headers);
  }
  HttpReply Raw(const std::string& bytes) {
    HttpConnection connection(server->Port());
    connection.Send(bytes);
    return connection.ReadReply();
  }
  static std::string Code(const HttpReply& reply) {
    return reply.json["error"]["errors"][0]["code"].asString();
  }

  struct Made {
    HttpReply reply;
    std::string mediaId;
    std::string putTarget;
    std::string getTarget;
  };
  // Announces one plain object of `usage`, up to the signed URL that takes it.
  Made Announce(const std::string& bytes, const std::string& usage = "content") {
    Json::Value body(Json::objectValue);
    body["fileName"] = "a.jpg";
    body["albumId"] = "default-album-1";
    Json::Value attachment(Json::objectValue);
    attachment["usage"] = usage;
    attachment["asset"]["resource"]["hash"] = "h" + std::to_string(bytes.size());
    attachment["asset"]["resource"]["length"] = Json::Int64(bytes.size());
    attachment["asset"]["resource"]["sha256"] = Sha256Hex(bytes);
    body["attachments"].append(attachment);
    Made made;
    made.reply = Call("POST", "/cloudPhoto/v1/media?mode=temp", WriteJson(body));
    if (made.reply.status != 200) return made;
    made.mediaId = made.reply.json["id"].asString();
    const Json::Value& asset = made.reply.json["attachments"][0]["asset"];
    Json::Value slice(Json::objectValue);
    slice["resource"]["objects"][0]["objectId"] = asset["resource"]["objects"][0]["id"];
    slice["resource"]["objects"][0]["md5"] = Md5Hex(bytes);
    slice["resource"]["objects"][0]["sha256"] = Sha256Hex(bytes);
    made.reply = Call("POST",
                      "/cloudPhoto/v1/media/" + made.mediaId + "/assets/" + asset["id"].asString() +
                          "/revisions/" + asset["versionId"].asString(),
                      WriteJson(slice));
    EXPECT_EQ(made.reply.status, 200) << made.reply.body;
    const Json::Value& object = made.reply.json["resource"]["objects"][0];
    made.putTarget = TargetOf(object["uploadUrl"]["url"].asString());
    made.getTarget = TargetOf(object["downloadUrl"]["url"].asString());
    return made;
  }
  HttpReply Put(const std::string& target, const std::string& bytes) {
    return HttpConnection(server->Port()).Call("PUT", target, bytes);
  }

  // Bytes of memory that the server has touched at most, from the system.
  std::int64_t PeakBytes() const {
    std::ifstream file("/proc/" + std::to_string(server->Process()) + "/status");
    for (std::string line; std::getline(file, line);) {
      if (line.rfind("VmHWM:", 0) == 0) return std::stoll(line.substr(6)) * 1024;
    }
    return 0;
  }

  TempFolder folder;
  std::unique_ptr<ServerProcess> server;
  std::unique_ptr<HttpConnection> http;
  std::map<std::string, std::string> headers;
};

TEST_F(AttackTest, LongestSliceGoesOverTheWireAndOneByteMoreDoesNot) {
  Start({"--slice-size", std::to_string(64 * kMebi)});
  const std::string bytes(static_cast<std::size_t>(64 * kMebi), 'x');
  const Made made = Announce(bytes);
  const HttpReply longer = Put(made.putTarget, bytes + "x");
  EXPECT_EQ(longer.status, 422);
  EXPECT_EQ(Put(made.putTarget, bytes.substr(1)).status, 422);
  EXPECT_EQ(Put(made.putTarget, bytes).status, 200);
  HttpConnection reader(server->Port());
  EXPECT_EQ(reader.Call("GET", made.getTarget).body, bytes);
}

TEST_F(AttackTest, LongestThumbnailGoesOverTheWireAndOneByteMoreDoesNot) {
  Start();
  const std::string bytes(static_cast<std::size_t>(16 * kMebi), 't');
  EXPECT_EQ(Put(Announce(bytes, "thumbnail").putTarget, bytes).status, 200);
  EXPECT_EQ(Code(Announce(bytes + "t", "thumbnail").reply), "31084013");
}

TEST_F(AttackTest, BodiesInMemoryHaveTheirLimitOnEachSide) {
  Start();
  const auto body = [](std::int64_t length) {
    std::string text = R"({"albumName":"x"})";
    return text + std::string(static_cast<std::size_t>(length) - text.size(), ' ');
  };
  EXPECT_EQ(Call("POST", "/cloudPhoto/v1/albums", body(8 * kMebi)).status, 200);
  HttpConnection other(server->Port());
  EXPECT_EQ(Code(other.Call("POST", "/cloudPhoto/v1/albums", body(8 * kMebi + 1), headers)), "31084013");
  const auto login = [&](std::int64_t length) {
    std::string text = R"({"userName":"anna","password":"secret"})";
    HttpConnection connection(server->Port());
    return connection.Call("POST", "/cloudPhoto/v1/auth/login",
                           text + std::string(static_cast<std::size_t>(length) - text.size(), ' '));
  };
  EXPECT_EQ(login(64 << 10).status, 200);
  EXPECT_EQ(Code(login((64 << 10) + 1)), "31084013");
  // Chunks tell no length beforehand.
  HttpConnection chunked(server->Port());
  chunked.Send(
      "POST /cloudPhoto/v1/auth/login HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n20000\r\n" +
      std::string(0x20000, ' '));
  EXPECT_EQ(Code(chunked.ReadReply()), "31084013");
}

// Nothing of the body is sent here: whoever waited for it would never answer.
TEST_F(AttackTest, SendersWithoutRightGetTheirAnswerBeforeTheirBody) {
  Start();
  const Made made = Announce("content of ten");
  const std::string length = "Content-Length: 8000000\r\n\r\n";
  EXPECT_EQ(Code(Raw("POST /cloudPhoto/v1/albums HTTP/1.1\r\nHost: x\r\n" + length)), "31084001");
  EXPECT_EQ(
      Code(Raw("POST /cloudPhoto/v1/albums HTTP/1.1\r\nHost: x\r\nAuthorization: Bearer guess\r\n" + length)),
      "31084001");
  EXPECT_EQ(
      Code(Raw("PUT /cloudPhoto/v1/objects/none?expires=1&signature=x HTTP/1.1\r\nHost: x\r\n" + length)),
      "31084033");
  EXPECT_EQ(Code(Raw("PUT " + made.putTarget + " HTTP/1.1\r\nHost: x\r\n" + length)), "31084022");
  EXPECT_EQ(Code(Raw("POST /nothing HTTP/1.1\r\nHost: x\r\n" + length)), "31084004");
  EXPECT_EQ(
      Code(Raw("PUT /cloudPhoto/v1/objects/none HTTP/1.1\r\nHost: x\r\nExpect: 100-continue\r\n" + length)),
      "31084033");
}

TEST_F(AttackTest, RefusedSenderReadsItsAnswerAlthoughItGoesOnSending) {
  Start();
  HttpConnection connection(server->Port());
  connection.Send("POST /cloudPhoto/v1/albums HTTP/1.1\r\nHost: x\r\nContent-Length: 8000000\r\n\r\n" +
                  std::string(8000000, 'x'));
  EXPECT_EQ(Code(connection.ReadReply()), "31084001");
}

TEST_F(AttackTest, MemoryOfUploadsIsABufferAndNotAnObject) {
  Start({"--slice-size", std::to_string(64 * kMebi)});
  std::vector<std::string> targets;
  for (int i = 0; i < 8; ++i) {
    targets.push_back(
        Announce(std::string(static_cast<std::size_t>(32 * kMebi), static_cast<char>('a' + i))).putTarget);
  }
  const auto before = PeakBytes();
  // All but the last byte, so that all are on their way at the same time.
  std::vector<std::unique_ptr<HttpConnection>> senders;
  for (std::size_t i = 0; i < targets.size(); ++i) {
    senders.push_back(std::make_unique<HttpConnection>(server->Port()));
    senders.back()->Send(
        "PUT " + targets[i] + " HTTP/1.1\r\nHost: x\r\nContent-Length: " + std::to_string(32 * kMebi) +
        "\r\n\r\n" + std::string(static_cast<std::size_t>(32 * kMebi) - 1, static_cast<char>('a' + i)));
  }
  for (std::size_t i = 0; i < targets.size(); ++i) {
    senders[i]->Send(std::string(1, static_cast<char>('a' + i)));
    EXPECT_EQ(senders[i]->ReadReply().status, 200);
  }
  EXPECT_LT(PeakBytes() - before, 48 * kMebi);
}

TEST_F(AttackTest, UnclearHeadsAreRefused) {
  Start();
  const std::string line = "GET /cloudPhoto/v1/time HTTP/1.1\r\n";
  EXPECT_EQ(Raw(line + "Host: x\r\n\r\n").status, 200);
  EXPECT_EQ(Raw("GET /cloudPhoto/v1/time HTTP/1.0\r\n\r\n").status, 200);
  for (const std::string& head :
       {std::string(""), std::string("Host: x\r\nHost: y\r\n"), std::string("Host: a/b\r\n"),
        std::string("Host: \r\n"), std::string("Host: x\r\nTransfer-Encoding: gzip\r\n"),
        std::string("Host: x\r\nTransfer-Encoding: gzip, chunked\r\n"),
        std::string("Host: x\r\nTransfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n"),
        std::string("Host: x\r\nTransfer-Encoding: chunked\r\nContent-Length: 5\r\n"),
        std::string("Host: x\r\nContent-Length: 1\r\nContent-Length: 2\r\n"),
        std::string("Host: x\r\n") + Bearer() + "Authorization: Bearer other\r\n"}) {
    const HttpReply reply = Raw(line + head + "\r\n");
    EXPECT_EQ(reply.status, 400) << head;
    EXPECT_EQ(Code(reply), "31084000") << head;
  }
}

TEST_F(AttackTest, BrokenRangesAreRefused) {
  Start();
  const Made made = Announce("0123456789");
  ASSERT_EQ(Put(made.putTarget, "0123456789").status, 200);
  const auto get = [&](const std::string& range) {
    return HttpConnection(server->Port()).Call("GET", made.getTarget, "", {{"Range", range}});
  };
  for (const char* range :
       {"bytes=abc-5", "bytes=5-abc", "bytes=-", "bytes=", "bytes=--5", "bytes=+1-2", "bytes=5"})
    EXPECT_EQ(get(range).status, 400) << range;
  EXPECT_EQ(get("bytes=2-4").body, "234");
  EXPECT_EQ(get("bytes=8-").body, "89");
  EXPECT_EQ(get("bytes=-3").body, "789");
  EXPECT_EQ(get("bytes=8-99999999999999999999").body, "89");
  EXPECT_EQ(get("bytes=10-").status, 416);
  EXPECT_EQ(get("seconds=1-2").status, 200);
}

TEST_F(AttackTest, TextThatIsNoUnicodeIsRefused) {
  Start();
  const auto album = [&](const std::string& name) {
    return Call("POST", "/cloudPhoto/v1/albums", R"({"albumName":")" + name + R"("})").status;
  };
  for (const char* name :
       {"\\ud800", "\\udc00", "\\ud800x", "\\ud800\\u0041", "\\udc00\\ud800", "\xC0\x80", "\xE0\x80\xAF",
        "\xED\xA0\x80", "\xF0\x80\x80\xAF", "\xF4\x90\x80\x80", "\xFF", "a\xC3"}) {
    EXPECT_EQ(album(name), 400) << name;
  }
  EXPECT_EQ(album("\\ud83d\\ude00"), 200);
  EXPECT_EQ(album("\xF0\x9F\x98\x81"), 200);
  EXPECT_EQ(album("\\\\ud800"), 200);
  for (const char* target : {"media/%C0%80", "media/%ED%A0%80", "albums?queryParam=%FF"}) {
    EXPECT_EQ(
        Raw("GET /cloudPhoto/v1/" + std::string(target) + " HTTP/1.1\r\nHost: x\r\n" + Bearer() + "\r\n")
            .status,
        400)
        << target;
  }
}

TEST_F(AttackTest, SlowLoginsKeepNobodyWaiting) {
  // The real cost, which --fast-password leaves out.
  ASSERT_EQ(
      RunProgram({PHOTOCLOUD_PROGRAM, "user", "add", "--data", Data(), "--login-secret-file", "-", "slow"},
                 "secret\n")
          .status,
      0);
  Start({"--threads", "2"});
  std::vector<std::unique_ptr<HttpConnection>> flood;
  for (int i = 0; i < 60; ++i) {
    flood.push_back(std::make_unique<HttpConnection>(server->Port()));
    const std::string body = R"({"userName":"slow)" + std::to_string(i) + R"(","password":"guess"})";
    flood.back()->Send("POST /cloudPhoto/v1/auth/login HTTP/1.1\r\nHost: x\r\nContent-Length: " +
                       std::to_string(body.size()) + "\r\n\r\n" + body);
  }
  // Each of these would stand behind all logins if they shared their threads.
  for (int i = 0; i < 5; ++i) EXPECT_EQ(Call("GET", "/cloudPhoto/v1/about").status, 200);
  EXPECT_FALSE(flood.back()->HasBytes());
  for (const auto& login : flood) {
    const int status = login->ReadReply().status;
    EXPECT_TRUE(status == 401 || status == 429 || status == 503) << status;
  }
}

// Holds the writer's place of the database, as a command that hangs would.
class OutsideWriter {
 public:
  explicit OutsideWriter(const std::string& file) {
    EXPECT_EQ(sqlite3_open(file.c_str(), &connection), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(connection, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
  }
  ~OutsideWriter() { sqlite3_close(connection); }
  OutsideWriter(const OutsideWriter&) = delete;
  OutsideWriter& operator=(const OutsideWriter&) = delete;

 private:
  sqlite3* connection = nullptr;
};

TEST_F(AttackTest, ReadsDoNotWaitForAWriterAndWritesAreToldThatItIsBusy) {
  Start({"--threads", "2"});
  const OutsideWriter writer(Data() + "/photocloud.db");
  std::vector<std::unique_ptr<HttpConnection>> writes;
  for (int i = 0; i < 6; ++i) {
    const std::string body = R"({"albumName":"a)" + std::to_string(i) + "\"}";
    writes.push_back(std::make_unique<HttpConnection>(server->Port()));
    writes.back()->Send("POST /cloudPhoto/v1/albums HTTP/1.1\r\nHost: x\r\n" + Bearer() +
                        "x-zt-lock: " + headers["x-zt-lock"] +
                        "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
  }
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(Call("GET", "/cloudPhoto/v1/media").status, 200);
    EXPECT_EQ(Call("GET", "/cloudPhoto/v1/about").status, 200);
  }
  for (const auto& write : writes) {
    const HttpReply reply = write->ReadReply();
    EXPECT_EQ(reply.status, 503) << reply.body;
    EXPECT_EQ(reply.headers.count("retry-after"), 1u);
  }
}

TEST_F(AttackTest, PlainHttpIsForThisMachineUnlessAProxyStandsInFront) {
  const auto serve = [&](std::vector<std::string> more) {
    std::vector<std::string> arguments = {"/usr/bin/timeout", "1",    PHOTOCLOUD_PROGRAM, "serve",
                                          "--data",           Data(), "--listen",         "0.0.0.0:0"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return RunProgram(arguments);
  };
  const ProgramResult refused = serve({});
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.output.find("listening"), std::string::npos) << refused.output;
  EXPECT_NE(serve({"--behind-proxy"}).output.find("listening on 0.0.0.0:"), std::string::npos);
}

TEST_F(AttackTest, LinksNameThePublicUrl) {
  Start({"--public-url", "https://photos.example.org/cloud"});
  const Made made = Announce("content");
  EXPECT_EQ(made.reply.json["resource"]["objects"][0]["uploadUrl"]["url"].asString().rfind(
                "https://photos.example.org/cloud/cloudPhoto/v1/objects/", 0),
            0u);
  for (const char* url : {"photos.example.org", "https://photos.example.org/", "https://x/?a=b"}) {
    EXPECT_NE(RunProgram({PHOTOCLOUD_PROGRAM, "serve", "--data", Data() + "/other", "--listen", "127.0.0.1:0",
                          "--public-url", url})
                  .status,
              0)
        << url;
  }
}

TEST_F(AttackTest, AddressOfTheProxysHeaderCountsBehindAProxyOnly) {
  const auto addresses = [&] {
    const std::string body = R"({"userName":"nobody","password":"guess"})";
    EXPECT_EQ(
        Raw("POST /cloudPhoto/v1/auth/login HTTP/1.1\r\nHost: x\r\nX-Forwarded-For: 1.2.3.4, 192.0.2.9\r\n"
            "Content-Length: " +
            std::to_string(body.size()) + "\r\n\r\n" + body)
            .status,
        401);
    std::ifstream file(Data() + "/log");
    std::string found;
    for (std::string line; std::getline(file, line);) {
      const Json::Value entry = ParseJson(line).value_or(Json::Value());
      if (TextOf(entry, "event") == "login refused") found = TextOf(entry, "address");
    }
    return found;
  };
  Start();
  EXPECT_EQ(addresses(), "127.0.0.1");
  server.reset();
  Start({"--behind-proxy"});
  EXPECT_EQ(addresses(), "192.0.2.9");
}

TEST_F(AttackTest, MetricsHaveAnAddressOfTheirOwn) {
  Start({"--metrics-listen", "127.0.0.1:0"});
  EXPECT_EQ(Call("GET", "/metrics").status, 404);
  std::ifstream file(Data() + "/log");
  int port = 0;
  for (std::string line; std::getline(file, line);) {
    const Json::Value entry = ParseJson(line).value_or(Json::Value());
    const std::string address = TextOf(entry, "address");
    if (TextOf(entry, "event") == "metrics") port = std::stoi(address.substr(address.rfind(':') + 1));
  }
  ASSERT_GT(port, 0);
  HttpConnection metrics(port);
  EXPECT_NE(metrics.Call("GET", "/metrics").body.find("photocloud_requests_total"), std::string::npos);
  EXPECT_EQ(metrics.Call("GET", "/metrics", "", {{"X-Forwarded-For", "192.0.2.1"}}).status, 404);
  EXPECT_EQ(metrics.Call("GET", "/metrics", "", {{"Via", "1.1 proxy"}}).status, 404);
  EXPECT_EQ(metrics.Call("GET", "/cloudPhoto/v1/time").status, 404);
  server->Signal(SIGTERM);
  EXPECT_EQ(server->Wait(), 0);
}

TEST_F(AttackTest, PasswordsHaveEightCharacters) {
  const auto add = [&](const std::string& name, const std::string& password) {
    return RunProgram({PHOTOCLOUD_PROGRAM, "user", "add", "--data", Data(), "--fast-password", name},
                      password + "\n")
        .status;
  };
  EXPECT_NE(add("berta", "1234567"), 0);
  EXPECT_NE(add("berta", "\u00e4\u00e4\u00e4\u00e4"), 0);
  EXPECT_EQ(add("berta", "12345678"), 0);
  EXPECT_EQ(add("carla", "\u00e4\u00e4\u00e4\u00e4\u00e4\u00e4\u00e4\u00e4"), 0);
}

TEST_F(AttackTest, LogIsOpenedAnewAtTheSignal) {
  const std::string log = Data() + "/own.log";
  Start({"--log-file", log});
  EXPECT_TRUE(fs::exists(log));
  fs::rename(log, log + ".1");
  server->Signal(SIGHUP);
  while (!fs::exists(log)) EXPECT_EQ(Call("GET", "/cloudPhoto/v1/time").status, 200);
  EXPECT_EQ(Call("GET", "/cloudPhoto/v1/about").status, 200);
}

// The object is a file with a hole of 8 GiB, whose digests take the better part of a
// minute: answers that come before its damage is found have not waited for them.
TEST_F(AttackTest, ReportsOfLossesKeepNobodyWaitingForTheObjectsToBeRead) {
  constexpr std::int64_t kLength = std::int64_t{8} << 30;
  Start();
  const std::string bytes = "content";
  const Made made = Announce(bytes);
  ASSERT_EQ(Put(made.putTarget, bytes).status, 200);
  ASSERT_EQ(Call("PATCH", "/cloudPhoto/v1/media/" + made.mediaId + "?mode=normal", "{}").status, 200);
  server->Signal(SIGKILL);
  server->Wait();
  const std::string sha256 = Sha256Hex(bytes);
  fs::resize_file(folder.path / "objects" / "1" / sha256.substr(0, 2) / sha256, kLength);
  sqlite3* database = nullptr;
  ASSERT_EQ(sqlite3_open((Data() + "/photocloud.db").c_str(), &database), SQLITE_OK);
  const std::string lengths = "UPDATE objects SET length=" + std::to_string(kLength) +
                              ";UPDATE slices SET length=" + std::to_string(kLength);
  ASSERT_EQ(sqlite3_exec(database, lengths.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(database);
  Start();

  const Json::Value asset =
      Call("GET", "/cloudPhoto/v1/media/" + made.mediaId).json["attachments"][0]["asset"];
  Json::Value batch(Json::objectValue);
  batch["requests"][0]["method"] = "PATCH";
  batch["requests"][0]["uri"] = "/cloudPhoto/v1/media/" + made.mediaId + "/assets/" + asset["id"].asString() +
                                "/revisions/" + asset["versionId"].asString();
  batch["requests"][0]["body"]["status"] = 2;
  const HttpReply reported = Call("POST", "/cloudPhoto/v1/batch?form=json", WriteJson(batch));
  ASSERT_EQ(reported.status, 200) << reported.body;
  EXPECT_EQ(reported.json["responses"][0]["code"], 200) << reported.body;
  EXPECT_EQ(Call("POST", "/cloudPhoto/v1/albums", R"({"albumName":"meanwhile"})").status, 200);
  std::ifstream log(Data() + "/log");
  const std::string lines((std::istreambuf_iterator<char>(log)), std::istreambuf_iterator<char>());
  EXPECT_NE(lines.find("batch"), std::string::npos);
  EXPECT_EQ(lines.find("object damaged"), std::string::npos);
}

TEST_F(AttackTest, UploadsThatRaceTheirDeletionLeaveNoSpaceTaken) {
  Start();
  std::set<int> answers;
  for (int round = 0; round < 40; ++round) {
    const std::string bytes = "content of round " + std::to_string(round) + std::string(100000, 'x');
    const Made made = Announce(bytes);
    std::latch both(2);
    std::thread sender([&] {
      HttpConnection connection(server->Port());
      both.arrive_and_wait();
      answers.insert(connection.Call("PUT", made.putTarget, bytes).status);
    });
    both.arrive_and_wait();
    EXPECT_EQ(Call("DELETE", "/cloudPhoto/v1/media/" + made.mediaId).status, 200);
    sender.join();
  }
  for (const int status : answers) EXPECT_TRUE(status == 200 || status == 404 || status == 422) << status;
  // Tombstones take a few bytes each, an object 100,000.
  EXPECT_LT(Call("GET", "/cloudPhoto/v1/quota").json["usedSpace"].asInt64(), 1000);
  EXPECT_EQ(RunProgram({PHOTOCLOUD_PROGRAM, "check", "--data", Data()}).status, 0);
}

// The files of uploads that a kill cut off, and used bytes that are wrong.
TEST_F(AttackTest, LeftOversOfAKillGoAndSumsAreRepaired) {
  Start();
  const std::string bytes(300000, 'x');
  const Made made = Announce(bytes);
  HttpConnection cut(server->Port());
  cut.Send("PUT " + made.putTarget +
           " HTTP/1.1\r\nHost: x\r\nContent-Length: 300000\r\nExpect: 100-continue\r\n\r\n");
  ASSERT_FALSE(cut.ReadUntil("\r\n\r\n").empty());
  cut.Send(bytes.substr(1));
  ASSERT_FALSE(fs::is_empty(folder.path / "objects" / "incoming"));
  server->Signal(SIGKILL);
  server->Wait();
  {
    SqliteStore store(folder.path / "photocloud.db");
    store.AddUsedBytes(1, 4711);
  }
  Start();
  EXPECT_TRUE(fs::is_empty(folder.path / "objects" / "incoming"));
  const auto check = [&](const std::vector<std::string>& more) {
    std::vector<std::string> arguments = {PHOTOCLOUD_PROGRAM, "check", "--data", Data()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return RunProgram(arguments).status;
  };
  EXPECT_EQ(check({}), 2);
  EXPECT_EQ(check({"--repair"}), 0);
  EXPECT_EQ(check({}), 0);
  // 300,000 bytes are announced still, with a small record.
  const std::int64_t used = Call("GET", "/cloudPhoto/v1/quota").json["usedSpace"].asInt64();
  EXPECT_GE(used, 300000);
  EXPECT_LT(used, 304000);
}

TEST_F(AttackTest, StreamEndsWhenAnotherProcessDisablesTheAccount) {
  Start();
  HttpConnection stream(server->Port());
  stream.Send("GET /cloudPhoto/v1/push HTTP/1.1\r\nHost: x\r\n" + Bearer() + "\r\n");
  ASSERT_FALSE(stream.ReadUntil("\r\n\r\n").empty());
  ASSERT_EQ(RunProgram({PHOTOCLOUD_PROGRAM, "user", "disable", "--data", Data(), "anna"}).status, 0);
  // Empty: the connection ended.
  EXPECT_EQ(stream.ReadUntil("never sent"), "");
}

TEST_F(AttackTest, NamesOfAccountsAreUniqueWithoutCase) {
  for (const char* name : {"anna", "Anna", "ANNA"}) {
    EXPECT_NE(RunProgram({PHOTOCLOUD_PROGRAM, "user", "add", "--data", Data(), "--fast-password",
                          "--login-secret-file", "-", name},
                         "other\n")
                  .status,
              0)
        << name;
  }
}

// Each route with each id of another account: none of its data come, and none change.
TEST_F(AttackTest, NoRouteLeadsToAnotherAccountsData) {
  Start();
  const std::string bytes = "private content";
  const Made made = Announce(bytes);
  ASSERT_EQ(Put(made.putTarget, bytes).status, 200);
  ASSERT_EQ(Call("PATCH", "/cloudPhoto/v1/media/" + made.mediaId + "?mode=normal", "{}").status, 200);
  ASSERT_EQ(Call("POST", "/cloudPhoto/v1/albums", R"({"id":"trip","albumName":"Private trip"})").status, 200);
  const std::string media =
      Call("GET", "/cloudPhoto/v1/media/" + made.mediaId + "?fields=fileName,version").body;
  const std::string albums = Call("GET", "/cloudPhoto/v1/albums").body;
  const Json::Value asset =
      Call("GET", "/cloudPhoto/v1/media/" + made.mediaId).json["attachments"][0]["asset"];
  const std::string session = Call("GET", "/cloudPhoto/v1/sessions").json["sessions"][0]["id"].asString();

  ASSERT_EQ(RunProgram({PHOTOCLOUD_PROGRAM, "user", "add", "--data", Data(), "--fast-password",
                        "--login-secret-file", "-", "mallory"},
                       "other\n")
                .status,
            0);
  std::map<std::string, std::string> hers;
  hers["Authorization"] = "Bearer " + http->Call("POST", "/cloudPhoto/v1/auth/login",
                                                 R"({"userName":"mallory","password":"other"})")
                                          .json["accessToken"]
                                          .asString();
  hers["x-zt-lock"] = http->Call("GET", "/cloudPhoto/v1/locks", "", hers).json["token"].asString();
  const std::map<std::string, std::string> ids = {
      {"mediaId", made.mediaId},
      {"albumId", "trip"},
      {"assetId", asset["id"].asString()},
      {"versionId", asset["versionId"].asString()},
      {"objectId", asset["resource"]["objects"][0]["id"].asString()},
      {"sessionId", session}};
  const std::string body = R"({"status":2,"favorite":true,"albumName":"mine","fileName":"mine.jpg"})";
  int tried = 0;
  for (const Route& route : ApiRoutes()) {
    std::string target = route.pattern;
    if (target.find('{') == std::string::npos) continue;
    for (const auto& [name, id] : ids) {
      const auto at = target.find('{' + name + '}');
      if (at != std::string::npos) target.replace(at, name.size() + 2, id);
    }
    ASSERT_EQ(target.find('{'), std::string::npos) << target;
    // A refused body ends its connection.
    const HttpReply reply =
        HttpConnection(server->Port())
            .Call(route.method, target, std::string(route.method) == "GET" ? "" : body, hers);
    EXPECT_TRUE(reply.status == 403 || reply.status == 404)
        << route.method << ' ' << target << ' ' << reply.body;
    EXPECT_EQ(reply.body.find("rivate"), std::string::npos) << target;
    ++tried;
  }
  EXPECT_GE(tried, 10);
  for (const char* list :
       {"/cloudPhoto/v1/media", "/cloudPhoto/v1/changes?cursor=0", "/cloudPhoto/v1/losts"}) {
    const HttpReply reply = HttpConnection(server->Port()).Call("GET", list, "", hers);
    EXPECT_EQ(reply.status, 200) << list;
    EXPECT_EQ(reply.body.find(made.mediaId), std::string::npos) << list;
  }
  EXPECT_EQ(http->Call("GET", "/cloudPhoto/v1/albums", "", hers).body.find("Private"), std::string::npos);
  EXPECT_EQ(Call("GET", "/cloudPhoto/v1/media/" + made.mediaId + "?fields=fileName,version").body, media);
  EXPECT_EQ(Call("GET", "/cloudPhoto/v1/albums").body, albums);
  EXPECT_EQ(Call("GET", "/cloudPhoto/v1/sessions").json["sessions"].size(), 1u);
}

}  // namespace
}  // namespace photocloud::testing
