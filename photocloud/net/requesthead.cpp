#include "photocloud/net/requesthead.h"

#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <cctype>

namespace photocloud {

namespace beast = boost::beast;
namespace http = beast::http;

namespace {

// The error record, as handlers give it.
Response ErrorAnswer(ErrorCode error) {
  const ErrorInfo& info = Describe(error);
  const std::string reason(info.reason);
  Response response;
  response.status = info.status;
  if (error == ErrorCode::Unavailable) response.headers.emplace_back("Retry-After", "2");
  response.body = "{\"error\":{\"description\":\"" + reason + "\",\"errors\":[{\"code\":\"" +
                  std::string(info.code) + "\",\"reason\":\"" + reason +
                  "\",\"subject\":\"\"}],\"status\":" + std::to_string(info.status) + "}}";
  return response;
}

bool IsHost(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char letter) {
    return std::isalnum(static_cast<unsigned char>(letter)) ||
           std::string_view(".-_:[]").find(letter) != std::string_view::npos;
  });
}

}  // namespace

bool IsClear(const HeadMessage& head) {
  const auto hosts = head.count(http::field::host);
  if (hosts > 1 || (hosts == 0 && head.version() > 10)) return false;
  if (hosts == 1 && !IsHost(std::string_view(head[http::field::host]))) return false;
  const auto codings = head.count(http::field::transfer_encoding);
  if (codings > 1 || (codings == 1 && !beast::iequals(head[http::field::transfer_encoding], "chunked")))
    return false;
  if (codings == 1 && head.count(http::field::content_length) > 0) return false;
  return head.count(http::field::content_length) <= 1 && head.count(http::field::authorization) <= 1;
}

std::string AddressFromProxy(const HeadMessage& head) {
  std::string last;
  for (const auto& field : head) {
    if (beast::iequals(field.name_string(), "X-Forwarded-For")) last = std::string(field.value());
  }
  const auto comma = last.rfind(',');
  if (comma != std::string::npos) last.erase(0, comma + 1);
  last.erase(0, last.find_first_not_of(' '));
  boost::system::error_code error;
  const auto address = boost::asio::ip::make_address(last, error);
  return error ? std::string() : address.to_string();
}

Response AnswerBrokenMessage(const boost::system::error_code& error) {
  return ErrorAnswer(error == http::error::header_limit ? ErrorCode::HeaderTooLarge : ErrorCode::Malformed);
}

Response AnswerOverload() { return ErrorAnswer(ErrorCode::Unavailable); }

}  // namespace photocloud
