#pragma once

#include <string>

#include "utils/mediareader.h"
#include "utils/picturepixels.h"

// The readings of foreign files themselves, in the calling process: what
// mediareader.h, thumbnailmaker.h, picturepixels.h and picturecheck.h promise, without a deadline.
// Safe from any thread.
namespace MediaReading {

// Loads the picture library ahead of the first reading.
void Start();

MediaFailure Exif(const std::wstring& path, PictureMetadata& metadata, std::int64_t& timeMs);
MediaFailure Video(const std::wstring& path, VideoMetadata& metadata);
// Empty, or why no thumbnail came about.
std::string Thumbnail(const std::wstring& source, const std::wstring& target, int longEdge);
bool IsWhole(const std::wstring& path);
// Empty, or why there are no pixels.
std::string Pixels(const std::wstring& source, const std::wstring& target, int longEdge,
                   PicturePixels& pixels);

}  // namespace MediaReading
