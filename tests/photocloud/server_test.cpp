// The real program: command line, wire, limits, stop.

#include <signal.h>

#include <thread>

#include "photocloud/base/json.h"
#include "serverprocess.h"
#include "testcloud.h"
#include "testhttp.h"

namespace photocloud::testing {
namespace {

class ServerTest : public ::testing::Test {
 protected:
  ServerTest() {
    EXPECT_EQ(AddUser("anna", "secret").status, 0);
    server =
        std::make_unique<ServerProcess>(PHOTOCLOUD_PROGRAM, Data(), std::vector<std::string>{"--faults"});
    http = std::make_unique<HttpConnection>(server->Port());
    headers["x-zt-device-id"] = "desktop";
    headers["Authorization"] = "Bearer " + Login("anna", "secret").json["accessToken"].asString();
  }

  std::string Data() const { return folder.path.string(); }

  ProgramResult Run(std::vector<std::string> arguments, const std::string& input = "") {
    arguments.insert(arguments.begin(), PHOTOCLOUD_PROGRAM);
    return RunProgram(arguments, input);
  }
  ProgramResult AddUser(const std::string& name, const std::string& secret) {
    return Run({"user", "add", "--data", Data(), "--fast-password", "--login-secret-file", "-", name},
               secret + "\n");
  }
  HttpReply Login(const std::string& name, const std::string& secret) {
    return http->Call("POST", "/cloudPhoto/v1/auth/login",
                      R"({"userName":")" + name + R"(","password":")" + secret + R"("})");
  }
  HttpReply Call(const std::string& method, const std::string& target, const std::string& body = "") {
    return http->Call(method, target, body, headers);
  }
  void TakeLock() { headers["x-zt-lock"] = Call("GET", "/cloudPhoto/v1/locks").json["token"].asString(); }
  void Rule(const std::string& rule) { ASSERT_EQ(Call("POST", "/faults", rule).status, 200); }
  HttpReply Raw(const std::string& bytes) {
    HttpConnection connection(server->Port());
    connection.Send(bytes);
    return connection.ReadReply();
  }

