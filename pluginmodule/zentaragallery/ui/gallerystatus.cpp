// The status line of the page, and what the cloud says of the account.

#include <QDateTime>
#include <QLocale>

#include "cloud/cloudphotov2helper.h"
#include "common/platform/clock.h"
#include "common/toolkit/resourcemanager.h"
#include "host/base/globalparamwrapper.h"
#include "store/dbhelper.h"
#include "sync/synchelper.h"
#include "ui/galleryalbumwnd.h"
#include "ui/pagecontext.h"
#include "ui/userproperties.h"
#include "ui/view/pageflags.h"
#include "ui/view/thumbrequests.h"
#include "ui/zentaragallery.h"
#include "utils/gallerylog.h"
#include "utils/messages.h"

namespace {

constexpr char kLastUpdate[] = "GalleryLastUpdate";  // seconds since 1970

std::int64_t LastUpdate() {
  const std::string text = UserProperties::GetText(kLastUpdate);
  return text.empty() ? 0 : std::strtoll(text.c_str(), nullptr, 10);
}

// The icon that says the same as the words.
QString IconOf(int state) {
  if (state == 4) return QStringLiteral("cloud-off");
  if (state == 5) return QStringLiteral("error");
  return state == 8 ? QStringLiteral("cloud-full") : QStringLiteral("cloud-check");
}

}  // namespace

void ZentaraGallery::OnUpdateWinState(int state, std::int64_t number) {
  if (state == 7) {
    if (panel) Page::Post(WM_GALLERY_ALBUM_FORWARD);
    return DisableOrDel();
  }
  if (state == 0) {
    UserProperties::Set(kLastUpdate, std::to_string(platform::NowSeconds()));
    ThumbRequests::GetInstance().Forget();
  }
  shownState = state;
  shownCount = number;
  if ((!current || current->Kind() != AlbumKind::TimeLine) && state != 2) return;
  const std::int64_t last = LastUpdate();
  const bool enough = SyncHelper::GetInstance().GetState().status != SyncStatus::NOSPACE;
  const auto status =
      PageRules::StatusFor(state, number, enough, last > 0 ? platform::NowSeconds() - last : -1);
  ShowStatus(status, state);
}

void ZentaraGallery::ShowStatus(const PageRules::StatusText& status, int state) {
  auto* words = Find<CLabelUI>(QStringLiteral("update_status"));
  auto* ring = FindControl(QStringLiteral("update_ring"));
  auto* icon = Find<CLabelUI>(QStringLiteral("update_icon"));
  if (!words) return;
  QString text;
  if (status.isStorageFull) {
    text = StorageFullText(status.count.value_or(0));
  } else if (status.isTime) {
    const auto time = QDateTime::fromSecsSinceEpoch(LastUpdate()).time();
    text = Page::Fill(CResourceManager::GetText(QString::fromStdString(status.key)),
                      {QStringLiteral("%1:%2").arg(time.hour(), 2, 10, QLatin1Char('0')).arg(time.minute(), 2, 10, QLatin1Char('0'))});
  } else if (status.count) {
    text = CResourceManager::GetPluralText(QString::fromStdString(status.key), *status.count);
  } else if (!status.key.empty()) {
    text = CResourceManager::GetText(QString::fromStdString(status.key));
  }
  words->SetText(text);
  words->SetVisible(!status.hidden);
  words->SetTextColor(state == 5 ? QStringLiteral("danger-text") : QStringLiteral("text-2"));
  if (ring) ring->SetVisible(status.ring);
  if (icon) {
    icon->SetVisible(!status.ring && !status.hidden);
    icon->SetIcon(status.isStorageFull ? QStringLiteral("cloud-full") : IconOf(state), 16,
                  state == 5 ? QStringLiteral("danger-text") : QStringLiteral("text-2"));
  }
  if (status.reload) Page::Post(WM_GALLERY_RELOAD_VIEW);
}

// Without the module that sells space there is nothing to link to: the words about it
// are left out, by the language's own sentence ends.
QString ZentaraGallery::StorageFullText(std::int64_t number) const {
  const QString language = CResourceManager::Language();
  if (language == QStringLiteral("zh-CN"))
    return Page::Fill(CResourceManager::GetText(QStringLiteral("IDS_GALLERT_SyncNotSpace_Overseas")),
                      {CResourceManager::FormatNumber(number)});
  // The cut comes before the number, whose groups of digits may have points of their own.
  QString text = CResourceManager::GetText(QStringLiteral("IDS_GALLERT_SyncNotSpace") +
                                           CResourceManager::PluralSuffix(number));
  qsizetype end = text.indexOf(u'.');
  end = end < 0 ? end : text.indexOf(u'.', end + 1);
  text = end < 0 || language == QStringLiteral("th-TH") ? text.section(QStringLiteral("%2$s"), 0, 0).trimmed()
                                                        : text.left(end + 1);
  return text.replace(QStringLiteral("%1$d"), CResourceManager::FormatNumber(number));
}

// The cloud's state of the account is not asked for yet: nothing is shown or reset here.
void ZentaraGallery::DisableOrDel() {}

void ZentaraGallery::UpdateDatabaseCloudContentStatus(WPARAM, LPARAM) {}
