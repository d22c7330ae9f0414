#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "photocloud/base/errorcode.h"
#include "photocloud/store/records.h"

namespace photocloud {

constexpr std::size_t kLongestHash = 256;
// Cipher and attributes of one asset together.
constexpr std::size_t kLongestAssetFields = 64 << 10;

struct ContentLimits {
  // Bytes of a file in one object. A client keeps one object per transfer in
  // memory, and each costs three requests.
  std::int64_t sliceSize = 4 << 20;
  std::int64_t maxFileBytes = std::int64_t{50} << 30;
  std::int64_t maxThumbnailBytes = 16 << 20;

  // The longest object that can be announced.
  std::int64_t MaxObjectBytes() const;
};

struct AssetPlan {
  AssetRecord asset;
  std::vector<SliceRecord> slices;
};

// Cuts the asset of an attachment that a client announces into objects.
//
// Encrypted content is cut every `sliceSize` plain bytes, and each piece grows
// to the next whole block of 16 behind it; pieces of 0 bytes are a block too.
// A thumbnail is one object: the encrypted small picture, then the large one.
// Content without a cipher keeps its lengths.
//
//   content    [0, s) [s, 2s) ... [ns, length)     each + 1..16 bytes
//   thumbnail  [small + 1..16][large + 1..16]
std::variant<AssetPlan, ErrorCode> PlanAsset(const Json::Value& attachment, const std::string& mediaId,
                                             const ContentLimits& limits);

}  // namespace photocloud
