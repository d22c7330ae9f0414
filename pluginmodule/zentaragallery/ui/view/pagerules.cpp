#include "ui/view/pagerules.h"

#include <algorithm>
#include <chrono>
#include <regex>

#include "host/base/globalparamwrapper.h"
#include "utils/daycalendar.h"

namespace PageRules {
namespace {

// Types 0, 1, 5, 6, 8, 9, 10, 11 and 12.
constexpr unsigned kMovableMask = 8035;

constexpr std::int64_t kSecondsPerDay = 86400;
constexpr std::int64_t kDaysInBin = 29;  // left on the day of recycling

}  // namespace

bool IsActionForbidden(int function) {
  return !GlobalParamWrapper::GetInstance()->CheckFunctionOpen(std::to_wstring(function));
}

bool IsMovableType(AlbumKind kind) {
  const int type = static_cast<int>(kind);
  return type <= 12 && (kMovableMask >> type & 1U) != 0;
}

Rights Rights::OfAccount() {
  return {!IsActionForbidden(kFunctionUpload), !IsActionForbidden(kFunctionMove),
          !IsActionForbidden(kFunctionDelete), !IsActionForbidden(kFunctionRemove),
          !IsActionForbidden(kFunctionRestore)};
}

Toolbar ToolbarFor(ToolbarState state, AlbumKind album, bool hasViewer, const Rights& rights) {
  Toolbar bar;
  const auto selected = [&] {
    bar.download = true;
    bar.remove = rights.remove;
    if (IsMovableType(album)) {
      bar.move = rights.move;
    } else {
      bar.move = false;
      bar.reply = rights.restore;
      bar.removeForGood = rights.removeForGood;
    }
  };
  switch (state) {
    case ToolbarState::Nothing:
      bar.upload = rights.upload;
      if (!hasViewer) bar.download = bar.move = bar.remove = false;
      bar.reply = bar.removeForGood = false;
      break;
    case ToolbarState::LocalItem:
      bar.upload = false;
      selected();
      break;
    case ToolbarState::Selected:
    case ToolbarState::Viewer:
      selected();
      break;
    case ToolbarState::BurstMember:
      bar.download = true;
      bar.remove = bar.move = false;
      break;
    case ToolbarState::Video:
      bar.move = false;
      break;
  }
  return bar;
}

StatusText LastUpdateText(std::int64_t seconds) {
  if (seconds < 0) return {.hidden = true};
  if (seconds < 60) return {.key = "IDS_GALLERT_JUST_NOW_UPDATE"};
  if (seconds < 3600) return {.key = "IDS_GALLERT_BEFORE_UPDATE", .count = seconds / 60};
  return {.key = "IDS_GALLEY_TIME_UPDATE", .isTime = true};
}

StatusText StatusFor(int state, std::int64_t count, bool enoughSpace, std::int64_t secondsSinceUpdate) {
  switch (state) {
    case 0:
      if (count < 1 || enoughSpace) return LastUpdateText(secondsSinceUpdate);
      return {.count = count, .isStorageFull = true};
    case 1:
    case 3:
      return {.key = "IDS_GALLERT_UPLOAD_UPDATE", .ring = true};
    case 2:
      if (count < 1) return {.hidden = true};
      return {.key = "IDS_GALLERT_UPLOAD", .count = count, .ring = true, .reload = true};
    case 4:
      return {.key = "IDS_GALLERT_SyncOffline"};
    case 5:
      return {.key = "IDS_GALLERT_UPDATE_FAILED"};
    case 6:
      return LastUpdateText(secondsSinceUpdate);
    case 8:
      return {.key = "IDS_TRANSERR_Error_DriveNoEnough"};
    default:
      return {.hidden = true};
  }
}

DaysLeft GetRecycleDaysLeft(std::int64_t recycleTimeMs, std::int64_t nowSeconds) {
  const std::int64_t elapsed = nowSeconds - recycleTimeMs / 1000;
  const std::int64_t days = elapsed / kSecondsPerDay;
  if (days > 0 && elapsed % kSecondsPerDay == 0) return {};
  return {kDaysInBin - days, true};
}

bool IsUrgent(const DaysLeft& left) { return left.hasText && std::max<std::int64_t>(1, left.days) < 4; }

bool KeepFirst(PathGroups& groups, std::size_t limit) {
  bool cut = false;
  for (auto& [album, paths] : groups) {
    cut |= paths.size() > limit;
    paths.resize(std::min(paths.size(), limit));
    limit -= paths.size();
  }
  std::erase_if(groups, [](const auto& group) { return group.second.empty(); });
  return cut;
}

std::optional<std::int64_t> EndOfTypedDate(const std::string& typed) {
  static const std::regex shape(R"((\d{1,4})(?:[-./](\d{1,2}))?(?:[-./](\d{1,2}))?)");
  std::smatch part;
  if (!std::regex_match(typed, part, shape)) return std::nullopt;
  using namespace std::chrono;
  const year inYear{std::stoi(part[1])};
  if (static_cast<int>(inYear) == 0) return std::nullopt;
  sys_days end{(inYear + years{1}) / January / 1};
  if (part[2].matched) {
    const month inMonth{static_cast<unsigned>(std::stoi(part[2]))};
    if (!inMonth.ok()) return std::nullopt;
    end = sys_days{inYear / inMonth / 1 + months{1}};
    if (part[3].matched) {
      const year_month_day date = inYear / inMonth / std::stoi(part[3]);
      if (!date.ok()) return std::nullopt;
      end = sys_days{date} + days{1};
    }
  }
  // Noon belongs to the same date in every zone, whatever its clocks do at night.
  constexpr std::int64_t kHalfDay = kSecondsPerDay / 2;
  const std::int64_t utc = end.time_since_epoch().count() * kSecondsPerDay;
  return LocalMidnight(utc - LocalOffset(utc) + kHalfDay);
}

}  // namespace PageRules
