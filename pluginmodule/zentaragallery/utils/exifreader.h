#pragma once

#include <cstdint>
#include <string_view>

#include "utils/picturemetadata.h"

// Whether tags 256 and 257 count. In a raw file they are the size of the small
// preview that the first directory describes.
enum class ExifSize { Take, Ignore };

// Fills `metadata` and, when there is one, the time of the shot from a TIFF
// structure, with or without "Exif\0\0" before it. A tag of another type than
// the EXIF standard gives it is ignored, and so is a rational with denominator 0.
void ApplyExif(std::string_view exif, ExifSize size, PictureMetadata& metadata, std::int64_t& timeMs);
