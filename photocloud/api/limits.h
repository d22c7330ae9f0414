#pragma once

#include <cstddef>
#include <cstdint>

namespace photocloud {

// Limits of what a request may hold, in bytes. openapi.yaml tells callers the same
// numbers, and a test compares the two. Those of assets and names of users stand
// with their owners, assetlayout.h and accountservice.h.

constexpr std::size_t kLongestDevice = 256;
constexpr std::size_t kLongestKeys = 64 << 10;

constexpr std::size_t kLongestAlbumId = 256;
constexpr std::size_t kLongestAlbumName = 1024;
constexpr std::size_t kLongestAlbumPath = 4096;
constexpr std::size_t kLongestAlbumType = 16;
constexpr std::size_t kLongestAlbumProperties = 64 << 10;

// One text of a media, and all fields together.
constexpr std::size_t kLongestMediaText = 4096;
constexpr std::size_t kLongestMediaFields = 256 << 10;

// A page ends behind the record that brings it over these bytes, however few
// records it holds.
constexpr int kMaxPageSize = 100;
constexpr std::size_t kMostPageBytes = 4 << 20;
// What most pages fit into.
constexpr std::size_t kUsualPageBytes = 64 << 10;

}  // namespace photocloud
