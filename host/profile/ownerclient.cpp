#include "host/profile/ownerclient.h"

#include <charconv>

#include "host/profile/controlchannel.h"
#include "host/profile/profileowner.h"

namespace {

using Kind = ControlChannel::Kind;
using Frame = ControlChannel::Frame;
using Result = OwnerClient::Result;

std::string AnswerTo(const Frame& question, CommandTerminal& terminal) {
  if (question.kind == Kind::AskFile) {
    std::string content;
    return terminal.ReadFile(question.bytes, content) ? "" : "+" + content;
  }
  const bool hidden = question.bytes.starts_with('1');
  const auto line = terminal.ReadLine(question.bytes.empty() ? "" : question.bytes.substr(1),
                                      hidden ? CommandTerminal::Echo::Hidden : CommandTerminal::Echo::Shown);
  return line ? "+" + *line : "";
}

// Prints and answers; false for a frame that ends the command.
bool Serve(const Frame& frame, ControlChannel& channel, CommandTerminal& terminal) {
  switch (frame.kind) {
    case Kind::Output:
      terminal.Write(frame.bytes);
      terminal.Flush();
      return true;
    case Kind::Error:
      terminal.WriteError(frame.bytes);
      return true;
    case Kind::AskLine:
      return channel.Send(Kind::Line, AnswerTo(frame, terminal));
    case Kind::AskFile:
      return channel.Send(Kind::File, AnswerTo(frame, terminal));
    default:
      return false;
  }
}

OwnerClient::Outcome EndOf(const Frame& frame) {
  OwnerClient::Outcome outcome{Result::Broken, 0, {}, 0};
  if (frame.kind == Kind::HandBack) outcome.result = Result::HandedBack;
  if (frame.kind != Kind::Exit) return outcome;
  const char* end = frame.bytes.data() + frame.bytes.size();
  if (std::from_chars(frame.bytes.data(), end, outcome.status).ptr == end) outcome.result = Result::Ended;
  return outcome;
}

}  // namespace

OwnerClient::Outcome OwnerClient::Follow(ControlChannel& channel, CommandTerminal& terminal) {
  const auto first = channel.Receive();
  if (!first || first->kind == Kind::Later) return {};
  if (first->kind == Kind::Refused) return {Result::OtherVersion, 0, first->bytes, 0};
  if (first->kind != Kind::Accepted) return {Result::Broken, 0, {}, 0};
  while (const auto frame = channel.Receive()) {
    if (!Serve(*frame, channel, terminal)) return EndOf(*frame);
    // Nobody reads what is printed here any more.
    if (!terminal.IsGood()) channel.Shutdown();
  }
  return {Result::Broken, 0, {}, 0};
}

OwnerClient::Outcome OwnerClient::Run(const std::filesystem::path& folder, const ControlCommand& command,
                                      CommandTerminal& terminal) {
  auto socket = platform::LocalSocket::Connect(ProfileOwner::SocketIn(folder));
  if (!socket.IsOpen()) return {};
  ControlChannel channel(std::move(socket));
  if (!channel.Send(Kind::Version, ProfileOwner::Version())) return {};
  // An owner of another version has answered the first frame, and may be gone.
  (void)channel.Send(Kind::Command, command.Text());
  {
    platform::MutexLock hold(lock);
    current = &channel;
  }
  if (terminal.Stopped()) (void)channel.Send(Kind::Stop);  // Ctrl-C came before.
  Outcome outcome = Follow(channel, terminal);
  outcome.process = channel.PeerProcess();
  platform::MutexLock hold(lock);
  current = nullptr;
  return outcome;
}

void OwnerClient::Stop() {
  platform::MutexLock hold(lock);
  if (current) (void)current->Send(ControlChannel::Kind::Stop);  // Else the owner has ended already.
}
