#include "common/platform/guid.h"

#include <atomic>
#include <cstdio>
#include <exception>

#include "common/platform/random.h"

namespace platform {
namespace {

class SystemGuidSource final : public GuidSource {
 public:
  std::array<std::uint8_t, 16> Next() override {
    std::array<std::uint8_t, 16> bytes{};
    // An id that repeats would overwrite the row of another picture, so there is
    // no weaker source to fall back on.
    if (!RandomBytes(bytes)) std::terminate();
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
    return bytes;
  }
};

SystemGuidSource systemSource;
std::atomic<GuidSource*> replacement{nullptr};

}  // namespace

GuidSource& GuidSource::Get() {
  GuidSource* replaced = replacement.load(std::memory_order_acquire);
  return replaced ? *replaced : systemSource;
}

void GuidSource::Replace(GuidSource* source) { replacement.store(source, std::memory_order_release); }

std::string NewGuid() {
  const auto b = GuidSource::Get().Next();
  char text[37];
  (void)std::snprintf(text, sizeof text,  // The length is fixed by the format.
                      "%02X%02X%02X%02X-%02X%02X-%02X%02X-%02X%02X-%02X%02X%02X%02X%02X%02X", b[0], b[1],
                      b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14],
                      b[15]);
  return text;
}

}  // namespace platform
