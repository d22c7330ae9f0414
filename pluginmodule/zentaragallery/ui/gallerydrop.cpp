// Drags over the page: files from outside come in, pictures of the page go to albums.

#include <QFile>
#include <QFileInfo>
#include <QMimeData>
#include <QUrl>
#include <algorithm>
#include <map>

#include "common/platform/files.h"
#include "common/platform/paths.h"
#include "common/toolkit/resourcemanager.h"
#include "transfer/import/uploadcontroller.h"
#include "ui/dialogs/messagebox.h"
#include "ui/dialogs/uploadprocess.h"
#include "ui/dragpicture.h"
#include "ui/galleryalbumwnd.h"
#include "ui/pagecontext.h"
#include "ui/view/pageflags.h"
#include "ui/zentaragallery.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"
#include "utils/mediatypes.h"
#include "utils/messages.h"

namespace {

constexpr char kTag[] = "ZentaraGallery";
constexpr qint64 kMostLinkBytes = 64 * 1024;

bool IsPictures(const DragDataUI& drag) { return drag.data && drag.data->hasFormat(kPicturesMime); }
bool IsFiles(const DragDataUI& drag) { return drag.data && drag.data->hasUrls() && !IsPictures(drag); }

bool IsInTrash(const QString& path) {
  return path.contains(QStringLiteral("$RECYCLE.BIN"), Qt::CaseInsensitive) ||
         path.contains(QStringLiteral("/.Trash-")) || path.contains(QStringLiteral("/.Trash/")) ||
         path.contains(QStringLiteral("/share/Trash/"));
}

// What a link file of the desktop stands for; other paths stand for themselves.
std::filesystem::path Followed(const std::filesystem::path& path) {
  if (path.extension() != ".desktop") return path;
  QFile file(QString::fromStdString(path.string()));
  if (!file.open(QIODevice::ReadOnly)) return path;
  const auto lines = file.read(kMostLinkBytes).split('\n');
  const QByteArray start("URL=");
  const auto url = std::find_if(lines.begin(), lines.end(),
                                [&](const QByteArray& line) { return line.startsWith(start); });
  if (!lines.contains("Type=Link") || url == lines.end()) return path;
  const QString target = QUrl::fromEncoded(url->mid(start.size()).trimmed()).toLocalFile();
  return target.isEmpty() || IsInTrash(target) ? path : std::filesystem::path(target.toStdString());
}

// The pictures and videos that a drop names, by the name of the album that they go to:
// those of a folder to one of the folder's name, those that were named one by one to
// none.
using ByAlbum = PageRules::PathGroups;

ByAlbum CollectPaths(const std::vector<std::wstring>& dropped, const std::atomic<bool>& stop) {
  ByAlbum groups;
  std::size_t count = 0;
  for (const auto& path : dropped) {
    const auto native = Followed(platform::NativePath(path));
    std::error_code failed;
    if (!std::filesystem::is_directory(native, failed)) {
      groups[{}].push_back(platform::WidePath(native));
      continue;
    }
    platform::WalkFiles(
        native,
        [&](const std::filesystem::path& file) {
          const auto wide = platform::WidePath(file);
          const auto extension = platform::WideExtension(wide);
          if (!IsPictureExtension(extension) && !IsVideoExtension(extension)) return !stop;
          std::wstring name = platform::WideFileName(platform::WidePath(file.parent_path()));
          if (!Album::CleanName(name)) name = L"Imported";
          groups[name].push_back(wide);
          return !stop && ++count <= UploadController::kFilesUpperLimit;
        },
        [](const std::filesystem::path&, std::error_code) { LogError(kTag, "Failed to find first file!"); });
  }
  return groups;
}

}  // namespace

void ZentaraGallery::SetDropDescription(const QString& words, QPoint) {
  if (dropBubble) dropBubble->Dismiss();
  dropBubble = nullptr;
  if (words.isEmpty() || !title) return;
  dropBubble = Bubble::Show(*title, words, BubbleKind::Dark);
}

LRESULT ZentaraGallery::OnDragEnter(DragDataUI& drag) { return OnDragOver(drag); }

Album::Ptr ZentaraGallery::DropTarget(const DragDataUI& drag, QString& name) const {
  return panel ? panel->AlbumAtPoint(drag.screen, name) : nullptr;
}

