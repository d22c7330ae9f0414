#pragma once

#include <json/value.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/platform/childprocess.h"
#include "common/platform/mutex.h"

// Helper processes in which foreign files are read: a crafted file can keep a
// decoder busy for minutes, or end it, and a process can be ended where a thread
// cannot. The program lies beside the others; each caller has a process for itself,
// which is kept for the next one and ends when it was idle for a while.
//
// Where the program is missing or cannot be started, readings happen in this process
// as they do there, and without a deadline. Safe from any thread.
class MediaWorkers {
 public:
  // The program beside this one's, with the deadline of every reading.
  static MediaWorkers& GetInstance();
  // A test replaces the instance by its own; null brings the usual one back.
  static void Replace(MediaWorkers* other);

  MediaWorkers(std::filesystem::path program, std::chrono::milliseconds deadline);
  ~MediaWorkers();

  enum class Outcome { Answered, TooSlow, Stopped, Died, NoWorker };
  // One reading; on the thread's FileReading it ends with that. One that is too slow,
  // or ends its process, is logged.
  Outcome Ask(const Json::Value& request, Json::Value& answer);
  // Starts a helper that waits for the first reading, unless one does: its libraries
  // take longer to load than a small picture to read.
  void Prepare();

 private:
  using Worker = std::unique_ptr<platform::ChildProcess>;

  // An idle one, or a fresh one; null when none can be started.
  Worker Take(bool& isFresh);
  Outcome AskOnce(Worker& worker, const std::string& request, Json::Value& answer) const;
  void NoteMissing();

  const std::filesystem::path program;
  const std::chrono::milliseconds patience;
  platform::Mutex lock;
  std::vector<Worker> idle GUARDED_BY(lock);
  bool isMissingTold GUARDED_BY(lock) = false;
};
