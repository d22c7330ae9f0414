#include "answerchanger.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>

#include "host/base/jsontext.h"

namespace {

constexpr std::string_view kExpect = "Expect: 100-continue\r\n";

int Connect(const std::string& url) {
  const int connection = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(std::atoi(url.c_str() + url.rfind(':') + 1)));
  EXPECT_EQ(::connect(connection, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  return connection;
}

}  // namespace

AnswerChanger::AnswerChanger(std::string serviceUrl, Change changeAnswer)
    : service(std::move(serviceUrl)),
      change(std::move(changeAnswer)),
      server([this](const std::string& request) { return change(request, Forward(request)); }) {}

Json::Value AnswerChanger::Body(const std::string& message) {
  const auto head = message.find("\r\n\r\n");
  if (head == std::string::npos) return {};
  return JsonText::Parse(message.substr(head + 4)).value_or(Json::Value());
}

std::string AnswerChanger::WithBody(const Json::Value& body) {
  return LoopbackServer::Answer(200, JsonText::Write(body));
}

std::string AnswerChanger::Forward(std::string request) const {
  // The interim answer would be taken for the answer.
  if (const auto expect = request.find(kExpect); expect != std::string::npos)
    request.erase(expect, kExpect.size());
  const int connection = Connect(service);
  for (std::size_t sent = 0; sent < request.size();) {
    const ssize_t count = ::send(connection, request.data() + sent, request.size() - sent, MSG_NOSIGNAL);
    EXPECT_GT(count, 0);
    if (count <= 0) break;
    sent += static_cast<std::size_t>(count);
  }
  std::string answer = LoopbackServer::ReadMessage(connection);
  ::close(connection);
  // As this end closes after each.
  if (const auto line = answer.find("\r\n"); line != std::string::npos)
    answer.insert(line + 2, "Connection: close\r\n");
  return answer;
}
