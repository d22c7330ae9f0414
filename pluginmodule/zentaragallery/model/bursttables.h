#pragma once

#include <list>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "common/platform/mutex.h"
#include "model/records/galleryfile.h"

// The burst files of the gallery by their common name. Files of one name in
// different albums are different groups: the name is looked up first, the album
// then compared. Safe from any thread; its lock is held around table access only.
class BurstTables {
 public:
  using FilePtr = GalleryFile::Ptr;
  using Files = std::vector<FilePtr>;

  void Clear();
  // Files that are no burst files are ignored.
  void Register(const FilePtr& file);
  // A cover loses its members with it.
  void Unregister(const FilePtr& file);

  // Live files of that name and album, in the bin or out of it. Nothing for an
  // empty name or id.
  Files Covers(const std::wstring& name, const std::string& albumId, bool inBin) const;
  Files Members(const std::wstring& name, const std::string& albumId, bool inBin) const;

  // The first cover with members in the member's album and place, or null.
  FilePtr CoverOf(const FilePtr& member) const;
  // The cover in the file's album and place that has this very file as a member, or
  // null.
  FilePtr CoverHolding(const GalleryFile& file) const;

 private:
  mutable platform::Mutex burstLock;
  std::map<std::wstring, std::set<FilePtr>> burstCovers GUARDED_BY(burstLock);
  std::map<std::wstring, std::list<FilePtr>> burstMembers GUARDED_BY(burstLock);
};
