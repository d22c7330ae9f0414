#pragma once

#include <functional>
#include <string>
#include <string_view>

// A command that the service sends without being asked.
struct PushMessage {
  std::string command;
  std::string body;
};

// Takes a stream of server-sent events apart (WHATWG HTML, "Server-sent events").
// Of its fields only "data" counts here:
//   data: {"cmd":"301","body":"TEXT"}
//   <empty line>
// Lines may end in LF or CR LF and come in pieces of any size. For one thread.
class PushEventReader {
 public:
  using Sink = std::function<void(const PushMessage&)>;
  explicit PushEventReader(Sink messageSink) : sink(std::move(messageSink)) {}

  // Hands each message that `piece` completes to the sink. False when a line or an
  // event is longer than any message is: the stream cannot be trusted then.
  bool Take(std::string_view piece);

 private:
  void EndLine();
  void EndEvent();

  const Sink sink;
  std::string line;
  std::string data;
};
