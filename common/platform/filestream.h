#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>

// Streams of the C library with positions beyond 2 GiB, for libraries that read by them.
namespace platform {

using FileStream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

// Opened for reading at that byte; null when that is not possible.
FileStream OpenAt(const std::filesystem::path& path, std::int64_t position);
bool Seek(std::FILE* file, std::int64_t position);
// -1 when it has none.
std::int64_t Position(std::FILE* file);

}  // namespace platform
