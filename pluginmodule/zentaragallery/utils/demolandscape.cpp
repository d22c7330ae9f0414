#include "utils/demolandscape.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace {

struct Color {
  double red = 0;
  double green = 0;
  double blue = 0;
};

Color Mix(const Color& a, const Color& b, double part) {
  return {a.red + (b.red - a.red) * part, a.green + (b.green - a.green) * part,
          a.blue + (b.blue - a.blue) * part};
}

struct Palette {
  Color zenith;
  Color horizon;
  Color sun;
  Color farHills;
  Color nearHills;
  double sunHeight;  // 0 horizon to 1 zenith
  double stars;
};

// In the order of Landscape::Mood.
constexpr std::array<Palette, 6> kPalettes = {{
    {{92, 138, 190}, {250, 214, 180}, {255, 244, 214}, {150, 160, 190}, {52, 84, 78}, 0.25, 0},
    {{38, 110, 200}, {188, 222, 246}, {255, 252, 238}, {128, 164, 196}, {38, 104, 54}, 0.75, 0},
    {{58, 42, 102}, {255, 142, 76}, {255, 226, 150}, {140, 74, 100}, {34, 20, 44}, 0.12, 0},
    {{6, 10, 34}, {38, 58, 104}, {246, 244, 226}, {26, 36, 70}, {6, 10, 22}, 0.6, 1},
    {{96, 152, 206}, {246, 228, 196}, {255, 246, 220}, {186, 132, 86}, {150, 64, 26}, 0.5, 0},
    {{132, 166, 204}, {236, 242, 250}, {255, 255, 250}, {178, 196, 222}, {232, 240, 250}, 0.35, 0},
}};

constexpr int kRidges = 5;
constexpr double kHorizon = 0.66;

double Smooth(double low, double high, double value) {
  const double part = std::clamp((value - low) / (high - low), 0.0, 1.0);
  return part * part * (3 - 2 * part);
}

// A repeatable number from 0 to 1.
double Noise(std::uint32_t x, std::uint32_t y, std::uint32_t seed) {
  std::uint32_t value = x * 0x9E3779B1u ^ y * 0x85EBCA77u ^ seed * 0xC2B2AE3Du;
  value = (value ^ (value >> 15)) * 0x2C1B3C6Du;
  value = (value ^ (value >> 12)) * 0x297A2D39u;
  return (value ^ (value >> 15)) / 4294967296.0;
}

class Painter {
 public:
  Painter(const Landscape& wanted, int pictureWidth, int pictureHeight)
      : landscape(wanted),
        palette(kPalettes[static_cast<std::size_t>(wanted.mood)]),
        width(pictureWidth),
        height(pictureHeight),
        aspect(static_cast<double>(pictureWidth) / pictureHeight) {
    for (auto& ridge : ridges) ridge.resize(static_cast<std::size_t>(width));
    for (int ridge = 0; ridge < kRidges; ++ridge) {
      for (int x = 0; x < width; ++x)
        ridges[At(ridge)][At(x)] = RidgeTop(ridge, static_cast<double>(x) / width);
    }
  }

  Color At(int x, int y) const {
    const double down = (y + 0.5) / height;
    if (!landscape.lake || down <= kHorizon) return Land(x, down);
    // Waves grow and the mirror image darkens towards the viewer.
    const double depth = (down - kHorizon) / (1 - kHorizon);
    const double wave =
        std::sin(depth * depth * 60 + Noise(0, 0, landscape.seed) * 9 + x * 14.0 / width) * 0.012 * depth;
    const double mirrored = kHorizon - (down - kHorizon) * 1.2 + wave;
    return Mix(Land(x, std::max(mirrored, 0.0)), Mix(palette.zenith, palette.nearHills, 0.4),
               0.22 + 0.3 * depth);
  }

 private:
  static std::size_t At(int index) { return static_cast<std::size_t>(index); }

