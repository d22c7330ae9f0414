#pragma once

#include <filesystem>

// Writes a silent video of two seconds, 640 x 360, in which the sun crosses a
// landscape: MPEG-4 in an .mp4 container. False when the file cannot be written
// or the codec is not there.
bool WriteDemoVideo(const std::filesystem::path& path);
