#include "cloud/galleryver.h"

#include "cloud/cloudphotov2helper.h"
#include "utils/globaldata.h"

GalleryVer GetGalleryVer() {
  const int known = GlobalData::cloudGeneration;
  const bool certain = known == GlobalData::kGenerationV1 || known == GlobalData::kGenerationV2;
  switch (certain ? known : CloudPhotoV2Helper::GetCutStatus()) {
    case GlobalData::kGenerationV1:
    case GlobalData::kGenerationV1Eur:
      return GalleryVer::V1;
    case GlobalData::kGenerationV2:
      return GalleryVer::V2;
    default:
      return GalleryVer::Unknown;
  }
}
