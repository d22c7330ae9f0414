#include "common/toolkit/resourcequeue.h"

#include <QCoreApplication>
#include <QImageReader>
#include <QPointer>
#include <QSet>
#include <QTransform>
#include <condition_variable>
#include <deque>
#include <list>
#include <map>
#include <thread>
#include <tuple>
#include <vector>

#include "common/platform/mutex.h"

using platform::Mutex;
using platform::MutexLock;

namespace {

// A panorama of a phone needs more than Qt's limit of 256.
constexpr int kMaxPictureMegabytes = 1024;

struct Key {
  QString path{};
  int width = 0, height = 0, rotation = 0;
  bool operator==(const Key&) const = default;
  bool operator<(const Key& other) const {
    return std::tie(path, width, height, rotation) <
           std::tie(other.path, other.width, other.height, other.rotation);
  }
};

struct Task {
  Key key;
  bool stale = false;  // forgotten while it was decoded
};

struct Kept {
  QImage image;
  std::list<Key>::iterator use;
};

QSize TurnedSize(const Key& key) {
  return key.rotation % 180 == 0 ? QSize(key.width, key.height) : QSize(key.height, key.width);
}

QImage Turned(const QImage& image, int degrees) {
  return degrees == 0 || image.isNull() ? image : image.transformed(QTransform().rotate(degrees));
}

}  // namespace

struct ResourceQueue::State {
  explicit State(ResourceQueue& owner) : queue(owner) {}

  ResourceQueue& queue;
  std::vector<std::thread> workers;

  Mutex lock;
  std::condition_variable_any changed;
  bool stop GUARDED_BY(lock) = false;
  Decoder decoder GUARDED_BY(lock) = ResourceQueue::Decode;
  std::deque<Key> wanted GUARDED_BY(lock);  // the newest first
  std::deque<Key> ahead GUARDED_BY(lock);
  std::vector<std::shared_ptr<Task>> running GUARDED_BY(lock);
  std::map<Key, Kept> kept GUARDED_BY(lock);
  std::list<Key> uses GUARDED_BY(lock);  // the latest used first
  QSet<QString> failed GUARDED_BY(lock);
  qint64 bytes GUARDED_BY(lock) = 0;
  qint64 maxBytes GUARDED_BY(lock) = kDefaultBytes;

  bool IsRunning(const Key& key) REQUIRES(lock) {
    return std::ranges::any_of(running,
                               [&key](const auto& task) { return task->key == key && !task->stale; });
  }

  void Want(const Key& key) REQUIRES(lock) {
    if (failed.contains(key.path) || IsRunning(key)) return;
    std::erase(wanted, key);
    std::erase(ahead, key);
    wanted.push_front(key);
    changed.notify_one();
  }

  // The picture in another size, the largest.
  QImage Similar(const Key& key) REQUIRES(lock) {
    QImage best;
    for (auto it = kept.lower_bound(Key{key.path}); it != kept.end() && it->first.path == key.path; ++it) {
      if (it->first.rotation == key.rotation && it->second.image.width() > best.width())
        best = it->second.image;
    }
    return best;
  }

  void Drop(std::map<Key, Kept>::iterator it) REQUIRES(lock) {
    bytes -= it->second.image.sizeInBytes();
    uses.erase(it->second.use);
    kept.erase(it);
  }

  // The picture just put in stays, be it larger than all the room.
  void MakeRoom() REQUIRES(lock) {
    while (bytes > maxBytes && uses.size() > 1) Drop(kept.find(uses.back()));
  }

  void Keep(const Key& key, const QImage& image) REQUIRES(lock) {
    if (const auto old = kept.find(key); old != kept.end()) Drop(old);
    uses.push_front(key);
    kept.emplace(key, Kept{image, uses.begin()});
    bytes += image.sizeInBytes();
    MakeRoom();
  }

  std::shared_ptr<Task> TakeNext() REQUIRES(lock) {
    std::deque<Key>& from = wanted.empty() ? ahead : wanted;
    const auto task = std::make_shared<Task>(Task{from.front()});
    from.pop_front();
    running.push_back(task);
    return task;
  }

  void Work() {
    for (;;) {
      std::shared_ptr<Task> task;
      Decoder decode;
      {
        MutexLock hold(lock);
        while (!stop && wanted.empty() && ahead.empty()) changed.wait(lock);
        if (stop) return;
        task = TakeNext();
        decode = decoder;
      }
      const QImage image = Turned(decode(task->key.path, TurnedSize(task->key)), task->key.rotation);
      Finish(task, image);
    }
  }

