// Control of faults; only in a server that was started for tests.

#include "photocloud/api/handlers.h"
#include "photocloud/base/json.h"

namespace photocloud {
namespace {

struct ActionContext {
  Services& services;
  const Json::Value& action;
  Account account;
};

bool DropLock(ActionContext& context) {
  context.services.store.StoreLock(context.account.id, {});
  return true;
}

bool BumpVersion(ActionContext& context) {
  return context.services.store.NextVersion(context.account.id) > 0;
}

bool ExpireCursors(ActionContext& context) {
  context.services.store.ExpireCursors(context.account.id);
  return true;
}

bool UpdateAccount(ActionContext& context) {
  context.services.store.UpdateAccount(context.account);
  return true;
}

bool HideData(ActionContext& context) {
  context.account.hidden = true;
  return UpdateAccount(context);
}

bool ShowData(ActionContext& context) {
  context.account.hidden = false;
  return UpdateAccount(context);
}

bool SetSuspendCursor(ActionContext& context) {
  context.account.suspendCursor = TextOf(context.action, "value");
  return UpdateAccount(context);
}

bool SetUserStatus(ActionContext& context) {
  context.account.userStatus = TextOf(context.action, "value");
  return UpdateAccount(context);
}

std::optional<SliceRecord> FindTarget(ActionContext& context) {
  const std::string usage = context.action.isMember("usage") ? TextOf(context.action, "usage") : "content";
  const Json::Value& number = context.action["number"];
  const std::int64_t wanted = number.isInt64() ? number.asInt64() : 0;
  auto& store = context.services.store;
  for (const AssetRecord& asset : store.ListAssets(context.account.id, TextOf(context.action, "mediaId"))) {
    if (asset.usage != usage) continue;
    for (SliceRecord& slice : store.ListSlices(context.account.id, asset.id)) {
      if (slice.number == wanted && slice.stored) return std::move(slice);
    }
  }
  return std::nullopt;
}

bool LoseObject(ActionContext& context) {
  const auto slice = FindTarget(context);
  return slice && context.services.objects.Remove(context.account.id, slice->sha256);
}

// Turns one bit over and keeps the length, as a failing disk does.
bool DamageObject(ActionContext& context) {
  const auto slice = FindTarget(context);
  if (!slice || slice->length == 0) return false;
  auto bytes = context.services.objects.Read(context.account.id, slice->sha256, 0, slice->length);
  if (!bytes) return false;
  bytes->front() = static_cast<char>(bytes->front() ^ 1);
  return context.services.objects.Put(context.account.id, slice->sha256, *bytes);
}

bool Push(ActionContext& context) {
  const Json::Value& body = context.action["body"];
  const std::string text = body.isString() ? body.asString() : WriteJson(body);
  const std::string cmd = context.action.isMember("cmd") ? TextOf(context.action, "cmd") : "301";
  context.services.push.Publish(context.account.id, "", cmd, text);
  return true;
}

bool AdvanceClock(ActionContext& context) {
  if (!context.action["seconds"].isInt64()) return false;
  context.services.clock.Advance(context.action["seconds"].asInt64() * 1000);
  return true;
}

bool Sweep(ActionContext& context) {
  context.services.Sweep();
  context.services.SweepLeftOvers();
  context.services.background.WaitUntilIdle();
  return true;
}

struct ActionRule {
  const char* name;
  bool needsAccount;
  bool (*run)(ActionContext& context);
};

constexpr ActionRule kActions[] = {
    {"dropLock", true, DropLock},           {"bumpVersion", true, BumpVersion},
    {"expireCursors", true, ExpireCursors}, {"hideData", true, HideData},
    {"showData", true, ShowData},           {"loseObject", true, LoseObject},
    {"damageObject", true, DamageObject},   {"setSuspendCursor", true, SetSuspendCursor},
    {"setUserStatus", true, SetUserStatus}, {"push", true, Push},
    {"advanceClock", false, AdvanceClock},  {"sweep", false, Sweep},
};

Answer ListRules(Exchange& exchange) {
  Json::Value json(Json::objectValue);
  json["rules"] = Json::Value(Json::arrayValue);
  for (const FaultRule& rule : exchange.services.faults->Rules())
    json["rules"].append(FaultPlan::ToJson(rule));
  return json;
}

Answer AddRule(Exchange& exchange) {
  const auto rule = exchange.services.faults->Add(exchange.body);
  if (!rule) return ErrorCode::Malformed;
  return FaultPlan::ToJson(*rule);
}

Answer ClearRules(Exchange& exchange) {
  exchange.services.faults->Clear();
  return {};
}

Answer ListSeen(Exchange& exchange) {
  Json::Value json(Json::objectValue);
  json["requests"] = Json::Value(Json::arrayValue);
  int order = 0;
  for (const SeenRequest& seen : exchange.services.faults->Seen()) {
    Json::Value entry(Json::objectValue);
    entry["order"] = ++order;
    entry["method"] = seen.method;
    entry["path"] = seen.path;
    entry["query"] = seen.query;
    entry["device"] = seen.device;
    entry["inBatch"] = seen.inBatch;
    entry["status"] = seen.status;
    json["requests"].append(entry);
  }
  return json;
}

Answer ForgetSeen(Exchange& exchange) {
  exchange.services.faults->ForgetSeen();
  return {};
}

Answer DoAction(Exchange& exchange) {
  if (!RunFaultAction(exchange.services, exchange.body)) return ErrorCode::Malformed;
  return {};
}

}  // namespace

bool RunFaultAction(Services& services, const Json::Value& action) {
  const std::string name = TextOf(action, "action");
  for (const ActionRule& rule : kActions) {
    if (name != rule.name) continue;
    ActionContext context{services, action, {}};
    if (rule.needsAccount) {
      const auto account = services.store.FindAccountByName(TextOf(action, "userName"));
      if (!account) return false;
      context.account = *account;
    }
    return rule.run(context);
  }
  return false;
}

std::vector<Route> FaultRoutes() {
  RouteRules open;
  open.token = false;
  open.hideable = false;
  open.batchable = false;
  RouteRules write = open;
  write.json = true;
  return {{"GET", "/faults", ListRules, open},
          {"POST", "/faults", AddRule, write},
          {"DELETE", "/faults", ClearRules, open},
          {"GET", "/faults/requests", ListSeen, open},
          {"DELETE", "/faults/requests", ForgetSeen, open},
          {"POST", "/faults/actions", DoAction, write}};
}

}  // namespace photocloud
