#include "model/records/upward.h"

#include <atomic>

namespace {

class NoContext : public IGalleryContext {
 public:
  std::shared_ptr<Album> GetAlbum(const std::string&) override { return nullptr; }
  std::shared_ptr<Album> RestoreAlbum(const std::wstring&, std::int64_t) override { return nullptr; }
  bool ReadAlbumRow(Album&, const std::string&) override { return false; }
  bool WriteRows(const Files&) override { return false; }
  bool WriteAlbumIdOfFiles(const std::string&, const std::string&) override { return false; }
  void ShowInPanel(const std::shared_ptr<Album>&) override {}
  void HideFromPanel(const std::shared_ptr<Album>&) override {}
  void Announce(AlbumEvent, const std::shared_ptr<Album>&) override {}
  Files BurstCovers(const std::wstring&, const std::string&, bool) override { return {}; }
  Files BurstMembers(const std::wstring&, const std::string&, bool) override { return {}; }
  void UnregisterBurst(const GalleryFile::Ptr&) override {}
  GalleryFile::Ptr CoverHolding(const GalleryFile&) override { return nullptr; }
  void FoldIntoBurst(const Files&, const Files&) override {}
  void ShowInViews(const Files&) override {}
  void DeleteExpired(const Files&) override {}
  std::size_t FileCount() override { return 0; }
};

class NoThumbnails : public IThumbnails {
 public:
  bool MakeLocal(const GalleryFile&, const std::wstring&, bool) override { return false; }
  void Fetch(const std::vector<GalleryFile::Ptr>&, std::function<void(const GalleryFile::Ptr&)>) override {}
};

class NoViews : public IAlbumViews {
 public:
  void ComputeLayout(const Album&, std::size_t, ViewCacheData&) override {}
  void SetCurrentAlbum(const std::string&) override {}
};

template <typename Interface, typename None>
std::atomic<Interface*>& Installed() {
  static None none;
  static std::atomic<Interface*> installed{&none};
  return installed;
}

template <typename Interface, typename None>
void Put(Interface* next) {
  static None none;
  Installed<Interface, None>() = next ? next : &none;
}

}  // namespace

namespace upward {

IGalleryContext& Context() { return *Installed<IGalleryContext, NoContext>().load(); }
IThumbnails& Thumbnails() { return *Installed<IThumbnails, NoThumbnails>().load(); }
IAlbumViews& Views() { return *Installed<IAlbumViews, NoViews>().load(); }

void Install(IGalleryContext* context) { Put<IGalleryContext, NoContext>(context); }
void Install(IThumbnails* thumbnails) { Put<IThumbnails, NoThumbnails>(thumbnails); }
void Install(IAlbumViews* views) { Put<IAlbumViews, NoViews>(views); }

}  // namespace upward