  TempFolder folder;
  std::unique_ptr<ServerProcess> server;
  std::unique_ptr<HttpConnection> http;
  std::map<std::string, std::string> headers;
};

TEST_F(ServerTest, FirstLineNamesThePort) {
  EXPECT_EQ(server->FirstLine(), "listening on 127.0.0.1:" + std::to_string(server->Port()));
  EXPECT_GT(server->Port(), 0);
}

TEST_F(ServerTest, OneConnectionCarriesManyRequests) {
  for (int i = 0; i < 20; ++i) EXPECT_EQ(Call("GET", "/cloudPhoto/v1/about").status, 200);
}

TEST_F(ServerTest, AnswerIsOneLineOfJsonWithADate) {
  const HttpReply reply = Call("GET", "/cloudPhoto/v1/quota");
  EXPECT_EQ(reply.headers.at("content-type"), "application/json");
  EXPECT_EQ(reply.body.find('\n'), std::string::npos);
  EXPECT_NE(reply.headers.at("date").find("GMT"), std::string::npos);
}

TEST_F(ServerTest, ObjectUrlsNameTheHostThatWasAsked) {
  TakeLock();
  const Json::Value body = UploadBody("a.jpg", "content", "s", "l");
  const HttpReply made = Call("POST", "/cloudPhoto/v1/media?mode=temp", WriteJson(body));
  ASSERT_EQ(made.status, 200) << made.body;
  const Json::Value& object = made.json["attachments"][0]["asset"]["resource"]["objects"][0];
  EXPECT_EQ(object["downloadUrl"]["url"].asString().rfind("http://127.0.0.1/cloudPhoto/v1/objects/", 0), 0u);
}

TEST_F(ServerTest, LargeHeadIsRefused) {
  const HttpReply reply = Raw("GET / HTTP/1.1\r\nHost: x\r\nX-Long: " + std::string(20000, 'x') + "\r\n\r\n");
  EXPECT_EQ(reply.status, 431);
  EXPECT_EQ(reply.json["error"]["errors"][0]["code"], "31084031");
}

TEST_F(ServerTest, LargeBodyIsRefusedBeforeItComes) {
  const HttpReply reply =
      Raw("POST /cloudPhoto/v1/albums HTTP/1.1\r\nHost: x\r\nAuthorization: " + headers["Authorization"] +
          "\r\nContent-Length: 100000000\r\n\r\n");
  EXPECT_EQ(reply.status, 413);
  EXPECT_EQ(reply.json["error"]["errors"][0]["code"], "31084013");
}

TEST_F(ServerTest, NonsenseIsRefused) {
  EXPECT_EQ(Raw("nonsense\r\n\r\n").status, 400);
  EXPECT_EQ(Raw("GET /a?x=%zz HTTP/1.1\r\nHost: x\r\n\r\n").status, 400);
}

TEST_F(ServerTest, SenderThatAsksFirstIsToldToGoOn) {
  HttpConnection connection(server->Port());
  connection.Send(
      "POST /cloudPhoto/v1/auth/login HTTP/1.1\r\nHost: x\r\nContent-Length: 2\r\nExpect: "
      "100-continue\r\n\r\n");
  EXPECT_EQ(connection.ReadUntil("\r\n\r\n"), "HTTP/1.1 100 Continue\r\n\r\n");
  connection.Send("{}");
  EXPECT_EQ(connection.ReadReply().status, 400);
}

TEST_F(ServerTest, PushReachesAListeningDevice) {
  HttpConnection listener(server->Port());
  std::string head =
      "GET /cloudPhoto/v1/push HTTP/1.1\r\nHost: x\r\nx-zt-device-id: phone\r\nAuthorization: " +
      headers["Authorization"] + "\r\n\r\n";
  listener.Send(head);
  EXPECT_NE(listener.ReadUntil("\r\n\r\n").find("text/event-stream"), std::string::npos);
  EXPECT_EQ(listener.ReadUntil("\n\n"), ": listening\n\n");
  TakeLock();
  Call("POST", "/cloudPhoto/v1/albums", R"({"albumName":"Trip"})");
  const std::string event = listener.ReadUntil("\n\n");
  EXPECT_NE(event.find(R"("cmd":"301")"), std::string::npos) << event;
}

TEST_F(ServerTest, CutAnswerEndsEarly) {
  Rule(R"({"path":"about","cutAfterBytes":10})");
  const HttpReply reply = Call("GET", "/cloudPhoto/v1/about");
  EXPECT_EQ(reply.status, 200);
  EXPECT_FALSE(reply.isWhole);
  EXPECT_EQ(reply.body.size(), 10u);
}

TEST_F(ServerTest, ClosedConnectionGivesNoAnswer) {
  Rule(R"({"path":"about","close":true})");
  EXPECT_EQ(Call("GET", "/cloudPhoto/v1/about").status, 0);
  HttpConnection next(server->Port());
  EXPECT_EQ(next.Call("GET", "/cloudPhoto/v1/about", "", headers).status, 200);
}

TEST_F(ServerTest, DelayedAnswerComesAfterALaterOne) {
  Rule(R"({"path":"about","delayMs":300})");
  HttpConnection slow(server->Port());
  slow.Send("GET /cloudPhoto/v1/about HTTP/1.1\r\nHost: x\r\nAuthorization: " + headers["Authorization"] +
            "\r\n\r\n");
  std::atomic<bool> isSlowDone{false};
  std::thread reader([&] {
    EXPECT_EQ(slow.ReadReply().status, 200);
    isSlowDone = true;
  });
  while (Call("GET", "/faults").json["rules"][0]["matched"] != 1) {
  }
  EXPECT_EQ(Call("GET", "/cloudPhoto/v1/quota").status, 200);
  EXPECT_FALSE(isSlowDone);
  reader.join();
}

TEST_F(ServerTest, TerminationLetsRequestsFinishAndExitsClean) {
  for (const int number : {SIGTERM, SIGINT}) {
    const TempFolder empty;
    ServerProcess other(PHOTOCLOUD_PROGRAM, empty.path, {"--faults"});
    HttpConnection admin(other.Port());
    admin.Call("POST", "/faults", R"({"path":"time","delayMs":200})");
    HttpConnection slow(other.Port());
    slow.Send("GET /cloudPhoto/v1/time HTTP/1.1\r\nHost: x\r\n\r\n");
    while (admin.Call("GET", "/faults").json["rules"][0]["matched"] != 1) {
    }
    other.Signal(number);
    EXPECT_EQ(slow.ReadReply().status, 200);
    EXPECT_EQ(other.Wait(), 0);
  }
}

TEST_F(ServerTest, TerminationEndsPushStreams) {
  server.reset();
  ServerProcess other(PHOTOCLOUD_PROGRAM, Data());
  HttpConnection listener(other.Port());
  listener.Send("GET /cloudPhoto/v1/push HTTP/1.1\r\nHost: x\r\nAuthorization: " + headers["Authorization"] +
                "\r\n\r\n");
  EXPECT_EQ(listener.ReadUntil("listening\n\n").empty(), false);
  other.Signal(SIGTERM);
  EXPECT_EQ(listener.ReadUntil("\n\n"), "");
  EXPECT_EQ(other.Wait(), 0);
}

TEST_F(ServerTest, FaultsAreClosedWithoutTheFlag) {
  server.reset();
  ServerProcess plain(PHOTOCLOUD_PROGRAM, Data());
  HttpConnection connection(plain.Port());
  EXPECT_EQ(connection.Call("GET", "/faults").status, 404);
  EXPECT_EQ(connection.Call("POST", "/faults/actions", R"({"action":"sweep"})").status, 404);
}

TEST_F(ServerTest, StateSurvivesARestart) {
  TakeLock();
  ASSERT_EQ(Call("POST", "/cloudPhoto/v1/albums", R"({"id":"a","albumName":"Trip"})").status, 200);
  const std::string cursor =
      Call("GET", "/cloudPhoto/v1/changes/getStartCursor").json["startCursor"].asString();
  server->Signal(SIGTERM);
  EXPECT_EQ(server->Wait(), 0);
  server = std::make_unique<ServerProcess>(PHOTOCLOUD_PROGRAM, Data());
  http = std::make_unique<HttpConnection>(server->Port());
  EXPECT_EQ(Call("GET", "/cloudPhoto/v1/changes?cursor=" + cursor).json["newStartCursor"], cursor);
  EXPECT_EQ(Call("DELETE", "/cloudPhoto/v1/albums/a").status, 200);
}

TEST_F(ServerTest, UsersAreManagedBesideTheRunningServer) {
  EXPECT_EQ(AddUser("berta", "other").status, 0);
  EXPECT_EQ(Login("berta", "other").status, 200);
  EXPECT_NE(AddUser("berta", "again").status, 0);
  EXPECT_NE(AddUser("empty", "").status, 0);
  EXPECT_EQ(Run({"user", "disable", "--data", Data(), "anna"}).status, 0);
  EXPECT_EQ(Call("GET", "/cloudPhoto/v1/about").status, 401);
  EXPECT_EQ(Login("anna", "secret").status, 403);
  const std::string list = Run({"user", "list", "--data", Data()}).output;
  EXPECT_NE(list.find("anna\tdisabled\t"), std::string::npos) << list;
  EXPECT_NE(list.find("berta\tenabled\t"), std::string::npos) << list;
  EXPECT_EQ(Run({"user", "enable", "--data", Data(), "anna"}).status, 0);
  EXPECT_EQ(Login("anna", "secret").status, 200);
  EXPECT_EQ(Run({"user", "remove", "--data", Data(), "berta"}).status, 0);
  EXPECT_EQ(Login("berta", "other").status, 401);
  EXPECT_NE(Run({"user", "remove", "--data", Data(), "berta"}).status, 0);
}

TEST_F(ServerTest, SuspendedAccountCanBeReadAndTakesNothingMore) {
  TakeLock();
  const auto made =
      Call("POST", "/cloudPhoto/v1/media?mode=temp", R"({"fileName":"a.jpg","albumId":"default-album-1"})");
  ASSERT_EQ(made.status, 200) << made.body;
  const std::string media = "/cloudPhoto/v1/media/" + made.json["id"].asString();
  ASSERT_EQ(Call("PATCH", media + "?mode=normal", "{}").status, 200);
  EXPECT_EQ(Call("GET", "/cloudPhoto/v1/about").json["status"], "normal");

  ASSERT_EQ(Run({"user", "suspend", "--data", Data(), "--delete-days", "2", "anna"}).status, 0);
  EXPECT_NE(Run({"user", "list", "--data", Data()}).output.find("anna\tsuspended\t"), std::string::npos);
  const HttpReply about = Call("GET", "/cloudPhoto/v1/about");
  EXPECT_EQ(about.json["status"], "disabled");
  const Json::Value& settings = about.json["settings"];
  EXPECT_EQ(std::stoll(settings["deleteTime"].asString()) - std::stoll(settings["disableTime"].asString()),
            2 * 24 * 3600 * 1000);
  EXPECT_EQ(Call("GET", media).status, 200);
  EXPECT_EQ(Call("GET", "/cloudPhoto/v1/changes?cursor=0").json["changes"].size(), 1u);
  // What is refused before its body comes ends its connection.
  const auto change = [&](const std::string& method, const std::string& target, const std::string& body) {
    return HttpConnection(server->Port()).Call(method, target, body, headers);
  };
  for (const HttpReply& refused :
       {change("PATCH", media, R"({"favorite":true})"), change("DELETE", media, ""),
        change("POST", "/cloudPhoto/v1/albums", R"({"albumName":"x"})"),
        change("POST", "/cloudPhoto/v1/media?mode=temp",
               R"({"fileName":"b.jpg","albumId":"default-album-1"})")}) {
    EXPECT_EQ(refused.status, 403);
    EXPECT_EQ(refused.json["error"]["errors"][0]["code"], "31084003");
  }
  const HttpReply batch = Call("POST", "/cloudPhoto/v1/batch?form=json",
                               R"({"requests":[{"method":"DELETE","uri":")" + media + R"("}]})");
  EXPECT_EQ(batch.json["responses"][0]["code"], 403) << batch.body;

  ASSERT_EQ(Run({"user", "resume", "--data", Data(), "anna"}).status, 0);
  EXPECT_FALSE(Call("GET", "/cloudPhoto/v1/about").json["settings"].isMember("disableTime"));
  EXPECT_EQ(Call("PATCH", media, R"({"favorite":true})").status, 200);
  EXPECT_NE(Run({"user", "suspend", "--data", Data(), "nobody"}).status, 0);
}

// The secrets' source stands in the test of the client's derivation: the argon2
// command and Python's BLAKE2b.
TEST_F(ServerTest, UserAddedByPasswordLogsInWithTheDerivedSecretOnly) {
  const auto add = [this](const std::string& name, const std::string& password) {
    return Run({"user", "add", "--data", Data(), "--fast-password", name}, password + "\r\n").status;
  };
  ASSERT_EQ(add("Alice", "wonderland"), 0);
  ASSERT_EQ(add("\u00c4nne.B", "p\u00e4ss w\u00f6rd"), 0);
  EXPECT_EQ(Login("Alice", "61d8056e8d26e1639ef03eeec0e707e4d0c5a357a9fed7fc23be7aa1bf2fc2ca").status, 200);
  EXPECT_EQ(Login("\u00c4nne.B", "9d24305208dd25d6490ed46692cac62c992d63e32c5ff09a3ec1b660aa8f63f5").status,
            200);
  EXPECT_EQ(Login("Alice", "wonderland").status, 401);
}

TEST_F(ServerTest, PasswordAndSecretAreNotTakenTogether) {
  EXPECT_NE(
      Run({"user", "add", "--data", Data(), "--password-file", "-", "--login-secret-file", "-", "berta"},
          "secret\n")
          .status,
      0);
}

TEST_F(ServerTest, CheckAndBackupRunBesideTheServer) {
  const ProgramResult check = Run({"check", "--data", Data()});
  EXPECT_EQ(check.status, 0);
  EXPECT_EQ(check.output, "0 media, 0 objects, 0 damaged, 0 media lost\n");
  const std::string target = Data() + "/backup";
  EXPECT_EQ(Run({"backup", "--data", Data(), "--to", target}).status, 0);
  EXPECT_NE(Run({"user", "list", "--data", target}).output.find("anna"), std::string::npos);
}

TEST_F(ServerTest, BadCommandLinesAreRefused) {
  EXPECT_NE(Run({"serve", "--data", Data(), "--listen", "nowhere"}).status, 0);
  EXPECT_NE(Run({"serve", "--data", Data(), "--listen", "127.0.0.1:0", "--tls-cert", "x"}).status, 0);
  EXPECT_NE(Run({"serve", "--data", Data(), "--listen", "127.0.0.1:" + std::to_string(server->Port()),
                 "--tls-key", "x", "--tls-cert", "missing"})
                .status,
            0);
  EXPECT_NE(Run({}).status, 0);
}

}  // namespace
}  // namespace photocloud::testing
