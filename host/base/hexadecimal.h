#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// Bytes as pairs of hexadecimal digits.
namespace Hexadecimal {

// Lower case.
std::string Text(std::span<const std::uint8_t> bytes);
// Nothing unless `text` is the digits, in either case, of exactly `count` bytes.
std::optional<std::vector<std::uint8_t>> Bytes(std::string_view text, std::size_t count);

}  // namespace Hexadecimal
