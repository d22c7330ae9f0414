// A log-out, a change of the user or the end of the program comes while the page asks
// something: each dialog goes with the window that it belongs to, and who has asked is
// not answered.

#include <QAbstractButton>
#include <QFileDialog>
#include <QMenu>
#include <QTimer>

#include "common/duilib_business/windowbusybaseshadow.h"
#include "common/toolkit/button.h"
#include "pagetest.h"
#include "ui/userproperties.h"
#include "utils/messages.h"

namespace {

enum class End { FrameGoes, PageGoes, PageCloses };

struct Question {
  const char* name;
  const char* window;  // the class of the dialog, or of Qt's
  void (*ask)(class DialogEndTest& test);
};

std::string NameOf(const testing::TestParamInfo<std::tuple<Question, End>>& info) {
  static const char* const kEnds[] = {"FrameGoes", "PageGoes", "PageCloses"};
  return std::string(std::get<0>(info.param).name) + kEnds[static_cast<int>(std::get<1>(info.param))];
}

QWidget* Shown(const char* window) {
  for (QWidget* widget : QApplication::allWidgets()) {
    const auto* dialog = dynamic_cast<WindowBusyBaseShadow*>(widget);
    const bool is =
        dialog ? std::strcmp(dialog->GetWindowClassName(), window) == 0 : widget->inherits(window);
    if (is && widget->isVisible()) return widget;
  }
  return nullptr;
}

class DialogEndTest : public PageTest, public testing::WithParamInterface<std::tuple<Question, End>> {
 public:
  void Press(const char* name) {
    auto* button = page->FindControl(QString::fromLatin1(name));
    ASSERT_TRUE(button && button->IsEnabled()) << name;
    QTest::mouseClick(button->Widget(), Qt::LeftButton);
  }
  // A button of a dialog, from inside its loop.
  static void PressIn(const char* window, const char* name) {
    QTimer::singleShot(0, qApp, [window, name] {
      ASSERT_TRUE(Until([window] { return Shown(window) != nullptr; }));
      auto* dialog = dynamic_cast<WindowImplBaseEx*>(Shown(window));
      auto* button = dialog ? dialog->FindControl(QString::fromLatin1(name)) : nullptr;
      ASSERT_NE(button, nullptr) << name;
      QTest::mouseClick(button->Widget(), Qt::LeftButton);
    });
  }
  void Choose() { Click(today[0]); }
  void OpenBin() {
    ASSERT_EQ(gallery.RecycleFiles({today[1]}, false), 1u);
    page->Panel()->SelectAlbum(kRecycleAlbumId);
    ASSERT_TRUE(Until([this] { return IsShown("del_btn_clear"); }));
  }
  void ChooseAlbum() {
    ASSERT_NE(gallery.CreateAlbum(L"Harbour", false, -1), nullptr);
    page->Panel()->Reload();
    page->Panel()->SelectAlbum(gallery.AlbumNameIsExist(L"Harbour")->AlbumId.Get());
    Settle();
  }
  void TakeWhatIsNoPicture() {
    const auto album = gallery.CreateAlbum(L"Card", false, -1);
    page->Upload({(folder.Path() / "none.txt").wstring()}, album);
    EXPECT_TRUE(Until([] { return asked; }));
  }
  ZentaraGallery& Gallery() { return *page; }

 protected:
  void Go(End how) {
    asked = true;
    switch (how) {
      case End::FrameGoes:
        (void)page.release();  // the frame's child
        frame.reset();
        break;
      case End::PageGoes:
        page.reset();
        break;
      case End::PageCloses:
        page->Close();
        break;
    }
  }
  // Nothing may be looked up in a page that is gone.
  void TearDown() override {
    if (page && !page->GetHWND()) page.reset();
    PageTest::TearDown();
  }

