// Random input to the page and its viewer, over the real server with faults: nothing
// breaks, and in the end everything closes. For the sanitizers above all.
//
//   VIEWER_SEED=n            the same run again
//   VIEWER_STORM_SECONDS=n   how long; 20

#include <QAbstractButton>
#include <QElapsedTimer>
#include <QMimeData>
#include <QTimer>
#include <QUrl>
#include <QWheelEvent>
#include <iostream>
#include <random>

#include "common/duilib_business/windowbusybaseshadow.h"
#include "common/toolkit/resourcemanager.h"
#include "common/toolkit/theme.h"
#include "films.h"
#include "host/base/drivethreadpool.h"
#include "model/gallery.h"
#include "ui/pagecontext.h"
#include "ui/player/player.h"
#include "ui/player/vlcplayer.h"
#include "ui/viewer/fullscreenrespondui.h"
#include "utils/messages.h"
#include "viewercloudtest.h"

namespace {

class ViewerStorm : public ViewerCloudTest {
 protected:
  void SetUp() override {
    ViewerCloudTest::SetUp();
    VlcPlayer::moreOptions = {"--aout=adummy"};
    for (int i = 0; i < 4; ++i) files.push_back(InTheCloud("here" + std::to_string(i)));
    for (int i = 0; i < 4; ++i) files.push_back(OnlyInTheCloud("cloud" + std::to_string(i)));
    for (const auto& film : {Films::Red(2), Films::Busy()}) {
      const auto file = CloudFile(film.filename().string());
      file->SavedFileType = 4;
      file->SetFileName(film.filename().wstring());
      file->SetLocalPath(platform::WidePath(film));
      Add({file});
      files.push_back(file);
    }
    for (int i = 0; i < 3; ++i) {
      const auto path = folder / ("dropped" + std::to_string(i) + ".jpg");
      EXPECT_FALSE(platform::ReplaceAtomically(path, NoisePicture({64, 48 + i})));
      toDrop << QUrl::fromLocalFile(QString::fromStdString(path.string()));
    }
  }
  void TearDown() override {
    VideoPlayer::StopVideo();
    CommonAbility::DriveThreadPool::GetInstance().Stop();
    server.Kill();  // Nobody waits for its answers any longer.
    ViewerCloudTest::TearDown();
    VlcPlayer::GetInstance().Shutdown();
    CResourceManager::GetInstance().SetLanguage(QStringLiteral("en-GB"));
    Theme::Instance().SetMode(ThemeMode::System);
  }

  int Roll(int below) { return static_cast<int>(random() % static_cast<unsigned>(below)); }
  template <class T>
  const T& OneOf(const std::vector<T>& all) {
    return all[static_cast<std::size_t>(Roll(static_cast<int>(all.size())))];
  }

  void OpenAnew() {
    ClosePage();
    ShowPage();
    page->chooseFiles = [](const QString&, const QString&) { return QStringList(); };
    page->chooseFolder = [](const QString&) { return QString(); };
    frame->activateWindow();
  }

  // --- What a person does

