// What the tool bar, the menus and the keys do with the chosen files.

#include <QDesktopServices>
#include <QFileInfo>
#include <QUrl>
#include <cstdio>

#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "common/toolkit/filechooser.h"
#include "common/toolkit/menu.h"
#include "common/toolkit/resourcemanager.h"
#include "common/toolkit/toolkit.h"
#include "host/base/drivethreadpool.h"
#include "host/base/logger.h"
#include "host/requests/cloudspacequery.h"
#include "transfer/gallerytransmanager.h"
#include "transfer/import/uploadcontroller.h"
#include "ui/dialogs/deletepicwnd.h"
#include "ui/dialogs/downloadpicwnd.h"
#include "ui/dialogs/movepicwnd.h"
#include "ui/dialogs/uploadexceptionwnd.h"
#include "ui/dialogs/uploadprocess.h"
#include "ui/galleryalbumwnd.h"
#include "ui/pagecontext.h"
#include "ui/timescrollbar.h"
#include "ui/userproperties.h"
#include "ui/view/galleryfilelistviewhelper.h"
#include "ui/view/pageflags.h"
#include "ui/viewer/douclickthumui.h"
#include "ui/zentaragallery.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"
#include "utils/messages.h"

namespace {

constexpr char kTag[] = "ZentaraGallery";
constexpr int kEventClearBin = 171, kEventAll = 413, kEventLayout = 188, kEventExpand = 189,
              kEventNarrow = 190;
// Files of a batch between two looks at its stop.
constexpr std::size_t kStep = 500;
constexpr int kProgressMs = 100;
constexpr std::size_t kMostIdsLogged = 100;

constexpr char kFilters[] =
    "*.jpg *.jpeg *.png *.bmp *.gif *.heic *.mp4 *.3g2 *.3gp *.asf *.avi *.m4v *.mkv *.mov *.wmv *.nef";

GallerySelectHelper& Selection() { return GallerySelectHelper::GetInstance(); }

// What a user is told of a file that a batch has left as it was, by its state.
constexpr std::array kReasons{"IDS_GALLERT_FILE_NOT_EXIST",
                              "IDS_GALLERT_UPLOADEX_ALBUM_NOT_EXIST",
                              "IDS_GALLERT_UPLOADEX_CREATE_RECYCLE_FAIL",
                              "IDS_GALLERT_UPLOADEX_FILE_EXIST",
                              "IDS_GALLERT_UPLOADEX_FILE_DELETE_FILE",
                              "IDS_GALLERT_UPLOADEX_FILE_MOVE_FILE"};

// Goes through the files in steps until it is stopped; gives those that `step` took on,
// and with `left` the others with their reasons.
template <typename Step>
ZentaraGallery::Files InSteps(const ZentaraGallery::Files& files, ZentaraGallery::Job& job, Step step,
                              std::vector<RefusedFile>* left = nullptr) {
  ZentaraGallery::Files done;
  for (std::size_t from = 0; from < files.size() && !job.stop; from += kStep) {
    const auto begin = files.begin() + static_cast<std::ptrdiff_t>(from);
    const auto end = files.begin() + static_cast<std::ptrdiff_t>(std::min(from + kStep, files.size()));
    const ZentaraGallery::Files part(begin, end);
    step(part, [&](Gallery::ProcFileState state, const GalleryFile::Ptr& file) {
      if (state == Gallery::Done) return done.push_back(file);
      if (left) left->push_back({file->FileName(), kReasons.at(static_cast<std::size_t>(state) - 1)});
    });
    job.count += part.size();
  }
  return done;
}

// Tells the host's window that files come in, and when that has ended.
struct UploadBusy {
  UploadBusy() { Tell(1); }
  ~UploadBusy() { Tell(0); }
  UploadBusy(const UploadBusy&) = delete;
  UploadBusy& operator=(const UploadBusy&) = delete;
  static void Tell(WPARAM begins) {
    (void)platform::PostMessageW(GlobalData::mainWnd, WM_GALLERY_UPLOAD_BUSY, begins, 0);
  }
};

QString Counted(const char* key, std::size_t count) {
  return CResourceManager::GetPluralText(QString::fromLatin1(key), static_cast<qint64>(count));
}

}  // namespace

