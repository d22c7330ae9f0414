#include "testhttp.h"

#include <arpa/inet.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "photocloud/base/json.h"
#include "photocloud/base/text.h"

namespace photocloud::testing {
namespace {

// Only a server that hangs runs into it.
constexpr int kTimeoutSeconds = 60;

int Connect(int port) {
  const int handle = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const timeval timeout{kTimeoutSeconds, 0};
  ::setsockopt(handle, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::connect(handle, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return handle;
  ::close(handle);
  return -1;
}

}  // namespace

HttpConnection::HttpConnection(int port, const std::string& certificateFile) : handle(Connect(port)) {
  if (certificateFile.empty() || handle < 0) return;
  context = SSL_CTX_new(TLS_client_method());
  SSL_CTX_load_verify_locations(context, certificateFile.c_str(), nullptr);
  SSL_CTX_set_verify(context, SSL_VERIFY_PEER, nullptr);
  tls = SSL_new(context);
  SSL_set_fd(tls, handle);
  if (SSL_connect(tls) == 1) return;
  ::close(handle);
  handle = -1;
}

HttpConnection::~HttpConnection() {
  SSL_free(tls);
  SSL_CTX_free(context);
  if (handle >= 0) ::close(handle);
}

void HttpConnection::Send(const std::string& bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const auto rest = bytes.size() - done;
    const auto count = tls ? SSL_write(tls, bytes.data() + done, static_cast<int>(rest))
                           : ::send(handle, bytes.data() + done, rest, MSG_NOSIGNAL);
    if (count <= 0) return;
    done += static_cast<std::size_t>(count);
  }
}

bool HttpConnection::HasBytes() const {
  char byte = 0;
  return !received.empty() || ::recv(handle, &byte, 1, MSG_PEEK | MSG_DONTWAIT) > 0;
}

bool HttpConnection::ReadMore() {
  char buffer[16384];
  const auto count = tls ? SSL_read(tls, buffer, sizeof buffer) : ::recv(handle, buffer, sizeof buffer, 0);
  if (count <= 0) return false;
  received.append(buffer, static_cast<std::size_t>(count));
  return true;
}

std::string HttpConnection::ReadUntil(const std::string& end) {
  while (received.find(end) == std::string::npos) {
    if (!ReadMore()) return {};
  }
  const auto length = received.find(end) + end.size();
  const std::string text = received.substr(0, length);
  received.erase(0, length);
  return text;
}

HttpReply HttpConnection::ReadReply() {
  HttpReply reply;
  const std::string head = ReadUntil("\r\n\r\n");
  if (head.size() < 12) return reply;
  reply.status = std::stoi(head.substr(9, 3));
  for (const std::string& line : Split(head, '\n')) {
    const auto colon = line.find(": ");
    if (colon != std::string::npos)
      reply.headers[ToLower(line.substr(0, colon))] = line.substr(colon + 2, line.size() - colon - 3);
  }
  const auto announced = reply.headers.find("content-length");
  const std::size_t length = announced == reply.headers.end() ? 0 : std::stoul(announced->second);
  while (received.size() < length && ReadMore()) {
  }
  reply.isWhole = received.size() >= length;
  reply.body = received.substr(0, length);
  received.erase(0, length);
  reply.json = ParseJson(reply.body).value_or(Json::Value());
  return reply;
}

HttpReply HttpConnection::Call(const std::string& method, const std::string& target, const std::string& body,
                               const std::map<std::string, std::string>& headers) {
  std::string text = method + " " + target +
                     " HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: " + std::to_string(body.size()) +
                     "\r\n";
  for (const auto& [name, value] : headers) text += name + ": " + value + "\r\n";
  Send(text + "\r\n" + body);
  return ReadReply();
}

}  // namespace photocloud::testing