  void Key() {
    static const std::vector<int> kKeys{
        Qt::Key_Left,   Qt::Key_Right, Qt::Key_Left,  Qt::Key_Right,  Qt::Key_Up,     Qt::Key_Down,
        Qt::Key_Home,   Qt::Key_End,   Qt::Key_R,     Qt::Key_F,      Qt::Key_I,      Qt::Key_0,
        Qt::Key_1,      Qt::Key_Plus,  Qt::Key_Minus, Qt::Key_F11,    Qt::Key_Return, Qt::Key_Space,
        Qt::Key_Delete, Qt::Key_Tab,   Qt::Key_A,     Qt::Key_Escape, Qt::Key_F5,     Qt::Key_PageDown,
        Qt::Key_PageUp, Qt::Key_X};
    QWidget* to = QApplication::activePopupWidget();
    if (!to) to = QApplication::focusWidget();
    if (!to) to = frame.get();
    const auto keys = Roll(6) == 0 ? Qt::ControlModifier : Roll(6) == 0 ? Qt::ShiftModifier : Qt::NoModifier;
    QTest::keyClick(to, static_cast<Qt::Key>(OneOf(kKeys)), keys);
  }
  // Where the pointer is: a menu's entry, or whatever of the window lies there.
  QWidget* Under(QPoint& at) {
    QWidget* const top = QApplication::activePopupWidget() ? QApplication::activePopupWidget() : frame.get();
    const QPoint inTop(Roll(std::max(1, top->width())), Roll(std::max(1, top->height())));
    QWidget* const under = top->childAt(inTop);
    at = under ? under->mapFrom(top, inTop) : inTop;
    return under ? under : top;
  }
  void Click() {
    QPoint at;
    QPointer<QWidget> under = Under(at);
    // With a button held a cell begins a drag, which would wait for a pointer.
    const auto keys = Roll(5) == 0 ? Qt::ControlModifier : Qt::NoModifier;
    QTest::mouseClick(under, Roll(8) == 0 ? Qt::RightButton : Qt::LeftButton, keys, at);
    if (under && Roll(3) == 0) QTest::mouseDClick(under, Qt::LeftButton, keys, at);
  }
  void PressAButton() {
    std::vector<QAbstractButton*> shown;
    for (auto* button : frame->findChildren<QAbstractButton*>())
      if (button->isVisible() && button->isEnabled()) shown.push_back(button);
    if (!shown.empty()) QTest::mouseClick(OneOf(shown), Qt::LeftButton);
  }
  void OpenAPicture() {
    auto* cell = Cell();
    if (!cell || page->Viewer()) return Key();
    const QPoint at = cell->HitRect().center();
    QPointer<CGalleryPictureUI> kept(cell);
    QTest::mouseClick(cell, Qt::LeftButton, {}, at);
    if (kept) QTest::mouseDClick(cell, Qt::LeftButton, {}, at);
  }
  void DrawAcross() {
    if (!page->Viewer()) return OpenAPicture();
    PictureWindow* const full = page->Viewer()->Full();
    const QPointer<QWidget> lcd = (full ? full : page->Viewer())->Lcd();
    const QPoint from = lcd->rect().center(), to = from + QPoint(Roll(401) - 200, Roll(201) - 100);
    QTest::mousePress(lcd, Qt::LeftButton, {}, from);
    if (lcd) QTest::mouseMove(lcd, to);
    if (lcd) QTest::mouseRelease(lcd, Qt::LeftButton, {}, to);
  }
  void Wheel() {
    QPoint at;
    QWidget* const under = Under(at);
    const auto keys = Roll(3) == 0 ? Qt::ControlModifier : Qt::NoModifier;
    const QPoint turned = Roll(6) == 0 ? QPoint(Roll(3) * 120 - 120, 0) : QPoint(0, Roll(5) * 120 - 240);
    QWheelEvent wheel(at, under->mapToGlobal(at), {}, turned, Qt::NoButton, keys, Qt::NoScrollPhase, false);
    QApplication::sendEvent(under, &wheel);
  }
  void Drop() {
    QMimeData data;
    data.setUrls(toDrop.mid(Roll(3)));
    DragDataUI drag{.data = &data};
    drag.point = QPoint(Roll(page->width()), Roll(page->height()));
    drag.screen = page->mapToGlobal(drag.point);
    for (const UINT message : {WM_DRAG_ENTER, WM_DRAG_OVER, Roll(3) == 0 ? WM_DRAG_LEAVE : WM_DRAG_RELEASE})
      (void)platform::SendMessageW(page->GetHWND(), message, 0, reinterpret_cast<platform::LPARAM>(&drag));
  }

  // --- What happens around it