// --- Batches

void ZentaraGallery::Run(const QString& textKey, std::size_t total, std::function<void(Job&)> work,
                         std::function<void(const Job&)> done) {
  const auto made = std::make_shared<Job>();
  made->total = total;
  job = made;
  if (uploadProcess) uploadProcess->Begin(textKey, total);
  auto* timer = new QTimer(this);
  connect(timer, &QTimer::timeout, this, [this, made] {
    if (job == made && uploadProcess) uploadProcess->Update(made->count);
  });
  timer->start(kProgressMs);
  const QPointer<ZentaraGallery> page(this);
  const auto finish = [page, made, timer, done = std::move(done)] {
    if (!page) return;
    delete timer;
    if (page->job == made) {
      page->job = nullptr;
      if (page->uploadProcess) page->uploadProcess->End();
    }
    if (done) done(*made);
  };
  const auto whole = [made, work = std::move(work), finish] {
    work(*made);
    toolkit::RunLater(finish);
  };
  if (!CommonAbility::DriveThreadPool::GetInstance().Add(whole)) finish();
}

void ZentaraGallery::Say(const QString& icon, const QString& sentence, const QString& action,
                         std::function<void()> onAction) {
  (void)Toast::Show(*this, {icon, sentence, action, std::move(onAction)});
}

ZentaraGallery::Files ZentaraGallery::Chosen() const {
  Files files;
  const auto* viewer = Viewer();
  if (!viewer) {
    Selection().GetSelectedFiles(files);
    return files;
  }
  const auto& shown = viewer->ShownNow();
  if (!shown) return files;
  files.push_back(shown);
  if (shown->ContinuousType != 1) return files;
  for (const auto& member : shown->GetMembers())
    if (member != shown) files.push_back(member);
  LogInfo(kTag, "continuousItemListSize: " + std::to_string(files.size()));
  return files;
}

// When a batch begins: what is chosen while it runs is the user's next choice.
void ZentaraGallery::DoneWithSelection() {
  if (HasViewer()) return;  // What it shows stays chosen.
  Selection().SelectClear(false);
  OnToolbarState(0);
  Page::PostRedraw();
}

// --- States

void ZentaraGallery::OnToolbarState(int state) {
  if (state < 0 || state > 5 || !current) return;
  const auto bar = PageRules::ToolbarFor(static_cast<PageRules::ToolbarState>(state), current->Kind(),
                                         HasViewer(), PageRules::Rights::OfAccount());
  const auto apply = [this](const char* name, const std::optional<bool>& on) {
    auto* control = on ? FindControl(QString::fromLatin1(name)) : nullptr;
    if (control) control->SetEnabled(*on);
  };
  apply("btn_uploadFiles", bar.upload);
  apply("btn_download", bar.download);
  apply("btn_move", bar.move);
  apply("btn_delete", bar.remove);
  apply("btn_ReplyFiles", bar.reply);
  apply("btn_removeFile", bar.removeForGood);
}

void ZentaraGallery::OnMultiSelect() {
  if (multiBubble) multiBubble->Dismiss();
  if (GlobalData::multiBubbleShown.exchange(false)) UserProperties::Set(UserProperties::kTipSeen, 1);
  if (Selection().IsMultiSelect()) {
    Selection().SelectClear(false);
  } else {
    Selection().SelectClear(false);
    Selection().SetMultiSelect(true);
    Selection().RefreshNumberLabel();
  }
  OnReloadView();
  OnToolbarState(0);
}

// --- Clicks

void ZentaraGallery::Notify(TNotifyUI& message) {
  if (message.sType == QStringLiteral("click")) return OnClick(message);
  if (message.sType == QStringLiteral("valuechanged") && message.pSender == slider)
    return OnSliderValueChange(static_cast<int>(message.wParam));
  if (message.sType == QStringLiteral("dbclick")) return OnCellDblClick(message);
  if (message.sType == QStringLiteral("zoom")) return OnZoomWheel(message.wParam != 0);
  if (message.sType == QStringLiteral("menu")) return OnMenu(message);
  if (message.sType == QStringLiteral("menuclick")) return OnMenuClick(message.sDetail);
  if (message.sType == QStringLiteral("link"))
    (void)platform::SendMessageW(GlobalData::mainWnd, WM_GALLERY_OPEN_UPGRADE, 0, 0);
}

