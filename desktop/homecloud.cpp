#include "homecloud.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QPointer>
#include <array>
#include <fstream>

#include "common/platform/childprocess.h"
#include "common/platform/files.h"
#include "common/platform/random.h"
#include "common/toolkit/resourcemanager.h"
#include "common/toolkit/toolkit.h"
#include "host/base/drivethreadpool.h"
#include "host/base/hexadecimal.h"

namespace {

constexpr std::size_t kPasswordBytes = 18;
constexpr int kStopMs = 5000;

std::string Line(const std::filesystem::path& file) {
  std::ifstream stream(file);
  std::string line;
  std::getline(stream, line);
  return line;
}

}  // namespace

HomeCloud::HomeCloud(std::filesystem::path dataFolder) : folder(std::move(dataFolder) / "home-cloud") {
  // A window that is killed must leave no service behind that holds its port and data.
  server.setChildProcessModifier([] { platform::EndWithParent(); });
  connect(&server, &QProcess::readyReadStandardOutput, this, &HomeCloud::OnLine);
  connect(&server, &QProcess::finished, this, &HomeCloud::OnEnd);
  connect(&server, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
    if (error == QProcess::FailedToStart) OnEnd();
  });
}

HomeCloud::~HomeCloud() {
  server.disconnect(this);
  if (server.state() == QProcess::NotRunning) return;
  server.terminate();
  if (!server.waitForFinished(kStopMs)) server.kill();
  server.waitForFinished(kStopMs);
}

bool HomeCloud::Exists() const { return !Line(folder / "password").empty(); }

bool HomeCloud::IsAt(const std::string& at) const {
  return Exists() && at == "http://" + Line(folder / "address");
}

std::string HomeCloud::Password() const { return Line(folder / "password"); }

QString HomeCloud::Program() const {
  return QCoreApplication::applicationDirPath() + QStringLiteral("/zentara-photocloud");
}

QString HomeCloud::Failed(const QString& what) const {
  return CResourceManager::GetText(QStringLiteral("IDS_DESKTOP_HOMECLOUD_FAILED")) + u' ' + what;
}

void HomeCloud::Start(std::function<void(const QString&)> done) {
  told.push_back(std::move(done));
  if (!address.empty()) return Finish({});
  if (std::exchange(starting, true)) return;
  const QPointer<HomeCloud> self(this);
  const auto make = [self, folder = folder, program = Program()] {
    QString failed;
    std::error_code error = platform::MakeFolder(folder);
    const auto password = folder / "password";
    if (!error && Line(password).empty()) {
      std::array<std::uint8_t, kPasswordBytes> bytes{};
      error = platform::RandomBytes(bytes)
                  ? platform::ReplaceAtomically(password, Hexadecimal::Text(bytes) + "\n",
                                                platform::Rights::OwnerOnly)
                  : std::make_error_code(std::errc::io_error);
    }
    if (error) failed = QString::fromStdString(folder.string() + ": " + error.message());
    const QString data = QString::fromStdString((folder / "data").string());
    const auto run = [&program](const QStringList& arguments, QString* output) {
      QProcess process;
      process.start(program, arguments);
      const bool good = process.waitForFinished() && process.exitCode() == 0;
      if (output) *output = QString::fromUtf8(process.readAllStandardOutput());
      return good;
    };
    QString users;
    if (failed.isEmpty() &&
        (!run({QStringLiteral("user"), QStringLiteral("list"), QStringLiteral("--data"), data}, &users) ||
         !users.contains(QLatin1String(kUser)))) {
      if (!run({QStringLiteral("user"), QStringLiteral("add"), QLatin1String(kUser), QStringLiteral("--data"),
                data, QStringLiteral("--password-file"), QString::fromStdString(password.string())},
               nullptr))
        failed = data;
    }
    toolkit::RunLater([self, failed] {
      if (!self) return;
      if (!failed.isEmpty()) return self->Finish(self->Failed(failed));
      const std::string last = Line(self->folder / "address");
      self->triedLast = last.empty();
      self->Serve(last.empty() ? QStringLiteral("127.0.0.1:0") : QString::fromStdString(last));
    });
  };
  (void)CommonAbility::DriveThreadPool::GetInstance().Add(make);
}

void HomeCloud::Serve(const QString& at) {
  server.setStandardErrorFile(QString::fromStdString((folder / "log").string()), QIODevice::Append);
  server.start(Program(),
               {QStringLiteral("serve"), QStringLiteral("--data"),
                QString::fromStdString((folder / "data").string()), QStringLiteral("--listen"), at});
}

// Its first line tells the address in the third word.
void HomeCloud::OnLine() {
  if (!address.empty() || !server.canReadLine()) return;
  const QStringList words = QString::fromUtf8(server.readLine()).simplified().split(u' ');
  if (words.size() < 3) return;
  address = "http://" + words[2].toStdString();
  (void)platform::ReplaceAtomically(folder / "address", words[2].toStdString() + "\n");
  Finish({});
}

// Another program may listen at the last address by now.
void HomeCloud::OnEnd() {
  const bool served = !address.empty();
  address.clear();
  if (!served && !std::exchange(triedLast, true)) return Serve(QStringLiteral("127.0.0.1:0"));
  Finish(Failed(QString::fromStdString((folder / "log").string())));
}

void HomeCloud::Finish(const QString& error) {
  starting = false;
  const QPointer<HomeCloud> self(this);
  for (const auto& done : std::exchange(told, {}))
    if (self) done(error);
}
