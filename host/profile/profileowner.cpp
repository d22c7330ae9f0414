#include "host/profile/profileowner.h"

#include <condition_variable>
#include <list>
#include <thread>

#include "common/platform/filelock.h"
#include "common/platform/localsocket.h"
#include "common/platform/mutex.h"
#include "common/platform/thread.h"
#include "host/base/logger.h"
#include "host/profile/controlchannel.h"

namespace {

using Kind = ControlChannel::Kind;
using Stop = CommandTerminal::Stop;

// Printed lines travel together: a frame for each would wake the client for each.
constexpr std::size_t kOutputBytes = std::size_t{32} << 10;
// Grows with each change of the frames or of what a command line means.
constexpr char kProtocol[] = "1";

// The terminal of a client.
class RemoteTerminal : public CommandTerminal {
 public:
  RemoteTerminal(ControlChannel& connection, const ControlCommand& command)
      : CommandTerminal(command.workingFolder),
        channel(connection),
        inputIsTerminal(command.inputIsTerminal),
        errorIsTerminal(command.errorIsTerminal) {}

  void Write(std::string_view text) override {
    platform::MutexLock hold(lock);
    printed += text;
    if (printed.size() >= kOutputBytes) SendPrinted();
  }
  void Flush() override {
    platform::MutexLock hold(lock);
    SendPrinted();
  }
  void WriteError(std::string_view text) override {
    platform::MutexLock hold(lock);
    SendPrinted();
    if (!channel.Send(Kind::Error, text)) GiveUp();
  }
  bool IsGood() const override { return good; }
  bool InputIsTerminal() const override { return inputIsTerminal; }
  bool ErrorIsTerminal() const override { return errorIsTerminal; }

  std::optional<std::string> ReadLine(const std::string& prompt, Echo echo) override {
    Flush();
    return Ask(Kind::AskLine, (echo == Echo::Hidden ? "1" : "0") + prompt);
  }
  std::error_code ReadFile(const std::filesystem::path& file, std::string& content) override {
    const auto answer = Ask(Kind::AskFile, file.string());
    if (!answer) return std::make_error_code(std::errc::no_such_file_or_directory);
    content = *answer;
    return {};
  }

  // Reads what the client sends until the connection ends.
  void Listen() {
    while (auto frame = channel.Receive()) {
      if (frame->kind == Kind::Stop) RequestStop(Stop::Interrupted);
      if (frame->kind == Kind::Line || frame->kind == Kind::File) Answer(std::move(frame->bytes));
    }
    GiveUp();
    platform::MutexLock hold(answerLock);
    gone = true;
    answered.notify_all();
  }

 private:
  void SendPrinted() REQUIRES(lock) {
    if (printed.empty()) return;
    if (!channel.Send(Kind::Output, printed)) GiveUp();
    printed.clear();
  }
  // Whoever has typed the command has ended; so would the command, had it run there.
  void GiveUp() {
    good = false;
    RequestStop(Stop::Interrupted);
  }
  std::optional<std::string> Ask(Kind kind, const std::string& question) {
    platform::MutexLock hold(answerLock);
    answer.reset();
    if (gone || !channel.Send(kind, question)) return std::nullopt;
    while (!gone && !answer) answered.wait(answerLock);
    if (!answer || !answer->starts_with('+')) return std::nullopt;
    return answer->substr(1);
  }
  void Answer(std::string text) {
    platform::MutexLock hold(answerLock);
    answer = std::move(text);
    answered.notify_all();
  }

  ControlChannel& channel;
  const bool inputIsTerminal;
  const bool errorIsTerminal;
  std::atomic<bool> good{true};
  platform::Mutex lock;
  std::string printed GUARDED_BY(lock);
  platform::Mutex answerLock;
  std::condition_variable_any answered;
  std::optional<std::string> answer GUARDED_BY(answerLock);
  bool gone GUARDED_BY(answerLock) = false;
};

void Log(Logger::Severity severity, int line, const std::string& text) {
  Logger::CloudLogger::GetInstance()->Output("Host", severity, line, "ProfileOwner", text);
}

}  // namespace

struct ProfileOwner::State {
  struct Connection {
    explicit Connection(platform::LocalSocket socket) : channel(std::move(socket)) {}
    ControlChannel channel;
    std::thread thread;
    // Guarded by `lock`.
    RemoteTerminal* terminal = nullptr;  // while its command runs
    CommandKind kind = CommandKind::Short;
    bool ended = false;
  };

  void Accept() {
    platform::SetThreadName("profile owner");
    for (auto socket = listener.Accept(); socket.IsOpen(); socket = listener.Accept()) {
      platform::MutexLock hold(lock);
      JoinEnded();
      if (closing) continue;  // Its client finds the end of the stream and tries again.
      Connection& connection = connections.emplace_back(std::move(socket));
      connection.thread = std::thread([this, &connection] { Handle(connection); });
    }
  }

  void JoinEnded() REQUIRES(lock) {
    connections.remove_if([](Connection& connection) {
      if (!connection.ended) return false;
      connection.thread.join();
      return true;
    });
  }

  void Handle(Connection& connection) {
    platform::SetThreadName("client command");
    if (const auto command = ReadCommand(connection)) RunFor(connection, *command);
    connection.channel.Shutdown();
    platform::MutexLock hold(lock);
    connection.ended = true;
    changed.notify_all();
  }