void ZentaraGallery::OnClick(TNotifyUI& message) {
  if (!message.pSender) return;
  const QString name = message.pSender->GetName();
  const auto is = [&name](const char* other) { return name == QString::fromLatin1(other); };
  if (is("btn_uploadFiles") || is("empty_upload")) return OnUpload();
  if (is("btn_download")) return DownloadPicWnd::AsksEachTime() ? OnDownLoadFile() : OnDownLoadFileNoWnd();
  if (is("btn_move")) return OnMoveFile();
  if (is("btn_delete")) return OnDeleteFile(false);
  if (is("btn_removeFile")) return OnDeleteFile(true);
  if (is("btn_ReplyFiles")) return OnRestoreFile();
  if (is("del_btn_clear")) return OnClearBin();
  if (is("btn_multiSelect")) return OnMultiSelect();
  if (is("btn_narrow") || is("btn_expansion")) {
    const bool narrow = is("btn_narrow");
    if (sliderIsZoom) return slider->SetValue(narrow ? slider->GetMinValue() : slider->GetMaxValue());
    if (slider) slider->SetValue(narrow ? 1 : 4);
    Logger::OutputOperationLog(narrow ? kEventNarrow : kEventExpand, 1, 0, {{"total", "0"}});
    return;
  }
  if (message.pSender == allButton) {
    Logger::OutputOperationLog(kEventAll, 1, 0,
                               {{"total", std::to_string(current ? current->FileCount() : 0)}});
    if (list) list->OnSelectAllKey(1);
    return;
  }
  if (message.pSender == numberButton) {
    Selection().SelectClear(false);
    Page::Post(WM_GALLERY_RELOAD_VIEW);
    Page::PostToolbar(0);
    Page::PostRedraw();
    return;
  }
  if (is("ShowTimeScrollBar") && Selection().Count() < 2) {
    Page::ShowDateLine(CTimeScrollBarUINew::DateText());
    FitTitle();
  }
}

void ZentaraGallery::OnSliderReleased() {
  Logger::OutputOperationLog(
      kEventLayout, 1, 0,
      {{"key", "Gallery_LayoutValue"}, {"LayoutValue", std::to_string(slider->GetValue())}});
}

// --- Upload

void ZentaraGallery::SayLimit() {
  char text[260];
  std::snprintf(
      text, sizeof text,
      CResourceManager::GetText(QStringLiteral("IDS_GALLERT_FILES_UPPER_LIMIT")).toUtf8().constData(),
      static_cast<int>(UploadController::kFilesUpperLimit));
  Say(QStringLiteral("warning"), QString::fromUtf8(text));
}

void ZentaraGallery::OnUpload() {
  if (PageRules::IsActionForbidden(PageRules::kFunctionUpload)) return;
  const QString words = CResourceManager::GetText(QStringLiteral("IDS_SELECT_PICTURES_AND_VIDEOS"));
  const QString filter = words + QStringLiteral(" (") + QString::fromLatin1(kFilters) + u' ' +
                         QString::fromLatin1(kFilters).toUpper() + u')';
  const QStringList files =
      chooseFiles ? chooseFiles(words, filter) : toolkit::ChooseFiles(*this, words, filter);
  if (files.isEmpty()) return;  // The page may have gone meanwhile.
  std::vector<std::wstring> paths;
  for (const QString& file : files) paths.push_back(Page::Wide(file));
  Upload(std::move(paths), current && current->IsReal() ? current : nullptr);
}

