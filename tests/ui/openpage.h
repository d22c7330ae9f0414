#pragma once

#include <gtest/gtest.h>

#include <QTest>
#include <functional>
#include <memory>

#include "common/toolkit/windowimplbase.h"
#include "ui/userproperties.h"
#include "ui/view/galleryfilelistviewhelper.h"
#include "ui/view/galleryselecthelper.h"
#include "ui/zentaragallery.h"

// The page in a window of its own, for fixtures over different data.
struct OpenPage {
  // What a test before has chosen on its page is not found again by the next one.
  static void ForgetChoices() {
    for (const char* name :
         {UserProperties::kRowCount, UserProperties::kTipSeen, UserProperties::kUseDownloads,
          UserProperties::kDownloadFolder, UserProperties::kAskDownload})
      if (!UserProperties::GetText(name).empty()) UserProperties::Set(name, std::string());
  }
  void ShowPage(QSize size = {1100, 900}) {
    frame = std::make_unique<WindowImplBaseEx>();
    ASSERT_TRUE(frame->Create(static_cast<QWidget*>(nullptr), QStringLiteral("frame"), WindowStyle::Frame,
                              QRect(QPoint(0, 0), size)));
    page = std::make_unique<ZentaraGallery>();
    ASSERT_TRUE(page->Create(frame.get(), QStringLiteral("ZentaraGalleryWnd"), WindowStyle::Child,
                             {84, 0, size.width() - 84, size.height()}));
    frame->show();
    page->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(frame.get()));
  }
  void ClosePage() {
    page.reset();
    frame.reset();
    GallerySelectHelper::GetInstance().SelectClear(false);
    GalleryFileListViewHelper::GetInstance().WaitForConf();
  }
  // The first cell with a picture; null while there is none.
  CGalleryPictureUI* Cell() {
    GalleryFileListViewHelper::GetInstance().WaitForConf();
    for (const auto* row : page->CurrentList()->Body()->Rows())
      for (int k = 0; row->IsVisible() && k < row->Columns(); ++k)
        if (row->Cell(k)->File() && !row->Cell(k)->HitRect().isEmpty()) return row->Cell(k);
    return nullptr;
  }
  static bool Until(const std::function<bool()>& done) {
    return QTest::qWaitFor([&done] { return done(); }, 30000);
  }

  std::unique_ptr<WindowImplBaseEx> frame;
  std::unique_ptr<ZentaraGallery> page;
};
