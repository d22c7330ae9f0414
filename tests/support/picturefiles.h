#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Pictures that the tests make themselves, down to the bytes of their EXIF, so
// that they can be wrong in ways that no library would write.

// TIFF value types.
inline constexpr int kAscii = 2;
inline constexpr int kShort = 3;
inline constexpr int kLong = 4;
inline constexpr int kRational = 5;
inline constexpr int kSignedRational = 10;

struct Tag {
  int number;
  int type;
  std::string bytes;
};

std::string Short(unsigned value);
std::string Long(std::uint32_t value);
std::string Rational(std::uint32_t numerator, std::uint32_t denominator);

Tag TextTag(int number, const std::string& text);
Tag ShortTag(int number, unsigned value);
Tag RationalTag(int number, std::uint32_t numerator, std::uint32_t denominator);

// "Exif\0\0" and a little-endian TIFF structure of three directories.
std::string Exif(const std::vector<Tag>& main, const std::vector<Tag>& exif = {},
                 const std::vector<Tag>& gps = {});

// A JPEG with the given EXIF; none if that is empty. Black but for a red upper
// left quarter.
std::string JpegWith(const std::string& exif, int width = 64, int height = 48);

// A progressive JPEG of that size.
std::string ProgressiveJpeg(int width, int height);

// A PNG that claims a size and has no pixels to speak of.
std::string PngClaiming(std::uint32_t width, std::uint32_t height, bool interlaced = false);

// A 24-bit bitmap of red lines above blue ones.
std::string Bmp(std::int32_t width, std::int32_t height);

// An .mp4 of that many video tracks of a single sample; the media library takes
// time that grows with the square of their number.
std::string VideoOfTracks(int count);
// One that a player turns by 90 degrees clockwise, 64 x 64.
std::string TurnedVideo();

// A raw file: a main directory with maker, model and orientation, a JPEG
// preview of 64 x 48 and uncompressed sensor values of 96 x 64.
std::string RawWithPreview(unsigned orientation);
