#pragma once

#include <set>
#include <string>

#include "model/gallery.h"
#include "output.h"

// Tells which pictures cannot go up because their files are not where they were:
// "away" with their folder, which may come back, or "gone", which makes a picture
// that was never uploaded leave the gallery. For one thread.
class SourceTeller {
 public:
  explicit SourceTeller(Output& to) : output(to) { Note(); }

  // After a cycle: what it found. Each picture is told once; true when there is any
  // to tell, now or before.
  bool Tell();

 private:
  void Note();
  void Print(const GalleryFile& file, const char* source, const std::string& words);

  Output& output;
  Gallery::Files waiting;  // before the cycle
  std::set<GalleryFile::Ptr> told;
};
