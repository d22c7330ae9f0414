#include "ui/viewer/lcdpictures.h"

#include <QImageReader>
#include <condition_variable>
#include <deque>
#include <list>
#include <map>
#include <set>
#include <thread>

#include "common/platform/files.h"
#include "common/platform/mutex.h"
#include "common/platform/paths.h"
#include "common/platform/thread.h"
#include "common/toolkit/resourcequeue.h"
#include "transfer/thumbnails/thumbnailhelper.h"
#include "ui/pagecontext.h"
#include "utils/mediareader.h"
#include "utils/mediaworkers.h"
#include "utils/messages.h"
#include "utils/picturemetadata.h"

using platform::Mutex;
using platform::MutexLock;

namespace {

// One decodes what is shown while the other looks ahead.
constexpr int kWorkers = 2;
constexpr qint64 kTileBytes = 96 * 1024 * 1024;
// No list of pictures decoded ahead is as long.
constexpr int kMaxBox = 8192;

// The content: a file that gets another one is another picture.
std::string ContentOf(const GalleryFile& file) {
  return file.Guid() + '|' + file.Hash() + '|' + platform::DisplayText(file.LocalPath());
}

LPARAM AddressOf(const GalleryFile::Ptr& file) { return reinterpret_cast<LPARAM>(file.get()); }

std::wstring CacheFolder(const GalleryFile& file) {
  const std::wstring name = file.LcdName();
  return name.substr(0, name.find_last_of(L"\\/") + 1);
}

bool IsGif(const GalleryFile& file) { return platform::WideExtension(file.FileName()) == L".gif"; }

// As the record has it; the size as the picture lies and the turn beside it.
QSize SizeOf(const PictureMetadata& metadata) {
  const QSize lies(metadata.width, metadata.height);
  return metadata.rotation >= 5 && metadata.rotation <= 8 ? lies.transposed() : lies;
}

QSize RecordedSize(const GalleryFile& file) {
  PictureMetadata metadata;
  if (file.IsVideo() || !metadata.FromJson(ParseJson(file.PictureMetadata()))) return {};
  return SizeOf(metadata);
}

QSize SizeOnDisk(const std::wstring& path) {
  PictureMetadata metadata;
  std::int64_t time = 0;
  return ReadExif(path, metadata, time) ? SizeOf(metadata) : QSize();
}

int LongEdge(QSize whole, QSize box) {
  if (whole.isEmpty()) return std::max(box.width(), box.height());
  const QSize fitted = whole.width() > box.width() || whole.height() > box.height()
                           ? whole.scaled(box, Qt::KeepAspectRatio)
                           : whole;
  return std::max({1, fitted.width(), fitted.height()});
}

}  // namespace

struct LcdPictures::State {
  struct Key {
    std::string content;
    int width = 0, height = 0;
    auto operator<=>(const Key&) const = default;
  };
  struct Kept {
    LcdPicture picture;
    std::list<Key>::iterator use;
  };
  struct Job {
    File file;
    Key key;
    HWND told = nullptr;
    bool whole = false;  // the original's pixels
    std::optional<LcdTile> tile = {};
    bool operator==(const Job& other) const {
      return key == other.key && whole == other.whole && tile == other.tile;
    }
  };
  struct TileKey {
    std::string content;
    LcdTile tile;
    auto operator<=>(const TileKey&) const = default;
  };

  mutable Mutex lock;
  std::condition_variable_any changed, idle;
  std::deque<Job> wanted GUARDED_BY(lock), tiles GUARDED_BY(lock), ahead GUARDED_BY(lock);
  std::vector<Job> running GUARDED_BY(lock);
  std::map<Key, Kept> kept GUARDED_BY(lock);
  std::list<Key> uses GUARDED_BY(lock);  // the latest used first
  qint64 bytes GUARDED_BY(lock) = 0;
  std::set<std::string> failed GUARDED_BY(lock);
  // Asked of the cloud: those on their way, and all since somebody looked anew.
  std::set<std::string> fetching GUARDED_BY(lock), fetched GUARDED_BY(lock);
  std::string originalOf GUARDED_BY(lock);
  std::shared_ptr<const MappedPixels> original GUARDED_BY(lock);
  std::map<TileKey, QImage> tileImages GUARDED_BY(lock);
  std::deque<TileKey> tileUses GUARDED_BY(lock);
  qint64 tileBytes GUARDED_BY(lock) = 0;
  bool isToPrepare GUARDED_BY(lock) = false;
  std::uint64_t epoch GUARDED_BY(lock) = 0;  // a former account's work is not taken

