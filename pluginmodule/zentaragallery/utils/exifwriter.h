#pragma once

#include <cstdint>
#include <string>

// EXIF of a picture that the gallery itself makes.
struct ExifToWrite {
  std::string maker;
  std::string model;
  std::string time;      // "2024:06:12 10:15:00"
  std::string gpsTime;   // the same in UTC; with it goes the position
  double latitude = 0;   // north of the equator is positive
  double longitude = 0;  // east of Greenwich is positive
  std::uint16_t orientation = 1;
  std::uint16_t isoSpeed = 100;
  std::uint32_t exposureFraction = 125;  // exposure time of 1/125 s
};

// "Exif\0\0" and the TIFF structure; empty when the library fails.
std::string WriteExif(const ExifToWrite& values);
