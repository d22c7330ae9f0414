#include "transfer/stream/contentstream.h"

#include <algorithm>
#include <chrono>

#include "common/platform/text.h"
#include "common/platform/thread.h"
#include "utils/gallerylog.h"

using platform::MutexLock;
using Outcome = StreamContent::Outcome;

namespace {

constexpr char kTag[] = "ContentStream";
constexpr std::size_t kNothing = SIZE_MAX;
// Addresses are read anew that often for one piece; a service that refuses new ones, too,
// would be asked for ever.
constexpr int kMostRenewals = 2;

}  // namespace

ContentStream::ContentStream(GalleryFile::Ptr film, Limits bounds)
    : limits(bounds), content(std::move(film)) {}

ContentStream::~ContentStream() {
  Stop();
  if (source.joinable()) source.join();
}

void ContentStream::Stop() {
  {
    MutexLock hold(lock);
    stopped = true;
  }
  content.Stop();
  changed.notify_all();
}

ContentStream::Failure ContentStream::Why() const {
  MutexLock hold(lock);
  return failure;
}

std::size_t ContentStream::CachedBytes() const {
  MutexLock hold(lock);
  return cached;
}

// --- The player's thread

bool ContentStream::Open(std::uint64_t& bytes) {
  position = 0;
  if (!source.joinable()) source = std::thread([this] { Run(); });
  MutexLock hold(lock);
  wanted = 0;
  while (!isOpen && !stopped && failure == Failure::None) changed.wait(lock);
  if (!isOpen || stopped || failure != Failure::None) return false;
  bytes = static_cast<std::uint64_t>(size);
  return true;
}

std::int64_t ContentStream::Read(unsigned char* buffer, std::size_t count) {
  if (position >= size) return Why() == Failure::None ? 0 : -1;
  const auto behind = std::upper_bound(starts.begin(), starts.end(), position);
  const auto index = static_cast<std::size_t>(behind - starts.begin()) - 1;
  const auto bytes = WaitAndTell(index);
  if (!bytes) return -1;
  const auto from = static_cast<std::size_t>(position - starts[index]);
  const std::size_t taken = std::min(count, bytes->size() - from);
  std::copy_n(bytes->data() + from, taken, buffer);
  position += static_cast<std::int64_t>(taken);
  return static_cast<std::int64_t>(taken);
}

bool ContentStream::Seek(std::uint64_t offset) {
  if (offset > static_cast<std::uint64_t>(size)) return false;
  position = static_cast<std::int64_t>(offset);
  return true;
}

std::shared_ptr<const std::string> ContentStream::WaitAndTell(std::size_t index) {
  if (Cached(index) || !whenWaiting) return WaitForPiece(index);
  whenWaiting(true);
  auto bytes = WaitForPiece(index);
  whenWaiting(false);
  return bytes;
}

std::shared_ptr<const std::string> ContentStream::WaitForPiece(std::size_t index) {
  MutexLock hold(lock);
  if (std::exchange(wanted, index) != index) changed.notify_all();
  for (;;) {
    if (stopped || failure != Failure::None) return nullptr;
    if (auto bytes = Find(index)) {
      const auto place =
          std::find_if(cache.begin(), cache.end(), [&](const Piece& p) { return p.index == index; });
      cache.splice(cache.begin(), cache, place);
      return bytes;
    }
    changed.wait(lock);
  }
}

std::shared_ptr<const std::string> ContentStream::Find(std::size_t index) const {
  for (const Piece& piece : cache)
    if (piece.index == index) return piece.bytes;
  return nullptr;
}

// --- The source's thread

void ContentStream::Run() {
  platform::SetThreadName("film source");
  if (!OpenRecord()) return;
  for (;;) {
    std::size_t index = kNothing;
    {
      MutexLock hold(lock);
      while (!stopped && failure == Failure::None && (index = NextIndex()) == kNothing) changed.wait(lock);
      if (stopped || failure != Failure::None) return;
    }
    FetchPiece(index);
  }
}

