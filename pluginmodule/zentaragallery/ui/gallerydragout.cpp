#include "ui/gallerydragout.h"

#include <QDesktopServices>
#include <QDir>
#include <QDrag>
#include <QEventLoop>
#include <QFileInfo>
#include <QPixmap>
#include <QTimer>
#include <QUrl>
#include <algorithm>
#include <array>
#include <chrono>
#include <set>

#include "common/platform/files.h"
#include "common/platform/paths.h"
#include "common/platform/random.h"
#include "common/platform/text.h"
#include "common/toolkit/resourcemanager.h"
#include "host/base/globalparamwrapper.h"
#include "transfer/stream/contentcopy.h"
#include "ui/directsave.h"
#include "ui/dragpicture.h"
#include "ui/gallerydropwatch.h"
#include "ui/pagecontext.h"
#include "ui/view/galleryselecthelper.h"
#include "ui/view/pageflags.h"
#include "ui/zentaragallery.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"
#include "utils/messages.h"

namespace fs = std::filesystem;

namespace {

constexpr char kTag[] = "GalleryDragOut";
const QString kUris = QStringLiteral("text/uri-list");
constexpr int kNameDigits = 8;
constexpr int kMostTries = 100;
// A target may read its copies for a while after the drop.
constexpr std::chrono::hours kCopiesStay{1};

// Of the drag that runs; empty without one.
QString& DraggedName() {
  static QString name;
  return name;
}

// Below one hidden folder, so that nobody meets them and all can be swept.
fs::path Root() {
  return platform::NativePath(GlobalParamWrapper::GetInstance()->GetAppDataLocalPath()) / ".drag";
}

bool IsDragName(const std::string& name) {
  return name.size() == kNameDigits &&
         std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::string NewName() {
  std::array<std::uint8_t, kNameDigits> random{};
  if (!platform::RandomBytes(random)) return {};
  std::string name;
  for (int i = 0; i < kNameDigits; ++i)
    name += static_cast<char>('0' + random[static_cast<std::size_t>(i)] % (i == 0 ? 8 : 9));
  return name;
}

void SweepOlderThan(fs::file_time_type::duration age) {
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(Root(), error)) {
    std::error_code failed;
    const bool isOld =
        age <= age.zero() || fs::file_time_type::clock::now() - entry.last_write_time(failed) > age;
    if (isOld && !failed && IsDragName(entry.path().filename().string()))
      fs::remove_all(entry.path(), failed);
  }
}

// A name of the cloud cannot lead out of the folder.
QString SafeName(const GalleryFile& file) {
  const QString name = QFileInfo(Page::Wide(platform::WideFileName(file.FileName()))).fileName();
  return name.isEmpty() || name == QStringLiteral("..") || name == QStringLiteral(".")
             ? QString::fromStdString(file.UniqueId())
             : name;
}

QString FreeName(const QString& name, std::set<QString>& taken) {
  const qsizetype dot = name.lastIndexOf(u'.') > 0 ? name.lastIndexOf(u'.') : name.size();
  QString free = name;
  for (int i = 1; !taken.insert(free).second; ++i)
    free = name.left(dot) + QStringLiteral(" (%1)").arg(i) + name.mid(dot);
  return free;
}

}  // namespace

// --- The drag directory

void GalleryDragOut::Sweep() { SweepOlderThan({}); }

QString GalleryDragOut::MakeDragDirectory() {
  const fs::path root = Root();
  if (platform::MakeFolder(root)) return {};
  SweepOlderThan(kCopiesStay);
  for (int i = 0; i < kMostTries; ++i) {
    const std::string name = NewName();
    const fs::path directory = root / name;
    std::error_code error;
    if (!name.empty() && fs::create_directory(directory, error))
      return QString::fromStdString(directory.string());
  }
  return {};
}

bool GalleryDragOut::IsOfTheDrag(const QString& path) {
  return !DraggedName().isEmpty() && QFileInfo(path).fileName() == DraggedName();
}

