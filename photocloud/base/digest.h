#pragma once

#include <string>
#include <string_view>

namespace photocloud {

// Digests as lower-case hexadecimal text.
std::string Sha256Hex(std::string_view bytes);
std::string Md5Hex(std::string_view bytes);
std::string HmacSha256Hex(std::string_view key, std::string_view bytes);

}  // namespace photocloud
