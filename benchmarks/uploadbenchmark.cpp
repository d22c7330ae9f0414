// Objects sent to the server and to the bare sink of bare_transfer, which checks the
// same digests and stores as durably: wall time, and processor time of the receiver.
// First the objects alone, all announced before; then each with its record, as devices
// send them, which have a few uploads open and not hundreds.
// Usage: upload_benchmark [OBJECTS [BYTES]]

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <thread>

#include "httpclient.h"
#include "photocloud/base/digest.h"
#include "photocloud/base/json.h"
#include "processortime.h"
#include "serverprocess.h"
#include "testcloud.h"
#include "tests/support/temporaryfolder.h"

namespace {

using photocloud::testing::ServerProcess;
using Verb = Client::Verb;

constexpr int kThreads = 4;
constexpr char kLoginSecret[] = "61d8056e8d26e1639ef03eeec0e707e4d0c5a357a9fed7fc23be7aa1bf2fc2ca";

struct Object {
  std::string bytes, md5, sha256;
  std::string target;  // Of the server, once it is announced.
  std::string mediaId;
};

std::vector<Object> MakeObjects(int count, std::size_t bytes, std::size_t first = 10'000'000) {
  std::vector<Object> objects(static_cast<std::size_t>(count));
  for (std::size_t i = 0; i < objects.size(); ++i) {
    std::string& text = objects[i].bytes;
    text.assign(bytes / 16 * 16 + 16, static_cast<char>(i));
    text.replace(0, 8, std::to_string(first + i));
    objects[i].md5 = photocloud::Md5Hex(text);
    objects[i].sha256 = photocloud::Sha256Hex(text);
  }
  return objects;
}

// The bare sink in a process of its own.
class Sink {
 public:
  explicit Sink(const std::string& folder) {
    int ends[2];
    if (::pipe(ends) != 0) std::abort();
    process = ::fork();
    if (process == 0) {
      ::dup2(ends[1], STDOUT_FILENO);
      ::execl(SINK_PROGRAM, SINK_PROGRAM, "sink", folder.c_str(), nullptr);
      ::_exit(127);
    }
    ::close(ends[1]);
    FILE* const output = ::fdopen(ends[0], "r");
    if (std::fscanf(output, "%hu", &port) != 1) std::abort();
    std::fclose(output);
  }
  ~Sink() {
    ::kill(process, SIGKILL);
    ::waitpid(process, nullptr, 0);
  }
  Sink(const Sink&) = delete;
  Sink& operator=(const Sink&) = delete;

  pid_t process = -1;
  unsigned short port = 0;
};

// Calls `work` for each object over connections of their own. Returns the processor
// time that the receiver took for it.
double Send(const char* what, std::vector<Object>& objects, unsigned short port, pid_t receiver,
            const Client& like, const std::function<void(Client&, Object&)>& work) {
  const double before = CpuOf(receiver);
  const auto start = std::chrono::steady_clock::now();
  std::atomic<std::size_t> next{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      Client client(port);
      client.token = like.token;
      client.lock = like.lock;
      for (std::size_t at = next++; at < objects.size(); at = next++) work(client, objects[at]);
    });
  }
  for (std::thread& thread : threads) thread.join();
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
  const double taken = CpuOf(receiver) - before;
  std::printf("  %-28s %6.2f s wall, %6.2f s of the receiver's processor time, %.2f ms an object\n", what,
              wall.count(), taken, 1000 * taken / static_cast<double>(objects.size()));
  return taken;
}

Json::Value Parse(const std::string& text) { return photocloud::ParseJson(text).value_or(Json::Value()); }

// Makes a record for the object and announces its digests.
void Announce(Client& client, Object& object) {
  Json::Value body(Json::objectValue);
  body["fileName"] = object.sha256.substr(0, 12) + ".jpg";
  body["albumId"] = "default-album-1";
  Json::Value& asset = body["attachments"][0]["asset"];
  body["attachments"][0]["usage"] = "content";
  asset["cipher"]["iv"] = "00";
  asset["resource"]["hash"] = object.sha256 + std::string(64, '0');
  asset["resource"]["sha256"] = object.sha256;
  asset["resource"]["length"] = Json::Int64(object.bytes.size() - 16);
  const Json::Value made =
      Parse(client.Call(Verb::post, "/cloudPhoto/v1/media?mode=temp", photocloud::WriteJson(body)));
  object.mediaId = made["id"].asString();
  const Json::Value& own = made["attachments"][0]["asset"];
  Json::Value slice(Json::objectValue);
  Json::Value& entry = slice["resource"]["objects"][0];
  entry["objectId"] = own["resource"]["objects"][0]["id"];
  entry["md5"] = object.md5;
  entry["sha256"] = object.sha256;
  const Json::Value announced =
      Parse(client.Call(Verb::post,
                        "/cloudPhoto/v1/media/" + object.mediaId + "/assets/" + own["id"].asString() +
                            "/revisions/" + own["versionId"].asString(),
                        photocloud::WriteJson(slice)));
  object.target =
      photocloud::testing::TargetOf(announced["resource"]["objects"][0]["uploadUrl"]["url"].asString());
}

}  // namespace

int main(int argc, char** argv) {
  using namespace photocloud::testing;
  const int count = argc > 1 ? std::atoi(argv[1]) : 400;
  const std::size_t bytes = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 1 << 20;
  std::vector<Object> objects = MakeObjects(count, bytes);
  TemporaryFolder folder;
  const std::string data = (folder.Path() / "cloud").string(), kept = (folder.Path() / "kept").string();
  std::ofstream(folder.Path() / "secret") << kLoginSecret << '\n';
  std::filesystem::create_directory(kept);
  (void)RunProgram({PHOTOCLOUD_PROGRAM, "user", "add", "alice", "--data", data, "--login-secret-file",
                    (folder.Path() / "secret").string()});
  ServerProcess server(PHOTOCLOUD_PROGRAM, data);
  const auto port = static_cast<unsigned short>(server.Port());
  Client owner(port);
  owner.token = Parse(owner.Call(
      Verb::post, "/cloudPhoto/v1/auth/login",
      R"({"userName":"alice","password":")" + std::string(kLoginSecret) + "\"}"))["accessToken"]
                    .asString();
  owner.lock = Parse(owner.Call(Verb::get, "/cloudPhoto/v1/locks?token="))["token"].asString();
  const Sink sink(kept);
  std::printf("%d objects of %zu bytes over %d connections\n", count, bytes, kThreads);
  const pid_t process = server.Process();
  const double bare =
      Send("bare sink", objects, sink.port, sink.process, owner, [](Client& client, Object& object) {
        (void)client.Call(Verb::put, "/", object.bytes, {{"x-digests", object.md5 + object.sha256}});
      });
  (void)Send("server: made and announced", objects, port, process, owner, Announce);
  const auto putObject = [](Client& client, Object& object) {
    (void)client.Call(Verb::put, object.target, object.bytes);
  };
  const auto show = [](Client& client, Object& object) {
    (void)client.Call(Verb::patch, "/cloudPhoto/v1/media/" + object.mediaId + "?mode=normal", "{}");
  };
  const double put = Send("server: objects", objects, port, process, owner, putObject);
  (void)Send("server: made visible", objects, port, process, owner, show);
  std::vector<Object> others = MakeObjects(count, bytes, 50'000'000);
  const double whole =
      Send("server: with records", others, port, process, owner, [&](Client& client, Object& object) {
        Announce(client, object);
        putObject(client, object);
        show(client, object);
      });
  std::printf("  objects %.2f times the sink's processor time, with their records %.2f times\n", put / bare,
              whole / bare);
}
