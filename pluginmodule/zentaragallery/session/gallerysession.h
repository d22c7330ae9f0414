#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "common/platform/mutex.h"
#include "session/accountgate.h"
#include "session/synclisteners.h"
#include "zentaragalleryobj.h"

// The gallery of a profile as a host runs it, one for the process: services, database,
// gallery, sync. A host makes it, opens it once it owns the profile, and closes it.
//
// Open, Close, OpenAgain and Begin, End belong to one thread at a time; the rest is
// safe from any. Operations that can fail give the reason in English, or nothing.
class GallerySession {
 public:
  // A host with windows brings the module's object along.
  explicit GallerySession(std::unique_ptr<ZentaraGalleryObj> with = std::make_unique<ZentaraGalleryObj>())
      : object(std::move(with)) {}

  // Before anything else: the profile in `folder`, or the user's own.
  [[nodiscard]] static std::string ChooseProfile(const std::filesystem::path& folder, bool usersOwn);
  // Where the profile's data lies.
  static std::filesystem::path DataFolder();

  // Starts the host's services and loads the gallery.
  [[nodiscard]] std::string Open();
  // Ends all work. The process ends, or another account's gallery comes.
  void Close();
  // After a change of the account: the gallery that it has now.
  [[nodiscard]] std::string OpenAgain();
  // False when the last change of the account left none.
  bool IsLoaded() const { return loaded; }

  // For a host that stays: thumbnails, transfers that an earlier process left, and, when
  // there is a service, push and sync. Nothing while it has begun.
  void Begin();
  void End();

  ZentaraGalleryObj& Object() { return *object; }
  SyncListeners& Listeners() { return listeners; }

  // Keeps what works with the account apart from what changes it.
  AccountGate& Gate() { return gate; }

  // What only one at a time does; the others wait for their turn.
  enum class Work { Import, Thumbnails, Sync, Count };
  // Held until it is destroyed. Not held when the wait was stopped by `stopped`;
  // `waiting` is called once when there is one.
  class Turn {
   public:
    Turn(GallerySession& session, Work work, const std::atomic<bool>& stopped,
         const std::function<void()>& waiting = {});
    ~Turn();
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    bool IsHeld() const { return held; }

   private:
    GallerySession& session;
    const Work work;
    bool held = false;
  };

  // Starts the ticks of the sync for the first that wants them, and ends them
  // behind the last.
  void BeginTicks();
  void EndTicks();

 private:
  std::string Load();

  const std::unique_ptr<ZentaraGalleryObj> object;
  SyncListeners listeners;
  AccountGate gate;
  std::atomic<bool> loaded{false};
  bool begun = false;
  bool ticking = false;  // since Begin

  platform::Mutex turnLock;
  std::condition_variable_any turnEnded;
  std::array<bool, static_cast<std::size_t>(Work::Count)> busy GUARDED_BY(turnLock){};

  platform::Mutex ticksLock;  // Covers the start and the end.
  int tickUsers GUARDED_BY(ticksLock) = 0;
};
