#include "workspace.h"

#include <QCoreApplication>
#include <QLibrary>
#include <QPointer>
#include <algorithm>

#include "common/toolkit/resourcemanager.h"
#include "common/platform/files.h"
#include "host/profile/controlchannel.h"
#include "host/base/drivethreadpool.h"
#include "host/base/jsonfile.h"
#include "host/requests/ns/basic.h"
#include "host/profile/ownerclient.h"
#include "host/account/userauthservice.h"
#include "localterminal.h"
#include "sync/synchelper.h"
#include "takelocal.h"
#include "transfer/thumbnails/gallerythumbnailmodule.h"
#include "transfer/gallerytransmanager.h"

namespace {

constexpr char kRaise[] = "window";

// Keeps what a command says, for a window that tells it in its own way.
class QuietTerminal : public CommandTerminal {
 public:
  QuietTerminal() : CommandTerminal({}) {}
  void Write(std::string_view) override {}
  void Flush() override {}
  void WriteError(std::string_view text) override { errors += text; }
  bool IsGood() const override { return true; }
  bool InputIsTerminal() const override { return false; }
  bool ErrorIsTerminal() const override { return false; }
  std::optional<std::string> ReadLine(const std::string&, Echo) override { return std::nullopt; }
  std::error_code ReadFile(const std::filesystem::path&, std::string&) override {
    return std::make_error_code(std::errc::not_supported);
  }
  QString Errors() const { return QString::fromStdString(errors).trimmed(); }

 private:
  std::string errors;
};

std::unique_ptr<ZentaraGalleryObj> LoadModule() {
  QLibrary module(QCoreApplication::applicationDirPath() + QStringLiteral("/libzentaragallery.so"));
  const auto create = reinterpret_cast<CreateZentaraGalleryObjFunction*>(module.resolve("CreateZentaraGalleryObj"));
  return std::unique_ptr<ZentaraGalleryObj>(create ? create() : nullptr);
}

const char* WordsOf(UserAuthService::LoginResult result) {
  using Result = UserAuthService::LoginResult;
  switch (result) {
    case Result::Done:
      return "";
    case Result::Refused:
      return "IDS_LOGIN_REFUSED";
    case Result::Unreachable:
      return "IDS_LOGIN_UNREACHABLE";
    case Result::NotTrusted:
      return "IDS_CLOUD_NOT_TRUSTED";
    case Result::NotAllowed:
      return "IDS_LOGIN_NOT_ALLOWED";
    case Result::NotStored:
      return "IDS_LOGIN_NOT_STORED";
    case Result::KeysUnreadable:
      return "IDS_LOGIN_KEYS_UNREADABLE";
    case Result::NoMemory:
      return "IDS_LOGIN_NO_MEMORY";
  }
  return "";
}

}  // namespace

Workspace::Workspace() = default;

Workspace::~Workspace() { Close(); }

ProfileOwner::Take Workspace::Take(QString& error) {
  std::error_code failed;
  const auto taken = owner.TryTake(Session::DataFolder(), CommandKind::Long, failed);
  if (taken == ProfileOwner::Take::Failed) error = QString::fromStdString(failed.message());
  return taken;
}

bool Workspace::HandOver(const QStringList& files) {
  LocalTerminal terminal;
  std::vector<std::string> words{kRaise};
  for (const QString& file : files) words.push_back(file.toStdString());
  const ControlCommand command{words, terminal.Path("").string(), false, false};
  OwnerClient client;
  return client.Run(Session::DataFolder(), command, terminal).result == OwnerClient::Result::Ended;
}

void Workspace::InBackground(std::function<QString()> work, Done done) {
  const QPointer<Workspace> self(this);
  (void)CommonAbility::DriveThreadPool::GetInstance().Add([work = std::move(work), done = std::move(done), self] {
    const QString error = work();
    QMetaObject::invokeMethod(
        qApp, [done, error, self] { if (self && done) done(error); }, Qt::QueuedConnection);
  });
}

