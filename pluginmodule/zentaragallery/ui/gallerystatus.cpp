// The status line of the page, and what the cloud says of the account.

#include <QDateTime>
#include <QLocale>

#include "common/platform/clock.h"
#include "common/platform/text.h"
#include "common/toolkit/resourcemanager.h"
#include "host/account/userauthservice.h"
#include "host/base/drivethreadpool.h"
#include "host/base/globalparamwrapper.h"
#include "host/transfer/transfertask.h"
#include "store/dbhelper.h"
#include "sync/synchelper.h"
#include "ui/dialogs/messagebox.h"
#include "ui/galleryalbumwnd.h"
#include "ui/pagecontext.h"
#include "ui/userproperties.h"
#include "ui/view/pageflags.h"
#include "ui/view/thumbrequests.h"
#include "ui/zentaragallery.h"
#include "utils/gallerylog.h"
#include "utils/messages.h"

namespace {

constexpr char kTag[] = "ZentaraGallery";
constexpr char kLastUpdate[] = "GalleryLastUpdate";  // seconds since 1970
constexpr char kClearSeen[] = "GalleryClearSeen";    // user and marker of the last emptying that was told
constexpr std::int64_t kDayMs = 86'400'000;
constexpr int kUploading = 2;
// The markup of what leads to more space, as CLabelUI reads it.
constexpr char kLinkBegin[] = "<a 1> <c #007DFF>", kLinkEnd[] = "</c></a>";
constexpr LPARAM kContentThere = 1, kContentLost = 2;

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

// Days begun count whole; 0 when they are over, or nobody told.
std::int64_t DaysUntil(std::int64_t timeMs) {
  const std::int64_t left = timeMs - platform::NowMs();
  return timeMs > 0 && left > 0 ? (left + kDayMs - 1) / kDayMs : 0;
}

QString UpgradeLink() {
  return QString::fromLatin1(kLinkBegin) + CResourceManager::GetText(QStringLiteral("IDS_UPDATE_Space_Ok")) +
         QString::fromLatin1(kLinkEnd);
}

QString WithoutLink(QString text) {
  return text.replace(UpgradeLink(), CResourceManager::GetText(QStringLiteral("IDS_UPDATE_Space_Ok")));
}

// Whether the cloud was emptied behind the state that this gallery has taken over.
// Without such a state there is nothing of the cloud here.
bool WasCleared(const std::string& marker) {
  auto& database = DBHelper::GetInstance();
  std::vector<AlbumLocalVersion> rows;
  if (!database.GetLocalVersions(rows) || rows.empty() || rows.front().AlbumVersion.empty()) return false;
  LogInfo(kTag, "albumVersion: " + rows.front().AlbumVersion + ";clearVersion: " + marker);
  return SyncHelper::IsClearNewer(rows.front().AlbumVersion, marker) && database.CountFiles() > 0;
}

void StoreContent(const TransferTask& task, std::int64_t state) {
  auto& database = DBHelper::GetInstance();
  const std::string id = task.GetTransferId();
  if (!database.SetContentStatus(id, state)) return;  // Logged there; the next check meets it again.
  LogInfo(kTag, "update content status " + std::to_string(state) + ", fileid: " + id);
  const auto file = Gallery::GetInstance().GetFile(id);
  if (!file) return;
  file->cloudContentStatus = static_cast<std::int32_t>(state);
  const std::int64_t size = task.GetTotalSize();
  if (size <= 0 || size == file->Size) return;
  const std::int64_t before = file->Size;
  file->Size = size;
  if (database.SetSize(file)) return LogInfo(kTag, "update content size, " + std::to_string(size));
  file->Size = before;
  LogError(kTag, "update content size fail, size: " + std::to_string(size));
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
  // Told before the end of the cycle that met it. The sync's own snapshot would read rows.
  const auto told = static_cast<SyncStatus>(state);
  if (told == SyncStatus::NOSPACE) spaceIsUp = true;
  if (told == SyncStatus::CHECK || told == SyncStatus::DOWNLOAD) spaceIsUp = false;
  if (IsTimeLine() || state == kUploading) ShowLastStatus();
}

// Other albums have the line only for what is being uploaded.
void ZentaraGallery::ShowLastStatus() {
  const std::int64_t last = LastUpdate();
  const auto status =
      PageRules::StatusFor(shownState, shownCount, !spaceIsUp, last > 0 ? platform::NowSeconds() - last : -1);
  const bool uploads = shownState == kUploading && current && !current->IsBin();
  if (auto* bar = FindControl(QStringLiteral("update_bar"))) bar->SetVisible(IsTimeLine() || uploads);
  ShowStatus(status, shownState);
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
                      {QStringLiteral("%1:%2")
                           .arg(time.hour(), 2, 10, QLatin1Char('0'))
                           .arg(time.minute(), 2, 10, QLatin1Char('0'))});
  } else if (status.count) {
    text = CResourceManager::GetPluralText(QString::fromStdString(status.key), *status.count);
  } else if (!status.key.empty()) {
    text = CResourceManager::GetText(QString::fromStdString(status.key));
  }
  words->SetText(text);
  words->SetToolTip(WithoutLink(text));
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

