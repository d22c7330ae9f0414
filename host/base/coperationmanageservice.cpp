#include "host/base/coperationmanageservice.h"

#include <json/value.h>

#include "common/platform/mutex.h"
#include "host/base/jsonfile.h"
#include "host/base/jsontext.h"

namespace {

constexpr char kBriefingPeriod[] = "briefingPeriodDays";
constexpr int kLongestPeriodDays = 3650;

// `days` as a period; `otherwise` when it is none.
int PeriodOr(std::int64_t days, int otherwise) {
  return days >= 1 && days <= kLongestPeriodDays ? static_cast<int>(days) : otherwise;
}

Json::Value ToJson(const std::map<std::string, std::string>& settings) {
  Json::Value json(Json::objectValue);
  for (const auto& [key, value] : settings) json[key] = value;
  return json;
}

}  // namespace

struct COperationManageService::State {
  mutable platform::Mutex lock;
  std::map<std::string, std::string> told GUARDED_BY(lock);
};

COperationManageService::COperationManageService() : state(new State) {}

COperationManageService* COperationManageService::GetInstance() {
  static COperationManageService* const instance = new COperationManageService;
  return instance;
}

PcClientProperties COperationManageService::GetPcClientProPertiesConfig() const {
  PcClientProperties properties;
  {
    platform::MutexLock hold(state->lock);
    properties.other = state->told;
  }
  Json::Value own;
  (void)JsonFile::Load(JsonFile::Folder() / "settings.json", own);  // Without the file it is empty.
  for (const Json::Value& source : {ToJson(properties.other), own}) {
    properties.briefingPeriodDays =
        PeriodOr(JsonText::Number(source, kBriefingPeriod), properties.briefingPeriodDays);
  }
  return properties;
}

void COperationManageService::SetServerSettings(std::map<std::string, std::string> settings) {
  platform::MutexLock hold(state->lock);
  state->told = std::move(settings);
}
