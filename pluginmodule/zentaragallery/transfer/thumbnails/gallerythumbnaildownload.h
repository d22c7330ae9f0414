#pragma once

#include "host/transfer/thumbnailtransferadminthread.h"

// The worker that brings thumbnails: one after another, what was asked for last
// first, since that is what the user is looking at.
class GalleryThumbnailDownload : public ZentaraDeskClient::ThumbnailTransferAdminThread {
 protected:
  void RunTask() override;
};
