#include <unistd.h>

#include <array>

#include "common/platform/computer.h"
#include "common/platform/text.h"

namespace platform {

std::wstring ComputerName() {
  std::array<char, 256> name{};
  // The last byte stays zero: a name that is cut off has none of its own.
  if (::gethostname(name.data(), name.size() - 1) != 0) return {};
  return Utf8ToWide(name.data());
}

}  // namespace platform
