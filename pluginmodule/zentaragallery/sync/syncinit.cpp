// Push messages and the clear marker.

#include <json/json.h>

#include <charconv>

#include "cloud/cheader.h"
#include "common/platform/text.h"
#include "host/base/globalparamwrapper.h"
#include "store/dbhelper.h"
#include "sync/synchelper.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"
#include "utils/picturemetadata.h"

namespace {

constexpr char kClientInit[] = "301";
constexpr std::array<std::string_view, 3> kInitOperations{"clearfile", "clearmetadata", "clearthumbnail"};

std::string Member(const Json::Value& body, const char* key) {
  return body[key].isString() ? body[key].asString() : std::string();
}

// The number behind the first "-", or of the whole marker.
std::int64_t MarkerNumber(std::string_view marker) {
  if (const auto dash = marker.find('-'); dash != std::string_view::npos) marker.remove_prefix(dash + 1);
  std::int64_t number = 0;
  std::from_chars(marker.data(), marker.data() + marker.size(), number);
  return number;
}

}  // namespace

void SyncHelper::ProcessPushMsg(const std::string& command, const std::string& body) {
  LogInfo("SyncHelper::ProcessPushMsg", "Processes push msg,cmd:" + command);
  if (command != kClientInit) return;
  ProcessClientInitPushMsg(body);
  // The service sends this command for every change of another device too.
  timer.Wake();
}

bool SyncHelper::DoNeedToInitClient(const std::string& body) {
  if (body.empty()) return false;
  const Json::Value json = ParseJson(body);
  if (!json.isObject()) {
    LogWarning("SyncHelper::DoNeedToInitClient", "Failed to parse the body");
    return false;
  }
  if (Member(json, "deviceCategory") != "pc" || Member(json, "serviceType") != "cloudphoto") return false;
  return std::find(kInitOperations.begin(), kInitOperations.end(), Member(json, "operType")) !=
         kInitOperations.end();
}

void SyncHelper::ProcessClientInitPushMsg(const std::string& body) {
  constexpr char kTag[] = "SyncHelper::ProcessClientInitPushMsg";
  LogInfo(kTag, "Processes client init push msg");
  if (!DoNeedToInitClient(body)) {
    LogInfo(kTag, "The client does't need to be initialized");
    return;
  }
  AlbumLocalVersion row;
  bool found = false;
  if (!cycle.localOperation.ReadVersionRecord(row, found) || !found) {
    LogWarning(kTag, "Album Local Version list is empty");
  } else {
    const bool stored = cycle.localOperation.ChangeVersionRecord([](AlbumLocalVersion& stored_) {
      stored_.HasDownAll = 0;
      stored_.FileCursor.clear();
    });
    if (stored) return;
    LogWarning(kTag, "Failed to update the HasDownAll and FileCursor fields");
  }
  (void)DBHelper::GetInstance().SetHasDownAll(0);  // The last that can be done.
  (void)DBHelper::GetInstance().SetFileCursor("");
}

bool SyncHelper::IsClearNewer(const std::string& local, const std::string& cloud) {
  if (cloud.empty()) return false;
  if (local.empty()) return true;
  return MarkerNumber(cloud) > MarkerNumber(local);
}

void SyncHelper::CheckAndClearDatabase() {
  constexpr char kTag[] = "SyncHelper::CheckAndClearDatabase";
  LogInfo(kTag, "Check whether the database needs to be cleared");
  if (GlobalData::cloudGeneration == GlobalData::kGenerationUnknown) (void)cycle.CutStatus();
  if (GlobalData::cloudGeneration == GlobalData::kGenerationV1) return;
  LogInfo(kTag, "cutStatus is not v1.0");
  // The marker is the first generation's.
  ISyncServiceOperation* service = cycle.localOperation.ChooseService(GlobalData::kGenerationV1);
  if (!service) {
    LogInfo(kTag, "_serviceOperation is nullptr");
    return;
  }
  AlbumLocalVersion row;
  bool found = false;
  if (!cycle.localOperation.ReadVersionRecord(row, found) || !found) {
    LogInfo(kTag, "AlbumLocalVersion not obtained from database");
    return;
  }
  const auto cloud = service->GetCloudVersion();
  if (!cloud || cloud->code != 0) {
    LogInfo(kTag, "QueryVersionResponse not obtained from cloud");
    return;
  }
  if (!IsClearNewer(row.ClearVersion, cloud->clearVersion)) return;
  LogInfo(kTag, "The database needs to be cleared");
  auto& database = DBHelper::GetInstance();
  const std::wstring path =
      database.UserFolder() + L"\\" + DBHelper::GetGalleryDBName(CHeader::GetInstance().GetUserId());
  if (services.resetDatabase) (void)services.resetDatabase(path);  // Logged there; the old state goes on.
}
