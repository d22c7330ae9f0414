#include "loopbackserver.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>

LoopbackServer::LoopbackServer(std::vector<std::string> rawAnswers) : answers(std::move(rawAnswers)) {
  listening = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* general = reinterpret_cast<sockaddr*>(&address);
  EXPECT_EQ(::bind(listening, general, size), 0);
  EXPECT_EQ(::listen(listening, 16), 0);
  EXPECT_EQ(::getsockname(listening, general, &size), 0);
  port = ntohs(address.sin_port);
  thread = std::thread([this] { Serve(); });
}

LoopbackServer::~LoopbackServer() {
  ::shutdown(listening, SHUT_RDWR);
  thread.join();
  ::close(listening);
}

void LoopbackServer::Serve() {
  for (std::size_t at = 0;; ++at) {
    const int connection = ::accept4(listening, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0) return;
    const std::string& answer = answers[std::min(at, answers.size() - 1)];
    const std::string request = ReadRequest(connection);
    {
      platform::MutexLock hold(lock);
      requests.push_back(request);
    }
    (void)!::send(connection, answer.data(), answer.size(), MSG_NOSIGNAL);
    ::close(connection);
  }
}

std::string LoopbackServer::ReadRequest(int connection) {
  constexpr std::string_view kLength = "Content-Length:";
  std::string text;
  char buffer[4096];
  for (;;) {
    const auto head = text.find("\r\n\r\n");
    if (head != std::string::npos) {
      const auto length = text.find(kLength);
      const bool hasBody = length != std::string::npos && length < head;
      const auto body = hasBody ? std::strtoul(text.c_str() + length + kLength.size(), nullptr, 10) : 0;
      if (text.size() >= head + 4 + body) return text;
    }
    const ssize_t count = ::recv(connection, buffer, sizeof buffer, 0);
    if (count <= 0) return text;
    text.append(buffer, static_cast<std::size_t>(count));
  }
}

std::vector<std::string> LoopbackServer::Requests() {
  platform::MutexLock hold(lock);
  return requests;
}

std::string LoopbackServer::Answer(int httpCode, const std::string& body) {
  return "HTTP/1.1 " + std::to_string(httpCode) +
         " Reason\r\nContent-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
}