bool ContentStream::OpenRecord() {
  Outcome outcome = content.ReadRecord();
  for (int attempt = 1; outcome == Outcome::Outage && attempt < limits.attempts && Pause(); ++attempt)
    outcome = content.ReadRecord();
  if (outcome != Outcome::Done) {
    Fail(kNothing, outcome);
    return false;
  }
  size = content.Size();
  for (std::size_t i = 0; i < content.Count(); ++i) starts.push_back(content.Start(i));
  MutexLock hold(lock);
  isOpen = true;
  changed.notify_all();
  return true;
}

// The piece that is read, else the one behind it while there is room for both.
std::size_t ContentStream::NextIndex() const {
  if (!Find(wanted)) return wanted;
  const std::size_t next = wanted + 1;
  if (next >= content.Count() || next == failedAhead || Find(next)) return kNothing;
  const std::int64_t both = content.PlainLength(wanted) + content.PlainLength(next);
  return both <= static_cast<std::int64_t>(limits.cacheBytes) ? next : kNothing;
}

void ContentStream::FetchPiece(std::size_t index) {
  std::string plain;
  const Outcome outcome = Try(index, plain);
  if (outcome != Outcome::Done) return Fail(index, outcome);
  if (!DigestInOrder(index, plain)) return Fail(kNothing, Outcome::Damaged);
  Keep(index, std::move(plain));
}

Outcome ContentStream::Try(std::size_t index, std::string& plain) {
  Outcome outcome = Outcome::Outage;
  int attempts = 0, renewals = 0;
  while (IsNeeded(index)) {
    outcome = content.Fetch(
        index, [this, index] { return IsNeeded(index); }, plain);
    if (outcome == Outcome::Expired && renewals++ < kMostRenewals) {
      outcome = content.ReadRecord();
      if (outcome == Outcome::Done) continue;
    }
    if (outcome != Outcome::Outage || ++attempts >= limits.attempts || !Pause()) return outcome;
  }
  return outcome;
}

bool ContentStream::IsNeeded(std::size_t index) const {
  MutexLock hold(lock);
  return !stopped && (index == wanted || (index == wanted + 1 && Find(wanted)));
}

void ContentStream::Keep(std::size_t index, std::string plain) {
  MutexLock hold(lock);
  cached += plain.size();
  cache.push_front({index, std::make_shared<const std::string>(std::move(plain))});
  Shrink();
  changed.notify_all();
}

// What is being read and what was fetched for it stay, whatever their size.
void ContentStream::Shrink() {
  for (auto last = cache.end(); last != cache.begin() && cached > limits.cacheBytes;) {
    --last;
    if (last->index == wanted || last->index == wanted + 1) continue;
    cached -= last->bytes->size();
    last = cache.erase(last);
  }
}

// Pieces count in their order; one that has gone from memory meanwhile ends it. Looked at
// before the player gets the last one, which would take it for a good end.
bool ContentStream::DigestInOrder(std::size_t index, const std::string& plain) {
  if (index != digested) return true;
  (void)digest.Update(plain);
  ++digested;
  while (const auto next = Cached(digested)) {
    (void)digest.Update(*next);
    ++digested;
  }
  const std::string told = platform::AsciiLower(content.Sha256());
  if (digested < content.Count() || told.empty() || told == digest.Finish()) return true;
  LogError(kTag, "the content is not the one that was uploaded");
  return false;
}

std::shared_ptr<const std::string> ContentStream::Cached(std::size_t index) const {
  MutexLock hold(lock);
  return Find(index);
}

// A piece that nobody reads yet is no failure yet, and one that gave way is none.
void ContentStream::Fail(std::size_t index, Outcome outcome) {
  MutexLock hold(lock);
  if (index == wanted + 1) failedAhead = index;
  if (stopped || (index != kNothing && index != wanted)) return;
  failure = outcome == Outcome::Outage    ? Failure::Outage
            : outcome == Outcome::Damaged ? Failure::Damaged
                                          : Failure::Refused;
  changed.notify_all();
}

// False once nobody waits any more.
bool ContentStream::Pause() {
  const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(limits.pauseMs);
  MutexLock hold(lock);
  while (!stopped && changed.wait_until(lock, until) != std::cv_status::timeout) {
  }
  return !stopped;
}
