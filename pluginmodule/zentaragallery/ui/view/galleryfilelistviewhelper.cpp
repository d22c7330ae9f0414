#include "ui/view/galleryfilelistviewhelper.h"

#include <algorithm>

#include "host/base/drivethreadpool.h"
#include "host/base/globalparamwrapper.h"
#include "model/gallery.h"
#include "utils/daycalendar.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"

namespace {

std::uint64_t CeilDivide(std::uint64_t count, std::uint64_t step) { return (count + step - 1) / step; }

void LayOutDays(ViewCacheData& layout) {
  layout.yearTable.clear();
  std::uint64_t row = 0;
  for (const DateGroup& group : layout.dateGroups) {
    const std::uint64_t pictureRows = CeilDivide(group.count, layout.cols);
    group.firstRow = row;
    group.top = layout.totalHeight;
    group.rows = pictureRows + 1;
    group.height = layout.lineHeight * pictureRows + layout.dateHeight;
    row += group.rows;
    layout.totalHeight += static_cast<std::uint32_t>(group.height);
    layout.yearTable[static_cast<std::uint16_t>(LocalYear(group.date))] = layout.totalHeight;
  }
  layout.rowCount = static_cast<std::uint32_t>(row);
}

void CutDayRow(const Album::View& view, std::uint32_t rowIndex, ViewRow& row) {
  const auto group = view.layout->dateGroups.find(DateGroup{.firstRow = rowIndex});
  if (group == view.layout->dateGroups.end()) return;
  row.date = group->date;
  if (rowIndex == group->firstRow) {
    row.headerMarker = true;
    return;
  }
  const std::uint64_t skipped = (rowIndex - group->firstRow - 1) * view.layout->cols;
  const std::uint64_t count = std::min<std::uint64_t>(view.layout->cols, group->count - skipped);
  for (std::uint64_t index = group->firstFile + skipped, end = index + count;
       index < end && index < view.files.size(); ++index)
    row.files.push_back(view.files[index]);
}

void CutRow(const Album::View& view, std::uint32_t rowIndex, ViewRow& row) {
  const ViewCacheData& layout = *view.layout;
  const bool stale = layout.fileCount != view.files.size() || layout.rowCount == 0;
  if (stale || rowIndex >= layout.rowCount) return;
  const std::size_t first = std::size_t{rowIndex} * layout.cols;
  for (std::size_t index = first; index < std::min(first + layout.cols, view.files.size()); ++index)
    row.files.push_back(view.files[index]);
}

bool IsTimeLine(const Album& album) { return album.Kind() == AlbumKind::TimeLine; }

}  // namespace

GalleryFileListViewHelper& GalleryFileListViewHelper::GetInstance() {
  static GalleryFileListViewHelper& helper = *new GalleryFileListViewHelper;  // Workers may still call.
  return helper;
}

GalleryFileListViewHelper::GalleryFileListViewHelper() {
  LogInfo("GalleryFileListViewHelper", "GalleryFile View Helper init");
}

void GalleryFileListViewHelper::ComputeLayout(const Album& of, std::size_t fileCount, ViewCacheData& layout) {
  layout.totalHeight = 0;
  layout.rowCount = 0;
  layout.fileCount = static_cast<std::uint32_t>(fileCount);
  if (layout.cols == 0) return;
  if (IsTimeLine(of)) return LayOutDays(layout);
  layout.rowCount = static_cast<std::uint32_t>(CeilDivide(fileCount, layout.cols));
  layout.totalHeight = layout.lineHeight * layout.rowCount;
}

const GalleryFile::OrderBy& GalleryFileListViewHelper::OrderOf(const Album& of) {
  static const GalleryFile::OrderByCTime byCreation;
  static const GalleryFile::OrderByUTime byUpload;
  static const GalleryFile::OrderByRTime byRecycling;
  if (of.IsBin()) return byRecycling;
  if (of.Kind() == AlbumKind::RecentlyUpload) return byUpload;
  return byCreation;
}

// --- Configuration

void GalleryFileListViewHelper::SetListViewConf(const std::string& id, std::uint8_t cols,
                                                UpdateCallback callback, std::uint16_t dateHeight,
                                                std::uint16_t lineHeight) {
  LogInfo("GalleryFileListViewHelper", [&] {
    return "SetListViewConf: album[" + id + "] cols[" + std::to_string(cols) + "] LINE_HEIGHT[" +
           std::to_string(lineHeight) + "]";
  });
  std::uint64_t number = 0;
  {
    platform::MutexLock hold(workLock);
    number = ++lastConf;
    ++working;
  }
  const auto work = [this, conf = Conf{id, cols, dateHeight, lineHeight}, told = std::move(callback),
                     number] {
    ApplyConf(conf, told, number);
    platform::MutexLock hold(workLock);
    --working;
    workDone.notify_all();
  };
  if (!CommonAbility::DriveThreadPool::GetInstance().Add(work)) work();
}

