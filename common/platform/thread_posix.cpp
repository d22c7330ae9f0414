#include <pthread.h>

#include <string>

#include "common/platform/thread.h"

namespace platform {
namespace {

constexpr std::size_t kMaxNameBytes = 15;

bool ContinuesCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

}  // namespace

void SetThreadName(std::string_view name) {
  std::size_t length = name.size();
  if (length > kMaxNameBytes) {
    length = kMaxNameBytes;
    while (length > 0 && ContinuesCharacter(name[length])) --length;
  }
  const std::string shortened(name.substr(0, length));
  (void)pthread_setname_np(pthread_self(), shortened.c_str());  // A missing name harms nobody.
}

}  // namespace platform
