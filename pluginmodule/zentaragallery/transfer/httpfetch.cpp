#include "transfer/httpfetch.h"

#include "common/platform/text.h"
#include "host/account/userauthservice.h"
#include "host/transfer/speedlimit.h"

namespace {

constexpr std::size_t kErrorHead = 4096;
constexpr long kPartialContent = 206;

}  // namespace

bool IsOfTheService(const std::string& url) {
  const std::string there = curlppx::CurlUrl::Place(url);
  return !there.empty() && there == curlppx::CurlUrl::Place(NS::Request::BaseUrl());
}

std::vector<std::string> SessionHeaders(const std::string& url) {
  if (!IsOfTheService(url)) return {};
  return {"Authorization:Bearer " + platform::WideToUtf8(UserAuthService::GetInstance()->GetCurrentAT())};
}

HttpFetched FetchByHttp(const std::string& url, const std::vector<std::string>& headers,
                        const curlppx::CurlConn::Writer& writer, const std::function<bool()>& goesOn,
                        Accept accept, SpeedLimit* limit) {
  curlppx::CurlConn connection(curlppx::CurlConn::Connection::Kept);
  HttpFetched fetched;
  if (!connection.IsReady() || !connection.SetUrl(url)) {
    fetched.curlCode = curlppx::kCurlUrlMalformat;
    return fetched;
  }
  connection.SetHeaders(headers);
  connection.SetMethod(curlppx::CurlConn::Method::Get, {});
  connection.SetWriter([&](std::string_view piece) {
    if (limit && !limit->Take(piece.size(), goesOn)) return false;
    const long code = connection.HttpCode();
    if (code >= 200 && code <= 299)
      return (accept == Accept::Any || code == kPartialContent) && writer(piece);
    fetched.response.append(piece.substr(0, kErrorHead - fetched.response.size()));
    return true;
  });
  connection.SetProgress([&goesOn](const curlppx::CurlConn::Counters&) { return goesOn(); });
  const curlppx::TransferResult result = connection.Perform();
  fetched.curlCode = result.curlCode;
  fetched.httpCode = result.httpCode;
  return fetched;
}
