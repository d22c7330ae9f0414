#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

// A decoded picture: lines of red, green and blue bytes without gaps.
struct RgbPicture {
  int width = 0;
  int height = 0;
  // Degrees clockwise by which a player turns it: 0, 90, 180 or 270.
  int rotation = 0;
  std::vector<std::uint8_t> pixels;
};

// The first picture at or after one second of a video that can be decoded, or
// the first of all. Gives up after 20 s. Empty with the cause otherwise.
std::optional<RgbPicture> DecodePoster(const std::filesystem::path& path, std::string& cause);
