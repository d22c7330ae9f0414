// Bodies of requests: parsing, and what records take from them.

#include "fuzz.h"
#include "photocloud/api/jsontext.h"
#include "photocloud/api/limits.h"
#include "photocloud/api/mediafields.h"
#include "photocloud/base/json.h"
#include "photocloud/base/text.h"
#include "photocloud/content/assetlayout.h"

using namespace photocloud;

namespace {

// Taking the same body twice changes nothing more, and a record stays JSON.
void TakeFields(const Json::Value& body) {
  MediaRecord media;
  media.fields = R"({"createdTime":"2024-05-01T10:20:30.000Z","fileName":"a.jpg","size":1})";
  if (!TakeMediaFields(body, media).empty()) return;
  const std::string once = media.fields;
  Demand(once.size() <= kLongestMediaFields && ParseJson(once).has_value());
  Demand(TakeMediaFields(body, media).empty() && media.fields == once);
  if (!TakePlace(body, 1, media).empty()) return;
  Demand(ParseJson(media.fields).has_value());
  Demand(media.recycled == !MemberOf(media.fields, "recycledTime").empty());
}

void PlanAssets(const Json::Value& body) {
  const ContentLimits limits;
  const Json::Value& attachments = body["attachments"];
  if (!attachments.isArray()) return;
  for (const Json::Value& attachment : attachments) {
    const auto planned = PlanAsset(attachment, "media", limits);
    const auto* plan = std::get_if<AssetPlan>(&planned);
    if (!plan) continue;
    std::int64_t stored = 0;
    for (const SliceRecord& slice : plan->slices) {
      // Places are those of plain bytes, and each object grows by less than a block.
      Demand(slice.start == slice.number * plan->asset.sliceSize);
      Demand(slice.length >= 0 && slice.length <= limits.MaxObjectBytes());
      stored += slice.length;
    }
    Demand(stored >= plan->asset.length);
    Demand(ParseJson(plan->asset.fields).has_value());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto body = ParseJson(TextOf(data, size));
  if (!body) return 0;
  const std::string written = WriteJson(*body);
  const auto again = ParseJson(written);
  Demand(again && WriteJson(*again) == written && IsUtf8(written));
  std::string appended;
  AppendValue(appended, *body);
  Demand(appended == written);
  if (!body->isObject()) return 0;
  TakeFields(*body);
  PlanAssets(*body);
  return 0;
}