void ZentaraGallery::Upload(std::vector<std::wstring> paths, Album::Ptr album, std::function<void()> then) {
  if (paths.empty()) return;
  if (paths.size() > UploadController::kFilesUpperLimit) return SayLimit();
  if (!album) {
    const QPointer<ZentaraGallery> page(this);
    Asked<UpLoadFilesWnd> ask;
    if (ask.RunOver(*this) != IDOK) {
      if (page && then) then();
      return;
    }
    album = ask->Chosen();
  }
  const auto result = std::make_shared<UploadController::Result>();
  const std::size_t total = paths.size();
  Run(
      UploadProcess::TextKey(UploadProcess::Import), total,
      [paths = std::move(paths), album, result](Job& running) {
        const UploadBusy busy;
        UploadController controller;
        controller.stop = &running.stop;
        controller.onProgress = [&running](const UploadController::Progress& progress) {
          running.count = progress.done;
        };
        *result = controller.AddToLocal(paths, album);
      },
      [this, album, result, then = std::move(then)](const Job& ended) {
        if (!result->added.empty())
          Say(QStringLiteral("check"), Counted("IDS_GALLERY_ADDED", result->added.size()));
        if (panel) panel->Reload();
        const QPointer<ZentaraGallery> page(this);
        TellRefused(Page::Wide(Page::AlbumTitle(*album)), result->refused);
        if (page && then && !ended.stop) then();
      });
}

void ZentaraGallery::TellRefused(const std::wstring& album, const std::vector<RefusedFile>& refused,
                                 const char* titleKey) {
  if (refused.empty()) return;
  std::vector<UploadExceptionWnd::Line> lines;
  for (const auto& file : refused) {
    lines.push_back({Page::Wide(platform::WideFileName(file.path)), QString::fromLatin1(file.textKey)});
  }
  LogInfo(kTag, "ShowExceptionWnd file true ");
  Asked<UploadExceptionWnd> window(QString::fromLatin1(titleKey), Page::Wide(album), std::move(lines));
  (void)window.RunOver(*this);
}

// --- Delete, restore

void ZentaraGallery::OnDeleteFile(bool hard) {
  LogInfo(kTag, "ButtonDown_Delete");
  const bool bin = current && current->IsBin();
  if (PageRules::IsActionForbidden(bin ? PageRules::kFunctionRemove : PageRules::kFunctionDelete)) return;
  Files files = Chosen();
  if (files.empty()) return;
  Asked<DeletePicWnd> ask(DeletePicWnd::Kind::Files, files.size(), hard || bin);
  if (ask.RunOver(*this) != IDOK) return;
  if (!hard && !bin) return Recycle(std::move(files));
  const auto deleted = std::make_shared<std::size_t>(0);
  const auto left = std::make_shared<std::vector<RefusedFile>>();
  DoneWithSelection();
  Run(
      UploadProcess::TextKey(UploadProcess::Delete), files.size(),
      [files, deleted, left](Job& running) {
        const auto work = [](const Files& part, const Gallery::Report& report) {
          (void)Gallery::GetInstance().DeleteFiles(part, false, report);
        };
        *deleted = InSteps(files, running, work, left.get()).size();
      },
      [this, deleted, left](const Job&) {
        const QPointer<ZentaraGallery> page(this);
        TellRefused({}, *left, "IDS_GALLERY_LEFT_TITLE");
        if (page && *deleted > 0)
          Say(QStringLiteral("delete"), Counted("IDS_GALLERY_DELETED_FOR_GOOD", *deleted));
      });
}

void ZentaraGallery::Recycle(Files files) {
  const auto gone = std::make_shared<Files>();
  const auto left = std::make_shared<std::vector<RefusedFile>>();
  DoneWithSelection();
  Run(
      UploadProcess::TextKey(UploadProcess::Delete), files.size(),
      [files, gone, left](Job& running) {
        const auto work = [](const Files& part, const Gallery::Report& report) {
          (void)Gallery::GetInstance().RecycleFiles(part, false, report);
        };
        *gone = InSteps(files, running, work, left.get());
      },
      [this, gone, left](const Job&) {
        const QPointer<ZentaraGallery> page(this);
        TellRefused({}, *left, "IDS_GALLERY_LEFT_TITLE");
        if (!page || gone->empty()) return;
        Say(QStringLiteral("delete"), Counted("IDS_GALLERY_RECYCLED", gone->size()),
            QStringLiteral("IDS_GALLERY_UNDO"), [this, gone] {
              Run(
                  UploadProcess::TextKey(UploadProcess::Restore), gone->size(),
                  [gone](Job& running) {
                    (void)InSteps(*gone, running, [](const Files& part, const Gallery::Report& report) {
                      (void)Gallery::GetInstance().RecoverFiles(part, false, report);
                    });
                  },
                  nullptr);
            });
      });
}

