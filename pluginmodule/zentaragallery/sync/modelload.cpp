#include "sync/modelload.h"

#include "host/globalparamwrapper.h"
#include "model/gallery.h"
#include "store/dbhelper.h"

bool LoadModel(const std::function<void()>& onAlbumsLoaded) {
  auto& gallery = Gallery::GetInstance();
  auto& database = DBHelper::GetInstance();
  auto* parameters = GlobalParamWrapper::GetInstance();

  Gallery::Albums rows;
  const bool albumsRead = database.GetAlbums(rows);
  if (parameters->GetDataHidePeriod()) rows.clear();
  (void)gallery.LoadAlbums(rows);
  if (onAlbumsLoaded) onAlbumsLoaded();

  Gallery::Files files;
  const bool filesRead = database.GetFiles(files, parameters->GetEnableShowLostCloudPhoto());
  gallery.ClearBursts();
  (void)gallery.AddFiles(files);
  return albumsRead && filesRead;
}