  bool IsUnderWay(const Job& job) REQUIRES(lock) { return std::ranges::find(running, job) != running.end(); }

  void Drop(std::map<Key, Kept>::iterator it) REQUIRES(lock) {
    bytes -= it->second.picture.image.sizeInBytes();
    uses.erase(it->second.use);
    kept.erase(it);
  }

  void Keep(const Key& key, LcdPicture picture) REQUIRES(lock) {
    if (const auto old = kept.find(key); old != kept.end()) Drop(old);
    bytes += picture.image.sizeInBytes();
    uses.push_front(key);
    kept.emplace(key, Kept{std::move(picture), uses.begin()});
    while (bytes > kMaxBytes && uses.size() > 1) Drop(kept.find(uses.back()));
  }

  void KeepTile(const TileKey& key, const QImage& image) REQUIRES(lock) {
    if (!tileImages.emplace(key, image).second) return;
    tileUses.push_back(key);
    tileBytes += image.sizeInBytes();
    while (tileBytes > kTileBytes && tileUses.size() > 1) {
      tileBytes -= tileImages[tileUses.front()].sizeInBytes();
      tileImages.erase(tileUses.front());
      tileUses.pop_front();
    }
  }

  void ForgetTiles() REQUIRES(lock) {
    tileImages.clear();
    tileUses.clear();
    tileBytes = 0;
  }

  bool Take(Job& job) REQUIRES(lock) {
    for (std::deque<Job>* from : {&wanted, &tiles, &ahead}) {
      if (from->empty()) continue;
      job = from->front();
      from->pop_front();
      running.push_back(job);
      return true;
    }
    return false;
  }

  void Work() {
    platform::SetThreadName("viewer");
    for (;;) {
      Job job;
      std::uint64_t began = 0;
      {
        MutexLock hold(lock);
        while (!Take(job) && !isToPrepare) changed.wait(lock);
        isToPrepare = false;
        began = epoch;
      }
      if (!job.file) {
        MediaWorkers::GetInstance().Prepare();
        continue;
      }
      job.tile ? RunTile(job) : job.whole ? RunOriginal(job, began) : RunPicture(job, began);
      MutexLock hold(lock);
      std::erase(running, job);
      idle.notify_all();
    }
  }

  void Tell(const Job& job, UINT message) {
    if (job.told)
      (void)platform::PostMessageW(job.told, message, static_cast<WPARAM>(AddressOf(job.file)), 0);
  }

  void RunPicture(const Job& job, std::uint64_t began) {
    LcdPicture picture = Load(job);
    const bool good = !picture.isNull();
    {
      MutexLock hold(lock);
      if (began != epoch) return;
      if (good) Keep(job.key, std::move(picture));
    }
    if (good) return Tell(job, WM_GALLERY_LCD_READY);
    if (job.told) Fetch(job);
  }

  // The original, or else the screen-sized picture of the cache.
  LcdPicture Load(const Job& job) {
    const std::wstring local = job.file->LocalPath();
    if (!local.empty() && platform::CanRead(platform::NativePath(local))) {
      LcdPicture picture = LoadOriginal(job, local);
      if (!picture.isNull()) return picture;
    }
    if (job.file->TestLcdOnDisk()) return LoadCached(job);
    return {};
  }

  LcdPicture LoadOriginal(const Job& job, const std::wstring& path) {
    const QSize box(job.key.width, job.key.height);
    LcdPicture picture;
    picture.fromOriginal = true;
    if (IsGif(*job.file)) return WithFrames(path, *job.file, picture);
    if (job.file->IsVideo()) {
      picture.image = DecodeFitted(path, CacheFolder(*job.file), LongEdge({}, box));
      picture.whole = picture.image.size();
      return picture;
    }
    // The record is as old as the last reading of the file: what lies there counts.
    picture.whole = SizeOnDisk(path);
    picture.image = DecodeFitted(path, CacheFolder(*job.file), LongEdge(picture.whole, box));
    // A raw file shows its preview, whose size is its own.
    if (picture.whole.isEmpty()) picture.whole = picture.image.size();
    return picture;
  }

  LcdPicture WithFrames(const std::wstring& path, const GalleryFile& file, LcdPicture picture) {
    picture.frames = MappedPixels::Decode(path, CacheFolder(file));
    if (!picture.frames) return {};
    picture.whole = picture.frames->Size();
    return picture;
  }

