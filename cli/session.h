#pragma once

#include <atomic>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "model/gallery.h"
#include "output.h"
#include "zentaragalleryobj.h"

// Exit status of the program.
enum class Exit : int { Done = 0, Failed = 1, Usage = 2 };

// One run of the program on one profile: the services up, the gallery loaded.
class Session {
 public:
  // Starts the host's services and loads the gallery. An empty `profile` is the
  // user's own. False, told to `output`, when the profile cannot be used.
  bool Open(const std::filesystem::path& profile, Output& output);

  ZentaraGalleryObj& Object() { return object; }
  // A live album by its id, its name, or the name that a user reads; null when
  // there is none.
  Album::Ptr FindAlbum(const std::string& name) const;
  // The file of an id, or null.
  GalleryFile::Ptr FindFile(const std::string& id) const;

  // Set by Ctrl-C; long work looks at it between files.
  static const std::atomic<bool>& Stopped();

 private:
  ZentaraGalleryObj object;
};

// The name under which a user knows an album.
std::string ShownName(const Album& album);
// A file in short: JSON form and one line.
Json::Value FileSummary(const GalleryFile& file);
std::string FileLine(const GalleryFile& file);
