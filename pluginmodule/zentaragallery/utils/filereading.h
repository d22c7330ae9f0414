#pragma once

#include <atomic>

// The reading of one foreign file on this thread, from its making to its end. The
// readers below it look at it, so that whoever started them can end them at once and
// learns that one was given up.
class FileReading {
 public:
  // `stop` outlives it; null: nothing ends the reading.
  explicit FileReading(const std::atomic<bool>* stop);
  ~FileReading();
  FileReading(const FileReading&) = delete;
  FileReading& operator=(const FileReading&) = delete;

  bool WasTooSlow() const { return tooSlow; }

  // For readers, on the thread of the reading; without one nothing stops.
  static bool GoesOn();
  static void NoteTooSlow();

 private:
  const std::atomic<bool>* const stopping;
  FileReading* const outer;
  bool tooSlow = false;
};
