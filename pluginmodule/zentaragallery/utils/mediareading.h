#pragma once

#include <string>

#include "utils/mediareader.h"

// The readings of foreign files themselves, in the calling process: what
// mediareader.h, thumbnailmaker.h and picturecheck.h promise, without a deadline.
// Safe from any thread.
namespace MediaReading {

MediaFailure Exif(const std::wstring& path, PictureMetadata& metadata, std::int64_t& timeMs);
MediaFailure Video(const std::wstring& path, VideoMetadata& metadata);
// Empty, or why no thumbnail came about.
std::string Thumbnail(const std::wstring& source, const std::wstring& target, int longEdge);
bool IsWhole(const std::wstring& path);

}  // namespace MediaReading
