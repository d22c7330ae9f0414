#pragma once

#include <string>

// Makes an upright JPEG thumbnail of a local picture or video.
//
// `source` is decoded by its content and extension (JPEG, PNG, BMP, GIF, HEIC;
// a raw .nef by its embedded preview; a video by a picture near its start), turned
// by its EXIF orientation, and scaled so that it fits into a square of `longEdge`
// pixels; smaller pictures are not enlarged. The file is written beside `target`
// and renamed, and the folder of `target` is made. `target` may not be `source`.
// Made in a helper process, like the properties of mediareader.h. False, logged with the step and cause, when
// that is not possible; then no file is left. Safe from any thread.
bool MakeThumbnail(const std::wstring& source, const std::wstring& target, int longEdge);

// A plain grey one, for a file of which no picture can be made. False when it cannot be
// written.
bool MakeNeutralThumbnail(const std::wstring& target);
