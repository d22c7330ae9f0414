#include "host/requests/cloudspacequery.h"

#include "host/base/logger.h"
#include "host/requests/curlppx.h"
#include "host/requests/ns/basic.h"

SpaceInfo CloudSpaceQuery::GetSpaceInfo() {
  const auto answer = NS::Request::Sync(NS::Basic::QuotaQuery::Get());
  if (answer.payload) return {0, answer.payload->totalSpace, answer.payload->freeSpace};
  const std::string reason = answer.NetError() ? curlppx::CurlGlobal::GetErrStr(answer.curlCode)
                             : answer.error    ? answer.error->Text()
                                               : "http code:" + std::to_string(answer.httpCode);
  Logger::CloudLogger::GetInstance()->Output("Host", Logger::Severity::Error, __LINE__,
                                             "CloudSpaceQuery::GetSpaceInfo", reason);
  return {answer.error ? static_cast<std::int32_t>(answer.httpCode) : kNotTold, 0, 0};
}
