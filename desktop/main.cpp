// zentaracloud: the gallery on the desktop.

#include <QApplication>
#include <QCommandLineParser>
#include <QFileInfo>
#include <clocale>
#include <iostream>

#include "common/platform/paths.h"
#include "common/toolkit/toolkit.h"
#include "desktopsettings.h"
#include "framewindow.h"
#include "host/base/globalparamwrapper.h"
#include "workspace.h"

int main(int argc, char** argv) {
  toolkit::Prepare();
  QApplication application(argc, argv);
  std::setlocale(LC_NUMERIC, "C");
  QApplication::setApplicationName(QStringLiteral("zentaracloud"));
  QApplication::setDesktopFileName(QStringLiteral("zentaracloud"));
  QApplication::setQuitOnLastWindowClosed(false);
  QCommandLineParser parser;
  parser.addHelpOption();
  const QCommandLineOption profile(QStringLiteral("profile"), QStringLiteral("Keep everything under FOLDER."),
                                   QStringLiteral("FOLDER"));
  parser.addOption(profile);
  const QCommandLineOption background(QStringLiteral("background"),
                                      QStringLiteral("Start in the tray, without the window."));
  parser.addOption(background);
  parser.addPositionalArgument(QStringLiteral("files"), QStringLiteral("Pictures and folders to add."),
                               QStringLiteral("[FILES...]"));
  parser.process(application);
  QStringList files;
  for (const QString& file : parser.positionalArguments()) files << QFileInfo(file).absoluteFilePath();

  const bool own = parser.isSet(profile);
  const std::string folder =
      own ? QFileInfo(parser.value(profile)).absoluteFilePath().toStdString() : std::string();
  if (const std::string problem = GallerySession::ChooseProfile(folder, !own); !problem.empty()) {
    std::cerr << problem << '\n';
    return 1;
  }
  Workspace work;
  QString error;
  switch (work.Take(error)) {
    case ProfileOwner::Take::Owned:
      break;
    case ProfileOwner::Take::Elsewhere:
      if (Workspace::HandOver(files)) return 0;
      std::cerr << "another program has this profile open; end it first\n";
      return 1;
    case ProfileOwner::Take::Failed:
      std::cerr << "cannot open the profile: " << error.toStdString() << '\n';
      return 1;
  }
  (void)GlobalParamWrapper::GetInstance()->Load();
  toolkit::Start(application);
  DesktopSettings::Apply();
  int status = 0;
  {
    FrameWindow frame(work, files);
    if (!frame.Create(static_cast<QWidget*>(nullptr), QStringLiteral("Zentara Gallery"), WindowStyle::Frame,
                      {0, 0, 1, 1}))
      return 1;
    frame.resize(frame.Manager().Scale(1440), frame.Manager().Scale(900));
    if (!parser.isSet(background) || !frame.HasTray()) frame.show();
    status = QApplication::exec();
  }
  work.Close();
  return status;
}