  static std::optional<ControlCommand> ReadCommand(Connection& connection) {
    const auto version = connection.channel.Receive();
    if (!version || version->kind != Kind::Version) return std::nullopt;
    if (version->bytes != Version()) {
      (void)connection.channel.Send(Kind::Refused, Version());  // Else it has gone already.
      return std::nullopt;
    }
    const auto frame = connection.channel.Receive();
    if (!frame || frame->kind != Kind::Command) return std::nullopt;
    return ControlCommand::Parse(frame->bytes);
  }

  void RunFor(Connection& connection, const ControlCommand& command) {
    RemoteTerminal terminal(connection.channel, command);
    if (!Begin(connection, terminal, runner->KindOf(command.arguments))) {
      (void)connection.channel.Send(Kind::Later);  // Else it has gone already.
      return;
    }
    std::thread listening([&terminal] {
      platform::SetThreadName("client input");
      terminal.Listen();
    });
    // Begun only when the client knows: it would else run the command elsewhere.
    if (connection.channel.Send(Kind::Accepted)) {
      const int status = runner->Run(command.arguments, terminal);
      terminal.Flush();
      Tell(connection, terminal, status);
    }
    {
      platform::MutexLock hold(lock);
      connection.terminal = nullptr;
    }
    connection.channel.Shutdown();
    listening.join();
  }

  static void Tell(Connection& connection, const RemoteTerminal& terminal, int status) {
    const bool goesBack = terminal.StopReason() == Stop::HandedBack;
    const bool told = goesBack ? connection.channel.Send(Kind::HandBack)
                               : connection.channel.Send(Kind::Exit, std::to_string(status));
    if (!told) Log(Logger::Severity::Information, __LINE__, "a client has ended before its command");
  }

  bool Begin(Connection& connection, RemoteTerminal& terminal, CommandKind kind) {
    platform::MutexLock hold(lock);
    const bool ending = closing || finishing || own == CommandKind::Short;
    if (closing || (ending && kind != CommandKind::Short)) return false;
    connection.kind = kind;
    connection.terminal = &terminal;
    return true;
  }

  bool RunsAny(const std::function<bool(const Connection&)>& test) REQUIRES(lock) {
    return std::any_of(connections.begin(), connections.end(),
                       [&test](const Connection& one) { return one.terminal && test(one); });
  }
  bool RunsLong() REQUIRES(lock) {
    return RunsAny([](const Connection& one) { return one.kind != CommandKind::Short; });
  }

  platform::FileLock owned;
  platform::LocalSocket listener;
  std::filesystem::path socketFile;
  CommandKind own = CommandKind::Short;
  ICommandRunner* runner = nullptr;
  std::thread acceptor;

  platform::Mutex lock;
  std::condition_variable_any changed;
  std::list<Connection> connections GUARDED_BY(lock);
  bool finishing GUARDED_BY(lock) = false;  // takes Short commands only
  bool closing GUARDED_BY(lock) = false;    // takes none
};

ProfileOwner::ProfileOwner() : state(std::make_unique<State>()) {}

ProfileOwner::~ProfileOwner() {
  if (!state->owned.IsHeld()) return;
  StopAll(Stop::Interrupted);
  Finish({});
  Release();
}

std::string ProfileOwner::Version() { return std::string(ZENTARA_VERSION) + "/" + kProtocol; }

ProfileOwner::Take ProfileOwner::TryTake(const std::filesystem::path& folder, CommandKind own,
                                         std::error_code& error) {
  if (!state->owned.TryLock(folder / "owner.lock", error)) return error ? Take::Failed : Take::Elsewhere;
  state->own = own;
  state->socketFile = SocketIn(folder);
  state->listener = platform::LocalSocket::Listen(state->socketFile, error);
  if (state->listener.IsOpen()) return Take::Owned;
  state->owned.Release();
  return Take::Failed;
}

void ProfileOwner::Serve(ICommandRunner& runner) {
  state->runner = &runner;
  state->acceptor = std::thread([this] { state->Accept(); });
}

void ProfileOwner::Finish(const std::function<void()>& onWait) {
  std::error_code ignored;  // The next owner puts its own in place.
  {
    platform::MutexLock hold(state->lock);
    state->finishing = true;
    for (auto& connection : state->connections) {
      if (connection.terminal && connection.kind == CommandKind::Resumable)
        connection.terminal->RequestStop(Stop::HandedBack);
    }
    if (onWait && state->RunsLong()) onWait();
    while (state->RunsLong()) state->changed.wait(state->lock);
    state->closing = true;
  }
  if (state->listener.IsOpen()) std::filesystem::remove(state->socketFile, ignored);
  state->listener.Shutdown();
  if (state->acceptor.joinable()) state->acceptor.join();
  platform::MutexLock hold(state->lock);
  while (state->RunsAny([](const State::Connection&) { return true; })) state->changed.wait(state->lock);
  for (auto& connection : state->connections) connection.channel.Shutdown();
  while (!std::all_of(state->connections.begin(), state->connections.end(),
                      [](const State::Connection& one) { return one.ended; })) {
    state->changed.wait(state->lock);
  }
  state->JoinEnded();
}

void ProfileOwner::Release() {
  state->listener.Close();
  state->owned.Release();
}

void ProfileOwner::StopAll(CommandTerminal::Stop why) {
  platform::MutexLock hold(state->lock);
  for (auto& connection : state->connections) {
    if (connection.terminal) connection.terminal->RequestStop(why);
  }
}