  // Far ridges are jagged mountains, near ones rolling hills.
  double RidgeTop(int ridge, double x) const {
    const double phase = Noise(static_cast<std::uint32_t>(ridge), 1, landscape.seed) * 6.28;
    double sum = 0;
    double size = 1;
    double frequency = 3 + ridge;
    for (int octave = 0; octave < 6; ++octave) {
      const double wave = std::sin(x * frequency + phase * (octave + 1));
      sum += size * (ridge < 2 ? 1 - 2 * std::fabs(wave) : wave);
      size *= ridge < 2 ? 0.5 : 0.38;
      frequency *= 2.1;
    }
    const double base = landscape.lake ? 0.46 + 0.045 * ridge : 0.46 + 0.11 * ridge;
    return base - sum * 0.055;
  }

  Color Sky(int x, double down) const {
    Color color = Mix(palette.zenith, palette.horizon, Smooth(0, 0.6, down));
    const double dx = (static_cast<double>(x) / width - landscape.sunX) * aspect;
    const double dy = down - (0.5 - 0.42 * palette.sunHeight);
    const double distance = std::sqrt(dx * dx + dy * dy);
    color = Mix(color, palette.sun, 0.55 * std::exp(-distance * 5.0));
    color = Mix(color, palette.sun, 1 - Smooth(0.045, 0.05, distance));
    return Mix(Clouds(color, x, down), Color{255, 255, 255}, Star(x, down));
  }

  Color Clouds(const Color& sky, int x, double down) const {
    const double u = static_cast<double>(x) / width * 6;
    const double v = down * 14;
    const double s = Noise(3, 3, landscape.seed) * 20;
    const double shape = std::sin(u * 1.3 + s + std::sin(v * 0.9 + s)) +
                         std::sin(u * 2.7 - v * 0.6 + s) * 0.6 + std::sin(u * 5.9 + v * 1.7 + s * 2) * 0.35 +
                         std::sin(u * 12 - v * 3.1) * 0.15;
    const double fade = Smooth(0.02, 0.2, down) * (1 - palette.stars * 0.8);
    return Mix(sky, Mix(palette.horizon, palette.sun, 0.6), Smooth(0.5, 2.0, shape) * 0.75 * fade);
  }

  double Star(int x, double down) const {
    if (palette.stars == 0) return 0;
    const auto cellX = static_cast<std::uint32_t>(x / 3);
    const auto cellY = static_cast<std::uint32_t>(down * height / 3);
    const double chance = Noise(cellX, cellY, landscape.seed);
    return chance > 0.9965 ? (chance - 0.9965) / 0.0035 * 0.9 * (1 - Smooth(0.3, 0.6, down)) : 0;
  }

  Color Land(int x, double down) const {
    for (int ridge = kRidges - 1; ridge >= 0; --ridge) {
      const double top = ridges[At(ridge)][At(x)];
      if (down < top) continue;
      const double nearness = static_cast<double>(ridge) / (kRidges - 1);
      Color color = Mix(palette.farHills, palette.nearHills, nearness);
      // Haze gathers at the foot of each ridge.
      color = Mix(color, palette.horizon, (1 - nearness) * 0.5 * Smooth(0, 0.16, down - top));
      const double grain =
          Noise(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(down * height), landscape.seed);
      return Mix(color, Color{0, 0, 0}, (grain * 0.08 + 0.18 * Smooth(0, 0.3, down - top)) * nearness);
    }
    return Sky(x, down);
  }

  const Landscape& landscape;
  const Palette& palette;
  int width;
  int height;
  double aspect;
  std::array<std::vector<double>, kRidges> ridges;
};

std::uint8_t Byte(double value) { return static_cast<std::uint8_t>(std::clamp(value + 0.5, 0.0, 255.0)); }

}  // namespace

std::vector<std::uint8_t> DrawLandscape(const Landscape& landscape, int width, int height) {
  const Painter painter(landscape, width, height);
  std::vector<std::uint8_t> pixels;
  pixels.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const Color color = painter.At(x, y);
      pixels.insert(pixels.end(), {Byte(color.red), Byte(color.green), Byte(color.blue)});
    }
  }
  return pixels;
}
