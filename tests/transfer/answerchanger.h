#pragma once

#include <json/value.h>

#include <functional>
#include <string>

#include "loopbackserver.h"

// Stands between the client and the real service, so that a test can change an
// answer, or do something while the client waits for it.
class AnswerChanger {
 public:
  // Gives what the client gets in place of `answer`. Messages are whole, head and
  // body. Called on a thread of its own.
  using Change = std::function<std::string(const std::string& request, const std::string& answer)>;

  AnswerChanger(std::string serviceUrl, Change changeAnswer);

  std::string Url() const { return server.Url(); }
  std::vector<std::string> Requests() { return server.Requests(); }

  // The JSON of a message, and an answer of such.
  static Json::Value Body(const std::string& message);
  static std::string WithBody(const Json::Value& body);

 private:
  std::string Forward(std::string request) const;

  const std::string service;
  const Change change;
  LoopbackServer server;  // Last: its thread uses the others.
};
