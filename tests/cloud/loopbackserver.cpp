#include "loopbackserver.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

LoopbackServer::LoopbackServer(std::vector<std::string> rawAnswers)
    : LoopbackServer([answers = std::move(rawAnswers), at = std::size_t{0}](const std::string&) mutable {
        return answers[std::min(at++, answers.size() - 1)];
      }) {}

LoopbackServer::LoopbackServer(Responder answerTo) : respond(std::move(answerTo)) {
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
  {
    platform::MutexLock hold(lock);
    isEnding = true;
    ::shutdown(listening, SHUT_RDWR);
    if (serving >= 0) ::shutdown(serving, SHUT_RDWR);  // A client may keep it open.
  }
  thread.join();
  ::close(listening);
}

void LoopbackServer::Serve() {
  for (;;) {
    const int connection = ::accept4(listening, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0) return;
    {
      platform::MutexLock hold(lock);
      if (!isEnding) serving = connection;
    }
    while (ServeRequest(connection)) {
    }
    platform::MutexLock hold(lock);
    serving = -1;
    ::close(connection);
  }
}

// False when the connection is to be closed.
bool LoopbackServer::ServeRequest(int connection) {
  const std::string request = ReadMessage(connection);
  {
    platform::MutexLock hold(lock);
    if (isEnding || request.empty()) return false;
    requests.push_back(request);
  }
  const std::string answer = respond(request);
  (void)!::send(connection, answer.data(), answer.size(), MSG_NOSIGNAL);
  return answer.find("Connection: keep-alive") != std::string::npos;
}

std::string LoopbackServer::ReadMessage(int connection) {
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
