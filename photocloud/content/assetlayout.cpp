#include "photocloud/content/assetlayout.h"

#include <algorithm>
#include <optional>

#include "photocloud/base/json.h"
#include "photocloud/base/text.h"

namespace photocloud {
namespace {

constexpr std::int64_t kBlock = 16;
// Objects of one asset: each is a record, and all of them stand in one answer.
constexpr std::int64_t kMostSlices = 65536;

std::int64_t StoredLength(std::int64_t plain, bool encrypted) {
  return encrypted ? (plain / kBlock + 1) * kBlock : plain;
}

bool IsLength(const Json::Value& value) { return value.isInt64() && value.asInt64() >= 0; }

// The stored length of a thumbnail's one object; nothing when the lengths of
// its two pictures do not add up.
std::optional<std::int64_t> ThumbnailLength(const Json::Value& attributes, std::int64_t plain,
                                            bool encrypted) {
  const Json::Value& length = attributes["length"];
  if (!length.isObject()) return StoredLength(plain, encrypted);
  const Json::Value& small = length["small"];
  const Json::Value& large = length["large"];
  if (!IsLength(small) || !IsLength(large)) return std::nullopt;
  // Not by a sum, which two large lengths would overflow.
  if (small.asInt64() > plain || large.asInt64() != plain - small.asInt64()) return std::nullopt;
  return StoredLength(small.asInt64(), encrypted) + StoredLength(large.asInt64(), encrypted);
}

SliceRecord MakeSlice(const AssetRecord& asset, std::int64_t number, std::int64_t start,
                      std::int64_t length) {
  SliceRecord slice;
  slice.objectId = RandomId();
  slice.mediaId = asset.mediaId;
  slice.assetId = asset.id;
  slice.number = number;
  slice.start = start;
  slice.length = length;
  return slice;
}

std::vector<SliceRecord> CutContent(const AssetRecord& asset, bool encrypted) {
  std::vector<SliceRecord> slices;
  std::int64_t start = 0;
  do {
    const auto plain = std::min(asset.sliceSize, asset.length - start);
    slices.push_back(
        MakeSlice(asset, static_cast<std::int64_t>(slices.size()), start, StoredLength(plain, encrypted)));
    start += plain;
  } while (start < asset.length);
  return slices;
}

bool IsObjectOrAbsent(const Json::Value& value) { return value.isNull() || value.isObject(); }

bool HasShape(const Json::Value& attachment) {
  if (!attachment.isObject()) return false;
  const Json::Value& asset = attachment["asset"];
  if (!asset.isObject() || !IsObjectOrAbsent(asset["cipher"]) || !IsObjectOrAbsent(asset["attributes"]))
    return false;
  const Json::Value& resource = asset["resource"];
  if (!resource.isObject() || !IsObjectOrAbsent(resource["attributes"]) || !IsLength(resource["length"]))
    return false;
  return TextOf(resource, "hash").size() <= kLongestHash && IsHex(TextOf(resource, "sha256"), 64);
}

std::string KeepFields(const Json::Value& asset) {
  Json::Value fields(Json::objectValue);
  if (asset.isMember("cipher")) fields["cipher"] = asset["cipher"];
  if (asset.isMember("attributes")) fields["attributes"] = asset["attributes"];
  if (asset["resource"].isMember("attributes"))
    fields["resourceAttributes"] = asset["resource"]["attributes"];
  return WriteJson(fields);
}

}  // namespace

std::int64_t ContentLimits::MaxObjectBytes() const {
  return std::max(sliceSize, maxThumbnailBytes) + 2 * kBlock;
}

std::variant<AssetPlan, ErrorCode> PlanAsset(const Json::Value& attachment, const std::string& mediaId,
                                             const ContentLimits& limits) {
  if (!HasShape(attachment)) return ErrorCode::Malformed;
  const Json::Value& source = attachment["asset"];
  const Json::Value& resource = source["resource"];
  const bool encrypted = source["cipher"].isObject();
  AssetPlan plan;
  AssetRecord& asset = plan.asset;
  asset.mediaId = mediaId;
  asset.id = RandomId();
  asset.versionId = RandomId();
  asset.usage = TextOf(attachment, "usage");
  asset.hash = ToLower(TextOf(resource, "hash"));
  asset.sha256 = ToLower(TextOf(resource, "sha256"));
  asset.length = resource["length"].asInt64();
  asset.fields = KeepFields(source);
  if (asset.fields.size() > kLongestAssetFields) return ErrorCode::BodyTooLarge;
  if (asset.usage == "content") {
    if (asset.length > limits.maxFileBytes || asset.length / limits.sliceSize >= kMostSlices)
      return ErrorCode::BodyTooLarge;
    asset.sliceSize = limits.sliceSize;
    plan.slices = CutContent(asset, encrypted);
    return plan;
  }
  if (asset.usage != "thumbnail") return ErrorCode::Malformed;
  if (asset.length > limits.maxThumbnailBytes) return ErrorCode::BodyTooLarge;
  const Json::Value& attributes =
      source["attributes"].isMember("length") ? source["attributes"] : resource["attributes"];
  const auto length = ThumbnailLength(attributes, asset.length, encrypted);
  if (!length) return ErrorCode::Malformed;
  asset.sliceSize = std::max<std::int64_t>(asset.length, 1);
  plan.slices = {MakeSlice(asset, 0, 0, *length)};
  return plan;
}

}  // namespace photocloud
