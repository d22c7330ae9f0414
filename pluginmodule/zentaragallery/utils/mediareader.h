#pragma once

#include <cstdint>
#include <string>

#include "utils/picturemetadata.h"

// Reads properties of local pictures and videos. Safe from any thread; a broken
// or hostile file gives false or defaults, never a crash: decoding is limited to
// 500 megapixels and 1 GiB of memory.

// Why a picture or video gave no properties.
enum class MediaFailure { None, CannotOpen, NotDecodable, TooLarge, NoLibrary };

// Fills `metadata` from the picture's size and EXIF. `timeMs` takes the time of
// the shot, when the EXIF has one, and is left alone otherwise. A picture
// without EXIF is a success. False when the picture cannot be loaded; then
// nothing is changed.
bool ReadExif(const std::wstring& path, PictureMetadata& metadata, std::int64_t& timeMs,
              MediaFailure* why = nullptr);

// Fills `metadata` from the video's container. False when the media library is
// not there (logged) or the file holds no playable, whole video.
bool ReadVideo(const std::wstring& path, VideoMetadata& metadata, MediaFailure* why = nullptr);

// The value of tag 306 or 36867 as local time in ms since 1970: 3 to 6 numbers
// in the form "%d:%02d:%02d %02d:%02d:%02d", missing ones count 0. False for
// fewer than 3.
bool ParseExifTime(const std::string& text, std::int64_t& timeMs);

// "1, 3, 6, 8" and so on of EXIF tag 274 to degrees clockwise: 0, 90, 180, 270.
std::int32_t DegreesOfOrientation(std::int32_t orientation);
