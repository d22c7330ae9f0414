#include "support/gallerytest.h"

#include "common/platform/paths.h"
#include "host/account/userauthservice.h"
#include "host/base/globalparamwrapper.h"
#include "model/records/upward.h"
#include "sync/modelload.h"
#include "utils/globaldata.h"

void GalleryTest::SetUp() {
  platform::SetProfileRoot(folder.Path());
  ASSERT_TRUE(GlobalParamWrapper::GetInstance()->Load());
  ASSERT_TRUE(UserAuthService::GetInstance()->Load());
  GlobalData::cloudGeneration = GlobalData::kGenerationUnknown;
  ASSERT_TRUE(DBHelper::GetInstance().IntiDataBase("alice"));
  ASSERT_TRUE(gallery.Init());
  CloudAlbum("default-album-1", L"Camera roll");
}

void GalleryTest::TearDown() {
  gallery.SetAlbumListener(nullptr);
  gallery.SetAlbumsListener(nullptr);
  (void)gallery.Init();
  // A module that was begun installs its own.
  upward::Install(static_cast<IThumbnails*>(nullptr));
  upward::Install(static_cast<IAlbumViews*>(nullptr));
}

GalleryFile::Ptr GalleryTest::CloudFile(const std::string& id, const std::string& albumId,
                                        std::int64_t createTime) {
  auto file = std::make_shared<GalleryFile>();
  file->SetUniqueId(id);
  file->SetGuid("guid-of-" + id);
  file->SetFileId("content-of-" + id);
  file->SetFileName(std::wstring(id.begin(), id.end()) + L".jpg");
  file->SetAlbumId(albumId);
  file->CreateTime = createTime;
  file->FirstUpdateTime = createTime;
  file->SavedFileType = 1;
  file->Size = 1000;
  return file;
}

GalleryFile::Ptr GalleryTest::LocalFile(const std::string& id, const std::string& albumId) {
  auto file = CloudFile(id, albumId);
  file->SetGuid(id);
  file->SetFileId("");
  file->IsLocalUpload = true;
  file->GalleryState = 1;
  return file;
}

void GalleryTest::Add(const Files& files) {
  ASSERT_TRUE(DBHelper::GetInstance().AddFiles(files));
  gallery.AddFiles(files);
}

Album::Ptr GalleryTest::CloudAlbum(const std::string& id, const std::wstring& name) {
  auto album = std::make_shared<Album>();
  album->AlbumId = id;
  album->AlbumName = name;
  album->AlbumType = "0";
  album->CreateTime = clock.ms.load();
  album->Lpath = "/DCIM/" + id;
  album->SetExpandText("{}");
  album->Classify();
  EXPECT_TRUE(DBHelper::GetInstance().AddAlbum(album));
  gallery.LoadAlbums({album});
  return album;
}

void GalleryTest::Restart() {
  ASSERT_TRUE(gallery.Init());
  ASSERT_TRUE(LoadModel());
}

std::vector<std::string> GalleryTest::Ids(const Album::Ptr& album) {
  std::vector<std::string> ids;
  if (!album) return ids;
  for (const auto& file : album->Files()) ids.push_back(file->UniqueId());
  return ids;
}

bool GalleryTest::Holds(const Album::Ptr& album, const FilePtr& file) { return album && album->Holds(file); }
