#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "host/profile/commandterminal.h"

// How a command line bears on the process that runs it for another one.
enum class CommandKind {
  Short,      // over in a moment
  Long,       // is finished before the owner ends
  Resumable,  // can be stopped here and begun again elsewhere without a loss
};

// Whoever runs command lines on the gallery that is loaded. Called on a thread of
// each connection, several at once.
class ICommandRunner {
 public:
  virtual ~ICommandRunner() = default;
  virtual CommandKind KindOf(const std::vector<std::string>& arguments) = 0;
  // The exit status. A Resumable one ends soon after its terminal is stopped.
  virtual int Run(const std::vector<std::string>& arguments, CommandTerminal& terminal) = 0;
};

// One process owns a profile: it alone has the profile's gallery in memory and
// runs what is typed elsewhere meanwhile, so that no two memories disagree.
//
// Who holds the lock on "owner.lock" in the profile's data folder owns it; the
// system gives that back when the process ends, however it ends. The owner
// answers at the socket "owner.sock" beside it, for the same user only.
//
// A client is told that its command is accepted before it is begun. A connection
// that ends before that has begun nothing, and the client tries again or becomes
// the owner itself; so no command is lost, and none runs twice.
// All operations are for the thread that made the object, but StopAll.
class ProfileOwner {
 public:
  enum class Take { Owned, Elsewhere, Failed };

  ProfileOwner();
  ~ProfileOwner();
  ProfileOwner(const ProfileOwner&) = delete;
  ProfileOwner& operator=(const ProfileOwner&) = delete;

  // Makes this process the owner of the profile whose data lies in `folder`, and
  // opens the socket. Clients that come from here on wait for Serve. `own` is how
  // long this process means to stay: a Short one takes no Long commands, which
  // wait for its end instead. Failed: `error` tells why.
  Take TryTake(const std::filesystem::path& folder, CommandKind own, std::error_code& error);
  // Begins to answer. `runner` must live until Finish has returned.
  void Serve(ICommandRunner& runner);
  // Waits until what runs for clients is done; Resumable commands go back to
  // theirs. Clients that come meanwhile get their Short commands done, until no
  // Long one runs any more. `onWait` is told when that is going to take a while.
  // The lock stays until Release, so that the gallery can be closed before.
  void Finish(const std::function<void()>& onWait);
  void Release();
  // Asks all commands of clients to stop; any thread.
  void StopAll(CommandTerminal::Stop why);

  static std::filesystem::path SocketIn(const std::filesystem::path& folder) { return folder / "owner.sock"; }
  // What both sides must agree in.
  static std::string Version();

 private:
  struct State;
  const std::unique_ptr<State> state;
};
