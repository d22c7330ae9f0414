#include <set>

#include "photocloud/api/handlers.h"
#include "photocloud/api/jsontext.h"
#include "photocloud/api/limits.h"
#include "photocloud/api/mediafields.h"
#include "photocloud/api/mediaview.h"
#include "photocloud/base/json.h"
#include "photocloud/base/text.h"
#include "photocloud/base/timetext.h"

namespace photocloud {
namespace {

// How ids of albums begin that devices make.
constexpr char kDeviceAlbums[] = "default-album-";

std::optional<MediaRecord> FindVisible(Exchange& exchange, const std::string& id) {
  auto media = exchange.services.store.FindMedia(exchange.Account(), id);
  if (media && media->phase != MediaPhase::Visible) media.reset();
  return media;
}

// A media outside the bin lives in an album that exists. One in the bin may
// have come from an album that is gone.
bool HasAlbum(Exchange& exchange, const MediaRecord& media) {
  if (media.recycled) return true;
  const auto album = exchange.services.store.FindAlbum(exchange.Account(), media.albumId);
  return album && !album->deleted && media.albumId != kRecycleAlbum;
}

std::optional<MediaFilter> ReadFilter(const Request& request) {
  const auto terms = QueryTerms(request);
  if (!terms) return std::nullopt;
  MediaFilter filter;
  for (const auto& [name, value] : *terms) {
    if (name == "albumId") filter.albumId = value;
    if (name != "recycled") continue;
    if (value != "true" && value != "false") return std::nullopt;
    filter.recycled = value == "true";
  }
  return filter;
}

// A device that compares asks for all its records, and for little of each.
Extent ExtentOf(const FieldSelector& fields) {
  static const std::vector<std::string_view> names = [] {
    std::vector<std::string_view> brief = {"id", "albumId", "status"};
    brief.insert(brief.end(), std::begin(kBriefFields), std::end(kBriefFields));
    return brief;
  }();
  return fields.NamesOnly(names) ? Extent::Brief : Extent::Whole;
}

// Appends the list of records. Returns true when it ended early: then `page` ends
// with the last record that is in it.
bool AppendPage(Exchange& exchange, const FieldSelector& fields, std::vector<MediaRecord>& page,
                std::string& out) {
  const PageView view(exchange, fields, page);
  std::size_t done = 0;
  out += '[';
  while (done < view.Count() && out.size() <= kMostPageBytes) {
    if (done > 0) out += ',';
    view.Append(out, page[done++]);
  }
  out += ']';
  const bool isCut = done < page.size();
  page.resize(done);
  return isCut;
}

Answer ListMedia(Exchange& exchange) {
  const auto size = PageSize(exchange.request);
  if (const auto* error = std::get_if<ErrorCode>(&size)) return Answer(*error, "pageSize");
  const auto cursor = ReadListCursor(exchange.request, exchange.caller.account);
  if (const auto* error = std::get_if<ErrorCode>(&cursor)) return *error;
  const auto filter = ReadFilter(exchange.request);
  if (!filter) return Answer(ErrorCode::Malformed, "queryParam");
  const auto& [version, position] = std::get<ListCursor>(cursor);
  const FieldSelector fields = exchange.fields.Inside("media");
  auto page = exchange.services.store.ListMedia(exchange.Account(), *filter, position,
                                                std::get<int>(size) + 1, ExtentOf(fields));
  bool hasMore = static_cast<int>(page.size()) > std::get<int>(size);
  if (hasMore) page.pop_back();
  std::string text, unwanted;
  text.reserve(kUsualPageBytes);
  ObjectText object(text, exchange.fields);
  // Where the next page begins is known from the records, asked for or not.
  hasMore = AppendPage(exchange, fields, page, object.Begin("media") ? text : unwanted) || hasMore;
  object.Add("nextCursor",
             hasMore ? WriteCursor(version, {page.back().createdMs, page.back().id}) : std::string());
  object.End();
  return Answer::OfText(std::move(text));
}

Answer GetMedia(Exchange& exchange) {
  const auto media = FindVisible(exchange, exchange.arguments[0]);
  if (!media) return ErrorCode::MediaUnknown;
  return ViewOne(exchange, *media);
}

// Takes digests over from an asset of the same content that is all there: the
// same bytes need not travel again.
void LinkHeldObjects(Exchange& exchange, AssetPlan& plan) {
  const auto twins = exchange.services.store.ListWholeAssets(exchange.Account(), plan.asset, 1);
  if (twins.empty()) return;
  const auto held = exchange.services.store.ListSlices(exchange.Account(), twins.front().id);
  if (held.size() != plan.slices.size()) return;
  for (std::size_t i = 0; i < held.size(); ++i) {
    if (held[i].length != plan.slices[i].length) return;
    plan.slices[i].md5 = held[i].md5;
    plan.slices[i].sha256 = held[i].sha256;
    plan.slices[i].stored = true;
  }
}

std::variant<std::vector<AssetPlan>, ErrorCode> PlanAssets(Exchange& exchange, const std::string& mediaId) {
  std::vector<AssetPlan> plans;
  const Json::Value& attachments = exchange.body["attachments"];
  if (attachments.isNull()) return plans;
  if (!attachments.isArray()) return ErrorCode::Malformed;
  std::set<std::string> usages;
  for (const Json::Value& attachment : attachments) {
    auto plan = PlanAsset(attachment, mediaId, exchange.services.settings.content);
    if (const auto* error = std::get_if<ErrorCode>(&plan)) return *error;
    plans.push_back(std::move(std::get<AssetPlan>(plan)));
    if (!usages.insert(plans.back().asset.usage).second) return ErrorCode::Malformed;
  }
  return plans;
}

std::int64_t BytesToCome(const std::vector<AssetPlan>& plans) {
  std::int64_t bytes = 0;
  for (const AssetPlan& plan : plans) {
    for (const SliceRecord& slice : plan.slices) bytes += slice.stored ? 0 : slice.length;
  }
  return bytes;
}

// Open uploads of one account. Clients have a few at a time; those of a client
// that is killed again and again go by their age.
constexpr int kMostUploads = 1000;
constexpr std::size_t kSmallGrowth = 64;
constexpr std::size_t kSmallRecord = 16 << 10;

// Answers a visible record to a device that gives its content back.
Answer ReopenMedia(Exchange& exchange) {
  const auto media = FindVisible(exchange, TextOf(exchange.body, "id"));
  if (!media) return ErrorCode::MediaUnknown;
  const auto plans = PlanAssets(exchange, media->id);
  if (const auto* error = std::get_if<ErrorCode>(&plans)) return Answer(*error, "attachments");
  for (const AssetPlan& plan : std::get<std::vector<AssetPlan>>(plans)) {
    bool isKnown = false;
    for (const AssetRecord& asset : exchange.services.store.ListAssets(exchange.Account(), media->id)) {
      isKnown = isKnown || (asset.usage == plan.asset.usage && asset.hash == plan.asset.hash &&
                            asset.sha256 == plan.asset.sha256 && asset.length == plan.asset.length);
    }
    if (!isKnown) return Answer(ErrorCode::CompareFailed, "attachments");
  }
  return ViewOne(exchange, *media);
}

void StorePlans(Exchange& exchange, const std::vector<AssetPlan>& plans) {
  for (const AssetPlan& plan : plans) {
    exchange.services.store.PutAsset(exchange.Account(), plan.asset);
    for (const SliceRecord& slice : plan.slices) exchange.services.store.PutSlice(exchange.Account(), slice);
  }
}

// Devices send metadata of the picture with its content; they belong to the
// media all the same.
Json::Value WithContentMetadata(const Json::Value& body) {
  Json::Value whole = body;
  for (const Json::Value& attachment : body["attachments"]) {
    if (TextOf(attachment, "usage") != "content") continue;
    const Json::Value& attributes = attachment["asset"]["attributes"];
    for (const char* key : {"pictureMetadata", "videoMetadata"}) {
      if (attributes.isObject() && attributes.isMember(key) && !whole.isMember(key))
        whole[key] = attributes[key];
    }
  }
  return whole;
}

// So many records of one content that a device made under one name are looked at.
constexpr int kMostTwins = 100;

// A device whose answer to the last step of an upload got lost sends it all once
// more: it gets the record that it has made, not a second one.
std::optional<MediaRecord> FindRepeated(Exchange& exchange, const std::vector<AssetPlan>& plans,
                                        const MediaRecord& media) {
  const Json::Value wanted = ParseJson(media.fields).value_or(Json::Value(Json::objectValue));
  for (const AssetPlan& plan : plans) {
    if (plan.asset.usage != "content") continue;
    for (const AssetRecord& twin :
         exchange.services.store.ListWholeAssets(exchange.Account(), plan.asset, kMostTwins)) {
      auto known = FindVisible(exchange, twin.mediaId);
      if (!known || known->albumId != media.albumId || known->recycled != media.recycled) continue;
      const Json::Value fields = ParseJson(known->fields).value_or(Json::Value(Json::objectValue));
      const bool isSame = fields["fileName"] == wanted["fileName"] &&
                          fields["createdTime"] == wanted["createdTime"] &&
                          fields["deviceId"] == wanted["deviceId"];
      if (isSame && !TextOf(wanted, "deviceId").empty()) return known;
    }
  }
  return std::nullopt;
}

Answer CreateMedia(Exchange& exchange) {
  if (exchange.request.Query("mode") != "temp") return Answer(ErrorCode::Malformed, "mode");
  if (exchange.body.isMember("id")) return ReopenMedia(exchange);
  MediaRecord media;
  media.id = RandomId();
  media.createdMs = exchange.services.clock.NowMs();
  media.touchedMs = media.createdMs;
  Json::Value own(Json::objectValue);
  own["createdTime"] = FormatTime(media.createdMs);
  own["favorite"] = false;
  own["deviceId"] = exchange.Device();
  media.fields = WriteJson(own);
  // First the attachments: their shape is known to be right afterwards.
  auto planned = PlanAssets(exchange, media.id);
  if (const auto* error = std::get_if<ErrorCode>(&planned)) return Answer(*error, "attachments");
  std::string fault = TakeMediaFields(WithContentMetadata(exchange.body), media);
  if (fault.empty()) fault = TakePlace(exchange.body, media.touchedMs, media);
  if (!fault.empty()) return Answer(ErrorCode::Malformed, fault);
  if (!HasAlbum(exchange, media)) return ErrorCode::AlbumUnknown;
  auto& plans = std::get<std::vector<AssetPlan>>(planned);
  if (const auto known = FindRepeated(exchange, plans, media)) return ViewOne(exchange, *known);
  for (AssetPlan& plan : plans) LinkHeldObjects(exchange, plan);
  if (exchange.services.store.CountUploads(exchange.Account(), kMostUploads) >= kMostUploads)
    return ErrorCode::TooManyRequests;
  if (exchange.services.objects.FreeBytes() < BytesToCome(plans)) return ErrorCode::NoSpace;
  exchange.services.store.PutMedia(exchange.Account(), media);
  StorePlans(exchange, plans);
  if (!exchange.services.vault.IsWithinQuota(exchange.Account())) return ErrorCode::NoSpace;
  return ViewOne(exchange, media);
}

bool HasAllObjects(Exchange& exchange, const MediaRecord& media) {
  for (const AssetRecord& asset : exchange.services.store.ListAssets(exchange.Account(), media.id)) {
    if (!exchange.services.vault.IsComplete(exchange.Account(), asset.id)) return false;
  }
  return true;
}

// Returns whether the record has changed.
bool MarkWhole(Exchange& exchange, const std::string& mediaId) {
  bool hasChanged = false;
  for (const AssetRecord& asset : exchange.services.store.ListAssets(exchange.Account(), mediaId)) {
    if (exchange.services.vault.SetAssetStatus(exchange.Account(), asset, ContentStatus::Whole,
                                               exchange.Device())) {
      exchange.TellDevices();
      hasChanged = true;
    }
  }
  return hasChanged;
}

// The content's length stands in for a size that was never given.
void FillSize(Exchange& exchange, MediaRecord& media) {
  if (!MemberOf(media.fields, "size").empty()) return;
  std::int64_t size = 0;
  for (const AssetRecord& asset : exchange.services.store.ListAssets(exchange.Account(), media.id)) {
    if (asset.usage == "content") size = asset.length;
  }
  media.fields = WithMember(media.fields, "size", std::to_string(size));
}

void StoreChange(Exchange& exchange, MediaRecord& media) {
  media.version = exchange.NextVersion();
  media.device = exchange.Device();
  media.touchedMs = exchange.services.clock.NowMs();
  if (media.phase == MediaPhase::Upload) {
    media.phase = MediaPhase::Visible;
    media.createdVersion = media.version;
    FillSize(exchange, media);
  }
  exchange.services.store.PutMedia(exchange.Account(), media);
}

bool IsSame(const MediaRecord& left, const MediaRecord& right) {
  return left.fields == right.fields && left.albumId == right.albumId && left.recycled == right.recycled;
}

// A full account can still be put in order: marks, moves and the bin's time cost
// a few bytes only.
bool HasGrown(const MediaRecord& before, const MediaRecord& now) {
  return now.fields.size() > before.fields.size() + kSmallGrowth ||
         (now.fields.size() > before.fields.size() && now.fields.size() > kSmallRecord);
}

// A device that moves a media and then puts it into the bin sends both in one
// request: the bin as album, and where the media came from as source. That album
// may be gone or still to come; a source without the form of an album's id is
// something else, a camera say.
void TakeOrigin(Exchange& exchange, MediaRecord& media) {
  const std::string origin = TextOf(exchange.body, "source");
  if (TextOf(exchange.body, "albumId") != kRecycleAlbum || origin == kRecycleAlbum) return;
  if (origin.size() > kLongestAlbumId) return;
  if (origin.rfind(kDeviceAlbums, 0) == 0 || exchange.services.store.FindAlbum(exchange.Account(), origin)) {
    media.albumId = origin;
  }
}

Answer PatchMedia(Exchange& exchange) {
  const std::string& id = exchange.arguments[0];
  const std::string mode = exchange.request.Query("mode");
  if (!mode.empty() && mode != "normal") return Answer(ErrorCode::Malformed, "mode");
  const auto known = exchange.services.store.FindMedia(exchange.Account(), id);
  if (!known || known->phase == MediaPhase::Deleted) return ErrorCode::MediaUnknown;
  const bool isUpload = known->phase == MediaPhase::Upload;
  if (isUpload && mode.empty()) return ErrorCode::MediaUnknown;
  if (exchange.body.isMember("id") && TextOf(exchange.body, "id") != id)
    return Answer(ErrorCode::Malformed, "id");
  const bool saysNormal = exchange.body.isMember("status");
  if (saysNormal && TextOf(exchange.body, "status") != "normal")
    return Answer(ErrorCode::Malformed, "status");

  MediaRecord media = *known;
  std::string fault = TakeMediaFields(exchange.body, media);
  if (fault.empty()) fault = TakePlace(exchange.body, exchange.services.clock.NowMs(), media);
  if (!fault.empty()) return Answer(ErrorCode::Malformed, fault);
  TakeOrigin(exchange, media);
  const bool isMoved = media.albumId != known->albumId || media.recycled != known->recycled;
  if ((isUpload || isMoved) && !HasAlbum(exchange, media)) return ErrorCode::AlbumUnknown;
  // Most changes say nothing of the content, whose objects take longest to look at.
  const bool isAboutContent = isUpload || saysNormal || !mode.empty();
  const bool isWhole = isAboutContent && HasAllObjects(exchange, media);
  if (!isWhole && (isUpload || saysNormal)) return ErrorCode::ObjectsMissing;
  // An unchanged record makes no version, so a repeated request makes no noise.
  if (isUpload || !IsSame(media, *known)) StoreChange(exchange, media);
  if (HasGrown(*known, media) && !exchange.services.vault.IsWithinQuota(exchange.Account()))
    return ErrorCode::NoSpace;
  if (!isWhole || !MarkWhole(exchange, id)) return ViewOne(exchange, media);
  return ViewOne(exchange, exchange.services.store.FindMedia(exchange.Account(), id).value_or(media));
}

MediaRecord MakeTombstone(Exchange& exchange, const std::string& id) {
  MediaRecord tombstone;
  tombstone.id = id;
  tombstone.phase = MediaPhase::Deleted;
  tombstone.version = exchange.NextVersion();
  tombstone.device = exchange.Device();
  tombstone.touchedMs = exchange.services.clock.NowMs();
  tombstone.fields = "{}";
  return tombstone;
}

Answer DeleteMedia(Exchange& exchange) {
  const std::string& id = exchange.arguments[0];
  const auto media = exchange.services.store.FindMedia(exchange.Account(), id);
  if (!media) return ErrorCode::MediaUnknown;
  if (media->phase != MediaPhase::Deleted) exchange.services.vault.ReleaseMedia(exchange.Account(), id);
  // An upload that nobody saw goes without a trace.
  if (media->phase == MediaPhase::Upload) exchange.services.store.RemoveMedia(exchange.Account(), id);
  if (media->phase == MediaPhase::Visible) {
    exchange.services.store.PutMedia(exchange.Account(), MakeTombstone(exchange, id));
  }
  Json::Value json(Json::objectValue);
  json["id"] = id;
  return json;
}

}  // namespace

std::vector<Route> MediaRoutes() {
  RouteRules change;
  change.lock = true;
  change.atomic = true;
  RouteRules write = change;
  write.json = true;
  return {{"GET", "/cloudPhoto/v1/media", ListMedia, {}},
          {"POST", "/cloudPhoto/v1/media", CreateMedia, write},
          {"GET", "/cloudPhoto/v1/media/{mediaId}", GetMedia, {}},
          {"PATCH", "/cloudPhoto/v1/media/{mediaId}", PatchMedia, write},
          {"DELETE", "/cloudPhoto/v1/media/{mediaId}", DeleteMedia, change}};
}

}  // namespace photocloud