  LcdPicture LoadCached(const Job& job) {
    const std::wstring path = job.file->LcdName();
    const QSize box(job.key.width, job.key.height);
    LcdPicture picture;
    if (platform::WideExtension(path) == L".gif") return WithFrames(path, *job.file, picture);
    picture.image = ResourceQueue::Decode(Page::NativeText(path), box);
    picture.whole = RecordedSize(*job.file);
    if (picture.whole.isEmpty()) picture.whole = picture.image.size();
    return picture;
  }

  // Asks the cloud, once for each time that somebody looks at it.
  void Fetch(const Job& job) {
    {
      MutexLock hold(lock);
      if (fetching.contains(job.key.content)) return;
      if (!fetched.insert(job.key.content).second) {
        failed.insert(job.key.content);
        return Tell(job, WM_GALLERY_LCD_FAILED);
      }
      fetching.insert(job.key.content);
    }
    const HWND told = job.told;
    const auto tellProgress = [told, word = static_cast<WPARAM>(AddressOf(job.file))](int percent) {
      (void)platform::PostMessageW(told, WM_GALLERY_LCD_PROGRESS, word, percent);
    };
    tellProgress(0);
    ThumbnailRequest request{job.file, true, false, nullptr, nullptr};
    request.uiCallback = [this, told, content = job.key.content](const File& file) {
      EndFetch(content, file->TestLcdOnDisk());
      (void)platform::PostMessageW(told, WM_GALLERY_LCD_LOADED, 0, AddressOf(file));
      const UINT next = file->lcdExists ? WM_GALLERY_LCD_RELOAD : WM_GALLERY_LCD_FAILED;
      (void)platform::PostMessageW(told, next, static_cast<WPARAM>(AddressOf(file)), 0);
    };
    request.priorityCallback = [told] { return platform::IsWindow(told); };
    request.progressCallback = tellProgress;
    ThumbnailHelper::GetInstance().DownloadThumbs({request});
  }

  void EndFetch(const std::string& content, bool hasCome) {
    MutexLock hold(lock);
    fetching.erase(content);
    if (!hasCome) failed.insert(content);
  }

  void RunOriginal(const Job& job, std::uint64_t began) {
    {
      MutexLock hold(lock);
      if (originalOf != job.key.content) return;  // Another picture is shown by now.
    }
    const std::wstring path = job.file->LocalPath();
    auto decoded = platform::CanRead(platform::NativePath(path))
                       ? MappedPixels::Decode(path, CacheFolder(*job.file))
                       : nullptr;
    {
      MutexLock hold(lock);
      if (began != epoch || originalOf != job.key.content) return;
      original = std::move(decoded);
      if (!original) return;  // What is shown stays as sharp as it is.
    }
    Tell(job, WM_GALLERY_LCD_READY);
  }

  void RunTile(const Job& job) {
    std::shared_ptr<const MappedPixels> source;
    {
      MutexLock hold(lock);
      if (originalOf != job.key.content) return;
      source = original;
    }
    if (!source) return;
    const int side = LcdTile::kSide << job.tile->level;
    const QImage image = source->Read({job.tile->x * side, job.tile->y * side, side, side}, job.tile->level);
    {
      MutexLock hold(lock);
      if (originalOf != job.key.content) return;
      KeepTile({job.key.content, *job.tile}, image);
    }
    Tell(job, WM_GALLERY_LCD_READY);
  }
};

LcdPictures& LcdPictures::GetInstance() {
  static LcdPictures& pictures = *new LcdPictures;
  return pictures;
}

LcdPictures::LcdPictures() : state(new State) {
  for (int i = 0; i < kWorkers; ++i) std::thread([this] { state->Work(); }).detach();
}

void LcdPictures::Prepare() {
  MutexLock hold(state->lock);
  state->isToPrepare = true;
  state->changed.notify_one();
}

LcdPicture LcdPictures::Get(const File& file, QSize box) const {
  const State::Key key{ContentOf(*file), box.width(), box.height()};
  MutexLock hold(state->lock);
  if (const auto found = state->kept.find(key); found != state->kept.end()) {
    state->uses.splice(state->uses.begin(), state->uses, found->second.use);
    return found->second.picture;
  }
  LcdPicture best;
  for (auto it = state->kept.lower_bound({key.content});
       it != state->kept.end() && it->first.content == key.content; ++it)
    if (best.isNull() || it->second.picture.image.width() > best.image.width()) best = it->second.picture;
  return best;
}

