#include "utils/rawpicture.h"

#include <libraw/libraw.h>

#include "utils/decodelimits.h"

namespace {

// Some 300 KiB large, so never on the stack.
std::unique_ptr<LibRaw> Open(const std::filesystem::path& path, int& error) {
  auto raw = std::make_unique<LibRaw>();
  raw->imgdata.params.max_raw_memory_mb = static_cast<unsigned>(kMaxDecodeBytes >> 20);
  // By default the library prints warnings about broken data on standard error.
  raw->set_dataerror_handler(nullptr, nullptr);
  error = raw->open_file(path.c_str());
  return raw;
}

struct FreePreview {
  void operator()(libraw_processed_image_t* preview) const { LibRaw::dcraw_clear_mem(preview); }
};

}  // namespace

std::optional<RawSize> ReadRawSize(const std::filesystem::path& path, MediaFailure& why) try {
  int error = LIBRAW_SUCCESS;
  const auto raw = Open(path, error);
  if (error != LIBRAW_SUCCESS) {
    why = error == LIBRAW_IO_ERROR ? MediaFailure::CannotOpen : MediaFailure::NotDecodable;
    return std::nullopt;
  }
  const RawSize size{raw->imgdata.sizes.width, raw->imgdata.sizes.height};
  if (PixelsAllowed(size.width, size.height)) return size;
  why = MediaFailure::TooLarge;
  return std::nullopt;
} catch (...) {
  why = MediaFailure::NotDecodable;
  return std::nullopt;
}

std::string ReadRawPreview(const std::filesystem::path& path, std::string& cause) try {
  int error = LIBRAW_SUCCESS;
  const auto raw = Open(path, error);
  if (error == LIBRAW_SUCCESS) error = raw->unpack_thumb();
  std::unique_ptr<libraw_processed_image_t, FreePreview> preview(
      error == LIBRAW_SUCCESS ? raw->dcraw_make_mem_thumb(&error) : nullptr);
  if (!preview) {
    cause = "raw preview, error:" + std::to_string(error);
    return {};
  }
  if (preview->type != LIBRAW_IMAGE_JPEG) {
    cause = "raw preview is no JPEG";
    return {};
  }
  return {reinterpret_cast<const char*>(preview->data), preview->data_size};
} catch (...) {
  cause = "raw preview, library failed";
  return {};
}
