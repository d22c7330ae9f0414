#pragma once

#include <QWheelEvent>
#include <fstream>

#include "common/toolkit/overlays.h"
#include "pagetest.h"
#include "ui/viewer/douclickthumui.h"
#include "ui/viewer/fullscreenrespondui.h"
#include "ui/viewer/lcdpictures.h"
#include "ui/viewer/viewerlist.h"
#include "utils/messages.h"
#include "utils/picturemetadata.h"

// The viewer over the page, with pictures that are really there.
class ViewerTest : public PageTest {
 protected:
  void TearDown() override {
    if (Full()) Full()->Close();
    if (auto* viewer = Viewer()) viewer->Close();
    PageTest::TearDown();
    LcdPictures::GetInstance().Clear();
    ViewerList::Clear();
    LcdPictures::GetInstance().WaitIdle();
  }

  // A picture of this colour on the disk, as the file's original.
  void GiveOriginal(const FilePtr& file, const QImage& image, const char* format = "PNG") {
    const QString path = QString::fromStdString((folder / (file->Guid() + "." + format)).string());
    ASSERT_TRUE(image.save(path, format));
    file->SetLocalPath(path.toStdWString());
    Describe(file, image.size());
  }
  static void Describe(const FilePtr& file, QSize size, int rotation = 0) {
    PictureMetadata metadata;
    (void)metadata.FromJson(ParseJson(file->PictureMetadata()));
    metadata.width = size.width();
    metadata.height = size.height();
    metadata.rotation = rotation;
    file->SetPictureMetadata(CompactJson(metadata.ToJson()));
  }
  static QImage Plain(QSize size, QColor color) {
    QImage image(size, QImage::Format_RGB32);
    image.fill(color);
    return image;
  }
  // Four quarters: red, green, blue, yellow, in reading order.
  static QImage Quarters(QSize size) {
    QImage image(size, QImage::Format_RGB32);
    QPainter painter(&image);
    const int w = size.width() / 2, h = size.height() / 2;
    painter.fillRect(0, 0, w, h, Qt::red);
    painter.fillRect(w, 0, size.width() - w, h, Qt::green);
    painter.fillRect(0, h, w, size.height() - h, Qt::blue);
    painter.fillRect(w, h, size.width() - w, size.height() - h, Qt::yellow);
    return image;
  }

  CDouClickThumUI* Viewer() { return page ? page->Viewer() : nullptr; }
  CDouThumLCDUI& Lcd() { return *Viewer()->Lcd(); }
  FullScreenRespondUI* Full() { return Viewer() ? Viewer()->Full() : nullptr; }

  // As a mouse does it: the second press is the double click.
  static void DoubleClick(QWidget& widget, QPoint at) {
    QTest::mouseClick(&widget, Qt::LeftButton, {}, at);
    QTest::mouseDClick(&widget, Qt::LeftButton, {}, at);
    QTest::mouseRelease(&widget, Qt::LeftButton, {}, at);
  }
  void OpenViewer(const FilePtr& file) {
    auto* cell = Cell(file);
    ASSERT_NE(cell, nullptr);
    DoubleClick(*cell, cell->rect().center());
    ASSERT_NE(Viewer(), nullptr);
    ASSERT_EQ(Viewer()->Shown(), file);
    Settle();
  }
  // The page with what was added, and the viewer over one of it.
  void OpenOn(const FilePtr& file) {
    Open();
    ASSERT_TRUE(UntilPictures());
    OpenViewer(file);
  }
  // On the first of as many pictures of today.
  Files OpenOnDayOf(int count) {
    const Files today = AddDay(0, count);
    OpenOn(today[0]);
    return today;
  }
  // Until the screen-sized picture of what is shown is there and is what the viewer paints:
  // it hears of a picture only after that is in memory.
  bool UntilSharp() {
    return Until(
        [this] { return Viewer() && IsSharp(Full() ? *Full()->Lcd() : Lcd(), Viewer()->ShownNow()); });
  }
  static bool IsSharp(const CDouThumLCDUI& lcd, const FilePtr& file) {
    auto& pictures = LcdPictures::GetInstance();
    if (!pictures.Has(file, lcd.Box())) return false;
    const LcdPicture there = pictures.Get(file, lcd.Box());
    return lcd.Picture().image.cacheKey() == there.image.cacheKey() && lcd.Picture().frames == there.frames;
  }
  // What the window says at its bottom; null when it says nothing.
  Toast* Said() {
    for (QWidget* widget : Viewer()->findChildren<QWidget*>())
      if (auto* toast = dynamic_cast<Toast*>(widget); toast && toast->ClockId() != 0) return toast;
    return nullptr;
  }
  QWidget* Part(const char* name) {
    auto* control = Viewer()->FindControl(QString::fromLatin1(name));
    return control ? control->Widget() : nullptr;
  }
  bool HasPart(const char* name) { return Part(name) && Part(name)->isVisible(); }
  void Press(const char* name) {
    ASSERT_TRUE(HasPart(name)) << name;
    QTest::mouseClick(Part(name), Qt::LeftButton);
    Settle();
  }
  void Key(int key, Qt::KeyboardModifiers modifiers = {}) {
    QWidget* focus = QApplication::focusWidget();
    ASSERT_NE(focus, nullptr);
    QTest::keyClick(focus, static_cast<Qt::Key>(key), modifiers);
    Settle();
  }
  void Wheel(QWidget& over, int delta, QPoint at, Qt::KeyboardModifiers keys = {}) {
    QWheelEvent wheel(at, over.mapToGlobal(at), {}, {0, delta}, Qt::NoButton, keys, Qt::NoScrollPhase, false);
    QApplication::sendEvent(&over, &wheel);
    Settle();
  }
  int SliderValue() { return Find<CSliderUI>("slider_pic")->GetValue(); }
  // What the window shows at a point of the viewer.
  QColor ColorAt(QWidget& window, QPoint at) { return window.grab().toImage().pixelColor(at); }
  static bool Looks(QColor seen, QColor wanted, int tolerance = 12) {
    return std::abs(seen.red() - wanted.red()) <= tolerance &&
           std::abs(seen.green() - wanted.green()) <= tolerance &&
           std::abs(seen.blue() - wanted.blue()) <= tolerance;
  }
  void ReloadAlbum() {
    helper.NotifyViewUpdate();
    Settle();
  }
};

inline void PrintTo(const QColor& color, std::ostream* out) { *out << color.name().toStdString(); }
inline void PrintTo(const GalleryFile::Ptr& file, std::ostream* out) {
  *out << (file ? file->UniqueId() : "none");
}
