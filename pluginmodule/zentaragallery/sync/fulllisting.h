#pragma once

#include <cstddef>

#include "sync/synccycle.h"

// The first download: albums, then every file of the cloud's listing. For the thread of
// a cycle.
class FullListing {
 public:
  explicit FullListing(SyncCycle& of) : cycle(of) {}

  // Empties tables and memory of what the listing brings again; what waits for the
  // cloud stays.
  bool EmptyForFullSync();
  // Rows that outlived the emptying, in a process that has not had their albums before:
  // the cloud hears only of what is in memory.
  bool TakeInStoredRows();
  bool FullSyncAlbumsV2();
  // `olderRows`: files of the cloud that were here before this listing.
  bool RequestDownLoadFileV2(std::size_t& olderRows);
  // Stores that the download is complete.
  bool FinishFullSync();

 private:
  class KnownFiles;

  bool AlignMemoryWithTable();
  bool StoreListedPage(const ICloudListing::MediaPage& page, KnownFiles& known, std::int64_t& offset,
                       SyncLocalOperation::Files& fresh);

  SyncCycle& cycle;
};
