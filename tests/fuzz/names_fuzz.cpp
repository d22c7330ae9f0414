// Names of files, which tell bursts, and names of albums.

#include "common/platform/text.h"
#include "fuzz.h"
#include "model/records/album.h"
#include "model/records/galleryfile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::wstring name = platform::Utf8ToWide(std::string(TextOf(data, size)));
  const auto file = std::make_shared<GalleryFile>();
  file->SetFileName(name);
  if (file->ParseBurstName() != 0) Demand(file->ContinuousName().size() <= name.size());
  std::wstring album = name;
  if (Album::CleanName(album)) Demand(!album.empty() && Album::IsNameAllowed(album));
  return 0;
}
