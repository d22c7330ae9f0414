#include "host/requests/ns/cloudphotov2losts.h"

#include "host/base/jsontext.h"
#include "host/requests/curlppx.h"

namespace NS::CloudPhoto::V2 {
namespace {

using curlppx::CurlUrl;
using JsonText::Number;
using JsonText::Text;

constexpr char kLostFields[] = "newStartCursor,nextCursor,media(id,status,size,attachments(usage,status))";

std::uint32_t Status(const Json::Value& json) { return static_cast<std::uint32_t>(Number(json, "status")); }

bool Read(const Json::Value& json, LostMedia& media) {
  media.id = Text(json, "id");
  media.status = Status(json);
  media.size = Number(json, "size");
  if (media.id.empty()) return false;
  if (!json["attachments"].isArray()) return true;
  for (const Json::Value& attachment : json["attachments"])
    media.attachments.push_back({Text(attachment, "usage"), Status(attachment)});
  return true;
}

}  // namespace

bool Read(const Json::Value& json, LostsListRet& answer) {
  answer.list.nextCursor = Text(json, "nextCursor");
  answer.list.newStartCursor = Text(json, "newStartCursor");
  if (!json.isObject() || !json["media"].isArray()) return false;
  for (const Json::Value& item : json["media"]) {
    if (!Read(item, answer.list.media.emplace_back())) return false;
  }
  return true;
}

LostsListQuery::LostsListQuery(const std::string& cursor) {
  CurlUrl::Query query{{"fields", kLostFields}, {"pageSize", std::to_string(kPageSize)}};
  if (!cursor.empty()) query.emplace_back("cursor", cursor);
  uri = "/cloudPhoto/v1/losts?" + CurlUrl::BuildQuery(query);
}

bool Read(const Json::Value& json, P2ReqMediaPatchMetadataRet& answer) { return Read(json, answer.media); }

Call<P2ReqMediaPatchMetadataRet> MediaReq::UpdateMediaStatus(const std::string& id, const std::string& fields,
                                                             const std::string& status,
                                                             const std::string& lockToken) {
  Call<P2ReqMediaPatchMetadataRet> call;
  call.method = "PATCH";
  call.uri = "/cloudPhoto/v1/media/" + CurlUrl::Escape(id) + "?" + CurlUrl::BuildQuery({{"fields", fields}});
  call.body["status"] = status;
  call.lockToken = lockToken;
  return call;
}

AssetsRevisionsUpdateQuery::AssetsRevisionsUpdateQuery(const std::string& mediaId, const std::string& assetId,
                                                       const std::string& versionId, std::int32_t status) {
  method = "PATCH";
  uri = "/cloudPhoto/v1/media/" + CurlUrl::Escape(mediaId) + "/assets/" + CurlUrl::Escape(assetId) +
        "/revisions/" + CurlUrl::Escape(versionId);
  body["status"] = status;
}

}  // namespace NS::CloudPhoto::V2
