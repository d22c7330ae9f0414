#pragma once

#include <functional>
#include <string>

#include "utils/vipspicture.h"

// Decodes local pictures and videos in the calling process for whoever stores the
// result. Safe from any thread.

// Takes a picture whose pixels are still to be computed; false when that failed.
using PictureSink = std::function<bool(VipsImage* picture)>;

// Hands the picture, in sRGB, to `sink`, maybe a second time by another way when the
// first failed: with a `longEdge` upright and fitted into a square of it, never
// enlarged; with 0 at its own size and as it lies, with its orientation as metadata,
// and a moving picture with all its frames below each other.
// False, with the cause, when nothing could be decoded.
[[nodiscard]] bool ShrinkPicture(const std::wstring& source, int longEdge, const PictureSink& sink,
                                 std::string& cause);

// A plain grey one.
[[nodiscard]] bool GreyPicture(int width, int height, const PictureSink& sink);

// Wraps the way in which the library's operations hand out their result.
template <typename Operation>
VipsOwner<VipsImage> VipsResult(Operation operation) {
  VipsImage* image = nullptr;
  if (operation(&image) == 0) return VipsOwner<VipsImage>(image);
  if (image) g_object_unref(image);
  return nullptr;
}
