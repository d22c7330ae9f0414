#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

// One connection that stays open.
class Client {
 public:
  using Verb = boost::beast::http::verb;
  using Headers = std::vector<std::pair<std::string, std::string>>;

  explicit Client(unsigned short port) : stream(context) {
    stream.connect({boost::asio::ip::make_address("127.0.0.1"), port});
    stream.socket().set_option(boost::asio::ip::tcp::no_delay(true));
  }

  // Returns the answer's body. Throws for any answer but 200.
  std::string Call(Verb method, const std::string& target, const std::string& body = {},
                   const Headers& headers = {}) {
    namespace http = boost::beast::http;
    http::request<http::string_body> request(method, target, 11, body);
    request.set(http::field::host, "127.0.0.1");
    request.set(http::field::content_type, "application/json");
    if (!token.empty()) request.set(http::field::authorization, "Bearer " + token);
    if (!lock.empty()) request.set("x-zt-lock", lock);
    for (const auto& [name, value] : headers) request.set(name, value);
    request.prepare_payload();
    http::write(stream, request);
    http::response<http::string_body> response;
    http::read(stream, buffer, response);
    if (response.result() != http::status::ok) throw std::runtime_error(target + ": " + response.body());
    return response.body();
  }

  std::string token;
  std::string lock;

 private:
  boost::asio::io_context context;
  boost::beast::tcp_stream stream;
  boost::beast::flat_buffer buffer;
};