LRESULT ZentaraGallery::OnDragOver(DragDataUI& drag) {
  const bool pictures = IsPictures(drag), files = IsFiles(drag);
  drag.accepted = false;
  // A drag of pictures offers no move, which other programs would take for one of files.
  drag.action = Qt::CopyAction;
  if ((!pictures && !files) || !current) return 0;
  QString name;
  if (const auto target = DropTarget(drag, name)) {
    drag.accepted = !pictures || target != current;
    const QString key =
        pictures ? QStringLiteral("IDS_GALLERT_DRAGDROP_MOVE") : QStringLiteral("IDS_GALLERT_UPLOAD_TO");
    SetDropDescription(drag.accepted ? CResourceManager::GetText(key) + u' ' + name : QString(), drag.point);
    return 0;
  }
  const bool overPage = FindControl(QStringLiteral("right_page")) &&
                        FindControl(QStringLiteral("right_page"))->Widget()->geometry().contains(drag.point);
  drag.accepted = overPage && files && !HasViewer() && !current->IsBin();
  const bool named = drag.accepted && current->IsReal();
  SetDropDescription(named ? CResourceManager::GetText(QStringLiteral("IDS_GALLERT_UPLOAD_TO")) + u' ' +
                                 Page::AlbumTitle(*current)
                     : drag.accepted ? QStringLiteral("IDS_GALLERY_DROP_HERE")
                                     : QString(),
                     drag.point);
  return 0;
}

LRESULT ZentaraGallery::OnDragLeave() {
  if (panel) panel->ClearDragMark();
  SetDropDescription({}, {});
  return 0;
}

LRESULT ZentaraGallery::OnDragRelease(DragDataUI& drag) {
  (void)OnDragOver(drag);
  QString name;
  const auto target = DropTarget(drag, name);
  if (panel) panel->ClearDragMark();
  SetDropDescription({}, {});
  if (!drag.accepted) return 0;
  if (IsFiles(drag)) {
    if (PageRules::IsActionForbidden(PageRules::kFunctionUpload)) {
      SayNotOpen();
      return 0;
    }
    if (GlobalData::cloudDisabled) {
      PopMessageBox(*this, QStringLiteral("IDS_GALLERT_INFORMATION"),
                    QStringLiteral("IDS_GALLERT_EnableInfo_Infomation"),
                    QStringLiteral("IDS_GALLERT_BTN_OK"));
      return 0;
    }
    OnDropToFile(drag, target ? target : current->IsReal() ? current : nullptr);
    return 0;
  }
  LogInfo(kTag, "pParams->pSupportedFrmt->cfFormat == CF_BITMAP");
  Files files = Chosen();
  if (target)
    std::erase_if(files, [&](const auto& file) { return file->AlbumId() == target->AlbumId.Get(); });
  if (!files.empty() && target && target != current) MoveTo(std::move(files), target);
  return 0;
}

// The host says it where it says all of its own; one that does not leaves it to the page.
void ZentaraGallery::SayNotOpen() {
  const QString key = QStringLiteral("IDS_MAIN_TOAST_UPGRADETIP");
  const std::wstring words = Page::Wide(CResourceManager::GetText(key));
  if (!platform::SendMessageW(GlobalData::mainWnd, WM_GALLERY_DROP_LIST, 0, reinterpret_cast<LPARAM>(&words)))
    Say(QStringLiteral("info"), key);
}

// The walk through folders is work for another thread; what it finds is uploaded then.
void ZentaraGallery::OnDropToFile(const DragDataUI& drag, const Album::Ptr& target) {
  std::vector<std::wstring> dropped;
  for (const QUrl& url : drag.data->urls()) {
    const QString path = url.toLocalFile();
    if (path.isEmpty()) continue;
    if (IsInTrash(path)) {
      LogInfo(kTag, "$RECYCLE.BIN file:");
      continue;
    }
    dropped.push_back(Page::Wide(path));
  }
  UploadDropped(std::move(dropped), target);
}

void ZentaraGallery::UploadDropped(std::vector<std::wstring> dropped, Album::Ptr target) {
  // The program that they come from may have ended before it was asked for them.
  if (dropped.empty()) return Say(QStringLiteral("info"), QStringLiteral("IDS_GALLERY_DROP_NOTHING"));
  const auto found = std::make_shared<ByAlbum>();
  Run(
      UploadProcess::TextKey(UploadProcess::ImportData), 0,
      [dropped, found](Job& running) { *found = CollectPaths(dropped, running.stop); },
      [this, found, target](const Job& ended) {
        if (ended.stop) return;
        if (found->empty()) return Say(QStringLiteral("info"), QStringLiteral("IDS_GALLERY_DROP_NOTHING"));
        if (PageRules::KeepFirst(*found, UploadController::kFilesUpperLimit)) SayLimit();
        UploadGroups(found, target);
      });
}

// One album after the other; what was named one by one goes where the user says.
void ZentaraGallery::UploadGroups(
    const std::shared_ptr<std::map<std::wstring, std::vector<std::wstring>>>& groups,
    const Album::Ptr& target) {
  if (groups->empty()) return;
  auto first = groups->extract(groups->begin());
  const auto upload = [this, groups, target, paths = std::move(first.mapped())](const Album::Ptr& album) {
    Upload(paths, album, [this, groups, target] { UploadGroups(groups, target); });
  };
  if (target || first.key().empty()) return upload(target);
  Page::InBackground(
      this, [name = first.key()] { return Gallery::GetInstance().AlbumForFolder(name); }, upload);
}
