#pragma once

#include <cstdint>
#include <string>

#include "utils/picturemetadata.h"

// Reads properties of local pictures and videos. Safe from any thread; a broken
// or hostile file gives false or defaults, never a crash: decoding is limited to
// 500 megapixels and 1 GiB of memory, and happens in a helper process that is ended
// when it is too slow (mediaworkers.h). FileReading ends it sooner.

// Why a picture or video gave no properties. What was too slow counts as not
// decodable.
enum class MediaFailure { None, CannotOpen, NotDecodable, TooLarge, NoLibrary };

// Fills `metadata` from the picture's size and EXIF. `timeMs` takes the time of
// the shot, when the EXIF has one, and is left alone otherwise. A picture
// without EXIF is a success. False when the picture cannot be loaded; then
// nothing is changed.
bool ReadExif(const std::wstring& path, PictureMetadata& metadata, std::int64_t& timeMs,
              MediaFailure* why = nullptr);

// Fills `metadata` from the video's container; its duration is rounded to whole
// seconds. False when the media library is
// not there (logged) or the file holds no playable, whole video.
bool ReadVideo(const std::wstring& path, VideoMetadata& metadata, MediaFailure* why = nullptr);

// The value of tag 306 or 36867 as local time in ms since 1970: 3 to 6 numbers
// in the form "%d:%02d:%02d %02d:%02d:%02d", missing ones count 0. False, and
// `timeMs` left alone, for fewer than 3 and for what is no date: a camera whose
// clock was never set writes "0000:00:00 00:00:00".
bool ParseExifTime(const std::string& text, std::int64_t& timeMs);

// The angle, clockwise, by which a picture with this value of EXIF tag 274 (1 to
// 8) is turned to stand upright: 0, 90, 180 or 270. The even values up to 4, and 5
// and 7, are mirrored left to right before. 0 for any other value.
std::int32_t DegreesOfOrientation(std::int32_t orientation);
