#include "homepage.h"

#include <QPainter>
#include <QStorageInfo>

#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "common/toolkit/dialogbuilder.h"
#include "common/toolkit/icons.h"
#include "common/toolkit/paintmanager.h"
#include "common/toolkit/progress.h"
#include "common/toolkit/resourcemanager.h"
#include "common/toolkit/resourcequeue.h"
#include "framewindow.h"
#include "host/account/userauthservice.h"
#include "model/gallery.h"
#include "sync/synchelper.h"
#include "transfer/gallerytransmanager.h"
#include "ui/fittedpicture.h"
#include "ui/pagecontext.h"
#include "ui/view/galleryfilelistviewhelper.h"
#include "ui/zentaragallery.h"

namespace {

constexpr int kTile = 184;
constexpr int kGap = 16;

}  // namespace

HomeGridUI::HomeGridUI() {
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
  connect(&ResourceQueue::GetInstance(), &ResourceQueue::ready, this, [this] { update(); });
}

void HomeGridUI::SetItems(std::vector<Item> next) {
  items = std::move(next);
  update();
}

void HomeGridUI::PaintBkImage(QPainter& painter) {
  painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
  const int columns = std::max(1, qRound(static_cast<double>(width()) / Scaled(kTile)));
  const int gap = Scaled(kGap), side = (width() - gap * (columns - 1)) / columns;
  int index = 0;
  for (const Item& item : items) {
    const int x = (index % columns) * (side + gap), y = (index / columns) * (side + gap);
    if (y + side > height()) break;
    ++index;
    const QRect cell = QStyle::visualRect(layoutDirection(), rect(), {x, y, side, side});
    const QImage image = ResourceQueue::GetInstance().Get(item.path, cell.size());
    if (image.isNull()) {
      painter.setPen(Qt::NoPen);
      painter.setBrush(ColorOf(QStringLiteral("skeleton")));
      painter.drawRoundedRect(cell, Scaled(4), Scaled(4));
      continue;
    }
    PaintFittedPicture(painter, image, cell, Scaled(4), [&](const QRect& picture) {
      if (!item.isVideo && !item.isBurst) return;
      const int strip = Scaled(20), mark = Scaled(16);
      painter.fillRect(QRect(picture.left(), picture.bottom() + 1 - strip, picture.width(), strip),
                       ColorOf(QStringLiteral("strip")));
      const QRect place(picture.left() + 2, picture.bottom() - 1 - mark, mark, mark);
      icons::Paint(painter, item.isVideo ? QStringLiteral("video") : QStringLiteral("burst"),
                   QStyle::visualRect(layoutDirection(), picture, place), Qt::white);
    });
  }
}

void HomeCardUI::DoEvent(TEventUI& event) {
  if (event.Type == EventType::ButtonUp && GetManager())
    GetManager()->SendNotify(this, QStringLiteral("click"));
  CVerticalLayoutUI::DoEvent(event);
}

void HomePage::DoInit() {
  CVerticalLayoutUI::DoInit();
  auto* content = CDialogBuilder().Create(QStringLiteral("Desktop/HomePage.xml"), &frame, this);
  if (!content) return;
  Add(content);
  auto* place = dynamic_cast<CContainerUI*>(FindSubControl(QStringLiteral("home_grid")));
  if (place) place->Add(grid = new HomeGridUI);
}

void HomePage::Say(const char* name, const QString& words) {
  if (auto* label = FindSubControl(QString::fromLatin1(name))) label->SetText(words);
}

void HomePage::Reload() {
  if (!grid || !frame.Work().IsOpen()) return;
  bool empty = false;
  std::vector<HomeGridUI::Item> items;
  for (const auto& entry : frame.Work().Gallery().Object().GetGalleryHomeData(empty)) {
    const auto folder = platform::Utf8ToWide(entry["thumbPath"].asString());
    const auto name = platform::Utf8ToWide(entry["guid"].asString()) + L".jpg";
    const bool typed = entry.isMember("fileType");
    items.push_back({Page::NativeText(folder + name), typed && entry["fileType"].asInt() == 2,
                     typed && entry["fileType"].asInt() == 1});
  }
  const bool none = items.empty();
  grid->SetItems(std::move(items));
  if (auto* words = FindSubControl(QStringLiteral("home_empty"))) words->SetVisible(none);
  const std::string server = UserAuthService::GetInstance()->GetServerUrl();
  Say("home_cloud_title", ItemsText());
  if (server.empty()) Say("home_cloud_text", QStringLiteral("IDS_HOME_NO_CLOUD"));
  // Both ask the disk, which may be slow.
  Page::InBackground(
      this,
      [] {
        const QStorageInfo disk(QString::fromStdString(platform::DataRoot().string()));
        return Figures{SyncHelper::GetInstance().GetState().status == SyncStatus::SYNCERROR,
                       disk.bytesAvailable(), disk.bytesTotal()};
      },
      [this, hasCloud = !server.empty()](const Figures& figures) { ShowFigures(figures, hasCloud); });
  std::size_t running = 0, waiting = 0, failed = 0;
  for (const TaskType kind : {TaskType::Upload, TaskType::Download}) {
    const auto figures = GalleryTransManager::GetInstance().GetFigures(kind);
    running += figures.running;
    waiting += figures.waiting;
    failed += figures.failed;
  }
  const auto number = [](std::size_t of) { return CResourceManager::FormatNumber(static_cast<qint64>(of)); };
  Say("home_transfers_title",
      Page::Fill(CResourceManager::GetText(QStringLiteral("IDS_HOME_RUNNING")), {number(running)}));
  Say("home_transfers_text", Page::Fill(CResourceManager::GetText(QStringLiteral("IDS_HOME_WAITING")),
                                        {number(waiting), number(failed)}));
}

void HomePage::ShowFigures(const Figures& figures, bool hasCloud) {
  if (hasCloud)
    Say("home_cloud_text",
        figures.trouble ? QStringLiteral("IDS_HOME_CLOUD_TROUBLE") : QStringLiteral("IDS_HOME_CLOUD_GOOD"));
  Say("home_storage_title", Page::SizeText(figures.freeBytes));
  auto* bar = dynamic_cast<CProgressUI*>(FindSubControl(QStringLiteral("home_storage_bar")));
  if (bar && figures.totalBytes > 0)
    bar->SetValue(static_cast<int>(100 - figures.freeBytes * 100 / figures.totalBytes));
}

QString HomePage::ItemsText() const {
  const auto all = ::Gallery::GetInstance().GetAlbum(SystemAlbumId(AlbumKind::TimeLine));
  const auto [photos, videos] =
      GalleryFileListViewHelper::GetInstance().GetPhotoVideoCount(all ? all->AlbumId.Get() : std::string());
  return photos + videos == 0 ? CResourceManager::GetPluralText(QStringLiteral("IDS_GALLERT_PHOTOS"), 0)
                              : Page::CountText(photos, videos);
}

void HomePage::OnNotify(TNotifyUI& message) {
  if (message.sType != QStringLiteral("click") || !message.pSender) return;
  const QString name = message.pSender->GetName();
  if (name == QStringLiteral("home_upload") && frame.GalleryPage()) {
    frame.ShowPage(FrameWindow::Gallery);
    frame.GalleryPage()->OnUpload();
  }
  if (name == QStringLiteral("home_all") || name == QStringLiteral("home_cloud_open"))
    frame.ShowPage(FrameWindow::Gallery);
  if (name == QStringLiteral("home_transfers_open")) frame.ShowPage(FrameWindow::Transfers);
}
