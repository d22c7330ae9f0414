#pragma once

#include <string>
#include <thread>
#include <vector>

#include "common/platform/mutex.h"

// A server that answers what a healthy one would not: each connection gets the
// next of the given answers, byte for byte, and an empty one is closed at once.
// When they are used up, the last one is repeated.
class LoopbackServer {
 public:
  explicit LoopbackServer(std::vector<std::string> rawAnswers);
  ~LoopbackServer();
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  std::string Url() const { return "http://127.0.0.1:" + std::to_string(port); }
  // The requests as they came, head and body.
  std::vector<std::string> Requests();

  static std::string Answer(int httpCode, const std::string& body);

 private:
  void Serve();
  static std::string ReadRequest(int connection);

  const std::vector<std::string> answers;
  int listening = -1;
  int port = 0;
  platform::Mutex lock;
  std::vector<std::string> requests GUARDED_BY(lock);
  std::thread thread;
};