  void Around() {
    switch (Roll(12)) {
      case 0:
        return server.Fault(R"({"method":"GET","path":"/objects/","times":3,"status":503})");
      case 1:
        return server.Fault(R"({"method":"GET","path":"/media/","times":3,"status":404})");
      case 2:
        return server.Fault(R"({"method":"GET","path":"/","times":2,"delayMs":700})");
      case 3:
        return server.ClearFaults();
      case 4:
        return Forget();
      case 5:
        return Page::Post(WM_GALLERY_RELOAD_VIEW);
      case 6:
        return GalleryFileListViewHelper::GetInstance().NotifyViewUpdate();
      case 7:
        frame->resize(700 + Roll(900), 500 + Roll(500));
        return page->resize(frame->width() - 84, frame->height());
      case 8:
        return CResourceManager::GetInstance().SetLanguage(
            OneOf<QString>({QStringLiteral("en-GB"), QStringLiteral("de-DE"), QStringLiteral("ar")}));
      case 9:
        return Theme::Instance().SetMode(OneOf<ThemeMode>({ThemeMode::Light, ThemeMode::Dark}));
      case 10:
        return ChangeTheAlbum();
      default:
        return LogOut();
    }
  }
  // What was fetched goes, so that it is fetched again.
  void Forget() {
    const FilePtr file = OneOf(files);
    std::error_code error;
    std::filesystem::remove(platform::NativePath(file->LcdName()), error);
    LcdPictures::GetInstance().Forget(file);
  }
  // As another device or a worker does.
  void ChangeTheAlbum() {
    const FilePtr file = OneOf(files);
    const bool recycles = Roll(2) == 0;
    (void)CommonAbility::DriveThreadPool::GetInstance().Add([file, recycles] {
      if (recycles) {
        (void)Gallery::GetInstance().RecycleFiles({file}, true);
      } else {
        (void)Gallery::GetInstance().RecoverFiles({file}, true);
      }
    });
  }
  void LogOut() {
    (void)platform::SendMessageW(page->GetHWND(), WM_GALLERY_DATA_RESET, 0, 0);
    (void)platform::SendMessageW(page->GetHWND(), WM_GALLERY_LOGIN, 0, 0);
    (void)platform::SendMessageW(page->GetHWND(), WM_GALLERY_LOGIN, 0, 1);
    // The host closes no page on which a dialog stands.
    if (depth == 1 && !QApplication::activePopupWidget() && !Dialog()) OpenAnew();
  }

  void Act() {
    const int roll = Roll(100);
    if (roll < 40) return Key();
    if (roll < 50) return Click();
    if (roll < 62) return PressAButton();
    if (roll < 74) return OpenAPicture();
    if (roll < 82) return DrawAcross();
    if (roll < 90) return Wheel();
    if (roll < 93) return Drop();
    Around();
  }

  // A dialog has an event loop of its own, in which the next step comes all the same.
  void Step() {
    const bool over = clock.elapsed() >= seconds * 1000;
    if (over && depth == 0 && !Dialog()) return loop.quit();
    QTimer::singleShot(0, &loop, [this] { Step(); });
    ++depth;
    over ? CloseWhatIsOpen() : Act();
    ++steps;
    --depth;
  }
  WindowBusyBaseShadow* Dialog() const {
    WindowBusyBaseShadow* innermost = nullptr;
    for (QWidget* widget : frame->findChildren<QWidget*>())
      if (auto* dialog = dynamic_cast<WindowBusyBaseShadow*>(widget); dialog && dialog->isVisible())
        innermost = dialog;
    return innermost;
  }
  void CloseWhatIsOpen() const {
    if (QWidget* popup = QApplication::activePopupWidget()) return (void)popup->close();
    if (auto* dialog = Dialog()) return dialog->Close(IDCANCEL);
    if (QWidget* modal = QApplication::activeModalWidget()) modal->close();
  }

  std::mt19937 random;
  std::vector<FilePtr> files;
  QList<QUrl> toDrop;
  QEventLoop loop;
  QElapsedTimer clock;
  qint64 seconds = 20;
  int depth = 0;
  int steps = 0;
};

TEST_F(ViewerStorm, RandomInputBreaksNothing) {
  const QByteArray given = qgetenv("VIEWER_SEED"), length = qgetenv("VIEWER_STORM_SECONDS");
  const unsigned seed = given.isEmpty() ? std::random_device()() : given.toUInt();
  if (!length.isEmpty()) seconds = length.toLongLong();
  std::cout << "VIEWER_SEED=" << seed << std::endl;
  SCOPED_TRACE("VIEWER_SEED=" + std::to_string(seed));
  random.seed(seed);
  OpenAnew();
  clock.start();
  QTimer::singleShot(0, &loop, [this] { Step(); });
  (void)loop.exec();
  std::cout << steps << " steps" << std::endl;
  EXPECT_GT(steps, 10);
  // It still answers.
  (void)platform::SendMessageW(page->GetHWND(), WM_GALLERY_DATA_RESET, 0, 0);
  EXPECT_EQ(page->Viewer(), nullptr);
  EXPECT_EQ(GlobalData::fullWnd.load(), nullptr);
  EXPECT_FALSE(VideoPlayer::HasPlayer());
}

}  // namespace
