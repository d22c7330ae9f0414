#include <algorithm>

#include "photocloud/api/handlers.h"
#include "photocloud/api/jsontext.h"
#include "photocloud/api/limits.h"
#include "photocloud/api/mediaview.h"

namespace photocloud {
namespace {

void AppendChange(const MediaRecord& media, const FieldSelector& fields, const PageView& view,
                  std::string& out) {
  const bool isDeleted = media.phase == MediaPhase::Deleted;
  ObjectText object(out, fields);
  object.Add("changeType", std::string_view(isDeleted                               ? "delete"
                                            : media.version == media.createdVersion ? "create"
                                                                                    : "update"));
  object.Add("device", media.device);
  object.Add("deleted", isDeleted);
  object.Add("mediaId", media.id);
  if (!isDeleted && object.Begin("media")) view.Append(out, media);
  object.End();
}

// Appends one element for each record by `append`, as many as a page may hold.
// Returns how many those are.
template <typename Append>
std::size_t AppendElements(const std::vector<MediaRecord>& page, std::size_t most, std::string& out,
                           const Append& append) {
  std::size_t done = 0;
  out += '[';
  while (done < most && out.size() <= kMostPageBytes) {
    if (done > 0) out += ',';
    append(page[done++]);
  }
  out += ']';
  return done;
}

// A page of changes: its elements, and where the next one goes on.
Answer PageAnswer(const Exchange& exchange, const char* name, const std::string& elements, bool hasMore,
                  std::int64_t last) {
  std::string text;
  ObjectText object(text, exchange.fields);
  if (object.Begin(name)) text += elements;
  // The account was read before the page, so all changes up to its version are
  // in the pages; the page itself may hold newer ones.
  object.Add("newStartCursor",
             hasMore ? std::string() : std::to_string(std::max(last, exchange.caller.account.version)));
  object.Add("nextCursor", hasMore ? std::to_string(last) : std::string());
  object.End();
  return Answer::OfText(std::move(text));
}

Answer ListChanges(Exchange& exchange) {
  const auto size = PageSize(exchange.request);
  if (const auto* error = std::get_if<ErrorCode>(&size)) return Answer(*error, "pageSize");
  const auto cursor = ReadVersionCursor(exchange.request, exchange.caller.account);
  if (const auto* error = std::get_if<ErrorCode>(&cursor)) return *error;
  const Account& account = exchange.caller.account;
  const auto after = std::get<std::int64_t>(cursor);
  if (after < account.oldestCursor) return ErrorCode::CursorExpired;
  const bool includeDeleted = exchange.request.Query("isIncludeDeleted") == "true";
  auto page = exchange.services.store.ListChanges(account.id, after, includeDeleted, std::get<int>(size) + 1);
  bool hasMore = static_cast<int>(page.size()) > std::get<int>(size);
  if (hasMore) page.pop_back();
  const FieldSelector fields = exchange.fields.Inside("changes");
  const FieldSelector recordFields = fields.Inside("media");
  const PageView view(exchange, recordFields, page);
  std::string elements;
  elements.reserve(kUsualPageBytes);
  const auto done = AppendElements(page, view.Count(), elements, [&](const MediaRecord& media) {
    AppendChange(media, fields, view, elements);
  });
  hasMore = hasMore || done < page.size();
  return PageAnswer(exchange, "changes", elements, hasMore,
                    done == 0 ? account.version : page[done - 1].version);
}

Answer GetStartCursor(Exchange& exchange) {
  Json::Value json(Json::objectValue);
  json["startCursor"] = std::to_string(exchange.caller.account.version);
  json["fullUploadCursor"] = std::to_string(exchange.caller.account.oldestCursor);
  return json;
}

Answer ListLosts(Exchange& exchange) {
  const auto size = PageSize(exchange.request);
  if (const auto* error = std::get_if<ErrorCode>(&size)) return Answer(*error, "pageSize");
  const auto cursor = ReadVersionCursor(exchange.request, exchange.caller.account);
  if (const auto* error = std::get_if<ErrorCode>(&cursor)) return *error;
  auto page = exchange.services.store.ListLosts(exchange.Account(), std::get<std::int64_t>(cursor),
                                                std::get<int>(size) + 1);
  bool hasMore = static_cast<int>(page.size()) > std::get<int>(size);
  if (hasMore) page.pop_back();
  static const FieldSelector kLostFields = FieldSelector::Parse("id,status,size,attachments").value();
  const FieldSelector fields = exchange.fields.Inside("media");
  const PageView view(exchange, kLostFields, page);
  std::string elements;
  const auto done = AppendElements(page, view.Count(), elements, [&](const MediaRecord& media) {
    std::string record;
    view.Append(record, media);
    AppendSelected(elements, record, fields);
  });
  hasMore = hasMore || done < page.size();
  return PageAnswer(exchange, "media", elements, hasMore,
                    done == 0 ? exchange.caller.account.version : page[done - 1].lostVersion);
}

}  // namespace

std::vector<Route> ChangeRoutes() {
  return {{"GET", "/cloudPhoto/v1/changes", ListChanges, {}},
          {"GET", "/cloudPhoto/v1/changes/getStartCursor", GetStartCursor, {}},
          {"GET", "/cloudPhoto/v1/losts", ListLosts, {}}};
}

}  // namespace photocloud