void GalleryFileListViewHelper::ApplyConf(const Conf& conf, const UpdateCallback& callback,
                                          std::uint64_t number) {
  constexpr char kTag[] = "GalleryFileListViewHelper::SetListViewConf";
  LogInfo(kTag, "album----------------YY");
  const auto next = Gallery::GetInstance().GetAlbum(conf.albumId);
  {
    // One after the other: a layout that was overtaken must not come in last.
    platform::MutexLock order(applyLock);
    Album::Ptr old;
    if (!TakeAlbum(next, conf, callback, number, old)) return;
    if (old && old != next) old->SetListener(nullptr);
    LogInfo(kTag, "ClearExpiresFiles enter");
    next->ClearExpiresFiles();
    next->SetViewConf(conf.cols, conf.dateHeight, conf.lineHeight);
    Watch(next);
  }
  if (Gallery::GetInstance().IsLoaded()) NotifyViewUpdate();
}

// Without an album the former one stays. A call that was overtaken by a later one
// leaves everything to that.
bool GalleryFileListViewHelper::TakeAlbum(const Album::Ptr& next, const Conf& conf,
                                          const UpdateCallback& callback, std::uint64_t number,
                                          Album::Ptr& old) {
  platform::MutexLock order(workLock);
  if (number != lastConf) return false;
  platform::WriterLock hold(confMutex);
  updateCallback = callback;
  if (!next) return false;
  old = std::exchange(album, next);
  albumId = conf.albumId;
  return true;
}

void GalleryFileListViewHelper::Watch(const Album::Ptr& watched) {
  watched->SetListener([this, id = watched->AlbumId.Get()] {
    auto& gallery = Gallery::GetInstance();
    if (gallery.IsLoaded() && gallery.GetAlbum(id)) NotifyViewUpdate();
  });
}

void GalleryFileListViewHelper::WaitForConf() {
  platform::MutexLock hold(workLock);
  while (working > 0) workDone.wait(workLock);
}

void GalleryFileListViewHelper::DropCallback() {
  {
    platform::MutexLock order(workLock);
    ++lastConf;
    platform::WriterLock hold(confMutex);
    updateCallback = nullptr;
  }
  platform::WriterLock wait(callLock);
}

void GalleryFileListViewHelper::NotifyViewUpdate() {
  LogInfo("GalleryFileListViewHelper", "notify view flash by update");
  platform::ReaderLock calling(callLock);
  UpdateCallback callback;
  Album::Ptr current;
  {
    platform::ReaderLock hold(confMutex);
    callback = updateCallback;
    current = album;
  }
  if (!callback || !current) return;
  const auto layout = current->ViewCache();
  if (layout->cols != 0) callback(layout->rowCount);
}

// A reload has made the albums anew: the current one is looked up again, with the
// layout that it had.
void GalleryFileListViewHelper::SetCurrentAlbum(const std::string& id) {
  const auto next = Gallery::GetInstance().GetAlbum(id);
  Album::Ptr old;
  {
    platform::WriterLock hold(confMutex);
    old = std::exchange(album, next);
    albumId = id;
  }
  if (!next || !old || old == next) return;
  old->SetListener(nullptr);
  const auto layout = old->ViewCache();
  if (layout->cols != 0) next->SetViewConf(layout->cols, layout->dateHeight, layout->lineHeight);
  Watch(next);
}

// --- Reads

Album::Ptr GalleryFileListViewHelper::CurrentAlbum() const {
  platform::ReaderLock hold(confMutex);
  return album;
}

std::string GalleryFileListViewHelper::CurrentAlbumId() const {
  platform::ReaderLock hold(confMutex);
  return albumId;
}

Album::View GalleryFileListViewHelper::CurrentView() const {
  const auto current = CurrentAlbum();
  return current ? current->CurrentView() : Album::View{};
}

std::uint32_t GalleryFileListViewHelper::RowCount() const { return CurrentView().layout->rowCount; }

ViewRow GalleryFileListViewHelper::GetListViewVec(std::uint32_t rowIndex) const {
  ViewRow row;
  const auto current = CurrentAlbum();
  if (!current) return row;
  const auto view = current->CurrentView();
  row.columns = view.layout->cols;
  if (row.columns == 0) return row;
  if (IsTimeLine(*current)) {
    CutDayRow(view, rowIndex, row);
  } else {
    CutRow(view, rowIndex, row);
  }
  return row;
}