void GalleryDragOut::Run(QWidget& source, const QPixmap& picture) {
  auto* page = dynamic_cast<ZentaraGallery*>(toolkit::WidgetOf(GlobalData::galleryWnd));
  if (!page) return;
  std::vector<GalleryFile::Ptr> files;
  GallerySelectHelper::GetInstance().GetSelectedFiles(files);
  auto* drag = new QDrag(&source);
  auto* data = new DragOutData(*page, std::move(files));
  const QString name = data->DirectoryName();
  drag->setMimeData(data);
  drag->setPixmap(picture);
  drag->setHotSpot({picture.width() / 2, picture.height()});
  GlobalData::dragging = true;
  GlobalParamWrapper::GetInstance()->SetDropGallery(true);
  // The window that the drag comes from is known once it has begun.
  QTimer::singleShot(0, drag, [name] { DirectSave::Offer(name); });
  // A copy only: a target that moved would take the user's originals away.
  page->DropWatch().Begin();
  const QPointer<ZentaraGallery> stillThere = page;
  const bool dropped = drag->exec(Qt::CopyAction) != Qt::IgnoreAction;
  if (!dropped) End();
  if (stillThere) page->DropWatch().DragEnded(dropped);
}

// Also of a drop, once the target has all it asked for.
void GalleryDragOut::End() {
  DraggedName().clear();
  GlobalData::dragging = false;
  GlobalParamWrapper::GetInstance()->SetDropGallery(false);
}

// --- DragOutData

DragOutData::DragOutData(ZentaraGallery& gallery, std::vector<GalleryFile::Ptr> dragged)
    : state(std::make_shared<State>()) {
  state->page = &gallery;
  state->files = std::move(dragged);
  state->directory = GalleryDragOut::MakeDragDirectory();
  DraggedName() = DirectoryName();
}

DragOutData::~DragOutData() {
  if (DraggedName() == DirectoryName()) GalleryDragOut::End();
  if (!state->directory.isEmpty() && !state->gaveCopies) QDir(state->directory).removeRecursively();
}

QString DragOutData::DirectoryName() const {
  return state->directory.isEmpty() ? QString() : QFileInfo(state->directory).fileName();
}

// Without a directory the drag ends inside the page.
QStringList DragOutData::formats() const {
  QStringList types{kPicturesMime};
  if (state->directory.isEmpty()) return types;
  if (DirectSave::IsAvailable()) types << DirectSave::kMime;
  return types << kUris;
}

QVariant DragOutData::retrieveData(const QString& type, QMetaType) const {
  if (type == kPicturesMime) return QByteArray();
  if (type == kUris) return Addresses();
  if (type == DirectSave::kMime) return SaveDirectly();
  return {};
}

// "S" that the target's wish is met, "E" that it is not.
QByteArray DragOutData::SaveDirectly() const {
  const QString path = DirectSave::Answer();
  if (path.isEmpty() || !GalleryDragOut::IsOfTheDrag(path) || !state->page) return "E";
  // Sent: the drag is over once the target has this answer. The receiver frees the path.
  auto* copy = new std::wstring(Page::Wide(path));
  (void)platform::SendMessageW(state->page->GetHWND(), WM_GALLERY_SHELL_DROP, 0,
                               reinterpret_cast<LPARAM>(copy));
  return "S";
}

void DragOutData::FindPlaces(State& of) {
  if (!of.places.empty()) return;
  std::set<QString> taken;
  for (const auto& file : of.files) {
    const QString here = Page::NativeText(file->LocalPath());
    if (!here.isEmpty() && QFileInfo(here).isFile()) {
      of.places.push_back({file, here, false});
    } else if (!file->IsLocalOnly()) {
      of.places.push_back({file, of.directory + u'/' + FreeName(SafeName(*file), taken), true});
    }
  }
}

QStringList DragOutData::NamesOf(const std::vector<Place>& places) {
  QStringList names;
  for (const Place& place : places) names << QFileInfo(place.path).fileName();
  return names;
}

QByteArray DragOutData::Addresses() const {
  const auto kept = state;
  FindPlaces(*kept);
  // While a button is held the drag only passes over the window that asks.
  if (!DirectSave::IsButtonHeld() && !FetchCopies(kept)) return {};
  QByteArray list;
  if (kept->page) kept->page->DropWatch().Expect(NamesOf(kept->places));
  for (const Place& place : kept->places)
    list += QUrl::fromLocalFile(place.path).toEncoded(QUrl::FullyEncoded) + "\r\n";
  return list;
}

