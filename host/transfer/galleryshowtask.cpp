#include "host/transfer/galleryshowtask.h"

bool ZentaraDeskClient::TransferManagerSpace::ShowTaskEntity::GetThumbnailPath(std::wstring& path) {
  path.clear();
  return false;
}
