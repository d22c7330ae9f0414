// Objects of assets: announced, sent, confirmed, read, reported lost.

#include "photocloud/api/handlers.h"
#include "photocloud/api/mediaview.h"
#include "photocloud/base/json.h"
#include "photocloud/base/log.h"
#include "photocloud/base/text.h"

namespace photocloud {
namespace {

struct Place {
  MediaRecord media;
  AssetRecord asset;
};

// The asset that a path of media, asset and revision leads to.
std::variant<Place, ErrorCode> FindPlace(Exchange& exchange) {
  const std::string& mediaId = exchange.arguments[0];
  auto media = exchange.services.store.FindMedia(exchange.Account(), mediaId);
  if (!media || media->phase == MediaPhase::Deleted) return ErrorCode::MediaUnknown;
  for (AssetRecord& asset : exchange.services.store.ListAssets(exchange.Account(), mediaId)) {
    if (asset.id != exchange.arguments[1] || asset.versionId != exchange.arguments[2]) continue;
    return Place{std::move(*media), std::move(asset)};
  }
  return ErrorCode::ObjectUnknown;
}

// MD5 texts come with 32 digits, or with 64 of which the second half is zeros.
std::string Md5Digits(const Json::Value& object) {
  std::string digits = ToLower(TextOf(object, "md5"));
  if (IsHex(digits, 64) && digits.substr(32) == std::string(32, '0')) digits.resize(32);
  return IsHex(digits, 32) ? digits : std::string();
}

std::optional<SliceRecord> FindSliceOf(Exchange& exchange, const AssetRecord& asset,
                                       const std::string& objectId) {
  const auto found = exchange.services.store.FindSlice(objectId);
  if (!found || found->first != exchange.Account() || found->second.assetId != asset.id) return std::nullopt;
  return found->second;
}

std::optional<ErrorCode> Announce(Exchange& exchange, const Place& place, SliceRecord slice,
                                  const std::string& md5, const std::string& sha256) {
  if (slice.sha256 == sha256 && slice.md5 == md5) return std::nullopt;
  // What others see already cannot turn into something else.
  if (place.media.phase == MediaPhase::Visible) return ErrorCode::CompareFailed;
  const auto known = exchange.services.store.FindObject(exchange.Account(), sha256);
  if (known && known->md5 != md5) return ErrorCode::BytesDiffer;
  const std::string before = slice.sha256;
  slice.md5 = md5;
  slice.sha256 = sha256;
  exchange.services.store.PutSlice(exchange.Account(), slice);
  if (!before.empty()) exchange.services.vault.ReleaseObject(exchange.Account(), before);
  return std::nullopt;
}

// Clients look for the object at its own number in the list; what stands before
// it is empty, since repeating it for each of thousands of objects would send
// more bytes than the objects themselves.
Json::Value ListWith(Json::Value object) {
  Json::Value list(Json::arrayValue);
  for (auto number = object["number"].asInt64(); number > 0; --number)
    list.append(Json::Value(Json::objectValue));
  list.append(std::move(object));
  return list;
}

Json::Value AssetJson(const AssetRecord& asset) {
  Json::Value json(Json::objectValue);
  json["id"] = asset.id;
  json["versionId"] = asset.versionId;
  json["resource"]["hash"] = asset.hash;
  json["resource"]["sha256"] = asset.sha256;
  json["resource"]["length"] = Json::Int64(asset.length);
  json["resource"]["sliceSize"] = Json::Int64(asset.sliceSize);
  return json;
}

// An upload that goes on for longer than uploads are kept is not swept away.
constexpr std::int64_t kTouchPeriodMs = 3600LL * 1000;

void TouchUpload(Exchange& exchange, MediaRecord media) {
  const auto now = exchange.services.clock.NowMs();
  if (media.phase != MediaPhase::Upload || now < media.touchedMs + kTouchPeriodMs) return;
  media.touchedMs = now;
  exchange.services.store.PutMedia(exchange.Account(), media);
}

Answer AnnounceObject(Exchange& exchange, const Place& place, const Json::Value& object) {
  const auto slice = FindSliceOf(exchange, place.asset, TextOf(object, "objectId"));
  if (!slice) return Answer(ErrorCode::ObjectUnknown, "objectId");
  const std::string md5 = Md5Digits(object);
  const std::string sha256 = ToLower(TextOf(object, "sha256"));
  if (md5.empty()) return Answer(ErrorCode::Malformed, "md5");
  if (!IsHex(sha256, 64)) return Answer(ErrorCode::Malformed, "sha256");
  if (const auto error = Announce(exchange, place, *slice, md5, sha256)) return Answer(*error, "sha256");
  TouchUpload(exchange, place.media);
  const auto now = FindSliceOf(exchange, place.asset, slice->objectId);
  Json::Value view = ViewSlice(exchange, *now);
  view["uploadUrl"] = SignedUrl(exchange, "PUT", slice->objectId);
  Json::Value json = AssetJson(place.asset);
  json["resource"]["state"] = TransferState(now->stored);
  json["resource"]["objects"] = ListWith(std::move(view));
  return json;
}

Answer ConfirmObjects(Exchange& exchange, const Place& place, const Json::Value& objects) {
  Json::Value json = AssetJson(place.asset);
  for (const Json::Value& object : objects) {
    const auto slice = FindSliceOf(exchange, place.asset, TextOf(object, "objectId"));
    if (!slice) return Answer(ErrorCode::ObjectUnknown, "objectId");
    if (!slice->stored) return Answer(ErrorCode::ObjectsMissing, slice->objectId);
    json["resource"]["objects"].append(ViewSlice(exchange, *slice));
  }
  const bool isComplete = exchange.services.vault.IsComplete(exchange.Account(), place.asset.id);
  const Json::Value& state = exchange.body["state"];
  if (state.isInt() && state.asInt() == 0 && !isComplete) return ErrorCode::ObjectsMissing;
  json["resource"]["state"] = TransferState(isComplete);
  return json;
}

Answer PostRevision(Exchange& exchange) {
  const auto found = FindPlace(exchange);
  if (const auto* error = std::get_if<ErrorCode>(&found)) return *error;
  const Place& place = std::get<Place>(found);
  const Json::Value& resource = exchange.body["resource"];
  if (!resource.isObject() || !resource["objects"].isArray() || resource["objects"].empty()) {
    return Answer(ErrorCode::Malformed, "resource");
  }
  if (resource.isMember("hash") && ToLower(TextOf(resource, "hash")) != place.asset.hash) {
    return Answer(ErrorCode::CompareFailed, "hash");
  }
  if (resource.isMember("sha256") && ToLower(TextOf(resource, "sha256")) != place.asset.sha256) {
    return Answer(ErrorCode::CompareFailed, "sha256");
  }
  const Json::Value& objects = resource["objects"];
  for (const Json::Value& object : objects) {
    if (!object.isObject()) return Answer(ErrorCode::Malformed, "objects");
  }
  if (objects[0].isMember("uploadStatus")) return ConfirmObjects(exchange, place, objects);
  if (objects.size() != 1) return Answer(ErrorCode::Malformed, "objects");
  return AnnounceObject(exchange, place, objects[0]);
}

// Reading the objects takes its time and would keep every account waiting: what
// is damaged is found afterwards, and its media are lost then.
void VerifyLater(Exchange& exchange, const AssetRecord& asset) {
  Services& services = exchange.services;
  const bool isTaken = services.background.Add(
      exchange.Account(), std::to_string(exchange.Account()) + "/" + asset.id,
      [&services, account = exchange.Account(), id = asset.id] { services.vault.Verify(account, id); });
  if (!isTaken)
    Log(LogLevel::Warning, "asset not verified", {{"account", std::to_string(exchange.Account())}});
}

Answer PatchRevision(Exchange& exchange) {
  const Json::Value& status = exchange.body["status"];
  if (!status.isInt() || (status.asInt() != 1 && status.asInt() != 2))
    return Answer(ErrorCode::Malformed, "status");
  const auto found = FindPlace(exchange);
  if (const auto* error = std::get_if<ErrorCode>(&found)) return *error;
  const Place& place = std::get<Place>(found);
  if (place.media.phase != MediaPhase::Visible) return ErrorCode::MediaUnknown;
  const auto reported = static_cast<ContentStatus>(status.asInt());
  const bool isComplete = exchange.services.vault.IsComplete(exchange.Account(), place.asset.id);
  if (reported == ContentStatus::Whole && !isComplete) return ErrorCode::ObjectsMissing;
  // Whole here and lost there: the device could not make sense of the bytes,
  // and only a device that holds the original can say more.
  if (exchange.services.vault.SetAssetStatus(exchange.Account(), place.asset, reported, exchange.Device()))
    exchange.TellDevices();
  VerifyLater(exchange, place.asset);
  Json::Value json(Json::objectValue);
  json["mediaId"] = place.media.id;
  json["assetId"] = place.asset.id;
  json["versionId"] = place.asset.versionId;
  json["status"] = status;
  return json;
}

struct Target {
  Account account;
  SliceRecord slice;
};

// The object of a signed URL, which stands for the account's token.
std::variant<Target, ErrorCode> FindSigned(Exchange& exchange) {
  const std::string& objectId = exchange.arguments[0];
  const Request& request = exchange.request;
  if (!exchange.services.signer.Accepts(request.method, objectId, request.Query("expires"),
                                        request.Query("signature"))) {
    return ErrorCode::UrlRefused;
  }
  const auto found = exchange.services.store.FindSlice(objectId);
  if (!found) return ErrorCode::ObjectUnknown;
  const auto account = exchange.services.store.FindAccount(found->first);
  if (!account || account->disabled) return ErrorCode::AccountDisabled;
  if (account->hidden) return ErrorCode::DataHidden;
  if (account->suspendedMs > 0 && request.method == "PUT") return ErrorCode::AccountDisabled;
  return Target{*account, found->second};
}

std::variant<std::shared_ptr<ByteSink>, ErrorCode> OpenObject(Exchange& exchange,
                                                              std::optional<std::int64_t> length) {
  const auto found = FindSigned(exchange);
  if (const auto* error = std::get_if<ErrorCode>(&found)) return *error;
  const auto& [account, slice] = std::get<Target>(found);
  auto incoming = exchange.services.vault.Expect(account, slice, length);
  if (const auto* error = std::get_if<ErrorCode>(&incoming)) return *error;
  return std::shared_ptr<ByteSink>(std::get<std::shared_ptr<IncomingObject>>(incoming));
}

Answer PutObject(Exchange& exchange) {
  const auto found = FindSigned(exchange);
  if (const auto* error = std::get_if<ErrorCode>(&found)) return *error;
  const SliceRecord& slice = std::get<Target>(found).slice;
  std::shared_ptr<ByteSink> sink = exchange.request.sink;
  if (!sink) {
    // No body has come: right for an empty object, and refused for any other.
    auto empty = OpenObject(exchange, 0);
    if (const auto* error = std::get_if<ErrorCode>(&empty)) return *error;
    sink = std::get<std::shared_ptr<ByteSink>>(empty);
  }
  if (const auto error = exchange.services.vault.Store(dynamic_cast<IncomingObject&>(*sink))) return *error;
  Json::Value json(Json::objectValue);
  json["objectId"] = slice.objectId;
  json["length"] = Json::Int64(slice.length);
  return json;
}

struct ByteRange {
  std::int64_t start = 0;
  std::int64_t count = 0;
  bool isPart = false;
};

// A number of a range; one beyond 63 bits is beyond every object too.
std::optional<std::int64_t> ReadPlace(const std::string& text) {
  if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) return std::nullopt;
  return ParseNumber(text).value_or(INT64_MAX);
}

// One range of "bytes=a-b", "bytes=a-" or "bytes=-n". Other units and lists of
// ranges count as absent, as HTTP has it.
std::variant<ByteRange, ErrorCode> ReadRange(const std::string& header, std::int64_t length) {
  constexpr std::string_view kUnit = "bytes=";
  if (header.rfind(kUnit, 0) != 0 || header.find(',') != std::string::npos)
    return ByteRange{0, length, false};
  const std::string range = header.substr(kUnit.size());
  const auto dash = range.find('-');
  if (dash == std::string::npos) return ErrorCode::Malformed;
  const std::string firstText = range.substr(0, dash);
  const std::string lastText = range.substr(dash + 1);
  const auto first = ReadPlace(firstText);
  const auto last = ReadPlace(lastText);
  if ((!first && !firstText.empty()) || (!last && !lastText.empty()) || (!first && !last))
    return ErrorCode::Malformed;
  const std::int64_t start = first ? *first : std::max<std::int64_t>(0, length - *last);
  const std::int64_t end = first && last ? std::min(*last, length - 1) : length - 1;
  if (start > end) return ErrorCode::RangeOutside;
  return ByteRange{start, end - start + 1, true};
}

Answer GetObject(Exchange& exchange) {
  const auto found = FindSigned(exchange);
  if (const auto* error = std::get_if<ErrorCode>(&found)) return *error;
  const auto& [account, slice] = std::get<Target>(found);
  const auto wanted = ReadRange(exchange.request.Header("range"), slice.length);
  if (const auto* error = std::get_if<ErrorCode>(&wanted)) return Answer(*error, "Range");
  const ByteRange* const range = &std::get<ByteRange>(wanted);
  auto bytes = exchange.services.vault.Read(account.id, slice, range->start, range->count);
  if (!bytes) return ErrorCode::ObjectUnknown;
  Response response;
  response.contentType = "application/octet-stream";
  response.body = std::move(*bytes);
  response.headers.emplace_back("Accept-Ranges", "bytes");
  if (range->isPart) {
    response.status = 206;
    response.headers.emplace_back("Content-Range", "bytes " + std::to_string(range->start) + "-" +
                                                       std::to_string(range->start + range->count - 1) + "/" +
                                                       std::to_string(slice.length));
  }
  return response;
}

}  // namespace

std::vector<Route> ContentRoutes() {
  constexpr const char* kRevision = "/cloudPhoto/v1/media/{mediaId}/assets/{assetId}/revisions/{versionId}";
  constexpr const char* kObject = "/cloudPhoto/v1/objects/{objectId}";
  RouteRules announce;
  announce.lock = true;
  announce.json = true;
  announce.atomic = true;
  RouteRules report;
  report.json = true;
  report.atomic = true;
  RouteRules bytes;
  bytes.token = false;
  bytes.batchable = false;
  RouteRules get = bytes;
  get.lane = Lane::Reading;
  RouteRules put = bytes;
  put.lane = Lane::Storing;
  return {{"POST", kRevision, PostRevision, announce},
          {"PATCH", kRevision, PatchRevision, report},
          {"GET", kObject, GetObject, get},
          {"PUT", kObject, PutObject, put, OpenObject}};
}

}  // namespace photocloud