void ZentaraGallery::OnRestoreFile() {
  LogInfo(kTag, "Gallery RestoreFile");
  if (PageRules::IsActionForbidden(PageRules::kFunctionRestore)) return;
  const Files files = Chosen();
  if (files.empty() || !current || !current->IsBin()) return;
  const auto back = std::make_shared<std::size_t>(0);
  DoneWithSelection();
  Run(
      UploadProcess::TextKey(UploadProcess::Restore), files.size(),
      [files, back](Job& running) {
        *back = InSteps(files, running, [](const Files& part, const Gallery::Report& report) {
                  (void)Gallery::GetInstance().RecoverFiles(part, false, report);
                }).size();
      },
      [this, back](const Job&) { Say(QStringLiteral("restore"), Counted("IDS_GALLERY_RESTORED", *back)); });
}

void ZentaraGallery::OnClearBin() {
  if (!current || !current->IsBin() || PageRules::IsActionForbidden(PageRules::kFunctionRemove)) return;
  const Files files = current->GetFiles();
  if (files.empty()) return;
  Asked<DeletePicWnd> ask(DeletePicWnd::Kind::ClearBin, files.size(), true);
  if (ask.RunOver(*this) != IDOK) return;
  std::int64_t size = 0;
  std::string ids;
  for (std::size_t i = 0; i < files.size(); ++i) {
    size += files[i]->Size;
    if (i < kMostIdsLogged) ids += (i ? "," : "") + files[i]->UniqueId();
  }
  const std::string number = std::to_string(files.size());
  Logger::OutputOperationLog(
      kEventClearBin, 1, 0,
      {{"num", number}, {"total", number}, {"size", std::to_string(size)}, {"ids", ids}});
  DoneWithSelection();
  Run(
      UploadProcess::TextKey(UploadProcess::Delete), files.size(),
      [files](Job& running) {
        (void)InSteps(files, running, [](const Files& part, const Gallery::Report& report) {
          (void)Gallery::GetInstance().DeleteFiles(part, false, report);
        });
      },
      [this](const Job& ended) {
        Say(QStringLiteral("empty-bin"), Counted("IDS_GALLERY_DELETED_FOR_GOOD", ended.count));
      });
}

// --- Move

void ZentaraGallery::OnMoveFile() {
  LogInfo(kTag, "ButtonDown_Move");
  Files files = Chosen();
  if (files.empty() || PageRules::IsActionForbidden(PageRules::kFunctionMove)) return;
  Asked<MovePicWnd> ask(current && current->IsReal() ? current : nullptr);
  if (ask.RunOver(*this) != IDOK || !ask->Chosen()) return;
  MoveTo(std::move(files), ask->Chosen());
}

void ZentaraGallery::MoveTo(Files files, const Album::Ptr& target) {
  struct Moved {
    std::map<std::string, Files> from;
    std::size_t done = 0;
    std::vector<RefusedFile> left;
  };
  const auto moved = std::make_shared<Moved>();
  OnToolbarState(0);
  Selection().SelectClear(false);
  Run(
      UploadProcess::TextKey(UploadProcess::Move), files.size(),
      [files, target, moved](Job& running) {
        std::map<GalleryFile::Ptr, std::string> homes;
        for (const auto& file : files) homes[file] = file->AlbumId();
        const Files done = InSteps(
            files, running,
            [&target](const Files& part, const Gallery::Report& report) {
              (void)Gallery::GetInstance().MoveFiles(part, target, false, report);
            },
            &moved->left);
        for (const auto& file : done) moved->from[homes[file]].push_back(file);
        moved->done = done.size();
      },
      [this, target, moved](const Job&) {
        Page::PostRedraw();
        const QString name = Page::AlbumTitle(*target);
        if (moved->done == 0 && moved->left.empty())
          return Say(QStringLiteral("info"),
                     Page::Fill(CResourceManager::GetText(QStringLiteral("IDS_GALLERY_MOVED_NONE")), {name}));
        const QPointer<ZentaraGallery> page(this);
        TellRefused(Page::Wide(name), moved->left, "IDS_GALLERY_LEFT_TITLE");
        if (page && moved->done > 0) SayMoved(moved->from, moved->done, target);
      });
}

