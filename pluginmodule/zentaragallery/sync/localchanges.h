#pragma once

#include <functional>
#include <string>
#include <vector>

#include "sync/synccycle.h"

// Changes of the user on their way to the cloud, under its lock. For the thread of a
// cycle.
class LocalChanges {
 public:
  explicit LocalChanges(SyncCycle& of) : cycle(of) {}

  // Albums, files, deletions, in this order. False, logged, when one did not get
  // through; what was refused keeps waiting.
  bool Upload();

 private:
  bool UploadCreatedAlbums();
  bool UploadModifyAlbums();
  bool UploadModifyFiles();
  bool UploadFileGroup(const SyncLocalOperation::Files& group);
  bool UploadDeleteFiles();
  bool UploadDeleteAlbums();
  bool RecycleLeftFiles(const std::string& albumId);
  bool UploadFailed(const char* text);
  void NoteRefused(const char* step, const std::vector<FailedItem>& failed,
                   const std::function<bool(const std::string& code)>& isDealtWith);
  void NoteStuck(const char* step, const SyncCycle::Ids& albums);

  SyncCycle& cycle;
};