QString ZentaraGallery::StorageFullText(std::int64_t number) const {
  auto& parameters = *GlobalParamWrapper::GetInstance();
  if (!parameters.CheckModuleValid(L"SupportUpgrade")) return FullTextWithoutLink(number);
  if (parameters.IsBaseServiceUser())
    return CResourceManager::GetText(QStringLiteral("IDS_GALLERY_TOAST_BASEUPLOAD"));
  const QString text = CResourceManager::GetText(QStringLiteral("IDS_GALLERT_SyncNotSpace") +
                                                 CResourceManager::PluralSuffix(number));
  return Page::Fill(text, {CResourceManager::FormatNumber(number), UpgradeLink()});
}

// Without the module that sells space there is nothing to link to: the words about it
// are left out, by the language's own sentence ends.
QString ZentaraGallery::FullTextWithoutLink(std::int64_t number) {
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

// --- What the cloud says of itself

void ZentaraGallery::DisableOrDel() {
  const auto state = askServiceState();
  if (!state.known) return;
  const std::int64_t left = DaysUntil(state.deleteTimeMs);
  LogInfo(kTag, "cloudphoto.status.query-status: " + std::to_string(state.disabled ? 1 : 0) +
                    ";disableTimel: " + std::to_string(state.disableTimeMs) + ";deleteTime: " +
                    std::to_string(state.deleteTimeMs) + ";remain: " + std::to_string(left));
  ShowDisabled(state.disabled, left);
  if (state.disabled || state.clearVersion.empty()) return;
  Page::InBackground(
      this, [marker = state.clearVersion] { return WasCleared(marker); },
      [this, marker = state.clearVersion](bool cleared) {
        if (cleared) OnCloudCleared(marker);
      });
}

void ZentaraGallery::ShowDisabled(bool disabled, std::int64_t daysLeft) {
  auto* banner = FindControl(QStringLiteral("StopAndDelete"));
  if (!banner) return;
  if (disabled) {
    if (auto* words = FindControl(QStringLiteral("StopText")))
      words->SetText(CResourceManager::GetPluralText(QStringLiteral("IDS_GALLERT_EnableInfo"), daysLeft));
  }
  if (GlobalData::cloudDisabled.exchange(disabled) == disabled && banner->IsVisible() == disabled) return;
  banner->SetVisible(disabled);
  if (panel) (void)platform::PostMessageW(panel->GetHWND(), WM_GALLERY_CLOUD_DISABLED, 0, 0);
  OnSize();
  (void)platform::SendMessageW(GlobalData::viewerWnd, WM_GALLERY_VIEWER_RESIZED, 0, 0);
}

// Each emptying is told and done once, whatever versions the cloud tells later.
void ZentaraGallery::OnCloudCleared(const std::string& marker) {
  const std::string known =
      platform::WideToUtf8(UserAuthService::GetInstance()->GetCurrentUserID()) + ":" + marker;
  if (UserProperties::GetText(kClearSeen) == known) return;
  UserProperties::Set(kClearSeen, known);
  // The cycle that runs works on the rows; the next one lists all anew.
  (void)CommonAbility::DriveThreadPool::GetInstance().Add([] {
    if (SyncHelper::GetInstance().BetweenCycles([] { return DBHelper::GetInstance().ForgetCloud(); }))
      Page::Post(WM_GALLERY_DATA_RESET, 1, 0);
  });
  PopMessageBox(*this, QStringLiteral("IDS_GALLERT_INFORMATION"),
                QStringLiteral("IDS_GALLERT_EnableDeleteInfo"), QStringLiteral("IDS_GALLERT_BTN_OK"));
}

void ZentaraGallery::UpdateDatabaseCloudContentStatus(WPARAM task, LPARAM state) {
  const std::unique_ptr<TransferTask::Ptr> told(reinterpret_cast<TransferTask::Ptr*>(task));
  if (!told || !*told || (state != kContentThere && state != kContentLost)) return;
  (void)CommonAbility::DriveThreadPool::GetInstance().Add(
      [task = *told, state] { StoreContent(*task, state); });
}
