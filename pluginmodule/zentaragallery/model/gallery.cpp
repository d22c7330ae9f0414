#include "model/gallery.h"

#include "model/deferredevents.h"
#include "store/dbhelper.h"

Gallery& Gallery::GetInstance() {
  static Gallery instance;
  return instance;
}

Gallery::Gallery() { upward::Install(this); }

bool Gallery::Init() {
  {
    platform::WriterLock hold(albumLock);
    albums.clear();
    albumsByName.clear();
    deletedAlbums.clear();
    albumTextIds.clear();
    firstAddDone = false;
  }
  {
    platform::WriterLock hold(fileLock);
    files.Clear();
  }
  {
    platform::MutexLock hold(lateIdsLock);
    lateIds.clear();
  }
  bursts.Clear();
  for (const AlbumKind kind : {AlbumKind::TimeLine, AlbumKind::RecentlyUpload}) {
    const auto album = Album::CreateSystem(kind);
    if (!album) return false;
    platform::WriterLock hold(albumLock);
    InsertLive(album);
  }
  Announce(AlbumEvent::Removed, AlbumPtr());
  upward::Views().SetCurrentAlbum(SystemAlbumId(AlbumKind::TimeLine));
  return true;
}

void Gallery::SetAlbumsListener(AlbumsListener listener) {
  platform::MutexLock hold(listenerLock);
  onAlbumsChanged = std::move(listener);
}

void Gallery::SetAlbumListener(AlbumListener listener) {
  platform::MutexLock hold(listenerLock);
  onAlbumChanged = std::move(listener);
}

void Gallery::Announce(AlbumEvent event, const AlbumPtr& album) {
  DeferredEvents::Run([this, event, album] { Tell(event, album); });
}

void Gallery::Tell(AlbumEvent event, const AlbumPtr& album) {
  AlbumListener listener;
  {
    platform::MutexLock hold(listenerLock);
    listener = onAlbumChanged;
  }
  if (listener) listener(static_cast<int>(event), album);
}

void Gallery::Announce(AlbumEvent event, const Albums& list) {
  AlbumsListener listener;
  {
    platform::MutexLock hold(listenerLock);
    listener = onAlbumsChanged;
  }
  if (listener) listener(static_cast<int>(event), list);
}

Gallery::AlbumPtr Gallery::RestoreAlbum(const std::wstring& name, std::int64_t createTime) {
  return CreateAlbum(name, true, createTime);
}

bool Gallery::ReadAlbumRow(Album& album, const std::string& id) {
  return DBHelper::GetInstance().GetAlbum(album, id);
}

bool Gallery::WriteRows(const Files& list) { return DBHelper::GetInstance().AddFiles(list); }

bool Gallery::WriteAlbumIdOfFiles(const std::string& oldId, const std::string& newId) {
  return DBHelper::GetInstance().ChangeAlbumId(oldId, newId);
}

Gallery::Files Gallery::BurstCovers(const std::wstring& name, const std::string& albumId, bool inBin) {
  return bursts.Covers(name, albumId, inBin);
}

Gallery::Files Gallery::BurstMembers(const std::wstring& name, const std::string& albumId, bool inBin) {
  return bursts.Members(name, albumId, inBin);
}

void Gallery::FoldIntoBurst(const Files& takeOutOfViews, const Files& foldedFavorites) {
  for (const auto& file : foldedFavorites) (void)FavoriteFiles(file, false);
  if (takeOutOfViews.empty()) return;
  for (const AlbumKind kind :
       {AlbumKind::TimeLine, AlbumKind::RecentlyUpload, AlbumKind::AllPictures, AlbumKind::Favorite}) {
    if (const auto view = GetAlbum(SystemAlbumId(kind))) (void)view->DelFiles(takeOutOfViews);
  }
}

void Gallery::ShowInViews(const Files& list) {
  if (list.empty()) return;
  AlbumFiles views;
  constexpr unsigned kViews = ClassifyMask::TimeLine | RecentlyUpload | AllPictures | AllVideos | Favorites;
  ClassifyFiles(
      kViews, list, views, [](ProcFileState, const FilePtr&) {}, nullptr, nullptr);
  for (const auto& [view, files_] : views) view->AddFilesInternal(files_);
}
