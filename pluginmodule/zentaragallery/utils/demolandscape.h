#pragma once

#include <cstdint>
#include <vector>

// A landscape of sky, sun, hills and stars or water, drawn by arithmetic.
struct Landscape {
  enum class Mood { Morning, Noon, Sunset, Night, Autumn, Winter };
  Mood mood = Mood::Noon;
  std::uint32_t seed = 1;  // the shape of the hills
  double sunX = 0.7;       // 0 left to 1 right
  bool lake = false;       // the lower third mirrors the upper part
};

// Lines of red, green and blue bytes without gaps.
std::vector<std::uint8_t> DrawLandscape(const Landscape& landscape, int width, int height);
