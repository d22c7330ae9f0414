#pragma once

#include <QApplication>
#include <QMenu>
#include <QTest>
#include <memory>
#include <vector>

#include "common/platform/paths.h"
#include "common/toolkit/dialogbuilder.h"
#include "common/toolkit/resourcemanager.h"
#include "common/toolkit/windowimplbase.h"
#include "films.h"
#include "ui/pagecontext.h"
#include "ui/player/galleryvolwnd.h"
#include "ui/player/playcontrolui.h"
#include "ui/player/player.h"
#include "ui/player/playersession.h"
#include "ui/player/vlcplayer.h"
#include "ui/view/pageflags.h"
#include "utils/globaldata.h"
#include "utils/messages.h"

// The place of the viewer: a still, a button over it and a bar. Does with the player's
// messages what a viewer does.
class StandInViewer : public WindowImplBaseEx {
 public:
  CControlUI* BuildRoot() override {
    return CDialogBuilder().CreateFromText(
        R"(<VerticalLayout><Container name="stage"><Control name="still"/><Button name="arrow" style="round" icon="chevron-right" width="40" height="40" align="end" valign="middle"/></Container><PlayControl name="bottomCon" bkcolor="page"/></VerticalLayout>)",
        this, this);
  }
  CControlUI* CreateControl(const QString& element) override {
    return element == QStringLiteral("PlayControl") ? new CPlayControlUI : nullptr;
  }
  LRESULT HandleMessage(UINT message, WPARAM word, LPARAM value, bool& handled) override {
    messages.push_back(message);
    words.push_back(word);
    if (message == WM_GALLERY_VIDEO_ENDED && stopsAtTheEnd) VideoPlayer::StopVideo();
    return WindowImplBaseEx::HandleMessage(message, word, value, handled);
  }
  bool Got(UINT message) const {
    return std::find(messages.begin(), messages.end(), message) != messages.end();
  }
  CPlayControlUI* Bar() { return Find<CPlayControlUI>(QStringLiteral("bottomCon")); }
  QWidget* Stage() { return FindControl(QStringLiteral("stage"))->Widget(); }

  std::vector<UINT> messages;
  std::vector<WPARAM> words;
  bool stopsAtTheEnd = true;
};

// The first of that class below `top`, or null.
template <class T>
T* Within(const QWidget* top) {
  for (QWidget* widget : top->findChildren<QWidget*>())
    if (auto* found = dynamic_cast<T*>(widget)) return found;
  return nullptr;
}

// What a test of the player does; for fixtures over different data.
struct PlayerScene {
  using State = CPlayControlUI::State;

  void Open(QSize size = {1155, 851}) {
    VlcPlayer::moreOptions = {"--aout=adummy"};
    frame = std::make_unique<WindowImplBaseEx>();
    ASSERT_TRUE(frame->Create(static_cast<QWidget*>(nullptr), QStringLiteral("frame"), WindowStyle::Frame,
                              QRect(QPoint(0, 0), size)));
    viewer = new StandInViewer;
    ASSERT_TRUE(
        viewer->Create(frame.get(), QStringLiteral("CDouClickThum"), WindowStyle::Child, {{0, 0}, size}));
    GlobalData::viewerWnd = viewer->GetHWND();
    frame->show();
    viewer->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(frame.get()));
    QApplication::processEvents();
  }
  void Close() {
    VideoPlayer::StopVideo();
    frame.reset();
    GlobalData::viewerWnd = nullptr;
    GlobalData::fullWnd = nullptr;
    VlcPlayer::GetInstance().Shutdown();
    VlcPlayer::GetInstance().SetVolume(70);
  }
  void Play(const GalleryFile::Ptr& file) {
    VideoPlayer::PlayVideo(viewer->Stage(), file, viewer->Stage()->rect(), viewer->Bar());
  }
  // Until its pictures run.
  bool PlayUntilSeen(const GalleryFile::Ptr& file) {
    Play(file);
    return Until([this] {
      return HasPicture() && Shown() == State::Playing && Player().Time() > 0 && Player().Length() > 0;
    });
  }
  // By its button; null when it does not open.
  GalleryVolWnd* OpenVolume() {
    Control<CButtonUI>("btnVolume")->click();
    return Within<GalleryVolWnd>(frame.get());
  }
  static bool Until(const std::function<bool()>& done) {
    return QTest::qWaitFor([&done] { return done(); }, 30000);
  }
  State Shown() { return viewer->Bar()->Shown(); }
  CDuiMainWnd* Window() { return Within<CDuiMainWnd>(frame.get()); }
  // The colour in the middle of the picture; invalid without one.
  QColor Middle() {
    const auto* window = Window();
    const QImage picture = window ? window->Picture()->Picture() : QImage();
    return picture.isNull() ? QColor() : picture.pixelColor(picture.rect().center());
  }
  bool IsRed() { return Middle().isValid() && Middle().red() > 200 && Middle().blue() < 60; }
  bool IsBlue() { return Middle().isValid() && Middle().blue() > 200 && Middle().red() < 60; }
  bool HasPicture() { return Middle().isValid(); }
  QString ErrorWords() {
    const auto* window = Within<VLCErrorWnd>(frame.get());
    const auto* label = window ? window->FindControl(QStringLiteral("label")) : nullptr;
    return label ? label->GetText() : QString();
  }
  template <class T>
  T* Control(const char* name) {
    return dynamic_cast<T*>(viewer->Bar()->FindSubControl(QString::fromLatin1(name)));
  }
  QString Label(const char* name) {
    return viewer->Bar()->FindSubControl(QString::fromLatin1(name))->GetText();
  }
  void Keep(const char* name) {
    const QString folder = qEnvironmentVariable("ZENTARA_SCREENSHOTS");
    if (!folder.isEmpty())
      (void)frame->grab().save(folder + u'/' + QString::fromLatin1(name) + QStringLiteral(".png"));
  }
  static VlcPlayer& Player() { return VlcPlayer::GetInstance(); }

  std::unique_ptr<WindowImplBaseEx> frame;
  StandInViewer* viewer = nullptr;
};

// The scene over the data of another fixture.
template <class Data>
class PlayerOver : public Data, protected PlayerScene {
 protected:
  void SetUp() override {
    Data::SetUp();
    Open();
  }
  void TearDown() override {
    Close();
    Data::TearDown();
  }
};
