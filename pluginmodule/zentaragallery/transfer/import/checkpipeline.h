#pragma once

#include <atomic>
#include <condition_variable>
#include <optional>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

#include "common/platform/mutex.h"
#include "transfer/import/localfilecheck.h"

// Takes away the thumbnails of a file that does not come into the gallery.
void DropThumbnail(const GalleryFile& file);

// Checks paths on as many workers as there are processors and hands the results out in
// the order of the paths. What nobody has taken leaves no thumbnail behind.
//
// For one thread, which makes it, takes from it and destroys it; the paths and the
// album outlive it.
class CheckPipeline {
 public:
  // `known`: contents that the album holds already. `userStop` may be null.
  CheckPipeline(const std::vector<std::wstring>& of, const Album& into, std::unordered_set<std::string> known,
                const std::atomic<bool>* userStop);
  ~CheckPipeline();
  CheckPipeline(const CheckPipeline&) = delete;
  CheckPipeline& operator=(const CheckPipeline&) = delete;

  // Waits for the check of paths[index]. Nothing once the user has stopped; what a
  // check gave then means nothing either.
  std::optional<CheckedFile> Take(std::size_t index);

 private:
  bool IsStopped() const { return userStop && *userStop; }
  void Work();
  void Keep(std::size_t index, CheckedFile result);

  const std::vector<std::wstring>& paths;
  const Album& album;
  const std::unordered_set<std::string> known;
  const std::atomic<bool>* const userStop;
  std::atomic<std::size_t> next{0};
  std::atomic<bool> stopping{false};
  platform::Mutex lock;
  std::condition_variable_any arrived;
  std::vector<CheckedFile> checked GUARDED_BY(lock);
  std::vector<bool> ready GUARDED_BY(lock);
  std::vector<std::thread> workers;
};
