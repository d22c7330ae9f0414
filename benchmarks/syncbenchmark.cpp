// The client's sync against the real server on this computer: a first download,
// and an increment of 1,000 changes into what it brought. Beside the download
// stands what the same pages take without being stored, in the same run; by the clock,
// and in processor time of client and server, which other work changes less.
// Usage: sync_benchmark [RECORDS]

#include <sys/resource.h>

#include <cstdio>

#include "cloud/cloudphotov2helper.h"
#include "common/platform/paths.h"
#include "host/account/userauthservice.h"
#include "host/base/globalparamwrapper.h"
#include "host/base/jsontext.h"
#include "host/requests/curlppx.h"
#include "model/gallery.h"
#include "processortime.h"
#include "support/process.h"
#include "sync/synchelper.h"
#include "tests/support/temporaryfolder.h"
#include "zentaragalleryobj.h"

namespace {

constexpr std::int64_t kChanges = 1000;

pid_t serverProcess = 0;

struct Spent {
  double wall = 0;
  double client = 0;
  double server = 0;
};

Spent Time(const std::function<void()>& work) {
  const double client = CpuOf(0), server = CpuOf(serverProcess);
  const auto start = std::chrono::steady_clock::now();
  work();
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
  return {wall.count(), CpuOf(0) - client, CpuOf(serverProcess) - server};
}

void Print(const char* what, std::int64_t records, const Spent& spent) {
  std::printf("  %-16s %7.2f s  %8.0f records/s  cpu: client %6.2f s, server %6.2f s", what, spent.wall,
              static_cast<double>(records) / spent.wall, spent.client, spent.server);
}

double PeakMegabytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024;
}

class Cloud {
 public:
  Cloud() {
    folder.Write("password", "wonderland\n");
    (void)RunProgram({PHOTOCLOUD_PROGRAM, "user", "add", "alice", "--data", folder.Path().string(),
                      "--password-file", (folder / "password").string()});
    server = std::make_unique<Process>(std::vector<std::string>{PHOTOCLOUD_PROGRAM, "serve", "--data",
                                                                folder.Path().string(), "--listen",
                                                                "127.0.0.1:0", "--faults"});
    const std::string line = server->ReadLine();
    serverProcess = server->Id();
    url = "http://127.0.0.1:" + line.substr(line.rfind(':') + 1);
  }
  void Fill(std::int64_t count) {
    (void)RunProgram({FILL_PROGRAM, folder.Path().string(), "alice", std::to_string(count)});
  }
  // How many requests came since the last call, and forgets them.
  std::size_t TakeRequests() {
    using Method = curlppx::CurlConn::Method;
    const auto answer = JsonText::Parse(Control(Method::Get)).value_or(Json::Value());
    (void)Control(Method::Delete);
    return answer["requests"].size();
  }
  std::string url;

 private:
  std::string Control(curlppx::CurlConn::Method method) {
    std::string received;
    curlppx::CurlConn connection;
    (void)connection.SetUrl(url + "/faults/requests");
    connection.SetMethod(method, {});
    connection.SetWriter([&](std::string_view piece) {
      received += piece;
      return true;
    });
    (void)connection.Perform();
    return received;
  }
  TemporaryFolder folder;
  std::unique_ptr<Process> server;
};

// All pages of the listing, read and taken apart, and nothing more.
Spent PagesAlone() {
  return Time([] {
    std::string cursor;
    while (CloudPhotoV2Helper::GetFiles(cursor, 0) && !cursor.empty()) {
    }
  });
}

bool RunCycle(const char* what, std::int64_t records, Cloud& cloud) {
  (void)cloud.TakeRequests();
  bool good = false;
  const Spent spent = Time([&good] { good = SyncHelper::GetInstance().RunOnce(); });
  const SyncState state = SyncHelper::GetInstance().GetState();
  if (!good) std::printf("failed at %s: %s\n", state.lastError.step.c_str(), state.lastError.cause.c_str());
  Print(what, records, spent);
  std::printf("  %5zu requests  %6.1f MB peak\n", cloud.TakeRequests(), PeakMegabytes());
  return good;
}

int RunWith(std::int64_t records) {
  Cloud cloud;
  cloud.Fill(records);
  TemporaryFolder profile;
  platform::SetProfileRoot(profile.Path());
  auto& session = *UserAuthService::GetInstance();
  const bool ready = GlobalParamWrapper::GetInstance()->Load() && session.Load() &&
                     session.Login(cloud.url, "alice", "wonderland") == UserAuthService::LoginResult::Done;
  if (!ready) return 1;
  ZentaraGalleryObj object;
  object.InitWnd();
  auto& sync = SyncHelper::GetInstance();
  sync.SetServices(HostSyncServices());
  (void)sync.LoadDataToMemory();
  std::printf("%lld records\n", static_cast<long long>(records));
  Print("pages alone", records, PagesAlone());
  std::printf("\n");
  bool good = RunCycle("first download", records, cloud);
  cloud.Fill(kChanges);
  good = RunCycle("1,000 changes", kChanges, cloud) && good;
  const bool complete = Gallery::GetInstance().FileCount() == static_cast<std::size_t>(records + kChanges);
  if (!complete) std::printf("the gallery holds %zu files\n", Gallery::GetInstance().FileCount());
  return good && complete ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) { return RunWith(argc > 1 ? std::atoll(argv[1]) : 100'000); }
