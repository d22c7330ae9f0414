#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>
#include <vector>

// What a file of decoded pixels holds: rows from the top, of `bands` bytes a pixel,
// without gaps; the frames of a moving picture one after another.
struct PicturePixels {
  std::int32_t width = 0, height = 0;  // of a frame
  std::int32_t bands = 3;              // 3 red, green, blue; 4 with opacity, not multiplied
  std::int32_t orientation = 1;        // EXIF tag 274: how to turn it upright
  std::int32_t loops = 0;              // times that a moving picture runs; 0 for ever
  std::vector<std::int32_t> delays;    // of each frame in ms; empty for one that does not move

  std::int64_t FrameBytes() const { return std::int64_t{width} * height * bands; }
  std::size_t Frames() const { return delays.empty() ? 1 : delays.size(); }
  Json::Value ToJson() const;
  // False for values that no decoding gives.
  [[nodiscard]] bool FromJson(const Json::Value& json);
};

// Decodes a local picture, or the poster of a video, into `target`, which is written
// anew: in sRGB, whatever profile it has; with a `longEdge` upright and fitted into a
// square of it, with 0 at its own size and as it lies. Without the memory for the
// whole of it where its format allows that. In a helper process, like the properties
// of mediareader.h. False, logged, when that is not possible; then no file is left.
// Safe from any thread.
[[nodiscard]] bool DecodePixels(const std::wstring& source, const std::wstring& target, int longEdge,
                                PicturePixels& pixels);
