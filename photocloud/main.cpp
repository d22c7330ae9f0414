// zentara-photocloud: the self-hosted photo cloud.

#include <malloc.h>
#include <sodium.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <fstream>
#include <iostream>
#include <optional>
#include <thread>

#include "photocloud/accounts/loginsecret.h"
#include "photocloud/api/router.h"
#include "photocloud/base/log.h"
#include "photocloud/base/text.h"
#include "photocloud/content/integritycheck.h"
#include "photocloud/net/httpserver.h"
#include "photocloud/store/folderlock.h"
#include "photocloud/store/folderobjectstore.h"
#include "photocloud/store/sqlitestore.h"

namespace photocloud {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kSweepPeriodMs = 60LL * 1000;
// How long a push stream may outlive a session that another process has ended.
constexpr std::int64_t kStreamCheckMs = 1000;
constexpr std::int64_t kLeftOversPeriodMs = std::int64_t{24} * 3600 * 1000;
constexpr std::int64_t kGiga = 1 << 30;
constexpr std::size_t kMetricsConnections = 16;
// Of a password in characters; the login secret made from it is always as long.
constexpr int kShortestPassword = 8;

struct Options {
  std::string data;
  ServerSettings server;
  ServiceSettings service;
  bool faults = false;
  bool fastPasswords = false;
  std::string userName;
  std::string passwordFile;
  std::string loginSecretFile;
  std::int64_t quotaGigabytes = 1024;
  std::string backupFolder;
  std::string metricsAddress;
  std::string logFile;
  bool repair = false;
  int deleteDays = 0;
};

PasswordCost CostOf(const Options& options) {
  return options.fastPasswords ? PasswordCost::Least : PasswordCost::Interactive;
}

enum class Missing { Make, Refuse };

// The stores of a data folder.
struct Data {
  explicit Data(const Options& options, Missing missing = Missing::Refuse, int busyMs = kPatientMs)
      : store(Open(options.data, missing), busyMs), objects(fs::path(options.data) / "objects") {}

  // A mistyped folder is not made into an empty service.
  static fs::path Open(const fs::path& folder, Missing missing) {
    fs::path file = folder / "photocloud.db";
    if (missing == Missing::Refuse && !fs::exists(file))
      throw StoreFailure("no service in " + folder.string());
    fs::create_directories(folder);
    fs::permissions(folder, fs::perms::owner_all);
    return file;
  }

  SqliteStore store;
  FolderObjectStore objects;
  Clock clock;
};

std::string FirstLine(std::istream& input) {
  std::string line;
  std::getline(input, line);
  if (line.ends_with('\r')) line.pop_back();
  return line;
}

// Asks at a terminal, without showing what is typed.
std::string AskPassword() {
  termios shown{};
  const bool terminal = tcgetattr(STDIN_FILENO, &shown) == 0;
  termios hidden = shown;
  hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  if (terminal) {
    std::cerr << "Password: " << std::flush;
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
  }
  std::string password = FirstLine(std::cin);
  if (terminal) {
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &shown);
    std::cerr << '\n';
  }
  return password;
}

// Passwords come from a file or standard input: arguments can be read by every
// user of the machine.
std::string ReadSecret(const std::string& file) {
  if (file.empty() || file == "-") return AskPassword();
  std::ifstream stream(file);
  return FirstLine(stream);
}

// Characters of UTF-8, of which only the first byte counts.
std::int64_t CountCharacters(const std::string& text) {
  return std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xC0) != 0x80; });
}

std::string LoginSecretOf(const Options& options) {
  if (!options.loginSecretFile.empty()) return ReadSecret(options.loginSecretFile);
  const std::string password = ReadSecret(options.passwordFile);
  if (CountCharacters(password) < kShortestPassword) return {};
  return DeriveLoginSecret(options.userName, password);
}

int Fail(const std::string& reason) {
  std::cerr << reason << '\n';
  return 1;
}

