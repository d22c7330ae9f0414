#include "zentaragalleryobj.h"

#include "cloud/cheader.h"
#include "cloud/cloudphotov2helper.h"
#include "common/platform/text.h"
#include "host/account/userauthservice.h"
#include "host/base/globalparamwrapper.h"
#include "host/base/logger.h"
#include "host/database/databaseservice.h"
#include "model/gallery.h"
#include "model/gallerymetadata.h"
#include "store/dbhelper.h"
#include "sync/synchelper.h"
#include "transfer/gallerytransmanager.h"
#include "transfer/thumbnails/thumbnailhelper.h"
#include "ui/view/galleryfilelistviewhelper.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"

namespace {

constexpr std::size_t kHomeItems = 100;

constexpr int kEventClose = 199;

constexpr int kHomePicture = 0;
constexpr int kHomeBurst = 1;
constexpr int kHomeVideo = 2;

void InitHeader() {
  auto* identity = UserAuthService::GetInstance();
  auto* parameters = GlobalParamWrapper::GetInstance();
  auto& header = CHeader::GetInstance();
  header.Clear();  // An empty value would leave the one of the user before.
  (void)header.Init(CHeader::AccessToken, identity->GetCurrentAT());  // Empty while nobody is logged in.
  (void)header.Init(CHeader::UserId, identity->GetCurrentUserID());
  (void)header.Init(CHeader::RefreshToken, identity->GetCurrentRT());
  (void)header.Init(CHeader::DeviceUuid, parameters->GetSystemUUid());
  (void)header.Init(CHeader::DeviceName, parameters->GetDeviceName());
}

void ReadServiceAddresses() {
  constexpr char kTag[] = "ZentaraGalleryObj::InitWnd";
  auto* parameters = GlobalParamWrapper::GetInstance();
  GlobalData::globalParam = parameters;
  GlobalData::cloudPhotoUrl = platform::WideToUtf8(parameters->GetCloudPhotoUrl());
  GlobalData::cloudPhotoV2Url = platform::WideToUtf8(parameters->GetCloudPhotoV2Url());
  // A login names its service.
  if (GlobalData::cloudPhotoV2Url.empty())
    GlobalData::cloudPhotoV2Url = UserAuthService::GetInstance()->GetServerUrl();
  LogInfo(kTag, "ZentaraGalleryObj cloud photo grs v1:" + GlobalData::cloudPhotoUrl);
  LogInfo(kTag, "ZentaraGalleryObj cloud photo grs v2:" + GlobalData::cloudPhotoV2Url);
}

Json::Value HomeItem(const GalleryFile::Ptr& file, const std::string& thumbFolder) {
  Json::Value item(Json::objectValue);
  item["guid"] = file->Guid();
  item["thumbPath"] = thumbFolder;
  item["createTime"] = Json::Int64{file->CreateTime};
  item["localPath"] = platform::WideToUtf8(file->LocalPath());
  item["fileName"] = platform::WideToUtf8(file->FileName());
  if (file->SavedFileType == 1) item["fileType"] = kHomePicture;
  if (file->SavedFileType == 4) item["fileType"] = kHomeVideo;
  if (file->ContinuousType == 1) item["fileType"] = kHomeBurst;
  item["rotateAngle"] = RotationOfFile(file);
  item["uniqueId"] = file->UniqueId();
  return item;
}

}  // namespace

ZentaraGalleryObj::ZentaraGalleryObj() { requestHeaders.max_load_factor(1.0f); }

ZentaraGalleryObj::~ZentaraGalleryObj() { CHeader::GetInstance().SetHeaderMap(nullptr); }

HWND ZentaraGalleryObj::CreateGalleryWnd(HWND, const GalleryRect&) { return nullptr; }

HWND ZentaraGalleryObj::CreateGalleryTransferWnd(HWND, const GalleryRect&, const std::wstring&) {
  return nullptr;
}

void ZentaraGalleryObj::InitWnd() {
  InitHeader();
  ReadServiceAddresses();
  CHeader::GetInstance().SetHeaderMap(&requestHeaders);
  upward::Install(&ThumbnailHelper::GetInstance());
  upward::Install(&GalleryFileListViewHelper::GetInstance());
  (void)DBHelper::GetInstance().IntiDataBase(CHeader::GetInstance().GetUserId());
  (void)DatabaseService::InitDataBase(GlobalParamWrapper::GetInstance()->GetUserDataBaseFolder());
  (void)Gallery::GetInstance().Init();
  GalleryTransManager::GetInstance().GalleryInit();
  binWatch.Open();
}

Json::Value ZentaraGalleryObj::GetGalleryHomeData(bool& empty) {
  Json::Value items(Json::arrayValue);
  empty = false;
  const auto timeLine = Gallery::GetInstance().GetAlbum(SystemAlbumId(AlbumKind::TimeLine));
  auto files = timeLine ? timeLine->LimitedFiles() : Album::FileList();
  if (files.empty()) {
    empty = true;
    return items;
  }
  if (files.size() > kHomeItems) files.resize(kHomeItems);
  const std::string folder = platform::WideToUtf8(GlobalParamWrapper::GetInstance()->GetUserCachePath() +
                                                  GlobalData::kThumbnailFolder);
  for (const auto& file : files) items.append(HomeItem(file, folder));
  return items;
}

void ZentaraGalleryObj::CloseWndClear() {
  binWatch.Stop();
  GalleryTransManager::GetInstance().GalleryStop();
  SyncHelper::GetInstance().StopSync();
  SyncHelper::GetInstance().StopTimer();
  GalleryTransManager::GetInstance().GalleryStop();  // What the sync has queued meanwhile.
  SyncHelper::GetInstance().ForgetUser();
  CHeader::GetInstance().Clear();
  CloudPhotoV2Helper::Forget();
  GlobalData::cloudGeneration = GlobalData::kGenerationUnknown;
  GlobalData::GalleryMigrated = false;
  Logger::OutputOperationLog(kEventClose, 1, 0, {{"total", "0"}});
}
