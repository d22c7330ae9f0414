#include "ui/dialogs/downloadpicwnd.h"

#include <QDir>

#include "common/platform/paths.h"
#include "common/toolkit/edit.h"
#include "host/base/globalparamwrapper.h"
#include "ui/pagecontext.h"
#include "ui/userproperties.h"
#include "utils/globaldata.h"
#include "utils/messages.h"

QString DownloadPicWnd::StandardFolder() {
  const std::string kept = UserProperties::GetText(UserProperties::kDownloadFolder);
  if (!kept.empty() && !UserProperties::GetFlag(UserProperties::kUseDownloads))
    return QString::fromStdString(kept);
  return Page::NativeText(GlobalParamWrapper::GetInstance()->GetUserDownloadsPath());
}

bool DownloadPicWnd::AsksEachTime() {
  return UserProperties::GetNumber(UserProperties::kAskDownload, 1) != 0;
}

QString DownloadPicWnd::Refused(const QString& chosen) {
  const QString clean = QDir::cleanPath(chosen);
  if (!QDir::isAbsolutePath(clean)) return QStringLiteral("IDS_DOWNLOAD_DIR_NOT_FOUND");
  if (QDir(clean).isRoot()) return QStringLiteral("IDS_DOWNLOAD_DIR_LogicDrive_Deny");
  const QString own = QString::fromStdString((platform::DataRoot() / "ZentaraCloud").string());
  const QString cache = QString::fromStdString((platform::CacheRoot() / "ZentaraCloud").string());
  for (const QString& inner : {own, cache}) {
    if (clean == inner || clean.startsWith(inner + u'/'))
      return QStringLiteral("IDS_DOWNLOAD_SubEqual_SYN_DIR_Deny");
  }
  return {};
}

void DownloadPicWnd::InitWindow() {
  WindowBusyBaseShadow::InitWindow();
  edit = Find<CEditUI>(QStringLiteral("edit"));
  if (!edit) return;
  edit->SetText(StandardFolder());
  Check();
  edit->SetFocus();
}

void DownloadPicWnd::Check() {
  const QString refused = Refused(edit->GetText());
  edit->SetError(!refused.isEmpty());
  if (auto* words = FindControl(QStringLiteral("errortip"))) {
    words->SetText(refused);
    words->SetVisible(!refused.isEmpty());
  }
  if (auto* ok = FindControl(QStringLiteral("btn_ok"))) ok->SetEnabled(refused.isEmpty());
}

void DownloadPicWnd::OnOpenFile() {
  const QString chosen = chooseFolder ? chooseFolder(edit->GetText()) : QString();
  if (chosen.isEmpty()) return;  // The dialog may have gone meanwhile.
  edit->SetText(chosen);
  Check();
}

void DownloadPicWnd::OnOk() {
  if (!Refused(edit->GetText()).isEmpty()) return;
  const QString folder = QDir::cleanPath(edit->GetText());
  const bool standard = folder == Page::NativeText(GlobalParamWrapper::GetInstance()->GetUserDownloadsPath());
  UserProperties::Set(UserProperties::kUseDownloads, standard ? 1 : 0);
  UserProperties::Set(UserProperties::kDownloadFolder, folder.toStdString());
  const auto* never = Find<CCheckBoxUI>(QStringLiteral("isTipAgain"));
  if (never && never->IsSelected()) UserProperties::Set(UserProperties::kAskDownload, 0);
  // The receiver frees the list.
  auto order = std::make_unique<std::vector<GalleryFile::Ptr>>(files);
  if (platform::PostMessageW(GlobalData::galleryWnd, WM_GALLERY_DOWNLOAD_START, 0,
                             reinterpret_cast<LPARAM>(order.get())))
    (void)order.release();
  Page::Post(WM_GALLERY_DOWNLOAD_DONE);
  Close(IDOK);
}

void DownloadPicWnd::Notify(TNotifyUI& message) {
  WindowBusyBaseShadow::Notify(message);
  if (!edit || !message.pSender) return;
  if (message.sType == QStringLiteral("textchanged")) return Check();
  if (message.sType == QStringLiteral("return")) return OnOk();
  if (message.sType != QStringLiteral("click")) return;
  const QString name = message.pSender->GetName();
  if (name == QStringLiteral("btn_ok")) return OnOk();
  if (name == QStringLiteral("openfile")) return OnOpenFile();
  if (name == QStringLiteral("btn_cancel") || name == QStringLiteral("closebtn")) Close(IDCANCEL);
}
