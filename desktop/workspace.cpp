#include "workspace.h"

#include <QCoreApplication>
#include <QLibrary>
#include <QPointer>
#include <algorithm>

#include "common/platform/files.h"
#include "common/toolkit/resourcemanager.h"
#include "common/toolkit/toolkit.h"
#include "host/account/userauthservice.h"
#include "host/base/drivethreadpool.h"
#include "host/base/jsonfile.h"
#include "host/profile/controlchannel.h"
#include "host/profile/ownerclient.h"
#include "host/requests/ns/basic.h"
#include "localterminal.h"
#include "session/folderimport.h"
#include "session/signin.h"
#include "session/takelocal.h"
#include "sync/synchelper.h"

namespace {

constexpr char kRaise[] = "window";

// Stands for the window among the terminals whose commands work with the account.
class WindowTerminal : public CommandTerminal {
 public:
  WindowTerminal() : CommandTerminal({}) {}
  void Write(std::string_view) override {}
  void Flush() override {}
  void WriteError(std::string_view) override {}
  bool IsGood() const override { return true; }
  bool InputIsTerminal() const override { return false; }
  bool ErrorIsTerminal() const override { return false; }
  std::optional<std::string> ReadLine(const std::string&, Echo) override { return std::nullopt; }
  std::error_code ReadFile(const std::filesystem::path&, std::string&) override {
    return std::make_error_code(std::errc::not_supported);
  }
};

QString Words(const char* id) { return CResourceManager::GetText(QString::fromLatin1(id)); }

// What a log-in or a log-out came to; empty when all went well.
QString ErrorOf(const SignIn::Outcome& outcome) {
  if (!outcome.notOpened.empty()) return QString::fromStdString(outcome.notOpened);
  if (!outcome.refused.empty()) return Words("IDS_LOGIN_NOT_STORED");
  return outcome.IsDone() ? QString() : Words(SignIn::WordsOf(outcome.result));
}

// Nobody stops what the window has begun.
const std::atomic<bool>& Never() {
  static const std::atomic<bool> never{false};
  return never;
}

void TakeLocalAlong(GallerySession& session) {
  (void)TakeLocal::Finish([&](const std::vector<FolderFiles>& folders) {
    return FolderImport(session, Never())
        .Run(folders, Known::PassedOver)
        .value_or(ImportSum{.stopped = true});
  });
}

// Adds what the folders hold and gives what could not be read.
QString ImportInto(GallerySession& session, const QStringList& folders, const std::atomic<bool>& stopped) {
  QStringList problems;
  const auto tell = [&problems](const std::string& problem) { problems << QString::fromStdString(problem); };
  ImportChoice choice({}, stopped);
  choice.onProblem = tell;
  for (const QString& folder : folders) choice.Add(folder.toStdString());
  FolderImport work(session, stopped);
  work.onProblem = tell;
  (void)work.Run(choice.Folders(), Known::PassedOver);  // Refused files are told by nobody.
  return problems.join(QLatin1Char('\n'));
}

std::unique_ptr<ZentaraGalleryObj> LoadModule() {
  QLibrary module(QCoreApplication::applicationDirPath() + QStringLiteral("/libzentaragallery.so"));
  const auto create =
      reinterpret_cast<CreateZentaraGalleryObjFunction*>(module.resolve("CreateZentaraGalleryObj"));
  return std::unique_ptr<ZentaraGalleryObj>(create ? create() : nullptr);
}

}  // namespace

Workspace::Workspace() = default;

Workspace::~Workspace() { Close(); }

ProfileOwner::Take Workspace::Take(QString& error) {
  std::error_code failed;
  const auto taken = owner.TryTake(GallerySession::DataFolder(), CommandKind::Long, failed);
  if (taken == ProfileOwner::Take::Failed) error = QString::fromStdString(failed.message());
  return taken;
}

bool Workspace::HandOver(const QStringList& files) {
  LocalTerminal terminal;
  std::vector<std::string> words{kRaise};
  for (const QString& file : files) words.push_back(file.toStdString());
  const ControlCommand command{words, terminal.Path("").string(), false, false};
  OwnerClient client;
  return client.Run(GallerySession::DataFolder(), command, terminal).result == OwnerClient::Result::Ended;
}

void Workspace::InBackground(std::function<QString()> work, Done done) {
  const QPointer<Workspace> self(this);
  (void)CommonAbility::DriveThreadPool::GetInstance().Add(
      [work = std::move(work), done = std::move(done), self] {
        const QString error = work();
        toolkit::RunLater([done, error, self] {
          if (self && done) done(error);
        });
      });
}

void Workspace::Open(Done done) {
  auto object = LoadModule();
  if (!object) return done(CResourceManager::GetText(QStringLiteral("IDS_DESKTOP_NO_MODULE")));
  session = std::make_unique<GallerySession>(std::move(object));
  InBackground(
      [this] {
        const std::string problem = session->Open();
        if (problem.empty()) TakeLocalAlong(*session);
        return QString::fromStdString(problem);
      },
      [this, done](const QString& error) {
        open = error.isEmpty();
        if (open && !std::exchange(served, true)) {
          dispatcher = std::make_unique<Dispatcher>(*session);
          owner.Serve(*this);
        }
        done(error);
      });
}

