#include "sync/modelload.h"

#include "host/globalparamwrapper.h"
#include "model/gallery.h"
#include "store/dbhelper.h"

void LoadModel(const std::function<void()>& onAlbumsLoaded) {
  auto& gallery = Gallery::GetInstance();
  auto& database = DBHelper::GetInstance();
  auto* parameters = GlobalParamWrapper::GetInstance();

  Gallery::Albums rows;
  (void)database.GetAlbums(
      rows);  // A database that cannot be read loads as an empty one; the base logged why.
  if (parameters->GetDataHidePeriod()) rows.clear();
  (void)gallery.LoadAlbums(rows);
  if (onAlbumsLoaded) onAlbumsLoaded();

  Gallery::Files files;
  (void)database.GetFiles(files, parameters->GetEnableShowLostCloudPhoto());
  gallery.ClearBursts();
  (void)gallery.AddFiles(files);
}
