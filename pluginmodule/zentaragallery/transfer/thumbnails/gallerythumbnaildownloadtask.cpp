#include "transfer/thumbnails/gallerythumbnaildownloadtask.h"

#include "cloud/galleryver.h"
#include "host/account/userauthservice.h"
#include "transfer/thumbnails/thumbnailhelper.h"
#include "utils/gallerylog.h"

GalleryThumbnailDownloadTask::GalleryThumbnailDownloadTask(ThumbnailRequest wanted, GoesOn mayGoOn,
                                                           Ended whenEnded)
    : request(std::move(wanted)), goesOn(std::move(mayGoOn)), ended(std::move(whenEnded)) {}

void GalleryThumbnailDownloadTask::BusinessRun() {
  const bool wanted = !request.priorityCallback || request.priorityCallback();
  if (wanted && !IsThere()) Bring();
  // So that the list shows what came, or nothing.
  (void)(request.isLcd ? request.file->TestLcdOnDisk() : request.file->TestThumbnailOnDisk());
  ended();
}

bool GalleryThumbnailDownloadTask::IsThere() const {
  if (request.replace) return false;
  return request.isLcd ? request.file->TestLcdOnDisk() : request.file->TestThumbnailOnDisk();
}

void GalleryThumbnailDownloadTask::Bring() const {
  auto& helper = ThumbnailHelper::GetInstance();
  const GalleryFile::Ptr& file = request.file;
  const bool made =
      !file->LocalPath().empty() &&
      helper.MakeLocal(*file, request.isLcd ? file->LcdName() : file->ThumbnailName(), request.isLcd);
  // The cloud still has what the user has moved away.
  if (made || file->IsLocalOnly()) return;
  switch (GetGalleryVer()) {
    case GalleryVer::V2:
      // Logged; the list shows nothing.
      (void)helper.DownloadThumbnailV2(file, request.isLcd, goesOn, request.progressCallback);
      break;
    case GalleryVer::V1:
      (void)(UserAuthService::GetInstance()->IsChinaAccount()
                 ? helper.DownloadThumbnailV1(file, request.isLcd, goesOn)
                 : helper.DownloadThumbnailV1Eur(file, request.isLcd, goesOn));
      break;
    case GalleryVer::Unknown:
      LogError("GalleryThumbnailDownloadTask::BusinessRun",
               [&] { return "download thumb error: no service for file id: " + file->UniqueId(); });
  }
}
