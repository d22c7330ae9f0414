#include <dlfcn.h>

#include "utils/mediainfolibrary.h"

namespace {

template <typename Function>
bool Find(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(dlsym(library, name));
  return function != nullptr;
}

}  // namespace

std::unique_ptr<MediaInfoLibrary> MediaInfoLibrary::Load(const char* name) {
  // Never unloaded: it keeps objects of the whole process.
  void* library = dlopen(name, RTLD_NOW | RTLD_LOCAL);
  if (!library) return nullptr;
  auto loaded = std::make_unique<MediaInfoLibrary>();
  const bool complete = Find(library, "MediaInfo_New", loaded->New) &&
                        Find(library, "MediaInfo_Delete", loaded->Delete) &&
                        Find(library, "MediaInfo_Close", loaded->Close) &&
                        Find(library, "MediaInfo_Open_Buffer_Init", loaded->BufferInit) &&
                        Find(library, "MediaInfo_Open_Buffer_Continue", loaded->BufferContinue) &&
                        Find(library, "MediaInfo_Open_Buffer_Continue_GoTo_Get", loaded->BufferWanted) &&
                        Find(library, "MediaInfo_Open_Buffer_Finalize", loaded->BufferFinalize) &&
                        Find(library, "MediaInfo_Get", loaded->Value);
  return complete ? std::move(loaded) : nullptr;
}

const MediaInfoLibrary* MediaInfoLibrary::Get() {
  static const std::unique_ptr<MediaInfoLibrary> library = Load("libmediainfo.so.0");
  return library.get();
}
