#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "common/platform/mutex.h"
#include "model/gallery.h"
#include "output.h"
#include "synclisteners.h"
#include "zentaragalleryobj.h"

// Exit status of the program.
enum class Exit : int { Done = 0, Failed = 1, Usage = 2 };

// The gallery of the profile, loaded once for all commands that run in this process.
class Session {
 public:
  // A host with windows brings the module's object along.
  explicit Session(std::unique_ptr<ZentaraGalleryObj> with = std::make_unique<ZentaraGalleryObj>())
      : object(std::move(with)) {}

  // Before anything else: the profile in `folder`, or the user's own. False, told,
  // when nothing can be written there.
  static bool ChooseProfile(const std::filesystem::path& folder, bool usersOwn, Output& output);
  // Where the profile's data lies.
  static std::filesystem::path DataFolder();

  // Starts the host's services and loads the gallery. False, told to `output`,
  // when the profile cannot be used.
  bool Open(Output& output);
  // Ends all work. The process ends, or another account's gallery comes.
  void Close();
  // After a change of the account: the gallery that it has now.
  bool OpenAgain(Output& output);
  // False, told, when the last change of the account left none.
  bool IsLoaded(Output& output) const;

  ZentaraGalleryObj& Object() { return *object; }
  SyncListeners& Listeners() { return listeners; }
  // A live album by its id, its name, or the name that a user reads; null when
  // there is none.
  Album::Ptr FindAlbum(const std::string& name) const;
  // The file of an id, or null.
  GalleryFile::Ptr FindFile(const std::string& id) const;

  // What only one command at a time does; the others wait for their turn.
  enum class Work { Import, Thumbnails, Sync, Count };
  // Held until it is destroyed. Not held when the wait was stopped.
  class Turn {
   public:
    Turn(Session& session, Work work, Output& output);
    ~Turn();
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    bool IsHeld() const { return held; }

   private:
    Session& session;
    const Work work;
    bool held = false;
  };

  // Starts the ticks of the sync for the first that wants them, and ends them
  // behind the last.
  void BeginTicks();
  void EndTicks();

 private:
  bool Load(Output& output);

  const std::unique_ptr<ZentaraGalleryObj> object;
  SyncListeners listeners;
  std::atomic<bool> loaded{false};

  platform::Mutex turnLock;
  std::condition_variable_any turnEnded;
  std::array<bool, static_cast<std::size_t>(Work::Count)> busy GUARDED_BY(turnLock){};

  platform::Mutex ticksLock;  // Covers the start and the end.
  int tickUsers GUARDED_BY(ticksLock) = 0;
};

// The name under which a user knows an album.
std::string ShownName(const Album& album);
// A file in short: JSON form and one line.
Json::Value FileSummary(const GalleryFile& file);
std::string FileLine(const GalleryFile& file);
