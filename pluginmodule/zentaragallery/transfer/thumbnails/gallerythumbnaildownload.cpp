#include "transfer/thumbnails/gallerythumbnaildownload.h"

void GalleryThumbnailDownload::RunTask() {
  while (const Task task = TakeNewest()) task->BusinessRun();
}
