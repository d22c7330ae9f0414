#include "host/requests/ns/headbuilder.h"

#include "common/platform/mutex.h"
#include "common/platform/text.h"
#include "host/base/globalparamwrapper.h"
#include "host/requests/ns/tokenprovider.h"

namespace NS {
namespace {

struct Installed {
  platform::Mutex lock;
  HeadBuilder::Provider provider GUARDED_BY(lock);
};

// Never destroyed: threads may still send while the process ends.
Installed& TheInstalled() {
  static Installed* const installed = new Installed;
  return *installed;
}

void BuildBasic(Json::Value& headers, const std::string& lockToken) {
  const std::string token = platform::WideToUtf8(TokenProvider::Current().AccessToken());
  headers["Content-Type"].append("application/json");
  headers["x-zt-device-id"].append(platform::WideToUtf8(GlobalParamWrapper::GetInstance()->GetSystemUUid()));
  if (!token.empty()) headers["Authorization"].append("Bearer " + token);
  if (!lockToken.empty()) headers["x-zt-lock"].append(lockToken);
}

}  // namespace

void HeadBuilder::SetProvider(Provider provider) {
  platform::MutexLock hold(TheInstalled().lock);
  TheInstalled().provider = std::move(provider);
}

Json::Value HeadBuilder::Build(const std::string& lockToken) {
  Provider provider;
  {
    platform::MutexLock hold(TheInstalled().lock);
    provider = TheInstalled().provider;
  }
  Json::Value headers(Json::objectValue);
  provider ? provider(headers, lockToken) : BuildBasic(headers, lockToken);
  return headers;
}

std::vector<std::string> HeadBuilder::Lines(const Json::Value& headers) {
  std::vector<std::string> lines;
  for (const std::string& name : headers.getMemberNames()) {
    const Json::Value& value = headers[name];
    const Json::Value& text = value.isArray() && !value.empty() ? value[0] : value;
    if (!text.isString()) continue;
    // Without a value the library would take "name:" for an order to leave it out.
    lines.push_back(text.asString().empty() ? name + ";" : name + ":" + text.asString());
  }
  return lines;
}

}  // namespace NS
