#include "cloudserver.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "cloud/cloudphotov2helper.h"
#include "host/base/globalparamwrapper.h"
#include "host/base/jsontext.h"
#include "host/base/logger.h"
#include "host/requests/curlppx.h"
#include "utils/globaldata.h"

namespace {

// Starts the server's program; its output goes to `output`.
pid_t Spawn(std::vector<std::string> arguments, int output) {
  arguments.insert(arguments.begin(), PHOTOCLOUD_PROGRAM);
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t process = -1;
  EXPECT_EQ(::posix_spawn(&process, pointers[0], &actions, nullptr, pointers.data(), environ), 0);
  posix_spawn_file_actions_destroy(&actions);
  return process;
}

std::string FirstLine(int input) {
  std::string line;
  for (char letter; ::read(input, &letter, 1) == 1 && letter != '\n';) line += letter;
  return line;
}

std::string Exchange(const std::string& method, const std::string& url,
                     const std::vector<std::string>& headers, const std::string& body, long& httpCode) {
  using Method = curlppx::CurlConn::Method;
  static const std::map<std::string, Method> methods = {{"GET", Method::Get},
                                                        {"POST", Method::Post},
                                                        {"DELETE", Method::Delete},
                                                        {"PATCH", Method::Patch},
                                                        {"PUT", Method::Put}};
  std::string received;
  curlppx::CurlConn connection;
  EXPECT_TRUE(connection.SetUrl(url));
  connection.SetHeaders(headers);
  connection.SetMethod(methods.at(method), body);
  connection.SetWriter([&](std::string_view piece) {
    received += piece;
    return true;
  });
  httpCode = connection.Perform().httpCode;
  return received;
}

}  // namespace

