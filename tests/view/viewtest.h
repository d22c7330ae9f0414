#pragma once

#include <cstdlib>
#include <fstream>

#include "host/base/logger.h"
#include "support/gallerytest.h"
#include "ui/view/galleryfilelistviewhelper.h"
#include "ui/view/galleryselecthelper.h"
#include "ui/view/pageflags.h"

// Days are those of UTC, whatever the computer's zone.
inline const int kZoneSet = setenv("TZ", "UTC", 1);

// A gallery whose albums have a layout.
class ViewTest : public GalleryTest {
 protected:
  static constexpr std::uint8_t kColumns = 6;
  static constexpr std::uint16_t kDateHeight = 40;
  static constexpr std::uint16_t kLineHeight = 100;
  // 14 November 2023, midnight UTC, in seconds.
  static constexpr std::int64_t kToday = 1'699'920'000;
  static constexpr std::int64_t kDay = 86'400;

  void SetUp() override {
    upward::Install(&helper);
    GalleryTest::SetUp();
    GlobalData::searchJump = false;
    GlobalData::multiBubbleShown = true;
    selection.SetView(nullptr);
    selection.SelectClear(false);
    selection.SetMultiSelect(false);
    selection.SetShiftDown(false);
    selection.SetCtrlDown(false);
    selection.SetAnchor(nullptr);
  }
  void TearDown() override {
    selection.SetView(nullptr);
    selection.SelectClear(false);
    helper.WaitForConf();
    helper.DropCallback();
    GalleryTest::TearDown();
    upward::Install(static_cast<IAlbumViews*>(nullptr));
  }

  // `count` files of the day that lies `daysAgo` before today, newest first.
  Files AddDay(int daysAgo, int count) {
    Files files;
    for (int i = 0; i < count; ++i) {
      const std::int64_t second = kToday - daysAgo * kDay + kDay - 1 - i;
      files.push_back(CloudFile("d" + std::to_string(daysAgo) + "-" + std::to_string(i), "default-album-1",
                                second * 1000));
    }
    Add(files);
    return files;
  }
  // Days in seconds, as the layout has them.
  static std::int64_t Day(int daysAgo) { return kToday - daysAgo * kDay; }

  void Show(const std::string& albumId, std::uint8_t columns = kColumns, std::uint16_t line = kLineHeight) {
    helper.SetListViewConf(
        albumId, columns, [this](std::uint32_t rows) { told = rows; }, kDateHeight, line);
    helper.WaitForConf();
  }
  void ShowTimeLine(std::uint8_t columns = kColumns) { Show("Pictures", columns); }

  // The lines of the operation log whose event is one of these.
  std::vector<std::string> Operations(const std::string& event) const {
    std::vector<std::string> lines;
    std::ifstream file(folder.Path() / "log-operations.log");
    for (std::string line; std::getline(file, line);) {
      if (line.find("\"event\":" + event + ",") != std::string::npos) lines.push_back(line);
    }
    return lines;
  }
  void OpenLog() { ASSERT_TRUE(Logger::CloudLogger::GetInstance()->Open(folder.Path() / "log.log")); }
  void CloseLog() { Logger::CloudLogger::GetInstance()->Close(); }

  GalleryFileListViewHelper& helper = GalleryFileListViewHelper::GetInstance();
  GallerySelectHelper& selection = GallerySelectHelper::GetInstance();
  std::atomic<std::uint32_t> told{0};
};