void GalleryFileListViewHelper::GetListViewVec(Files& out) const {
  LogInfo("GalleryFileListViewHelper", "!!!get all files on current album!!");
  out.clear();
  const auto view = CurrentView();
  if (view.layout->cols == 0) return;
  out.reserve(view.files.size());
  for (const auto& file : view.files) out.push_back(file);
}

void GalleryFileListViewHelper::GetFilesByDate(std::int64_t date, Files& out) const {
  out.clear();
  const auto view = CurrentView();
  const auto group = view.layout->dateGroups.find(DateGroup{.date = date});
  if (group != view.layout->dateGroups.end()) {
    const std::uint64_t end = std::min<std::uint64_t>(group->firstFile + group->count, view.files.size());
    for (std::uint64_t index = group->firstFile; index < end; ++index) out.push_back(view.files[index]);
  }
  LogInfo("GalleryFileListViewHelper", [&] {
    return "get galleryFiles by date: get files count:" + std::to_string(out.size()) +
           " [date:" + std::to_string(date) + "]";
  });
}

bool GalleryFileListViewHelper::GetRowAtPos(std::int64_t y, RowPlace& place) const {
  const auto current = CurrentAlbum();
  if (!current || !IsTimeLine(*current) || y < 0) return false;
  const auto layout = current->ViewCache();
  if (layout->cols == 0 || layout->lineHeight == 0) return false;
  const auto group = layout->dateGroups.find(DateGroup{.top = static_cast<std::uint64_t>(y)});
  if (group == layout->dateGroups.end()) return false;
  const auto top = static_cast<std::int64_t>(group->top);
  const std::int64_t picturesTop = top + layout->dateHeight;
  const auto firstRow = static_cast<std::uint32_t>(group->firstRow);
  if (y < picturesTop) {
    place = {firstRow, picturesTop, top};
    return true;
  }
  const std::int64_t line = layout->lineHeight, within = y - picturesTop;
  const auto whole = static_cast<std::uint32_t>(within / line);
  const std::int64_t rest = within % line;
  place.row = firstRow + whole + (rest != 0 ? 1 : 0);
  place.bottom = rest != 0 ? y - rest + line : y;
  place.top = place.bottom - line;
  return true;
}

std::uint32_t GalleryFileListViewHelper::GetFileIndex(const GalleryFile::Ptr& file) const {
  const auto current = CurrentAlbum();
  if (!current || !file) return kNoIndex;
  const auto files = current->Files();
  const std::size_t at = files->Find(file, OrderOf(*current));
  return at < files.size() ? static_cast<std::uint32_t>(at) : kNoIndex;
}

GalleryFile::Ptr GalleryFileListViewHelper::GetFileByIndex(std::uint32_t index) const {
  const auto view = CurrentView();
  return view.layout->cols != 0 && index < view.files.size() ? view.files[index] : nullptr;
}

void GalleryFileListViewHelper::GetFilesByRange(std::uint32_t a, std::uint32_t b, Files& out) const {
  out.clear();
  const auto view = CurrentView();
  const auto [first, last] = std::minmax(a, b);
  if (view.layout->cols == 0 || last >= view.layout->fileCount || last >= view.files.size()) return;
  for (std::size_t index = first; index <= last; ++index) out.push_back(view.files[index]);
}

bool GalleryFileListViewHelper::HasFile(const GalleryFile::Ptr& file) const {
  const auto current = CurrentAlbum();
  if (!current || current->ViewCache()->cols == 0) return true;
  return GetFileIndex(file) != kNoIndex;
}

bool GalleryFileListViewHelper::HasSameFile(const GalleryFile::Ptr& file) const {
  if (HasFile(file)) return true;
  if (!file || file->ContinuousType != 2) return false;
  const std::wstring burst = file->ContinuousName();
  const auto view = CurrentView();
  return std::any_of(view.files.begin(), view.files.end(), [&burst](const GalleryFile::Ptr& other) {
    return other->ContinuousType != 0 && other->ContinuousName() == burst;
  });
}

std::pair<std::uint64_t, std::uint64_t> GalleryFileListViewHelper::GetPhotoVideoCount(
    const std::string& id) const {
  if (GlobalParamWrapper::GetInstance()->GetDataHidePeriod()) return {0, 0};
  const auto of = Gallery::GetInstance().GetAlbum(id);
  if (!of) return {0, 0};
  return {of->pictureCount, of->videoCount};
}
