#pragma once

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "common/platform/mutex.h"

// A server that answers what a healthy one would not: each request gets the next
// of the given answers, byte for byte, and an empty one is closed at once. When
// they are used up, the last one is repeated. A connection serves one request,
// unless its answer says "Connection: keep-alive".
class LoopbackServer {
 public:
  // Makes the answer to a request, on the server's thread.
  using Responder = std::function<std::string(const std::string& request)>;

  explicit LoopbackServer(std::vector<std::string> rawAnswers);
  explicit LoopbackServer(Responder answerTo);
  ~LoopbackServer();
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  std::string Url() const { return "http://127.0.0.1:" + std::to_string(port); }
  // The requests as they came, head and body.
  std::vector<std::string> Requests();

  static std::string Answer(int httpCode, const std::string& body);
  // A request or an answer from `connection`, as far as its head says.
  static std::string ReadMessage(int connection);

 private:
  void Serve();
  bool ServeRequest(int connection);

  const Responder respond;
  int listening = -1;
  int port = 0;
  platform::Mutex lock;
  bool isEnding GUARDED_BY(lock) = false;
  int serving GUARDED_BY(lock) = -1;
  std::vector<std::string> requests GUARDED_BY(lock);
  std::thread thread;
};
