#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "utils/mediareader.h"

// What a raw file (.nef) tells without developing it.

struct RawSize {
  std::int32_t width = 0;
  std::int32_t height = 0;
};

// Size of the developed picture before it is turned upright.
std::optional<RawSize> ReadRawSize(const std::filesystem::path& path, MediaFailure& why);

// The camera's own JPEG preview, whose EXIF says how to turn it; empty when
// there is none, with the cause.
std::string ReadRawPreview(const std::filesystem::path& path, std::string& cause);
