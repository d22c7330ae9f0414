#include "ui/pagecontext.h"

#include <QLocale>

#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "common/toolkit/resourcemanager.h"
#include "model/records/album.h"
#include "ui/view/galleryfilelistviewhelper.h"
#include "ui/view/pageflags.h"
#include "utils/globaldata.h"
#include "utils/messages.h"

namespace Page {
namespace {

GalleryFile::Ptr& Focused() {
  static GalleryFile::Ptr file;
  return file;
}

std::function<void(const QString&)>& DateLine() {
  static std::function<void(const QString&)> show;
  return show;
}

}  // namespace

void SetDateLine(std::function<void(const QString&)> show) { DateLine() = std::move(show); }

void ShowDateLine(const QString& text) {
  if (DateLine()) DateLine()(text);
}

void Post(UINT message, WPARAM word, LPARAM value) {
  (void)platform::PostMessageW(GlobalData::galleryWnd, message, word, value);
}

void Send(UINT message, WPARAM word, LPARAM value) {
  (void)platform::SendMessageW(GlobalData::galleryWnd, message, word, value);
}

void PostRedraw() { Post(WM_GALLERY_REDRAW, 0, IsTimeLineShown() ? 1 : 0); }

void PostToolbar(int state) { Post(WM_GALLERY_TOOLBAR_STATE, 0, state); }

const GalleryFile::Ptr& FocusFile() { return Focused(); }

void SetFocusFile(const GalleryFile::Ptr& file) { Focused() = file; }

bool IsTimeLineShown() {
  const auto album = GalleryFileListViewHelper::GetInstance().CurrentAlbum();
  return album && album->Kind() == AlbumKind::TimeLine;
}

bool HasViewer() { return platform::IsWindow(GlobalData::viewerWnd); }

QString AccessibleText(const GalleryFile& file) {
  QStringList parts{Wide(file.FileName()), CResourceManager::FormatDate(file.CreateTime)};
  if (file.IsVideo()) parts << CResourceManager::GetText(QStringLiteral("IDS_ACCESSIBLE_VIDEO"));
  if (file.ContinuousType == 1) parts << CResourceManager::GetText(QStringLiteral("IDS_ACCESSIBLE_BURST"));
  if (file.IsFavorite) parts << CResourceManager::GetText(QStringLiteral("IDS_ACCESSIBLE_FAVORITE"));
  if (file.IsLocalOnly()) parts << CResourceManager::GetText(QStringLiteral("IDS_ACCESSIBLE_WAITING"));
  return parts.join(QStringLiteral(", "));
}

QString NativeText(const std::wstring& path) {
  if (path.empty()) return {};
  return QString::fromStdString(platform::NativePath(path).string());
}

QString Wide(const std::wstring& text) { return QString::fromStdString(platform::DisplayText(text)); }

std::wstring Wide(const QString& text) { return platform::Utf8ToWide(text.toStdString()); }

QString AlbumTitle(const Album& album) {
  const std::wstring name = album.displayName.Get();
  if (album.Kind() == AlbumKind::None) return Wide(name);
  return CResourceManager::GetText(QString::fromStdWString(name));
}

QString AlbumIcon(const Album& album) {
  switch (album.Kind()) {
    case AlbumKind::Camera:
      return QStringLiteral("camera");
    case AlbumKind::Screenshots:
      return QStringLiteral("screenshot");
    case AlbumKind::Bluetooth:
      return QStringLiteral("bluetooth");
    case AlbumKind::Share:
      return QStringLiteral("share");
    case AlbumKind::PalveraShare:
      return QStringLiteral("share-device");
    case AlbumKind::WlanDirect:
      return QStringLiteral("wlan");
    default:
      return QStringLiteral("album");
  }
}

QString CountText(std::uint64_t photos, std::uint64_t videos) {
  const auto plural = [](const char* key, std::uint64_t number) {
    return number ? CResourceManager::GetPluralText(QString::fromLatin1(key), static_cast<qint64>(number))
                  : QString();
  };
  const QString photoText = plural("IDS_GALLERT_PHOTOS", photos),
                videoText = plural("IDS_GALLERT_VIDEOS", videos);
  if (photoText.isEmpty() || videoText.isEmpty()) return photoText + videoText;
  return Fill(CResourceManager::GetText(QStringLiteral("IDS_GALLERT_PHOTOS_VIDEOS")), {photoText, videoText});
}

QString SizeText(qint64 bytes, int decimals) {
  return QLocale(CResourceManager::Language())
      .formattedDataSize(bytes, decimals, QLocale::DataSizeTraditionalFormat);
}

QString LeftToRight(const QString& path) { return QChar(0x2066) + path + QChar(0x2069); }

QString SpeedText(qint64 bytesASecond, int decimals) {
  return Fill(CResourceManager::GetText(QStringLiteral("IDS_SPEED")), {SizeText(bytesASecond, decimals)});
}

QString Fill(QString text, const QStringList& arguments) {
  for (qsizetype i = 0; i < arguments.size(); ++i) {
    text.replace(QStringLiteral("%%1$s").arg(i + 1), arguments[i]);
    text.replace(QStringLiteral("%%1$d").arg(i + 1), arguments[i]);
  }
  if (!arguments.isEmpty()) text.replace(QStringLiteral("%s"), arguments[0]);
  return text;
}

}  // namespace Page
