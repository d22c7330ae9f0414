// Heads of HTTP messages, as a connection reads them.

#include <boost/asio/buffer.hpp>
#include <boost/asio/ip/address.hpp>
#include <boost/beast/http.hpp>

#include "fuzz.h"
#include "photocloud/net/requesthead.h"

using namespace photocloud;
namespace http = boost::beast::http;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  http::request_parser<http::empty_body> parser;
  parser.header_limit(16 << 10);
  parser.body_limit(boost::none);
  boost::beast::error_code error;
  (void)parser.put(boost::asio::buffer(data, size), error);
  if (error && error != http::error::need_more) {
    const int status = AnswerBrokenMessage(error).status;
    Demand(status == 400 || status == 431);
    return 0;
  }
  if (!parser.is_header_done()) return 0;
  const HeadMessage& head = parser.get();
  const std::string address = AddressFromProxy(head);
  boost::system::error_code wrong;
  if (!address.empty()) (void)boost::asio::ip::make_address(address, wrong);
  Demand(!wrong);
  if (!IsClear(head)) return 0;
  // What decides where the message ends stands there once.
  Demand(head.count(http::field::host) <= 1);
  Demand(head.count(http::field::content_length) + head.count(http::field::transfer_encoding) <= 1);
  Request request;
  if (request.SetTarget(std::string(head.target()))) Demand(request.path.front() == '/');
  return 0;
}