void Workspace::Begin() {
  if (open) session->Begin();
}

void Workspace::Close() {
  if (served) {
    owner.StopAll(CommandTerminal::Stop::HandedBack);
    owner.Finish(nullptr);
    served = false;
  }
  if (open) {
    (void)ChangeAccount([this] {
      session->End();
      session->Close();
      return QString();
    });
  }
  open = false;
  owner.Release();
}

QString Workspace::ChangeAccount(const std::function<QString()>& change) {
  WindowTerminal terminal;
  (void)session->Gate().BeginChange(terminal);  // Nobody stops this terminal.
  QString error = change();
  session->Gate().EndChange();
  return error;
}

void Workspace::SignIn(const std::string& server, const std::string& user, const std::string& password,
                       Done done) {
  const auto login = [this, server, user, password] {
    session->End();
    const bool takes = UserAuthService::GetInstance()->GetServerUrl().empty() && TakeLocal::Count() > 0;
    const auto outcome = SignIn::Login(*session, {server, user, password, {}, takes});
    QString error = ErrorOf(outcome);
    if (takes && error.isEmpty()) TakeLocalAlong(*session);
    return error;
  };
  InBackground([this, login] { return ChangeAccount(login); }, std::move(done));
}

void Workspace::SignOut(Done done) {
  const auto logout = [this] {
    session->End();
    return ErrorOf(SignIn::Logout(*session));
  };
  InBackground([this, logout] { return ChangeAccount(logout); }, std::move(done));
}

void Workspace::ChangePassword(const std::string& present, const std::string& next, Done done) {
  InBackground(
      [present, next] {
        const auto result = UserAuthService::GetInstance()->ChangePassword(present, next);
        return result == UserAuthService::PasswordResult::Done ? QString() : Words(SignIn::WordsOf(result));
      },
      std::move(done));
}

void Workspace::ListDevices(std::function<void(const QString&, const std::vector<Device>&)> done) {
  const auto devices = std::make_shared<std::vector<Device>>();
  InBackground(
      [devices] {
        const auto answer = NS::Request::Sync(NS::Basic::SessionsReq::Get());
        if (!answer.payload) return CResourceManager::GetText(QStringLiteral("IDS_DEVICES_FAILED"));
        for (const auto& session : answer.payload->sessions)
          devices->push_back({QString::fromStdString(session.id), session.lastUsedMs, session.current});
        return QString();
      },
      [devices, done = std::move(done)](const QString& error) { done(error, *devices); });
}

void Workspace::EndDevice(const QString& id, Done done) {
  InBackground(
      [id] {
        const auto answer = NS::Request::Sync(NS::Basic::SessionsReq::End(id.toStdString()));
        return answer.HasPayload() ? QString()
                                   : CResourceManager::GetText(QStringLiteral("IDS_DEVICES_FAILED"));
      },
      std::move(done));
}

void Workspace::ExportKeys(const QString& file, Done done) {
  InBackground(
      [file] {
        const Json::Value keys = UserAuthService::GetInstance()->ExportKeys();
        const bool written =
            !keys.isNull() && !platform::CreateAtomically(file.toStdString(), JsonFile::Text(keys),
                                                          platform::Rights::OwnerOnly);
        return written ? QString() : CResourceManager::GetText(QStringLiteral("IDS_SETTINGS_KEYS_FAILED"));
      },
      std::move(done));
}

void Workspace::Import(const QStringList& folders, Done done) {
  InBackground(
      [this, folders] {
        WindowTerminal terminal;
        auto& gate = session->Gate();
        (void)gate.Enter(terminal, CommandKind::Long, AccountGate::Change::Stops);
        QString error = session->IsLoaded() ? ImportInto(*session, folders, terminal.Stopped()) : QString();
        gate.Leave(terminal);
        return error;
      },
      std::move(done));
}

void Workspace::SyncNow() {
  (void)CommonAbility::DriveThreadPool::GetInstance().Add(
      [] { (void)SyncHelper::GetInstance().RunNext([] { return false; }, [] {}); });
}

CommandKind Workspace::KindOf(const std::vector<std::string>& arguments) {
  if (!arguments.empty() && arguments.front() == kRaise) return CommandKind::Short;
  return dispatcher->KindOf(arguments);
}

int Workspace::Run(const std::vector<std::string>& arguments, CommandTerminal& terminal) {
  if (arguments.empty() || arguments.front() != kRaise) return dispatcher->Run(arguments, terminal);
  QStringList files;
  for (std::size_t i = 1; i < arguments.size(); ++i)
    files << QString::fromStdString(terminal.Path(arguments[i]).string());
  QMetaObject::invokeMethod(
      this,
      [this, files] {
        if (onRaise) onRaise(files);
      },
      Qt::QueuedConnection);
  return 0;
}
