// Pages of the server at an account of 1,000,000 records, each figure beside what
// a bare HTTP answer of the same size gives over one connection in the same run:
// by the clock, and in processor time of both ends, which other work on the machine
// changes less.
// Usage: cloud_benchmark [RECORDS [NAME...]]: with names, only what begins with one of them.

#include <algorithm>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "cloudfill.h"
#include "httpclient.h"
#include "photocloud/accounts/accountservice.h"
#include "photocloud/base/json.h"
#include "photocloud/store/sqlitestore.h"
#include "processortime.h"
#include "serverprocess.h"
#include "tests/support/temporaryfolder.h"

namespace {

namespace beast = boost::beast;
namespace http = beast::http;
using boost::asio::ip::tcp;

constexpr int kPages = 1000;
constexpr int kRounds = 20;
// What the account's devices would derive from its password.
constexpr char kLoginSecret[] = "61d8056e8d26e1639ef03eeec0e707e4d0c5a357a9fed7fc23be7aa1bf2fc2ca";

// What the arguments ask for.
std::vector<std::string> wanted;

bool IsWanted(const std::string& what) {
  return wanted.empty() || std::any_of(wanted.begin(), wanted.end(),
                                       [&](const std::string& name) { return what.rfind(name, 0) == 0; });
}

// Answers every request of one connection with the same text.
class BareServer {
 public:
  explicit BareServer(std::string answer)
      : acceptor(context, {boost::asio::ip::make_address("127.0.0.1"), 0}), body(std::move(answer)) {
    thread = std::thread([this] { Serve(); });
  }
  ~BareServer() { thread.join(); }
  BareServer(const BareServer&) = delete;
  BareServer& operator=(const BareServer&) = delete;
  unsigned short Port() const { return acceptor.local_endpoint().port(); }

 private:
  void Serve() {
    tcp::socket socket = acceptor.accept();
    socket.set_option(tcp::no_delay(true));
    beast::flat_buffer buffer;
    beast::error_code ended;
    while (!ended) {
      http::request<http::string_body> request;
      http::read(socket, buffer, request, ended);
      if (ended) return;
      http::response<http::string_body> response(http::status::ok, 11, body);
      response.set(http::field::content_type, "application/json");
      response.prepare_payload();
      http::write(socket, response, ended);
    }
  }
  boost::asio::io_context context;
  tcp::acceptor acceptor;
  const std::string body;
  std::thread thread;
};

pid_t serverProcess = 0;

// Milliseconds of a call. Bare answers come from a thread of this process, so that
// its processor time and the server's together are those of both ends.
struct Spent {
  double wall = 0;
  double cpu = 0;
};

Spent TimeOf(int calls, const std::function<void()>& work) {
  const double before = CpuOf(0) + CpuOf(serverProcess);
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < calls; ++i) work();
  const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
  return {took.count() / calls, (CpuOf(0) + CpuOf(serverProcess) - before) * 1e3 / calls};
}

double MedianOf(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
  return values[values.size() / 2];
}

// By search and not by a parser, which would take longer than the answer.
std::string NextCursor(const std::string& page) {
  constexpr std::string_view kName = "\"nextCursor\":\"";
  const auto start = page.rfind(kName);
  if (start == std::string::npos) return {};
  const auto end = page.find('"', start + kName.size());
  return page.substr(start + kName.size(), end - start - kName.size());
}

constexpr int kAccounts = 200;
constexpr int kAccountRecords = 1000;
// So many of the newest records have attachments.
constexpr int kWithAttachments = 10000;

// Our calls and bare answers in turn, so that whatever else the machine does
// slows both down. `work` leaves its answer in `answer`.
void PrintBeside(const char* what, const std::function<void()>& work, const std::string& answer,
                 const std::string& target, const std::string& sent = {}) {
  work();
  BareServer bare(answer);
  Client bareClient(bare.Port());
  std::vector<double> ours, limits, ratios, oursCpu, limitsCpu, ratiosCpu;
  for (int round = 0; round < kRounds; ++round) {
    const Spent own = TimeOf(kPages / kRounds, work);
    const Spent limit = TimeOf(kPages / kRounds, [&] {
      (void)bareClient.Call(sent.empty() ? http::verb::get : http::verb::post, target, sent);
    });
    ours.push_back(own.wall), limits.push_back(limit.wall), ratios.push_back(own.wall / limit.wall);
    oursCpu.push_back(own.cpu), limitsCpu.push_back(limit.cpu), ratiosCpu.push_back(own.cpu / limit.cpu);
  }
  std::printf(
      "  %-26s %7zu bytes  %6.3f ms, bare %6.3f, %4.1f times  cpu %6.3f ms, bare %6.3f, %4.1f times\n", what,
      answer.size(), MedianOf(ours), MedianOf(limits), MedianOf(ratios), MedianOf(oursCpu),
      MedianOf(limitsCpu), MedianOf(ratiosCpu));
  std::fflush(stdout);
}

std::string BatchText(const Json::Value& list, bool favorite) {
  Json::Value batch(Json::objectValue);
  for (const Json::Value& media : list) {
    Json::Value item(Json::objectValue);
    item["method"] = "PATCH";
    item["uri"] = "/cloudPhoto/v1/media/" + media["id"].asString() + "?fields=id,version";
    item["body"]["favorite"] = favorite;
    batch["requests"].append(item);
  }
  return photocloud::WriteJson(batch);
}

