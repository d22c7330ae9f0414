#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "common/platform/mutex.h"
#include "transfer/stream/streamcontent.h"
#include "utils/streamdigest.h"

// A film of the cloud as a player reads it: bytes at a position, fetched piece by piece
// as they are asked for, so that it starts after its first pieces and is never whole on
// the disk or in memory.
//
//   player   Open  Read Read ... Seek Read ...        (one thread, waits)
//               \    |  ^
//   film source  record, wanted piece, the one behind it   (a thread of its own)
//
// The piece that is wanted comes first, one on its way that nobody waits for gives way.
// Pieces that were read stay while they have room, so that going back a little asks for
// nothing. A content that was read from its beginning to its end is held against its
// SHA-256.
class ContentStream {
 public:
  enum class Failure {
    None,
    Outage,   // the service does not answer
    Refused,  // it has no such content
    Damaged,  // the bytes are not those that were uploaded
  };
  struct Limits {
    std::size_t cacheBytes = std::size_t{64} << 20;  // a piece that is read counts, too
    int attempts = 3;                                // of one piece that an outage keeps away
    int pauseMs = 1000;                              // between them
  };

  explicit ContentStream(GalleryFile::Ptr film, Limits bounds);
  explicit ContentStream(GalleryFile::Ptr film) : ContentStream(std::move(film), Limits()) {}
  // Told when the player begins to wait for bytes and when it goes on, on its thread. Set
  // before Open.
  std::function<void(bool waits)> whenWaiting;

  // Ends what runs and waits for it.
  ~ContentStream();
  ContentStream(const ContentStream&) = delete;
  ContentStream& operator=(const ContentStream&) = delete;

  // Waits for the record. Again too: reading begins anew then. False after a failure
  // and a Stop.
  bool Open(std::uint64_t& bytes);
  // Waits for the piece. Bytes read; 0 at the end, -1 after a failure and a Stop.
  std::int64_t Read(unsigned char* buffer, std::size_t count);
  // False beyond the end.
  bool Seek(std::uint64_t offset);

  // Ends every wait, for good. Any thread.
  void Stop();
  // Why Open or Read failed. Any thread.
  Failure Why() const;
  // What lies in memory. Any thread.
  std::size_t CachedBytes() const;

 private:
  struct Piece {
    std::size_t index = 0;
    std::shared_ptr<const std::string> bytes;
  };

  void Run();
  bool OpenRecord();
  std::size_t NextIndex() const REQUIRES(lock);
  void FetchPiece(std::size_t index);
  StreamContent::Outcome Try(std::size_t index, std::string& plain);
  bool IsNeeded(std::size_t index) const;
  void Keep(std::size_t index, std::string plain);
  void Shrink() REQUIRES(lock);
  bool DigestInOrder(std::size_t index, const std::string& plain);
  std::shared_ptr<const std::string> Cached(std::size_t index) const;
  void Fail(std::size_t index, StreamContent::Outcome outcome);
  bool Pause();
  std::shared_ptr<const std::string> Find(std::size_t index) const REQUIRES(lock);
  std::shared_ptr<const std::string> WaitForPiece(std::size_t index);
  std::shared_ptr<const std::string> WaitAndTell(std::size_t index);

  const Limits limits;
  StreamContent content;  // of the source's thread
  // Where the pieces begin, and the end; constant once `isOpen`.
  std::vector<std::int64_t> starts;
  std::int64_t size = 0;
  StreamDigest digest{StreamDigest::Kind::Sha256};  // of the source's thread
  std::size_t digested = 0;                         // pieces in it
  std::int64_t position = 0;                        // of the player's thread

  mutable platform::Mutex lock;
  mutable std::condition_variable_any changed;
  bool isOpen GUARDED_BY(lock) = false;
  bool stopped GUARDED_BY(lock) = false;
  Failure failure GUARDED_BY(lock) = Failure::None;
  std::size_t wanted GUARDED_BY(lock) = 0;  // the piece that the player reads
  // The piece behind it, when it failed: tried again once it is the wanted one.
  std::size_t failedAhead GUARDED_BY(lock) = SIZE_MAX;
  std::list<Piece> cache GUARDED_BY(lock);  // the one read last in front
  std::size_t cached GUARDED_BY(lock) = 0;
  std::thread source;
};
