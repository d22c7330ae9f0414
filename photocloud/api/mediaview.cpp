#include "photocloud/api/mediaview.h"

#include <algorithm>

#include "photocloud/api/jsontext.h"
#include "photocloud/base/json.h"

namespace photocloud {
namespace {

// Objects of the attachments of one page. A page of one record takes all of its.
constexpr int kMostObjectsOfPage = 20000;

const FieldSelector kEverything;

constexpr const char* kFromAssets[] = {"attachments",
                                       "hash",
                                       "sha256",
                                       "cipher",
                                       "signedDownloadLink",
                                       "contentDownloadLink",
                                       "thumbnailDownloadLink",
                                       "smallThumbnailDownloadLink"};

bool WantsAssets(const FieldSelector& fields) {
  return std::any_of(std::begin(kFromAssets), std::end(kFromAssets),
                     [&](const char* name) { return fields.Names(name); });
}

std::string UrlOf(const Exchange& exchange, const std::string& method, const std::string& objectId) {
  return exchange.request.baseUrl + "/cloudPhoto/v1/objects/" + objectId +
         exchange.services.signer.Query(method, objectId);
}

void AppendSlice(Exchange& exchange, const SliceRecord& slice, const FieldSelector& fields,
                 std::string& out) {
  ObjectText object(out, fields);
  object.Add("id", slice.objectId);
  object.Add("number", slice.number);
  object.Add("start", slice.start);
  object.Add("length", slice.length);
  object.Add("state", std::int64_t{TransferState(slice.stored)});
  if (object.Begin("downloadUrl")) {
    ObjectText url(out, object.Inside("downloadUrl"));
    if (url.Begin("url")) AppendText(out, UrlOf(exchange, "GET", slice.objectId));
    url.Add("method", std::string_view("GET"));
    url.AddValue("headers", R"({"Accept":"application/octet-stream"})");
    url.End();
  }
  object.End();
}

bool IsHeld(const ContentRecord& content) {
  return std::all_of(content.slices.begin(), content.slices.end(),
                     [](const SliceRecord& slice) { return slice.stored; });
}

void AppendResource(Exchange& exchange, const ContentRecord& content, const FieldSelector& fields,
                    std::string& out) {
  const AssetRecord& asset = content.asset;
  ObjectText object(out, fields);
  object.Add("hash", asset.hash);
  object.Add("sha256", asset.sha256);
  object.Add("length", asset.length);
  object.Add("sliceSize", asset.sliceSize);
  object.AddValue("attributes", MemberOf(asset.fields, "resourceAttributes"));
  if (object.Begin("objects")) {
    out += '[';
    for (const SliceRecord& slice : content.slices) {
      if (&slice != &content.slices.front()) out += ',';
      AppendSlice(exchange, slice, object.Inside("objects"), out);
    }
    out += ']';
  }
  object.Add("state", std::int64_t{TransferState(IsHeld(content))});
  object.End();
}

void AppendAttachment(Exchange& exchange, const ContentRecord& content, const FieldSelector& fields,
                      std::string& out) {
  const AssetRecord& asset = content.asset;
  ObjectText object(out, fields);
  object.Add("usage", asset.usage);
  object.Add("status", static_cast<std::int64_t>(asset.status));
  if (object.Begin("asset")) {
    ObjectText inner(out, object.Inside("asset"));
    inner.Add("id", asset.id);
    inner.Add("versionId", asset.versionId);
    inner.AddValue("cipher", MemberOf(asset.fields, "cipher"));
    inner.AddValue("attributes", MemberOf(asset.fields, "attributes"));
    if (inner.Begin("resource")) AppendResource(exchange, content, inner.Inside("resource"), out);
    inner.End();
  }
  object.End();
}

// Links lead to plain bytes. The service has none of encrypted content, nor in
// one piece of content in several objects.
void AddLinks(Exchange& exchange, const ContentRecord& content, std::initializer_list<std::string_view> names,
              ObjectText& object, std::string& out) {
  if (content.slices.size() != 1 || !MemberOf(content.asset.fields, "cipher").empty()) return;
  for (const std::string_view name : names) {
    if (object.Begin(name)) AppendText(out, UrlOf(exchange, "GET", content.slices.front().objectId));
  }
}

void AddContents(Exchange& exchange, const std::vector<ContentRecord>& contents, ObjectText& object,
                 std::string& out) {
  for (const ContentRecord& content : contents) {
    if (content.asset.usage == "content") {
      object.Add("hash", content.asset.hash);
      object.Add("sha256", content.asset.sha256);
      object.AddValue("cipher", MemberOf(content.asset.fields, "cipher"));
      AddLinks(exchange, content, {"signedDownloadLink", "contentDownloadLink"}, object, out);
    } else {
      AddLinks(exchange, content, {"thumbnailDownloadLink", "smallThumbnailDownloadLink"}, object, out);
    }
  }
  if (!object.Begin("attachments")) return;
  out += '[';
  for (const ContentRecord& content : contents) {
    if (&content != &contents.front()) out += ',';
    AppendAttachment(exchange, content, object.Inside("attachments"), out);
  }
  out += ']';
}

void AddOwner(const Account& account, ObjectText& object, std::string& out) {
  object.Add("mediaOwnerId", account.userId);
  if (object.Begin("creator")) {
    ObjectText creator(out, object.Inside("creator"));
    creator.Add("userId", account.userId);
    creator.Add("displayName", account.userName);
    creator.End();
  }
}

// With `contents` when they are wanted, else null.
void AppendRecord(Exchange& exchange, const MediaRecord& media, const FieldSelector& fields,
                  const std::vector<ContentRecord>* contents, std::string& out) {
  ObjectText object(out, fields);
  object.AddMembers(media.fields);
  object.Add("id", media.id);
  object.Add("albumId", media.albumId);
  object.Add("recycled", media.recycled);
  object.Add("status", static_cast<std::int64_t>(media.status));
  if (object.Begin("version")) AppendText(out, std::to_string(media.version));
  AddOwner(exchange.caller.account, object, out);
  object.Add("uploadType", std::string_view("client"));
  if (contents) AddContents(exchange, *contents, object, out);
  object.End();
}

}  // namespace

int TransferState(bool isHeld) { return isHeld ? 1 : 2; }

Json::Value SignedUrl(Exchange& exchange, const std::string& method, const std::string& objectId) {
  Json::Value json(Json::objectValue);
  json["url"] = UrlOf(exchange, method, objectId);
  json["method"] = method;
  json["headers"][method == "PUT" ? "Content-Type" : "Accept"] = "application/octet-stream";
  return json;
}

Json::Value ViewSlice(Exchange& exchange, const SliceRecord& slice) {
  std::string text;
  AppendSlice(exchange, slice, kEverything, text);
  return ParseJson(text).value_or(Json::Value());
}

Answer ViewOne(Exchange& exchange, const MediaRecord& media) {
  const bool wants = exchange.fields.IsEverything() || WantsAssets(exchange.fields);
  std::string text;
  if (!wants) {
    AppendRecord(exchange, media, exchange.fields, nullptr, text);
    return Answer::OfText(std::move(text));
  }
  auto contents = exchange.services.store.ListContents(exchange.Account(), {media.id}, INT32_MAX);
  AppendRecord(exchange, media, exchange.fields, &contents[media.id], text);
  return Answer::OfText(std::move(text));
}

PageView::PageView(Exchange& pageExchange, const FieldSelector& recordFields,
                   const std::vector<MediaRecord>& records)
    : exchange(pageExchange),
      fields(recordFields),
      wantsAssets(WantsAssets(recordFields)),
      count(records.size()) {
  if (!wantsAssets || records.empty()) return;
  std::vector<std::string> ids;
  ids.reserve(records.size());
  for (const MediaRecord& media : records) ids.push_back(media.id);
  auto& store = exchange.services.store;
  contents = store.ListContents(exchange.Account(), ids, kMostObjectsOfPage);
  std::size_t objects = 0;
  for (const auto& [id, list] : contents) {
    for (const ContentRecord& content : list) objects += std::max<std::size_t>(content.slices.size(), 1);
  }
  if (objects < kMostObjectsOfPage) return;
  // The last record that came may lack some of its objects.
  const auto last =
      std::find_if(ids.rbegin(), ids.rend(), [this](const auto& id) { return contents.count(id) > 0; });
  count = static_cast<std::size_t>(ids.rend() - last) - 1;
  if (count > 0) return;
  count = 1;
  contents = store.ListContents(exchange.Account(), {ids.front()}, INT32_MAX);
}

void PageView::Append(std::string& out, const MediaRecord& media) const {
  static const std::vector<ContentRecord> kNone;
  if (!wantsAssets) return AppendRecord(exchange, media, fields, nullptr, out);
  const auto found = contents.find(media.id);
  AppendRecord(exchange, media, fields, found == contents.end() ? &kNone : &found->second, out);
}

}  // namespace photocloud