  static inline bool asked = false;
  Files today;
};

const Question kQuestions[] = {
    {"Delete", "CDeletePicWnd",
     [](DialogEndTest& test) {
       test.Choose();
       test.Press("btn_delete");
     }},
    {"DeleteByKey", "CDeletePicWnd",
     [](DialogEndTest& test) {
       test.Choose();
       QTest::keyClick(test.Gallery().CurrentList(), Qt::Key_Delete);
     }},
    {"DeleteShown", "CDeletePicWnd",
     [](DialogEndTest& test) {
       test.Choose();
       (void)platform::SendMessageW(test.Gallery().GetHWND(), WM_GALLERY_DELETE_SHOWN, 0, 0);
     }},
    {"ClearBin", "CDeletePicWnd",
     [](DialogEndTest& test) {
       test.OpenBin();
       test.Press("del_btn_clear");
     }},
    {"DeleteAlbum", "CDeletePicWnd",
     [](DialogEndTest& test) {
       test.ChooseAlbum();
       (void)platform::SendMessageW(test.Gallery().Panel()->GetHWND(), WM_GALLERY_ALBUM_KEY, Qt::Key_Delete,
                                    0);
     }},
    {"Download", "CDownloadPicWnd",
     [](DialogEndTest& test) {
       test.Choose();
       test.Press("btn_download");
     }},
    {"DownloadFolder", "QFileDialog",
     [](DialogEndTest& test) {
       test.Choose();
       DialogEndTest::PressIn("CDownloadPicWnd", "openfile");
       test.Press("btn_download");
     }},
    {"Move", "CMovePicWnd",
     [](DialogEndTest& test) {
       test.Choose();
       test.Press("btn_move");
     }},
    {"NewAlbumOfMove", "CInputAlbumNameWnd",
     [](DialogEndTest& test) {
       test.Choose();
       DialogEndTest::PressIn("CMovePicWnd", "btn_add_album");
       test.Press("btn_move");
     }},
    {"Upload", "UpLoadFilesWnd",
     [](DialogEndTest& test) {
       test.Gallery().chooseFiles = [](const QString&, const QString&) { return QStringList("/none.jpg"); };
       test.Press("btn_uploadFiles");
     }},
    {"UploadFiles", "QFileDialog", [](DialogEndTest& test) { test.Press("btn_uploadFiles"); }},
    {"Refused", "CUploadExceptionWnd", [](DialogEndTest& test) { test.TakeWhatIsNoPicture(); }},
    {"NoSuchFile", "CErrorWnd",
     [](DialogEndTest& test) {
       (void)platform::SendMessageW(test.Gallery().GetHWND(), WM_HOME_GALLERY_DBLCLICK, 0,
                                    reinterpret_cast<LPARAM>(new std::wstring(L"/none.jpg")));
       QTest::qWait(0);
     }},
};

TEST_P(DialogEndTest, EndsUnanswered) {
  const auto& [question, how] = GetParam();
  QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
  UserProperties::Set(UserProperties::kTipSeen, 1);
  UserProperties::Set(UserProperties::kAskDownload, 1);
  asked = false;
  today = AddDay(0, 3);
  Open();
  ASSERT_TRUE(UntilPictures());
  // In a loop of the dialog's, or of the loop that waits for it here.
  auto* wait = new QTimer(qApp);
  QObject::connect(wait, &QTimer::timeout, qApp, [this, wait, window = question.window, how = how] {
    if (!Shown(window)) return;
    delete wait;
    Go(how);
  });
  wait->start(1);
  question.ask(*this);
  EXPECT_TRUE(Until([] { return asked; }));
  EXPECT_TRUE(Until([&] { return Shown(question.window) == nullptr; }));
  EXPECT_EQ(UIBackGroundMessWnd::Top(), nullptr);
  Gallery::Files files;
  gallery.GetAllFiles(files);
  EXPECT_EQ(files.size(), 3u);
  EXPECT_FALSE(today[0]->IsInBin());
}

INSTANTIATE_TEST_SUITE_P(Page, DialogEndTest,
                         testing::Combine(testing::ValuesIn(kQuestions),
                                          testing::Values(End::FrameGoes, End::PageGoes, End::PageCloses)),
                         NameOf);

}  // namespace
