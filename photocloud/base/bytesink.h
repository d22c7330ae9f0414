#pragma once

#include <string_view>

namespace photocloud {

// Takes bytes in pieces, in their order, from one thread at a time.
class ByteSink {
 public:
  virtual ~ByteSink() = default;
  // Returns false when it wants no more; what went wrong it keeps to itself
  // until somebody asks.
  [[nodiscard]] virtual bool Write(std::string_view piece) = 0;
};

}  // namespace photocloud
