#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "transfer/import/uploadcontroller.h"

class GallerySession;

// Files on their way into one album.
struct FolderFiles {
  std::wstring albumName;
  std::vector<std::wstring> paths;
};

// The user's choice of files and folders as files, by the album they go to. A
// folder's files go to an album of its name, and its folders' files to theirs. For one
// thread.
class ImportChoice {
 public:
  // All go to the album `to`, unless it is empty. `stop` ends a walk.
  ImportChoice(std::wstring to, const std::atomic<bool>& stop) : albumName(std::move(to)), stopped(stop) {}

  // Told of each folder that cannot be read, in English.
  std::function<void(const std::string& problem)> onProblem;

  void Add(const std::filesystem::path& path);
  const std::vector<FolderFiles>& Folders() const { return folders; }
  // Whether something that was chosen could not be looked at.
  bool Failed() const { return failed; }

 private:
  void AddFolder(const std::filesystem::path& folder);
  bool TakeDangling(const std::filesystem::path& path);
  void AddFile(const std::filesystem::path& file);

  const std::wstring albumName;
  const std::atomic<bool>& stopped;
  std::vector<FolderFiles> folders;
  bool failed = false;
};

// What a file that is in its album already counts as.
enum class Known { Refused, PassedOver };

struct ImportSum {
  std::size_t added = 0;
  std::size_t refused = 0;
  std::size_t passedOver = 0;
  std::int64_t bytes = 0;
  bool stopped = false;

  bool IsGood() const { return refused == 0 && !stopped; }
};

// Adds files to the real albums of their names, which are made where there are none.
// One in a session at a time, the others wait: what one import has not stored yet,
// another one could not know to be there. For one thread; the callbacks come on it.
class FolderImport {
 public:
  struct Progress {
    std::size_t done = 0;
    std::size_t total = 0;
    std::int64_t bytes = 0;
    std::wstring albumName;
  };

  // `stopped` ends it at once, also while a file is read or it waits for its turn.
  FolderImport(GallerySession& of, const std::atomic<bool>& stopped) : session(of), stop(stopped) {}

  std::function<void()> onWait;  // another import runs
  std::function<void(const Progress&)> onProgress;
  std::function<void(const RefusedFile&)> onRefused;
  // No album of a name can be had, or more files than one takes at once, in words.
  std::function<void(const std::string& problem)> onProblem;

  // Nothing when it was stopped before its turn.
  std::optional<ImportSum> Run(const std::vector<FolderFiles>& folders, Known known);

 private:
  void AddFolder(const FolderFiles& folder, Known known);
  UploadController::Result AddFiles(const FolderFiles& folder, const Album::Ptr& album);

  void Tell(const std::string& problem) const;

  GallerySession& session;
  const std::atomic<bool>& stop;
  ImportSum sum;
  std::size_t total = 0;
};