// The counters, on an address that no proxy leads to.
class MetricsServer : public HttpService {
 public:
  MetricsServer(const std::string& address, Router& serviceRouter) : router(serviceRouter) {
    ServerSettings settings;
    settings.address = address;
    settings.threads = 1;
    settings.derivingThreads = 1;
    settings.takesSignals = false;
    settings.maxConnections = kMetricsConnections;
    if (!address.empty()) server.emplace(settings, *this, ServerEvents{[](auto) {}, [](auto, auto) {}});
  }
  ~MetricsServer() override {
    if (!thread.joinable()) return;
    server->Stop();
    thread.join();
  }

  // Returns why it could not, or an empty text.
  std::string Listen() {
    if (!server) return {};
    std::string failure = server->Listen();
    if (!failure.empty()) return failure;
    Log(LogLevel::Info, "metrics", {{"address", server->BoundAddress()}});
    thread = std::thread([this] { server->Run([] {}); });
    return {};
  }

  Intake Admit(const Request& head, const BodyNotice& notice) override {
    Intake intake;
    if (notice.isComing || head.path != "/metrics" || IsProxied(head))
      intake.refusal = ErrorCode::PathUnknown;
    return intake;
  }

  Response Handle(const Request& request) override {
    Request own = request;
    own.onMetricsAddress = true;
    if (request.path != "/metrics" || IsProxied(request)) own.refusal = ErrorCode::PathUnknown;
    return router.Handle(own);
  }

 private:
  static bool IsProxied(const Request& request) {
    return request.headers.contains("x-forwarded-for") || request.headers.contains("forwarded") ||
           request.headers.contains("via");
  }

  Router& router;
  std::optional<HttpServer> server;
  std::thread thread;
};

void ReopenLog(const std::string& file) {
  if (!file.empty() && !OpenLog(file)) Log(LogLevel::Error, "log not opened");
}

// "https://host", with port and path as they please; the links are put behind.
bool IsBaseUrl(const std::string& url) {
  return (url.rfind("http://", 0) == 0 || url.rfind("https://", 0) == 0) && !url.ends_with('/') &&
         IsPlainText(url) && url.find_first_of("?#\" ") == std::string::npos;
}

int Serve(const Options& options) {
  if (!options.logFile.empty() && !OpenLog(options.logFile)) return Fail("cannot write " + options.logFile);
  if (!options.server.publicUrl.empty() && !IsBaseUrl(options.server.publicUrl)) {
    return Fail("--public-url is to be like https://photos.example.org, without a slash at its end");
  }
  if (options.server.certificateFile.empty() != options.server.keyFile.empty()) {
    return Fail("--tls-cert and --tls-key go together");
  }
  fs::create_directories(options.data);
  const FolderLock folderLock(options.data);
  if (!folderLock.IsHeld())
    return Fail("another server runs on " + options.data + ", or it cannot be written");
  Data data(options, Missing::Make, kRequestMs);
  data.objects.RemoveUnfinished();
  Services services(data.store, data.objects, data.clock, options.service, CostOf(options));
  if (options.faults) services.faults = std::make_unique<FaultPlan>();
  Router router(services);
  HttpServer server(options.server, router,
                    {[&](std::int64_t change) { services.metrics.connections += change; },
                     [&](std::int64_t received, std::int64_t sent) {
                       services.metrics.bytesIn += received;
                       services.metrics.bytesOut += sent;
                     }});
  const std::string failure = server.Listen();
  if (!failure.empty()) return Fail(failure);
  MetricsServer metrics(options.metricsAddress, router);
  const std::string metricsFailure = metrics.Listen();
  if (!metricsFailure.empty()) return Fail(metricsFailure);
  services.Sweep();
  services.SweepLeftOvers();
  server.Every(kLeftOversPeriodMs, [&] { services.SweepLeftOvers(); });
  server.Every(kSweepPeriodMs, [&] { services.Sweep(); });
  server.Every(kStreamCheckMs, [&] { services.EndLostStreams(); });
  // Flushed at once: whoever started the server waits for this line.
  std::cout << "listening on " << server.BoundAddress() << std::endl;
  server.Run([&] { services.push.Close(); }, [&] { ReopenLog(options.logFile); });
  Log(LogLevel::Info, "stopped");
  return 0;
}

int AddUser(const Options& options) {
  Data data(options, Missing::Make);
  AccountService accounts(data.store, data.clock, CostOf(options));
  const std::string secret = LoginSecretOf(options);
  if (secret.empty()) {
    return Fail("no password of at least 8 characters was given, or too little memory to derive from it");
  }
  if (!accounts.Create(options.userName, secret, options.quotaGigabytes * kGiga)) {
    return Fail("the name is taken or cannot be used");
  }
  return 0;
}

