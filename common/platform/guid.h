#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace platform {

// A source of random GUIDs (RFC 4122, version 4). Safe from any thread; a test
// may put its own in place.
class GuidSource {
 public:
  virtual ~GuidSource() = default;
  virtual std::array<std::uint8_t, 16> Next() = 0;

  static GuidSource& Get();
  // `source` must outlive its use; null puts the system's source back.
  static void Replace(GuidSource* source);
};

// A new GUID as 36 upper-case characters in the format
// "%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X".
std::string NewGuid();

}  // namespace platform
