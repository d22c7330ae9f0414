#pragma once

#include <filesystem>
#include <string>
#include <string_view>

// Formats of pictures as their first bytes tell, whatever the name says: a
// phone's gallery is full of .png that are JPEG, and a decoder must never be
// chosen by a name that a sender made up.
enum class PictureFormat { Unknown, Jpeg, Png, Gif, Bmp, Heif, Tiff };

inline constexpr std::size_t kFormatHeadBytes = 32;

PictureFormat FormatOfHead(std::string_view head);

// Up to `count` first bytes; empty when the file cannot be read.
std::string ReadHead(const std::filesystem::path& path, std::size_t count);
