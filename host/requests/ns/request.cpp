#include "host/requests/ns/request.h"

#include <array>
#include <map>

#include "common/platform/text.h"
#include "host/base/globalparamwrapper.h"
#include "host/base/jsontext.h"
#include "host/requests/curlppx.h"
#include "host/requests/ns/headbuilder.h"
#include "host/requests/ns/tokenprovider.h"

namespace NS {
namespace {

using curlppx::CurlConn;

constexpr char kBatchPath[] = "/cloudPhoto/v1/batch?";
// More than a page of a hundred records with all their metadata ever needs.
constexpr std::size_t kLongestAnswer = 64 << 20;
constexpr long kUnauthorized = 401;
constexpr long kTooManyRequests = 429;
constexpr int kCurlWriteError = 23;  // of the one who takes the answer

CurlConn::Method MethodOf(const std::string& name) {
  static const std::map<std::string, CurlConn::Method> methods = {{"POST", CurlConn::Method::Post},
                                                                  {"DELETE", CurlConn::Method::Delete},
                                                                  {"PATCH", CurlConn::Method::Patch},
                                                                  {"PUT", CurlConn::Method::Put}};
  const auto found = methods.find(name);
  return found == methods.end() ? CurlConn::Method::Get : found->second;
}

std::string TrimmedUrl(std::string url) {
  while (url.ends_with('/')) url.pop_back();
  return url;
}

void ReadBody(const std::string& body, RawAnswer& answer) {
  auto json = JsonText::Parse(body);
  if (!json) return;
  answer.error = ErrorResp::From(*json);
  answer.json = std::move(*json);
}

// A request that opens a session may go to another service than the present
// session's, which has no business with its token.
Json::Value HeadersOf(const SingleRequest& request) {
  if (request.makeHeaders) return request.makeHeaders();
  Json::Value headers = HeadBuilder::Build(request.lockToken);
  if (request.open) headers.removeMember("Authorization");
  if (!request.accessToken.empty()) headers["Authorization"].append("Bearer " + request.accessToken);
  return headers;
}

RawAnswer SendOnce(const SingleRequest& request) {
  RawAnswer answer;
  const std::string base = request.baseUrl.empty() ? Request::BaseUrl() : request.baseUrl;
  answer.url = base + request.uri.substr(0, request.uri.find('?'));
  const std::string sent = request.body.isNull() ? std::string() : JsonText::Write(request.body);
  std::string received;
  CurlConn connection;
  // Without a service there is nothing to refuse, and so nothing to log.
  if (base.empty() || !connection.SetUrl(base + request.uri)) {
    answer.curlCode = curlppx::kCurlUrlMalformat;
    return answer;
  }
  connection.SetHeaders(HeadBuilder::Lines(HeadersOf(request)));
  connection.SetMethod(MethodOf(request.method), sent);
  connection.SetWriter([&received](std::string_view piece) {
    received.append(piece);
    return received.size() <= kLongestAnswer;
  });
  const auto result = connection.Perform();
  answer.curlCode = result.curlCode;
  answer.httpCode = result.httpCode;
  if (result.curlCode == curlppx::kCurlOk) ReadBody(received, answer);
  return answer;
}

// The item's headers but the session's: the envelope's own counts for all items,
// and a token need not stand in a body a hundred times.
Json::Value ItemHeaders(const std::string& lockToken) {
  Json::Value headers = HeadBuilder::Build(lockToken);
  headers.removeMember("Authorization");
  return headers;
}

Json::Value ToItem(const SingleRequest& request) {
  Json::Value item(Json::objectValue);
  item["method"] = request.method;
  item["uri"] = request.uri;
  item["headers"] = ItemHeaders(request.lockToken);
  if (!request.body.isNull()) item["body"] = request.body;
  return item;
}

}  // namespace

bool IsOutage(int curlCode, long httpCode) {
  if (curlCode == curlppx::kCurlOk) return httpCode >= 500 || httpCode == kTooManyRequests;
  constexpr std::array kOurOwn{curlppx::kCurlUrlMalformat, kCurlWriteError, curlppx::kCurlOutOfMemory,
                               curlppx::kCurlAborted, curlppx::kCurlPeerCertificate};
  return std::find(kOurOwn.begin(), kOurOwn.end(), curlCode) == kOurOwn.end();
}

std::optional<ErrorResp> ErrorResp::From(const Json::Value& answer) {
  if (!answer.isObject() || !answer["error"].isObject()) return std::nullopt;
  const Json::Value& error = answer["error"];
  ErrorResp record;
  record.status = static_cast<int>(JsonText::Number(error, "status"));
  record.description = JsonText::Text(error, "description");
  if (!error["errors"].isArray()) return record;
  for (const Json::Value& item : error["errors"]) {
    record.errors.push_back(
        {JsonText::Text(item, "code"), JsonText::Text(item, "reason"), JsonText::Text(item, "subject")});
  }
  return record;
}

std::string ErrorResp::Text() const {
  std::string text = "status:" + std::to_string(status) + " description:" + description;
  for (const ErrorItem& item : errors) text += " code:" + item.code + " reason:" + item.reason;
  return text;
}

bool P2ReqBatchRet::Read(const Json::Value& json, std::size_t expected) {
  if (!json.isObject() || !json["responses"].isArray() || json["responses"].size() != expected) return false;
  for (const Json::Value& item : json["responses"]) {
    SingleAnswer answer;
    answer.code = Request::GetRetCode(item);
    if (item.isObject()) answer.body = item["body"];
    answer.error = ErrorResp::From(answer.body);
    answers.push_back(std::move(answer));
  }
  return true;
}

RawAnswer Request::Sync(const SingleRequest& request) {
  if (request.open) return SendOnce(request);
  TokenProvider& session = TokenProvider::Current();
  (void)session.KeepTokenFresh();  // A failed renewal is logged there; the answer then says 401.
  const std::wstring used = session.AccessToken();
  RawAnswer answer = SendOnce(request);
  if (answer.httpCode != kUnauthorized || !session.RenewToken(used)) return answer;
  return SendOnce(request);
}

Answer<P2ReqBatchRet> Request::Batch(const std::vector<SingleRequest>& items) {
  SingleRequest envelope;
  envelope.method = "POST";
  envelope.uri = std::string(kBatchPath).append(curlppx::CurlUrl::BuildQuery({{"form", "json"}}));
  Json::Value& list = envelope.body["requests"] = Json::Value(Json::arrayValue);
  for (const SingleRequest& item : items) list.append(ToItem(item));
  Answer<P2ReqBatchRet> answer{Sync(envelope), std::nullopt};
  P2ReqBatchRet batch;
  if (answer.HasPayload() && batch.Read(answer.json, items.size())) answer.payload = std::move(batch);
  return answer;
}

int Request::GetRetCode(const Json::Value& item) { return static_cast<int>(JsonText::Number(item, "code")); }

std::string Request::BaseUrl() {
  std::string url = TokenProvider::Current().ServerUrl();
  if (url.empty()) url = platform::WideToUtf8(GlobalParamWrapper::GetInstance()->GetCloudPhotoV2Url());
  return TrimmedUrl(std::move(url));
}

}  // namespace NS
