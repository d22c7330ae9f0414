#pragma once

#include <filesystem>
#include <vector>

// Makes the small set of demonstration pictures in `folder`: landscapes drawn
// by arithmetic, spread over several days and two albums' worth of cameras, with
// EXIF (camera, time, orientation, position), a burst of ten, an animated GIF, a
// PNG, a video of two seconds, and names in several scripts. Files that are
// there already are kept. Returns all files of the set in order; empty, logged,
// when the folder cannot be written.
std::vector<std::filesystem::path> MakeDemoPictures(const std::filesystem::path& folder);
