#pragma once

#include <json/value.h>

#include <map>
#include <memory>
#include <string>

typedef struct ssl_ctx_st SSL_CTX;
typedef struct ssl_st SSL;

namespace photocloud::testing {

struct HttpReply {
  int status = 0;                              // 0: the connection ended before a head came.
  std::map<std::string, std::string> headers;  // Names in lower case.
  std::string body;
  bool isWhole = false;  // As many bytes came as the head announced.
  Json::Value json;
};

// A blocking HTTP connection over a socket, as simple as tests need it. Shares
// nothing with the server's own network code.
class HttpConnection {
 public:
  // With `certificateFile` the connection is TLS and trusts that file only.
  explicit HttpConnection(int port, const std::string& certificateFile = "");
  ~HttpConnection();
  HttpConnection(const HttpConnection&) = delete;
  HttpConnection& operator=(const HttpConnection&) = delete;

  bool IsOpen() const { return handle >= 0; }
  HttpReply Call(const std::string& method, const std::string& target, const std::string& body = "",
                 const std::map<std::string, std::string>& headers = {});
  void Send(const std::string& bytes);
  HttpReply ReadReply();
  // Whether something has come that nobody has read. Does not wait.
  bool HasBytes() const;
  // Text up to and with `end`; empty when the connection ended before.
  std::string ReadUntil(const std::string& end);

 private:
  bool ReadMore();

  int handle = -1;
  SSL_CTX* context = nullptr;
  SSL* tls = nullptr;
  std::string received;
};

}  // namespace photocloud::testing