CloudServer::CloudServer(const std::vector<std::string>& more) {
  AddUserBy("--login-secret-file", "alice", kAliceSecret);
  int pipe[2];
  EXPECT_EQ(::pipe2(pipe, O_CLOEXEC), 0);
  std::vector<std::string> arguments = {"serve",    "--data",      data.Path().string(),
                                        "--listen", "127.0.0.1:0", "--faults"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  process = Spawn(arguments, pipe[1]);
  ::close(pipe[1]);
  const std::string line = FirstLine(pipe[0]);
  ::close(pipe[0]);
  port = std::atoi(line.c_str() + line.rfind(':') + 1);
  EXPECT_GT(port, 0) << line;
}

CloudServer::~CloudServer() { Kill(); }

void CloudServer::Kill() {
  if (process <= 0) return;
  ::kill(process, SIGKILL);
  ::waitpid(process, nullptr, 0);
  process = -1;
}

void CloudServer::AddUserBy(const std::string& option, const std::string& name, const std::string& secret,
                            const std::vector<std::string>& more) {
  const auto file = data.Path() / "secret";
  std::ofstream(file) << secret << '\n';
  std::vector<std::string> arguments = {option, file.string(), "--fast-password"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  ManageUser("add", name, arguments);
}

void CloudServer::ManageUser(const std::string& command, const std::string& name,
                             const std::vector<std::string>& more) {
  const int nothing = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  std::vector<std::string> arguments = {"user", command, name, "--data", data.Path().string()};
  arguments.insert(arguments.end(), more.begin(), more.end());
  const pid_t child = Spawn(std::move(arguments), nothing);
  ::close(nothing);
  int status = -1;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

Json::Value CloudServer::Control(const std::string& method, const std::string& path,
                                 const std::string& body) {
  long httpCode = 0;
  const std::string answer =
      Exchange(method, Url() + path, {"Content-Type:application/json"}, body, httpCode);
  EXPECT_EQ(httpCode, 200) << path << " " << answer;
  return JsonText::Parse(answer).value_or(Json::Value());
}

std::vector<std::string> CloudServer::Requests() {
  std::vector<std::string> requests;
  const Json::Value answer = Control("GET", "/faults/requests", {});
  for (const Json::Value& seen : answer["requests"]) {
    const std::string text = seen["method"].asString() + " " + seen["path"].asString();
    requests.push_back(seen["inBatch"].asBool() ? "[" + text + "]" : text);
  }
  return requests;
}

OtherDevice::OtherDevice(const CloudServer& cloudServer, std::string deviceId)
    : server(cloudServer), device(std::move(deviceId)) {
  const std::string body =
      std::string(R"({"userName":"alice","password":")") + CloudServer::kAliceSecret + "\"}";
  token = Send("POST", "/auth/login", body)["accessToken"].asString();
}

Json::Value OtherDevice::Send(const std::string& method, const std::string& path, const std::string& body) {
  std::vector<std::string> headers = {"Content-Type:application/json", "x-zt-device-id:" + device};
  if (!token.empty()) headers.push_back("Authorization:Bearer " + token);
  if (!lock.empty()) headers.push_back("x-zt-lock:" + lock);
  long httpCode = 0;
  const std::string answer =
      Exchange(method, server.Url() + "/cloudPhoto/v1" + path, headers, body, httpCode);
  EXPECT_EQ(httpCode, 200) << path << " " << answer;
  return JsonText::Parse(answer).value_or(Json::Value());
}

void OtherDevice::PutObject(const std::string& url, const std::string& bytes) {
  long httpCode = 0;
  const std::string answer = Exchange("PUT", url, {"Content-Type:application/octet-stream"}, bytes, httpCode);
  EXPECT_EQ(httpCode, 200) << answer;
}

long OtherDevice::AskForObject(const std::string& mediaId, const std::string& usage) {
  long httpCode = 0;
  const Json::Value media = Send("GET", "/media/" + mediaId);
  for (const Json::Value& attachment : media["attachments"]) {
    if (attachment["usage"] != usage) continue;
    const Json::Value& object = attachment["asset"]["resource"]["objects"][0];
    (void)Exchange("GET", object["downloadUrl"]["url"].asString(), {}, {}, httpCode);
  }
  return httpCode;
}

void OtherDevice::TakeLock() {
  if (lock.empty()) lock = Send("GET", "/locks?token=")["token"].asString();
}

void OtherDevice::GiveLockBack() {
  Send("DELETE", "/locks?token=" + lock);
  lock.clear();
}

void OtherDevice::AddAlbum(const std::string& id, const std::string& name) {
  TakeLock();
  Send("POST", "/albums", R"({"id":")" + id + R"(","albumName":")" + name + R"("})");
}

std::string OtherDevice::AddMedia(const std::string& fileName, const std::string& albumId,
                                  const std::string& more) {
  TakeLock();
  const std::string body =
      R"({"fileName":")" + fileName + R"(","albumId":")" + albumId + R"(","fileType":1)" + more + "}";
  const std::string id = Send("POST", "/media?mode=temp&fields=id", body)["id"].asString();
  Send("PATCH", "/media/" + id + "?mode=normal&fields=id", "{}");
  return id;
}

void CloudTest::SetUp() {
  GalleryTest::SetUp();
  ASSERT_EQ(session.Login(server.Url(), "alice", "wonderland"), UserAuthService::LoginResult::Done);
  CloudPhotoV2Helper::ArmDataHideNotice();
  CloudPhotoV2Helper::failures503 = 0;
  CloudPhotoV2Helper::maxBatchNumber = 50;
  server.ForgetRequests();
}

void CloudTest::TearDown() {
  GlobalParamWrapper::GetInstance()->SetMainWnd(nullptr);
  GlobalData::cloudGeneration = GlobalData::kGenerationUnknown;
  GalleryTest::TearDown();
}

void CloudTest::GoTo(const std::string& url) {
  const auto file = folder / "config/ZentaraCloud/account.json";
  Json::Value account;
  std::ifstream(file) >> account;
  account["server"] = url;
  std::ofstream(file) << account;
  ASSERT_TRUE(session.Load());
}

LogText::LogText() {
  EXPECT_TRUE(Logger::CloudLogger::GetInstance()->Open(folder.Path() / "log.txt"));
  Logger::CloudLogger::GetInstance()->SetLevel(Logger::Severity::Debug);
}

LogText::~LogText() {
  Logger::CloudLogger::GetInstance()->SetLevel(Logger::Severity::Information);
  Logger::CloudLogger::GetInstance()->Close();
}

std::string LogText::Read(const char* name) const {
  Logger::CloudLogger::GetInstance()->ReportLog();
  std::ifstream file(folder.Path() / name);
  return {std::istreambuf_iterator<char>(file), {}};
}