void Workspace::Open(Done done) {
  auto object = LoadModule();
  if (!object) return done(CResourceManager::GetText(QStringLiteral("IDS_DESKTOP_NO_MODULE")));
  session = std::make_unique<Session>(std::move(object));
  InBackground(
      [this] {
        QuietTerminal terminal;
        Output output(false, terminal);
        if (!session->Open(output)) return terminal.Errors();
        (void)TakeLocal::Finish(*session, output);
        return QString();
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
  if (!open || running) return;
  running = true;
  // A gallery without a service has nothing to keep in step with.
  ticking = !UserAuthService::GetInstance()->GetServerUrl().empty();
  ZentaraDeskClient::GalleryThumbnailModule::GetInstance().StartFetching();
  (void)CommonAbility::DriveThreadPool::GetInstance().Add([this] {
    (void)GalleryTransManager::GetInstance().LoadTaskFromDB();
    if (ticking) session->BeginTicks();
  });
}

void Workspace::End() {
  if (!std::exchange(running, false)) return;
  if (ticking) session->EndTicks();
  ZentaraDeskClient::GalleryThumbnailModule::GetInstance().Stop();
}

void Workspace::Close() {
  if (served) {
    owner.StopAll(CommandTerminal::Stop::HandedBack);
    owner.Finish(nullptr);
    served = false;
  }
  if (open) {
    End();
    session->Close();
  }
  open = false;
  owner.Release();
}

void Workspace::SignIn(const std::string& server, const std::string& user, const std::string& password, Done done) {
  InBackground(
      [this, server, user, password] {
        End();
        QuietTerminal terminal;
        Output output(false, terminal);
        const bool takes = UserAuthService::GetInstance()->GetServerUrl().empty() && TakeLocal::Count() > 0 &&
                           TakeLocal::Note(user, output);
        session->Close();
        const auto result = UserAuthService::GetInstance()->Login(server, user, password);
        if (result != UserAuthService::LoginResult::Done && takes) TakeLocal::Forget();
        if (!session->OpenAgain(output)) return terminal.Errors();
        if (result != UserAuthService::LoginResult::Done)
          return CResourceManager::GetText(QString::fromLatin1(WordsOf(result)));
        if (takes) (void)TakeLocal::Finish(*session, output);
        return QString();
      },
      std::move(done));
}

void Workspace::SignOut(Done done) {
  InBackground(
      [this] {
        End();
        QuietTerminal terminal;
        Output output(false, terminal);
        session->Close();
        const bool out = UserAuthService::GetInstance()->Logout();
        if (!session->OpenAgain(output)) return terminal.Errors();
        return out ? QString() : CResourceManager::GetText(QStringLiteral("IDS_LOGIN_NOT_STORED"));
      },
      std::move(done));
}

void Workspace::ChangePassword(const std::string& present, const std::string& next, Done done) {
  InBackground(
      [present, next] {
        using Result = UserAuthService::PasswordResult;
        switch (UserAuthService::GetInstance()->ChangePassword(present, next)) {
          case Result::Done:
            return QString();
          case Result::Unreachable:
            return CResourceManager::GetText(QStringLiteral("IDS_PASSWORD_UNREACHABLE"));
          case Result::NoMemory:
            return CResourceManager::GetText(QStringLiteral("IDS_LOGIN_NO_MEMORY"));
          case Result::Refused:
          case Result::KeysUnreadable:
            break;
        }
        return CResourceManager::GetText(QStringLiteral("IDS_PASSWORD_WRONG"));
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
        return answer.HasPayload() ? QString() : CResourceManager::GetText(QStringLiteral("IDS_DEVICES_FAILED"));
      },
      std::move(done));
}

void Workspace::ExportKeys(const QString& file, Done done) {
  InBackground(
      [file] {
        const Json::Value keys = UserAuthService::GetInstance()->ExportKeys();
        const bool written = !keys.isNull() && !platform::CreateAtomically(file.toStdString(), JsonFile::Text(keys),
                                                                           platform::Rights::OwnerOnly);
        return written ? QString() : CResourceManager::GetText(QStringLiteral("IDS_SETTINGS_KEYS_FAILED"));
      },
      std::move(done));
}

void Workspace::Import(const QStringList& folders, Done done) {
  InBackground(
      [this, folders] {
        std::vector<std::string> words{"start"};
        for (const QString& folder : folders) words.push_back(folder.toStdString());
        QuietTerminal terminal;
        (void)dispatcher->Run(words, terminal);
        return terminal.Errors();
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
      this, [this, files] { if (onRaise) onRaise(files); }, Qt::QueuedConnection);
  return 0;
}