// The target waits for its answer; the page shows how far it is and a stop.
bool DragOutData::FetchCopies(const std::shared_ptr<State>& of) {
  std::vector<Place> copies;
  std::copy_if(of->places.begin(), of->places.end(), std::back_inserter(copies),
               [](const Place& p) { return p.isCopy; });
  if (copies.empty() || of->fetched) return true;
  if (of->fetching || !of->page) return false;
  of->fetching = true;
  const auto done = std::make_shared<bool>(false);
  bool ended = false;
  QEventLoop wait;
  of->page->Run(
      CResourceManager::GetPluralText(QStringLiteral("IDS_GALLERY_DOWNLOADING"),
                                      static_cast<qint64>(copies.size())),
      copies.size(),
      [copies, done](ZentaraGallery::Job& job) {
        const auto goesOn = [&job] { return !job.stop; };
        *done = std::all_of(copies.begin(), copies.end(), [&](const Place& place) {
          const auto outcome = CopyContent(place.file, place.path.toStdString(), goesOn);
          ++job.count;
          return outcome == StreamContent::Outcome::Done;
        });
      },
      [&wait, &ended](const ZentaraGallery::Job&) {
        ended = true;
        wait.quit();
      });
  const auto gone = QObject::connect(of->page, &QObject::destroyed, &wait, &QEventLoop::quit);
  if (!ended) wait.exec();
  QObject::disconnect(gone);
  of->fetching = false;
  of->fetched = of->gaveCopies = *done;
  if (!*done && of->page) of->page->Say(QStringLiteral("error"), QStringLiteral("IDS_GALLERY_DRAG_FAILED"));
  return *done;
}

// --- The page

// A target has named the place at which it wants the drag directory; what is wanted there
// are the pictures.
// Other names are those of files that the target was given and has put there itself.
void ZentaraGallery::DragDownGalleryFile(const std::wstring& path) {
  if (!GalleryDragOut::IsOfTheDrag(Page::Wide(path))) return DropWatch().Take(Page::Wide(path));
  if (!GlobalData::dragging) return;
  // A second answer to one drop finds the mark taken away.
  GlobalData::dragging = false;
  DropWatch().End();  // What lands now are our own downloads.
  const Files files = Chosen();
  LogInfo(kTag, "GetSelectedVec=" + std::to_string(files.size()));
  LogInfo(kTag, "selectPicVec.size=" + std::to_string(files.size()));
  LogInfo(kTag, "GetSelectConTrolsSize=" + std::to_string(GallerySelectHelper::GetInstance().Count()));
  const QString folder = QFileInfo(Page::Wide(path)).path();
  LogInfo(kTag, "Home Gallery Drag To Local oprType:");
  if (!files.empty()) Download(files, Page::Wide(folder));
  LogInfo(kTag, "Home Gallery Drag To Local Success");
  Page::Post(WM_GALLERY_RELOAD_VIEW);
  (void)platform::PostMessageW(GlobalData::mainWnd, WM_GALLERY_DRAG_DONE, 0, 0);
}

void ZentaraGallery::TellLanded(std::size_t count, const QString& folder) {
  const QString place = QFileInfo(folder).fileName();
  const QString words =
      CResourceManager::GetPluralText(QStringLiteral("IDS_GALLERY_DROPPED"), static_cast<qint64>(count));
  Say(QStringLiteral("check"), Page::Fill(words, {QString(), place.isEmpty() ? folder : place}),
      QStringLiteral("IDS_GALLERY_SHOW_FOLDER"),
      [folder] { QDesktopServices::openUrl(QUrl::fromLocalFile(folder)); });
}

GalleryDropWatch& ZentaraGallery::DropWatch() {
  if (!dropWatch) {
    dropWatch = std::make_unique<GalleryDropWatch>(
        GetHWND(), [this](std::size_t count, const QString& folder) { TellLanded(count, folder); });
  }
  return *dropWatch;
}
