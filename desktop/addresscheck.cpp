#include "addresscheck.h"

#include "host/base/jsontext.h"
#include "host/requests/cloudtrouble.h"
#include "host/requests/curlppx.h"

using curlppx::CurlConn;

namespace AddressCheck {
namespace {

constexpr std::size_t kLongestAnswer = 4096;

Answer Judge(const std::string& server, const curlppx::TransferResult& result, const std::string& body) {
  if (result.curlCode == curlppx::kCurlPeerCertificate) return Answer::NotTrusted;
  if (result.httpCode == 0) return Answer::Unreachable;
  const auto json = JsonText::Parse(body);
  const bool isCloud =
      result.curlCode == curlppx::kCurlOk && json && JsonText::Number(*json, "serverTime") > 0;
  if (!isCloud) return Answer::NoCloud;
  return server.starts_with("https:") ? Answer::Encrypted : Answer::Local;
}

}  // namespace

const char* WordsOf(Answer answer) {
  switch (answer) {
    case Answer::Encrypted:
      return "IDS_FIRSTRUN_ANSWERS";
    case Answer::Local:
      return "IDS_FIRSTRUN_ANSWERS_HERE";
    case Answer::NotAllowed:
      return "IDS_LOGIN_NOT_ALLOWED";
    case Answer::NotTrusted:
      return CloudTrouble::kNotTrusted;
    case Answer::Unreachable:
      return "IDS_LOGIN_UNREACHABLE";
    case Answer::NoCloud:
      return "IDS_FIRSTRUN_NO_CLOUD";
  }
  return "";
}

Answer Ask(const std::string& server, const std::function<bool()>& goesOn,
           std::chrono::milliseconds patience) {
  if (!curlppx::CurlUrl::IsAllowed(server)) return Answer::NotAllowed;
  CurlConn connection;
  if (!connection.IsReady() || !connection.SetUrl(server + "/cloudPhoto/v1/time")) return Answer::Unreachable;
  std::string body;
  connection.SetWriter([&body](std::string_view piece) {
    body.append(piece);
    return body.size() <= kLongestAnswer;
  });
  const auto end = std::chrono::steady_clock::now() + patience;
  connection.SetProgress(
      [&](const CurlConn::Counters&) { return goesOn() && std::chrono::steady_clock::now() < end; });
  connection.SetMethod(CurlConn::Method::Get, {});
  return Judge(server, connection.Perform(), body);
}

}  // namespace AddressCheck