// Batches of patches, each of which changes its record.
void MeasureBatch(Client& client) {
  if (!IsWanted("batch")) return;
  client.lock =
      photocloud::TextOf(photocloud::ParseJson(client.Call(http::verb::get, "/cloudPhoto/v1/locks?token="))
                             .value_or(Json::Value()),
                         "token");
  const auto page = photocloud::ParseJson(
      client.Call(http::verb::get, "/cloudPhoto/v1/media?fields=media(id)&pageSize=50"));
  const std::string marks = BatchText((*page)["media"], true), unmarks = BatchText((*page)["media"], false);
  bool isMarked = false;
  std::string answer;
  PrintBeside(
      "batch of 50 patches",
      [&] {
        isMarked = !isMarked;
        answer = client.Call(http::verb::post, "/cloudPhoto/v1/batch?form=json", isMarked ? marks : unmarks);
      },
      answer, "/", marks);
}

std::string TokenOf(Client& client, const std::string& name) {
  const auto login = photocloud::ParseJson(
      client.Call(http::verb::post, "/cloudPhoto/v1/auth/login",
                  R"({"userName":")" + name + R"(","password":")" + std::string(kLoginSecret) + "\"}"));
  return login ? photocloud::TextOf(*login, "accessToken") : std::string();
}

// Pages of many accounts in turn, each over a connection of its own.
void MeasureAccounts(const std::filesystem::path& data, int port, const std::string& target) {
  if (!IsWanted("accounts")) return;
  {
    photocloud::SqliteStore store(data / "photocloud.db");
    const photocloud::Clock clock;
    photocloud::AccountService accounts(store, clock, photocloud::PasswordCost::Least);
    for (int i = 0; i < kAccounts; ++i)
      (void)accounts.Create("user" + std::to_string(i), kLoginSecret, std::int64_t{1} << 40);
  }
  std::vector<std::unique_ptr<Client>> clients;
  for (int i = 0; i < kAccounts; ++i) {
    const std::string name = "user" + std::to_string(i);
    FillCloud(data, name, kAccountRecords);
    clients.push_back(std::make_unique<Client>(static_cast<unsigned short>(port)));
    clients.back()->token = TokenOf(*clients.back(), name);
  }
  std::size_t turn = 0;
  std::string page;
  PrintBeside(
      "accounts: one, the same page", [&] { page = clients[0]->Call(http::verb::get, target); }, page,
      target);
  PrintBeside(
      "accounts: 200 in turn",
      [&] { page = clients[turn++ % clients.size()]->Call(http::verb::get, target); }, page, target);
}

// Walks along the list, from `start` on, and again after so many pages.
void Measure(const char* what, Client& client, const std::string& target, const std::string& start,
             int pagesOfWalk = kPages) {
  if (!IsWanted(what)) return;
  std::string cursor = start, page;
  int walked = 0;
  PrintBeside(
      what,
      [&] {
        page = client.Call(http::verb::get, target + cursor);
        const std::string next = NextCursor(page);
        cursor = next.empty() || ++walked % pagesOfWalk == 0 ? start : next;
      },
      page, target);
}

}  // namespace

int main(int argc, char** argv) {
  using namespace photocloud::testing;
  const long long records = argc > 1 ? std::atoll(argv[1]) : 1'000'000;
  wanted.assign(argv + std::min(argc, 2), argv + argc);
  TemporaryFolder folder;
  const std::string data = folder.Path().string();
  std::ofstream(folder.Path() / "secret") << kLoginSecret << '\n';
  (void)RunProgram({PHOTOCLOUD_PROGRAM, "user", "add", "alice", "--data", data, "--login-secret-file",
                    (folder.Path() / "secret").string()});
  FillCloud(folder.Path(), "alice", records);
  FillAttachments(folder.Path(), "alice", kWithAttachments);
  ServerProcess server(PHOTOCLOUD_PROGRAM, data);
  serverProcess = server.Process();
  Client client(static_cast<unsigned short>(server.Port()));
  client.token = TokenOf(client, "alice");
  if (client.token.empty()) return 1;
  std::printf("%lld records, pages of 100\n", records);
  const std::string media =
      "media(albumId,createdTime,editedTime,favorite,fileName,fileType,hashId,id,properties,recycled,size,"
      "status,pictureMetadata(aperture,cameraMaker,cameraModel,height,width),version)";
  Measure("list, whole records", client,
          "/cloudPhoto/v1/media?queryParam=albumType%3D0&fields=nextCursor," + media + "&cursor=", "");
  Measure("list, for a comparison", client,
          "/cloudPhoto/v1/media?queryParam=albumType%3D0&fields=nextCursor,media(albumId,id,editedTime,"
          "createdTime,size,status)&cursor=",
          "");
  Measure("changes", client,
          "/cloudPhoto/v1/changes?kinds=Media&isIncludeDeleted=true&fields=nextCursor,changes(changeType,"
          "device,deleted,mediaId," +
              media + ")&cursor=",
          "0");
  Measure("changes, near the end", client,
          "/cloudPhoto/v1/changes?kinds=Media&isIncludeDeleted=true&fields=nextCursor,changes(changeType,"
          "device,deleted,mediaId," +
              media + ")&cursor=",
          std::to_string(records - 1000));
  Measure("list, with attachments", client,
          "/cloudPhoto/v1/media?fields=nextCursor,media(id,fileName,attachments)&cursor=", "",
          kWithAttachments / 100);
  MeasureBatch(client);
  const std::string list = "/cloudPhoto/v1/media?queryParam=albumType%3D0&fields=nextCursor," + media;
  // As many records as the accounts in turn read.
  Measure("accounts: one, page by page", client, list + "&cursor=", "", kAccounts);
  MeasureAccounts(folder.Path(), server.Port(), list);
}
