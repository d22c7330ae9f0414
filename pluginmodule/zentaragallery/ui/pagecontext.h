#pragma once

#include <QApplication>
#include <QPointer>
#include <QString>
#include <functional>

#include "common/toolkit/toolkit.h"
#include "common/toolkit/types.h"
#include "host/base/drivethreadpool.h"
#include "model/records/galleryfile.h"

// What lists, rows and cells ask of the page that they stand on, and words that
// several windows of the page share. User-interface thread.
namespace Page {

// Runs `work` on a worker and `done` with its result here, unless `owner` is gone.
template <typename Work, typename Done>
void InBackground(QObject* owner, Work work, Done done) {
  (void)CommonAbility::DriveThreadPool::GetInstance().Add(
      [owner = QPointer<QObject>(owner), work = std::move(work), done = std::move(done)]() mutable {
        auto result = work();
        toolkit::RunLater([owner, done = std::move(done), result = std::move(result)]() mutable {
          if (owner) done(result);
        });
      });
}

// To the main window; quiet when it is not there.
void Post(UINT message, WPARAM word = 0, LPARAM value = 0);
void Send(UINT message, WPARAM word = 0, LPARAM value = 0);
// WM_GALLERY_REDRAW: rows are arranged anew in the time line, painted anew elsewhere.
void PostRedraw();
void PostToolbar(int state);

// The file with the keyboard's ring, or null.
const GalleryFile::Ptr& FocusFile();
void SetFocusFile(const GalleryFile::Ptr& file);

// The floating date line: the number label shows `text`, or is hidden for an empty one.
void SetDateLine(std::function<void(const QString& text)> show);
void ShowDateLine(const QString& text);

bool IsTimeLineShown();
bool HasViewer();

// What assistive technology says for a file: name, date, kind, state.
QString AccessibleText(const GalleryFile& file);

// A model path as the system's own.
QString NativeText(const std::wstring& path);
QString Wide(const std::wstring& text);
std::wstring Wide(const QString& text);
// The words of an album in the panel, and the icon where it has no cover.
QString AlbumTitle(const class Album& album);
QString AlbumIcon(const Album& album);
// "3 photos, 1 video"; only what there is, empty for nothing.
QString CountText(std::uint64_t photos, std::uint64_t videos);
// "1,2 MB" in the language's own form.
QString SizeText(qint64 bytes, int decimals = 1);
// A path or an address reads from left to right among words of any language.
QString LeftToRight(const QString& path);
// "1.2 MB/s".
QString SpeedText(qint64 bytesASecond, int decimals = 1);

// "%1$s", "%2$s" and "%s" of a text become the arguments.
QString Fill(QString text, const QStringList& arguments);

}  // namespace Page
