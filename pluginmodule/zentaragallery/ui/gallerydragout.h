#pragma once

#include <QMimeData>
#include <QPointer>
#include <QString>
#include <memory>
#include <vector>

#include "model/records/galleryfile.h"

class QPixmap;
class QWidget;
class ZentaraGallery;

// Pictures that are dragged: to an album of the panel, or out to another program.
//
// A target that speaks the direct save protocol names the folder in which it wants the
// drag directory's name: the pictures become downloads into that folder
// (WM_GALLERY_SHELL_DROP). Any other target gets a list of addresses: originals that
// are on this computer where they lie, the others as copies in the drag directory,
// which are fetched when the target asks after the drop. Nothing is fetched for a drag
// that only passes over a window. Where such a target puts them, a watch tells.
//
// Owned by the drag. User-interface thread.
class DragOutData : public QMimeData {
 public:
  DragOutData(ZentaraGallery& gallery, std::vector<GalleryFile::Ptr> dragged);
  // Takes the drag directory away, unless a target was given copies in it: it may still
  // be reading.
  ~DragOutData() override;

  QStringList formats() const override;
  bool hasFormat(const QString& type) const override { return formats().contains(type); }
  // The drag directory's name: eight digits.
  QString DirectoryName() const;

 protected:
  QVariant retrieveData(const QString& type, QMetaType metaType) const override;

 private:
  struct Place {
    GalleryFile::Ptr file;
    QString path;
    bool isCopy = false;
  };
  // Handing data on is a question to a mime data, answering it is work.
  struct State {
    QPointer<ZentaraGallery> page;
    std::vector<GalleryFile::Ptr> files;
    QString directory;
    std::vector<Place> places;
    bool fetching = false;
    bool fetched = false;
    bool gaveCopies = false;
  };

  static void FindPlaces(State& of);
  // Waits with an event loop, in which the drag may end: of the state alone.
  static bool FetchCopies(const std::shared_ptr<State>& of);
  static QStringList NamesOf(const std::vector<Place>& places);
  QByteArray Addresses() const;
  QByteArray SaveDirectly() const;

  const std::shared_ptr<State> state;
};

namespace GalleryDragOut {

// A new, hidden folder with a name of eight digits; empty when it cannot be made. Those
// of an hour ago go: their targets have read what they wanted.
QString MakeDragDirectory();
// Removes what a run that was killed has left.
void Sweep();
// Drags the selected pictures out of `source`, a part of the page, until they are
// dropped. The target may ask for them afterwards, too.
void Run(QWidget& source, const QPixmap& picture);
// Takes the marks of a drag away.
void End();
// Whether the name of a path is that of the drag that runs.
bool IsOfTheDrag(const QString& path);

}  // namespace GalleryDragOut