// With the way back: each file to the album that it came from.
void ZentaraGallery::SayMoved(const std::map<std::string, Files>& from, std::size_t number,
                              const Album::Ptr& target) {
  const QString words =
      Page::Fill(Counted("IDS_GALLERY_MOVED", number), {QString(), Page::AlbumTitle(*target)});
  Say(QStringLiteral("move"), words, QStringLiteral("IDS_GALLERY_UNDO"), [this, from, number] {
    Run(
        UploadProcess::TextKey(UploadProcess::Move), number,
        [from](Job&) {
          for (const auto& [id, part] : from) {
            if (const auto home = Gallery::GetInstance().GetAlbum(id))
              (void)Gallery::GetInstance().MoveFiles(part, home, false);
          }
        },
        nullptr);
  });
}

// --- Download

void ZentaraGallery::OnDownLoadFile() {
  LogInfo(kTag, "ButtonDown_DownLoad");
  Files files = Chosen();
  if (files.empty()) return;
  Asked<DownloadPicWnd> ask(std::move(files), [this](const QString& start) {
    return chooseFolder ? chooseFolder(start) : toolkit::ChooseFolder(*this, start);
  });
  (void)ask.RunOver(*this);  // It orders them itself.
}

void ZentaraGallery::OnDownLoadFileNoWnd() {
  LogInfo(kTag, "ButtonDown_DownLoad");
  Files files = Chosen();
  if (!files.empty()) Download(std::move(files), Page::Wide(DownloadPicWnd::StandardFolder()));
}

void ZentaraGallery::Download(Files files, const std::wstring& folder) {
  const auto queued = std::make_shared<std::size_t>(0);
  const std::size_t wanted = files.size();
  DoneWithSelection();
  CommonAbility::DriveThreadPool::GetInstance().Add(
      [files = std::move(files), folder, queued, wanted, page = QPointer<ZentaraGallery>(this)] {
        *queued = GalleryTransManager::GetInstance().GalleryDownload(files, folder);
        toolkit::RunLater([page, queued, wanted, folder] {
          if (!page) return;
          if (*queued == 0 && wanted > 0)
            return page->Say(QStringLiteral("info"), QStringLiteral("IDS_GALLERY_DOWNLOAD_NONE"));
          (void)platform::PostMessageW(GlobalData::mainWnd, WM_GALLERY_DOWNLOAD_TOAST, 0, 0);
          page->Say(QStringLiteral("download"), Counted("IDS_GALLERY_DOWNLOADING", *queued),
                    QStringLiteral("IDS_GALLERY_SHOW_FOLDER"),
                    [folder] { QDesktopServices::openUrl(QUrl::fromLocalFile(Page::NativeText(folder))); });
        });
      });
}

// --- Menus

void ZentaraGallery::OnMenu(TNotifyUI& message) {
  if (Selection().Count() == 0 || HasViewer() || !message.pSender || !current) return;
  const QString name = message.pSender->GetName();
  QString skin;
  if (name == QStringLiteral("ThumbPic")) {
    skin = PageRules::IsMovableType(current->Kind()) ? QStringLiteral("Menu/PicMenu.xml")
                                                     : QStringLiteral("Menu/PicMenuMove.xml");
  } else if (name == QStringLiteral("DelPic")) {
    const bool open = !PageRules::IsActionForbidden(PageRules::kFunctionRemove) ||
                      !PageRules::IsActionForbidden(PageRules::kFunctionRestore);
    if (!open) return;
    skin = QStringLiteral("Menu/PicMenuRecycleBin.xml");
  }
  if (!skin.isEmpty()) (void)CMenuWnd::Show(skin, Manager(), message.pSender, message.ptMouse);
}

void ZentaraGallery::OnMenuClick(const QString& item) {
  if (item == QStringLiteral("DownLoadPic") || item == QStringLiteral("DownloadPic"))
    return DownloadPicWnd::AsksEachTime() ? OnDownLoadFile() : OnDownLoadFileNoWnd();
  if (item == QStringLiteral("MovePic")) return OnMoveFile();
  if (item == QStringLiteral("DeletePic")) return OnDeleteFile(current && current->IsBin());
  if (item == QStringLiteral("RestorePic")) OnRestoreFile();
}