  void Finish(const std::shared_ptr<Task>& task, const QImage& image) {
    const QString& path = task->key.path;
    {
      MutexLock hold(lock);
      std::erase(running, task);
      if (task->stale || stop) return;
      if (image.isNull()) {
        failed.insert(path);
      } else {
        Keep(task->key, image);
      }
    }
    ResourceQueue& told = queue;
    const auto tell = [&told, path, good = !image.isNull()] {
      if (good) {
        Q_EMIT told.ready(path);
      } else {
        Q_EMIT told.failed(path);
      }
    };
    QMetaObject::invokeMethod(&told, tell, Qt::QueuedConnection);
  }
};

ResourceQueue::ResourceQueue(int workers, QObject* parent)
    : QObject(parent), state(std::make_unique<State>(*this)) {
  for (int i = 0; i < workers; ++i) state->workers.emplace_back([this] { state->Work(); });
}

ResourceQueue::~ResourceQueue() {
  {
    MutexLock hold(state->lock);
    state->stop = true;
    state->changed.notify_all();
  }
  for (std::thread& worker : state->workers) worker.join();
}

ResourceQueue& ResourceQueue::GetInstance() {
  static QPointer<ResourceQueue> queue;
  if (!queue) queue = new ResourceQueue(2, QCoreApplication::instance());
  return *queue;
}

QImage ResourceQueue::Get(const QString& path, QSize size, int rotation) {
  const Key key{path, std::max(0, size.width()), std::max(0, size.height()), ((rotation % 360) + 360) % 360};
  MutexLock hold(state->lock);
  const auto found = state->kept.find(key);
  if (found == state->kept.end()) {
    state->Want(key);
    return state->Similar(key);
  }
  state->uses.splice(state->uses.begin(), state->uses, found->second.use);
  return found->second.image;
}

bool ResourceQueue::HasFailed(const QString& path) const {
  MutexLock hold(state->lock);
  return state->failed.contains(path);
}

void ResourceQueue::Forget(const QString& path) {
  MutexLock hold(state->lock);
  state->failed.remove(path);
  for (auto it = state->kept.lower_bound(Key{path}); it != state->kept.end() && it->first.path == path;) {
    state->Drop(it++);
  }
  for (const auto& task : state->running) task->stale |= task->key.path == path;
}

void ResourceQueue::Clear() {
  MutexLock hold(state->lock);
  state->wanted.clear();
  state->ahead.clear();
  state->failed.clear();
  state->kept.clear();
  state->uses.clear();
  state->bytes = 0;
  for (const auto& task : state->running) task->stale = true;
}

void ResourceQueue::Prefer(const QStringList& paths) {
  const QSet<QString> kept(paths.begin(), paths.end());
  MutexLock hold(state->lock);
  std::erase_if(state->wanted, [&kept](const Key& key) { return !kept.contains(key.path); });
}

void ResourceQueue::Ahead(const QStringList& paths, QSize size, int rotation) {
  MutexLock hold(state->lock);
  state->ahead.clear();
  for (const QString& path : paths) {
    const Key key{path, std::max(0, size.width()), std::max(0, size.height()), rotation};
    const bool needless = state->failed.contains(path) || state->kept.contains(key) ||
                          state->IsRunning(key) ||
                          std::ranges::find(state->wanted, key) != state->wanted.end();
    if (!needless) state->ahead.push_back(key);
  }
  state->changed.notify_all();
}

void ResourceQueue::SetMaxBytes(qint64 bytes) {
  MutexLock hold(state->lock);
  state->maxBytes = bytes;
  state->MakeRoom();
}

qint64 ResourceQueue::Bytes() const {
  MutexLock hold(state->lock);
  return state->bytes;
}

int ResourceQueue::Waiting() const {
  MutexLock hold(state->lock);
  return static_cast<int>(state->wanted.size() + state->ahead.size());
}

void ResourceQueue::SetDecoder(Decoder decoder) {
  MutexLock hold(state->lock);
  state->decoder = std::move(decoder);
}

QImage ResourceQueue::Decode(const QString& path, QSize size) {
  QImageReader reader(path);
  // The rotation that the picture's own data name is the caller's to add.
  reader.setAutoTransform(false);
  reader.setDecideFormatFromContent(true);
  QImageReader::setAllocationLimit(kMaxPictureMegabytes);
  const QSize whole = reader.size();
  const bool smaller = whole.width() > size.width() || whole.height() > size.height();
  if (!size.isEmpty() && whole.isValid() && smaller) {
    reader.setScaledSize(whole.scaled(size, Qt::KeepAspectRatio).expandedTo({1, 1}));
  }
  QImage image = reader.read();
  if (!image.isNull() && !whole.isValid() && !size.isEmpty()) {
    image = image.scaled(size, Qt::KeepAspectRatio, Qt::SmoothTransformation);
  }
  const bool seeThrough = image.hasAlphaChannel();
  image.convertTo(seeThrough ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32);
  return image;
}
