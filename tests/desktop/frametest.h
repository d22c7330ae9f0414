#pragma once

#include <gtest/gtest.h>

#include <QDir>
#include <QTest>
#include <filesystem>
#include <fstream>

#include "common/platform/paths.h"
#include "common/toolkit/button.h"
#include "desktopsettings.h"
#include "firstrunpage.h"
#include "framewindow.h"
#include "host/base/globalparamwrapper.h"
#include "tests/support/temporaryfolder.h"
#include "ui/zentaragallery.h"

// As a computer on which the program has never run.
inline void UseFreshProfile(const TemporaryFolder& folder) {
  platform::SetProfileRoot(folder.Path());
  ASSERT_TRUE(QDir().mkpath(QString::fromStdString(GallerySession::DataFolder().string())));
  (void)GlobalParamWrapper::GetInstance()->Load();
  DesktopSettings::ClearChosen();
}

// The host's window on a fresh profile.
class FrameTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(UseFreshProfile(folder));
    QString error;
    ASSERT_EQ(work.Take(error), ProfileOwner::Take::Owned) << error.toStdString();
  }
  void Open(const QStringList& files = {}) {
    frame = std::make_unique<FrameWindow>(work, files);
    ASSERT_TRUE(frame->Create(static_cast<QWidget*>(nullptr), QStringLiteral("Zentara Gallery"),
                              WindowStyle::Frame, {0, 0, 1440, 900}));
    frame->show();
    frame->activateWindow();
  }
  // As somebody who looks at it first without a photo cloud.
  void OpenWithoutCloud() {
    Open();
    ASSERT_TRUE(Until([this] { return FirstRun() && FirstRun()->isVisible(); }));
    Press("btn_later");
    ASSERT_TRUE(Until([this] { return HasPage(); }));
  }
  void End() {
    frame.reset();
    work.Close();
  }
  template <typename Done>
  static bool Until(Done done) {
    return QTest::qWaitFor(done, 60'000);
  }
  FirstRunPage* FirstRun() const {
    for (QObject* child : frame->children())
      if (auto* page = dynamic_cast<FirstRunPage*>(child)) return page;
    return nullptr;
  }
  bool HasPage() const { return frame->GalleryPage() && frame->GalleryPage()->isVisible(); }
  // All that was logged, behind the end.
  std::string LogText() const {
    std::string text;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.Path())) {
      if (entry.path().extension() != ".log") continue;
      std::ifstream file(entry.path());
      text.append(std::istreambuf_iterator<char>(file), {});
    }
    return text;
  }
  void Press(const char* name) {
    auto* button = FirstRun()->Find<CButtonUI>(QString::fromLatin1(name));
    ASSERT_NE(button, nullptr);
    QTest::mouseClick(button, Qt::LeftButton);
  }

  template <class Control>
  Control* On(const char* name) const {
    return FirstRun()->Find<Control>(QString::fromLatin1(name));
  }
  template <class Control>
  Control* In(const char* name) const {
    return frame->Find<Control>(QString::fromLatin1(name));
  }
  template <class Part>
  Part* Child() const {
    for (QWidget* widget : frame->findChildren<QWidget*>())
      if (auto* found = dynamic_cast<Part*>(widget)) return found;
    return nullptr;
  }

  TemporaryFolder folder;
  Workspace work;
  std::unique_ptr<FrameWindow> frame;
};
