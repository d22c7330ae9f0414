#pragma once

#include <QImage>
#include <QObject>
#include <QSize>
#include <QString>
#include <QStringList>
#include <functional>
#include <memory>
#include <optional>

// Pictures for painting, decoded ahead by worker threads.
//
// The user-interface thread never opens, looks at or decodes a file: Get
// answers from memory, or not at all and queues the file. Decoded pictures are
// kept up to a number of bytes, the longest unused go first. A file that cannot
// be decoded is not tried again until Forget.
//
// All operations and the signal are of the user-interface thread.
class ResourceQueue : public QObject {
  Q_OBJECT
 public:
  static constexpr qint64 kDefaultBytes = 256 * 1024 * 1024;

  explicit ResourceQueue(int workers = 2, QObject* parent = nullptr);
  // Waits for the pictures being decoded.
  ~ResourceQueue() override;
  static ResourceQueue& GetInstance();

  // The picture fitted into `size` (real pixels of the screen), turned clockwise
  // by 0, 90, 180 or 270 degrees; null when it is not in memory, in which case
  // ready(path) or failed(path) follows. An empty size is the picture's own. A
  // picture that was decoded for another size is given while the right one is
  // waited for.
  QImage Get(const QString& path, QSize size, int rotation = 0);
  bool HasFailed(const QString& path) const;
  // Takes all of the path out of memory, so that it is read again.
  void Forget(const QString& path);
  void Clear();

  // The pictures wanted now: other waiting ones are dropped, unless Ahead names
  // them.
  void Prefer(const QStringList& paths);
  // To be decoded, at the size of the last Get, when nothing else waits.
  void Ahead(const QStringList& paths, QSize size = {}, int rotation = 0);

  void SetMaxBytes(qint64 bytes);
  qint64 Bytes() const;
  int Waiting() const;

  // Replaces the decoder, for formats that QImageReader does not read. Called
  // on the workers; gives the picture fitted into the size, or a null one.
  using Decoder = std::function<QImage(const QString& path, QSize size)>;
  void SetDecoder(Decoder decoder);
  static QImage Decode(const QString& path, QSize size);

 Q_SIGNALS:
  void ready(const QString& path);
  void failed(const QString& path);

 private:
  struct State;
  std::unique_ptr<State> state;
};
