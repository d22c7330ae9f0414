#pragma once

#include <QObject>
#include <QString>
#include <functional>
#include <memory>
#include <string>

#include "dispatcher.h"
#include "host/profile/profileowner.h"
#include "session/gallerysession.h"

// The gallery behind the windows: owns the profile, loads the module, opens and closes
// the gallery of the account, and runs what command lines of this profile hand over.
//
// For the user-interface thread; what talks to disk or service runs on a worker and
// comes back by `done`. One piece of work at a time.
class Workspace : public QObject, public ICommandRunner {
 public:
  using Done = std::function<void(const QString& error)>;

  Workspace();
  ~Workspace() override;

  // Takes the profile. Elsewhere: another process has it.
  ProfileOwner::Take Take(QString& error);
  // Has the window that is there come to the front with these files.
  static bool HandOver(const QStringList& files);

  // Loads the module and the gallery, and answers clients from then on.
  void Open(Done done);
  bool IsOpen() const { return open; }
  GallerySession& Gallery() { return *session; }
  // Starts what runs beside the windows: push, sync, thumbnails.
  void Begin();
  void Close();

  // --- The account
  // Signs in, takes the pictures of the local gallery along, and loads the gallery of the
  // account. The page must be gone before. An import of the window is stopped first, and
  // commands of terminals as AccountGate says.
  void SignIn(const std::string& server, const std::string& user, const std::string& password, Done done);
  void SignOut(Done done);
  // What the account holds at its service; each talks to it and waits on a worker.
  struct Device {
    QString id;
    qint64 usedMs = 0;  // since 1970
    bool current = false;
  };
  void ChangePassword(const std::string& present, const std::string& next, Done done);
  // Devices with an open session, newest use first; none, with `error`, without an answer.
  void ListDevices(std::function<void(const QString& error, const std::vector<Device>&)> done);
  void EndDevice(const QString& id, Done done);
  // Writes the keys beside and renames; never over a file that is there.
  void ExportKeys(const QString& file, Done done);
  // Imports what these folders hold and the gallery does not; refused files are logged.
  void Import(const QStringList& folders, Done done);
  void SyncNow();

  // Called for a second start of the program, with its files.
  std::function<void(const QStringList& files)> onRaise;

  // ICommandRunner: on threads of clients.
  CommandKind KindOf(const std::vector<std::string>& arguments) override;
  int Run(const std::vector<std::string>& arguments, CommandTerminal& terminal) override;

 private:
  // Runs `change` while nothing else works with the account; waits for that.
  QString ChangeAccount(const std::function<QString()>& change);
  void InBackground(std::function<QString()> work, Done done);

  ProfileOwner owner;
  std::unique_ptr<GallerySession> session;
  std::unique_ptr<Dispatcher> dispatcher;
  bool open = false;
  bool served = false;
};
