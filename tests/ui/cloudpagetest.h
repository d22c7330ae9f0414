#pragma once

#include "contenttest.h"
#include "host/base/globalparamwrapper.h"
#include "openpage.h"
#include "ui/view/pageflags.h"
#include "utils/globaldata.h"

// The page over a gallery whose contents the real server has.
class CloudPageTest : public ContentTest, protected OpenPage {
 protected:
  void SetUp() override {
    upward::Install(&GalleryFileListViewHelper::GetInstance());
    ContentTest::SetUp();
    ForgetChoices();
    GlobalData::globalParam = GlobalParamWrapper::GetInstance();
    GlobalData::multiBubbleShown = false;
  }
  void TearDown() override {
    ClosePage();
    ContentTest::TearDown();
    upward::Install(static_cast<IAlbumViews*>(nullptr));
  }
};