const char* StateOf(const Account& account) {
  if (account.disabled) return "disabled";
  return account.suspendedMs > 0 ? "suspended" : "enabled";
}

int ListUsers(const Options& options) {
  Data data(options);
  for (const Account& account : data.store.ListAccounts()) {
    std::cout << account.userName << '\t' << StateOf(account) << '\t' << account.usedBytes << '\t'
              << account.quotaBytes << '\n';
  }
  return 0;
}

int SetUserDisabled(const Options& options, bool disabled) {
  Data data(options);
  AccountService accounts(data.store, data.clock, CostOf(options));
  if (!accounts.SetDisabled(options.userName, disabled)) return Fail("no such user");
  return 0;
}

int SuspendUser(const Options& options) {
  Data data(options);
  AccountService accounts(data.store, data.clock, CostOf(options));
  return accounts.Suspend(options.userName, options.deleteDays) ? 0 : Fail("no such user");
}

int ResumeUser(const Options& options) {
  Data data(options);
  AccountService accounts(data.store, data.clock, CostOf(options));
  return accounts.Resume(options.userName) ? 0 : Fail("no such user");
}

int RemoveUser(const Options& options) {
  Data data(options);
  const auto account = data.store.FindAccountByName(options.userName);
  if (!account) return Fail("no such user");
  data.store.RemoveAccount(account->id);
  // Only this account's files: names of other accounts' objects may be coming
  // back in a running server.
  for (const std::string& object : data.objects.List(account->id))
    (void)data.objects.Remove(account->id, object);
  return 0;
}

int Check(const Options& options) {
  Data data(options);
  ObjectVault vault(data.store, data.objects, data.clock);
  const CheckResult result = CheckAll(data.store, vault, options.repair ? Counting::Repair : Counting::Look);
  std::cout << result.media << " media, " << result.objects << " objects, " << result.damagedObjects
            << " damaged, " << result.lostMedia.size() << " media lost\n";
  for (const std::string& name : result.lostMedia) std::cout << "lost " << name << '\n';
  if (result.wrongSums > 0) {
    std::cout << result.wrongSums << " accounts with wrong used bytes" << (options.repair ? ", repaired" : "")
              << '\n';
  }
  const bool isSumRight = result.wrongSums == 0 || options.repair;
  return result.lostMedia.empty() && result.damagedObjects == 0 && isSumRight ? 0 : 2;
}

int Backup(const Options& options) {
  Data data(options);
  const std::string failure = BackUp(data.store, data.objects, options.backupFolder);
  return failure.empty() ? 0 : Fail(failure);
}

CLI::App* AddCommand(CLI::App& parent, const char* name, const char* text, Options& options) {
  CLI::App* command = parent.add_subcommand(name, text);
  command->add_option("--data", options.data, "data folder")->required();
  return command;
}

CLI::App* AddUserCommand(CLI::App& users, const char* name, const char* text, Options& options) {
  CLI::App* command = AddCommand(users, name, text, options);
  command->add_option("name", options.userName, "user name")->required();
  return command;
}

void AddServeOptions(CLI::App& serve, Options& options) {
  serve.add_option("--listen", options.server.address, "address and port; port 0 takes a free one")
      ->required();
  serve.add_option("--tls-cert", options.server.certificateFile, "certificate chain, PEM");
  serve.add_option("--tls-key", options.server.keyFile, "private key, PEM");
  serve.add_option("--public-url", options.server.publicUrl,
                   "where clients reach the service, for links: https://photos.example.org");
  serve.add_flag("--behind-proxy", options.server.isBehindProxy,
                 "plain HTTP from a proxy, which tells the client's address in X-Forwarded-For");
  serve.add_option("--metrics-listen", options.metricsAddress, "address and port of /metrics");
  serve.add_option("--log-file", options.logFile, "in place of standard error; opened anew at SIGHUP");
  serve.add_option("--threads", options.server.threads, "threads")->check(CLI::Range(1, 256));
  serve.add_option("--slice-size", options.service.content.sliceSize, "plain bytes of one object")
      ->check(CLI::Range(std::int64_t{16}, std::int64_t{64} << 20));
  serve.add_option("--lock-seconds", options.service.lockSeconds, "validity of the writer lock")
      ->check(CLI::Range(std::int64_t{1}, std::int64_t{3600}));
  serve.add_option("--max-batch", options.service.maxBatchNumber, "items of one batch")
      ->check(CLI::Range(1, 1000));
  serve.add_flag("--faults", options.faults, "for tests: lets anybody who can connect make the server fail");
}

