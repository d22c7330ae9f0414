#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "model/records/galleryfile.h"

// The state of one upload. Owned by its task and used on its thread.
struct UploadFileCommandParams {
  GalleryFile::Ptr file;
  std::string body;                   // bytes of the present slice, encrypted
  std::int32_t kind = 0;              // 0 content, 1 thumbnail
  std::uint32_t sliceLength = 0;      // bytes to send
  std::int64_t slicePlainLength = 0;  // bytes to read from the file
  std::int64_t readPosition = 0;      // in `body`; 0 at each slice
  std::string thumbHmac;
  std::string contentHmac;
  std::vector<std::uint8_t> aesIv;
  std::vector<std::uint8_t> aesKey;
  std::int64_t fileOffset = 0;  // where the slice starts in the file
};
