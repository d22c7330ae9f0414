#include "common/platform/filestream.h"

namespace platform {

FileStream OpenAt(const std::filesystem::path& path, std::int64_t position) {
  FileStream file(std::fopen(path.c_str(), "rb"), std::fclose);
  if (file && position != 0 && !Seek(file.get(), position)) file.reset();
  return file;
}

bool Seek(std::FILE* file, std::int64_t position) { return fseeko(file, position, SEEK_SET) == 0; }

std::int64_t Position(std::FILE* file) { return ftello(file); }

}  // namespace platform