bool LcdPictures::Has(const File& file, QSize box) const {
  MutexLock hold(state->lock);
  return state->kept.contains({ContentOf(*file), box.width(), box.height()});
}

void LcdPictures::Want(const File& file, QSize box, HWND told) {
  if (box.isEmpty() || box.width() > kMaxBox || box.height() > kMaxBox) return;
  const State::Job job{file, {ContentOf(*file), box.width(), box.height()}, told};
  MutexLock hold(state->lock);
  std::erase_if(state->wanted, [](const State::Job& other) { return !other.whole; });
  std::erase(state->ahead, job);
  if (state->failed.contains(job.key.content)) return;
  // One that was begun ahead of time tells nobody of its end.
  const auto begun = std::ranges::find(state->running, job);
  if (begun != state->running.end() && begun->told == told) return;
  state->wanted.push_front(job);
  state->changed.notify_one();
}

void LcdPictures::Ahead(const std::vector<File>& files, QSize box) {
  MutexLock hold(state->lock);
  state->ahead.clear();
  if (box.isEmpty()) return;
  for (const File& file : files) {
    State::Job job{file, {ContentOf(*file), box.width(), box.height()}};
    if (state->kept.contains(job.key) || state->failed.contains(job.key.content) || state->IsUnderWay(job))
      continue;
    state->ahead.push_back(std::move(job));
  }
  state->changed.notify_all();
}

bool LcdPictures::HasFailed(const File& file) const {
  MutexLock hold(state->lock);
  return state->failed.contains(ContentOf(*file));
}

void LcdPictures::Forget(const File& file) {
  const std::string content = ContentOf(*file);
  MutexLock hold(state->lock);
  state->failed.erase(content);
  for (auto it = state->kept.lower_bound({content}); it != state->kept.end() && it->first.content == content;)
    state->Drop(it++);
}

void LcdPictures::TryAgain(const File& file) {
  const std::string content = ContentOf(*file);
  MutexLock hold(state->lock);
  for (auto* set : {&state->failed, &state->fetching, &state->fetched}) set->erase(content);
}

void LcdPictures::Clear() {
  MutexLock hold(state->lock);
  ++state->epoch;
  for (auto* queue : {&state->wanted, &state->tiles, &state->ahead}) queue->clear();
  state->kept.clear();
  state->uses.clear();
  state->bytes = 0;
  state->failed.clear();
  state->fetching.clear();
  state->fetched.clear();
  state->originalOf.clear();
  state->original.reset();
  state->ForgetTiles();
}

std::shared_ptr<const MappedPixels> LcdPictures::Original(const File& file) const {
  MutexLock hold(state->lock);
  return state->originalOf == ContentOf(*file) ? state->original : nullptr;
}

void LcdPictures::WantOriginal(const File& file, HWND told) {
  const std::string content = ContentOf(*file);
  MutexLock hold(state->lock);
  if (state->originalOf == content) return;
  state->originalOf = content;
  state->original.reset();
  state->ForgetTiles();
  state->tiles.clear();
  state->wanted.push_back({file, {content}, told, true});
  state->changed.notify_one();
}

QImage LcdPictures::Tile(const File& file, const LcdTile& tile) const {
  MutexLock hold(state->lock);
  const auto found = state->tileImages.find({ContentOf(*file), tile});
  return found == state->tileImages.end() ? QImage() : found->second;
}

void LcdPictures::WantTiles(const File& file, const std::vector<LcdTile>& tiles, HWND told) {
  const std::string content = ContentOf(*file);
  MutexLock hold(state->lock);
  state->tiles.clear();  // Those of a place that was panned away from.
  for (const LcdTile& tile : tiles) {
    State::Job job{file, {content}, told, false, tile};
    if (!state->tileImages.contains({content, tile}) && !state->IsUnderWay(job))
      state->tiles.push_back(std::move(job));
  }
  state->changed.notify_all();
}

qint64 LcdPictures::Bytes() const {
  MutexLock hold(state->lock);
  return state->bytes + state->tileBytes;
}

void LcdPictures::WaitIdle() {
  MutexLock hold(state->lock);
  while (!state->wanted.empty() || !state->tiles.empty() || !state->ahead.empty() || !state->running.empty())
    state->idle.wait(state->lock);
}
