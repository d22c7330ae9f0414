#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/platform/localsocket.h"
#include "common/platform/mutex.h"

// Frames over a local socket, between a process that has typed a command line
// and the one that owns the profile:
//
//   [kind, one letter][length, 4 bytes, lowest first][that many bytes]
//
//   from the client                          from the owner
//   V  its version, first                    r  refused: the owner's version
//   C  the command line                      l  later: not here, the owner ends soon
//   S  Ctrl-C                                a  accepted: it runs from here on
//   L  a line that was asked for             o  bytes for standard output
//   F  a file that was asked for             e  bytes for standard error
//                                            p  asks for a line: "0" or "1" (hidden), prompt
//                                            f  asks for a file: its path
//                                            x  the end: the exit status in digits
//                                            b  the end: the client runs it itself
//
// "V" and "r" stay as they are in all versions, or no version could tell another
// one why it is refused. An answer "L" or "F" begins with "+", and is empty where
// there is none. One thread may receive while others send.
class ControlChannel {
 public:
  enum class Kind : char {
    Version = 'V',
    Command = 'C',
    Stop = 'S',
    Line = 'L',
    File = 'F',
    Refused = 'r',
    Later = 'l',
    Accepted = 'a',
    Output = 'o',
    Error = 'e',
    AskLine = 'p',
    AskFile = 'f',
    Exit = 'x',
    HandBack = 'b',
  };
  struct Frame {
    Kind kind;
    std::string bytes;
  };

  explicit ControlChannel(platform::LocalSocket connection) : socket(std::move(connection)) {}

  // False when the other side is gone.
  [[nodiscard]] bool Send(Kind kind, std::string_view bytes = {});
  // Nothing when the other side is gone, or sends what is no frame.
  std::optional<Frame> Receive();
  void Shutdown() { socket.Shutdown(); }
  std::int64_t PeerProcess() const { return socket.PeerProcess(); }

 private:
  platform::LocalSocket socket;
  platform::Mutex sendLock;  // Keeps frames whole.
};

// A command line on its way.
struct ControlCommand {
  std::vector<std::string> arguments;  // without the program's name
  std::string workingFolder;           // empty when it is gone
  bool inputIsTerminal = false;
  bool errorIsTerminal = false;

  // No argument of a program can hold a zero, so zeros stand between the parts.
  std::string Text() const;
  static std::optional<ControlCommand> Parse(std::string_view text);
};