int Main(int argc, char** argv) {
  Options options;
  CLI::App app("Self-hosted photo cloud");
  app.require_subcommand(1);
  int result = 0;
  CLI::App* serve = AddCommand(app, "serve", "run the server", options);
  AddServeOptions(*serve, options);
  serve->callback([&] { result = Serve(options); });
  CLI::App* users = app.add_subcommand("user", "manage accounts")->require_subcommand(1);
  CLI::App* add = AddUserCommand(*users, "add", "make an account", options);
  CLI::Option* password = add->add_option("--password-file", options.passwordFile,
                                          "first line is the password; standard input without");
  add->add_option("--login-secret-file", options.loginSecretFile,
                  "first line is what devices derive from the password; the password stays unknown here")
      ->excludes(password);
  add->add_option("--quota-gb", options.quotaGigabytes, "space in GiB")
      ->check(CLI::Range(std::int64_t{0}, std::int64_t{1} << 30));
  add->add_flag("--fast-password", options.fastPasswords,
                "for tests: a verifier that is cheap to make and to break");
  add->callback([&] { result = AddUser(options); });
  AddCommand(*users, "list", "list accounts: name, state, used and allowed bytes", options)->callback([&] {
    result = ListUsers(options);
  });
  AddUserCommand(*users, "disable", "refuse logins and requests", options)->callback([&] {
    result = SetUserDisabled(options, true);
  });
  AddUserCommand(*users, "enable", "take a disabled account back", options)->callback([&] {
    result = SetUserDisabled(options, false);
  });
  CLI::App* suspend =
      AddUserCommand(*users, "suspend", "let an account be read only, and tell its devices so", options);
  suspend
      ->add_option("--delete-days", options.deleteDays,
                   "tell them that the data go after so many days; removing is left to you")
      ->check(CLI::Range(1, 3650));
  suspend->callback([&] { result = SuspendUser(options); });
  AddUserCommand(*users, "resume", "take a suspended account back", options)->callback([&] {
    result = ResumeUser(options);
  });
  AddUserCommand(*users, "remove", "delete an account and all its data", options)->callback([&] {
    result = RemoveUser(options);
  });
  CLI::App* check = AddCommand(app, "check", "read all objects; 2 when something is lost or wrong", options);
  check->add_flag("--repair", options.repair, "put the accounts' used bytes right");
  check->callback([&] { result = Check(options); });
  CLI::App* backup = AddCommand(app, "backup", "copy everything to a folder", options);
  backup->add_option("--to", options.backupFolder, "target folder")->required();
  backup->callback([&] { result = Backup(options); });
  CLI11_PARSE(app, argc, argv);
  return result;
}

// Each page takes and frees some hundred KiB. Left to itself the C library gives them
// back to the system each time, and a fifth of a page's time goes into getting them anew.
constexpr int kKeptBytes = 4 << 20;

void KeepFreedMemory() {
  (void)mallopt(M_TRIM_THRESHOLD, kKeptBytes);
  (void)mallopt(M_MMAP_THRESHOLD, kKeptBytes);
}

}  // namespace
}  // namespace photocloud

int main(int argc, char** argv) {
  // A peer that goes away in the middle of an answer is no reason to end.
  std::signal(SIGPIPE, SIG_IGN);
  // Nor is a limit on the size of files, which is answered as a full disk is.
  std::signal(SIGXFSZ, SIG_IGN);
  // All that is written is for the service's owner: verifiers, keys, pictures.
  ::umask(077);
  photocloud::KeepFreedMemory();
  if (sodium_init() < 0) return 1;
  try {
    return photocloud::Main(argc, argv);
  } catch (const std::exception& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
  }
}
