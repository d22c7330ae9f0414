#include "sync/modelload.h"

#include "host/base/globalparamwrapper.h"
#include "model/gallery.h"
#include "store/dbhelper.h"

bool LoadModel(const std::function<void(bool good)>& onAlbumsLoaded) {
  auto& gallery = Gallery::GetInstance();
  auto& database = DBHelper::GetInstance();
  auto* parameters = GlobalParamWrapper::GetInstance();

  Gallery::Albums rows;
  bool good = database.GetAlbums(rows);  // The base logged why.
  if (parameters->GetDataHidePeriod()) rows.clear();
  (void)gallery.LoadAlbums(rows);
  if (onAlbumsLoaded) onAlbumsLoaded(good);

  Gallery::Files files;
  good = database.GetFiles(files, parameters->GetEnableShowLostCloudPhoto()) && good;
  // Files that are in memory already keep their places in their bursts.
  if (gallery.FileCount() == 0) gallery.ClearBursts();
  (void)gallery.AddFiles(files);
  if (const auto bin = gallery.GetAlbum(kRecycleAlbumId)) bin->ClearExpiresFiles();
  (void)gallery.DropNeverUploaded();  // What stays is dropped by the next start.
  return good;
}
