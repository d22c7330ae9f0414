// What the small windows say.

#include <QTimer>

#include "common/toolkit/button.h"
#include "common/toolkit/edit.h"
#include "common/toolkit/resourcemanager.h"
#include "pagetest.h"
#include "ui/dialogs/deletepicwnd.h"
#include "ui/dialogs/downloadpicwnd.h"
#include "ui/dialogs/movepicwnd.h"
#include "utils/messages.h"

namespace {

class DialogTest : public PageTest {
 protected:
  void TearDown() override {
    CResourceManager::GetInstance().SetLanguage(QStringLiteral("en-GB"));
    PageTest::TearDown();
  }
};

// Halves of a character that is written in two would be shown as boxes.
TEST_F(DialogTest, LongAlbumNameBreaksBetweenItsCharactersAndNotWithin) {
  AddDay(0, 1);
  Open();
  CResourceManager::GetInstance().SetLanguage(QStringLiteral("de-DE"));
  for (const QString& start : {QString(), QStringLiteral("x")}) {
    const QString name = start + QString::fromUtf8("\U0001F3D6").repeated(40);
    DeletePicWnd dialog(DeletePicWnd::Kind::Album, 0, false, name);
    ASSERT_TRUE(dialog.Create(page.get(), QStringLiteral("CDeletePicWnd"), WindowStyle::Child, {}));
    QString said = dialog.FindControl(QStringLiteral("content"))->GetText();
    EXPECT_TRUE(said.contains(QChar(0x200b)));
    for (qsizetype i = 0; i + 1 < said.size(); ++i)
      EXPECT_EQ(said[i].isHighSurrogate(), said[i + 1].isLowSurrogate()) << i;
    EXPECT_TRUE(said.remove(QChar(0x200b)).contains(name));
  }
}

// The choice is kept; the files go to the window that has asked, which clears its choice.
TEST_F(DialogTest, DownloadIsOrderedFromTheOwnerAndEndsItsSelection) {
  const auto today = AddDay(0, 3);
  Open();
  ASSERT_TRUE(UntilPictures());
  Click(today[0]);
  struct Taker : IMessageFilterUI {
    // Takes the order away: nothing is to be fetched here.
    LRESULT MessageHandler(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) override {
      if (uMsg == WM_GALLERY_DOWNLOAD_START) {
        ordered = *std::unique_ptr<Files>(reinterpret_cast<Files*>(lParam));
        handled = true;
      }
      if (uMsg == WM_GALLERY_DOWNLOAD_START || uMsg == WM_GALLERY_DOWNLOAD_DONE)
        words.emplace_back(uMsg, wParam);
      return 0;
    }
    std::vector<std::pair<UINT, WPARAM>> words;
    Files ordered;
  } taker;
  page->Manager().AddPreMessageFilter(&taker);
  const QString chosen = QString::fromStdString((folder.Path() / "here").string());
  ASSERT_TRUE(QDir().mkpath(chosen));
  QTimer answer;
  QObject::connect(&answer, &QTimer::timeout, [&] {
    for (QWidget* at = QApplication::focusWidget(); at; at = at->parentWidget()) {
      auto* dialog = dynamic_cast<DownloadPicWnd*>(at);
      if (!dialog) continue;
      dialog->Find<CEditUI>(QStringLiteral("edit"))->SetText(chosen);
      dialog->Find<CCheckBoxUI>(QStringLiteral("isTipAgain"))->click();
      QTest::mouseClick(dialog->FindControl(QStringLiteral("btn_ok"))->Widget(), Qt::LeftButton);
      return answer.stop();
    }
  });
  answer.start(20);
  QTest::mouseClick(Find<CButtonUI>("btn_download"), Qt::LeftButton);
  EXPECT_TRUE(Until([&taker] { return taker.words.size() == 2; }));
  EXPECT_EQ(taker.words, (std::vector<std::pair<UINT, WPARAM>>{{3090, 0}, {3181, 0}}));
  EXPECT_EQ(taker.ordered, Files{today[0]});
  EXPECT_TRUE(Selected().empty());
  EXPECT_EQ(DownloadPicWnd::StandardFolder(), chosen);
  EXPECT_FALSE(DownloadPicWnd::AsksEachTime());
  page->Manager().RemovePreMessageFilter(&taker);
}

TEST_F(DialogTest, FolderForDownloadsIsNeitherARootNorInsideTheProfile) {
  EXPECT_EQ(DownloadPicWnd::Refused(QStringLiteral("/")), QStringLiteral("IDS_DOWNLOAD_DIR_LogicDrive_Deny"));
  const QString own = QString::fromStdString((platform::DataRoot() / "ZentaraCloud").string());
  for (const QString& inner : {own, own + QStringLiteral("/deeper"), own + QStringLiteral("/x/..")})
    EXPECT_EQ(DownloadPicWnd::Refused(inner), QStringLiteral("IDS_DOWNLOAD_SubEqual_SYN_DIR_Deny"));
  EXPECT_EQ(DownloadPicWnd::Refused(own + QStringLiteral("Else")), QString());
}

// Each kind of deletion has its own words.
TEST_F(DialogTest, DeletionIsWordedByItsKindAndCount) {
  using Kind = DeletePicWnd::Kind;
  const auto words = [](Kind kind, std::size_t count, bool hard) {
    const auto keys = DeletePicWnd(kind, count, hard).KeysOf();
    return (keys.title + u' ' + keys.content + u' ' + keys.button).toStdString();
  };
  EXPECT_EQ(words(Kind::Files, 1, true),
            "IDS_GALLERY_HARDDELETEONE_WNDTITLE IDS_GALLERY_HARDDELETEONE_WNDCONTENT IDS_GALLERT_BTN_DELETE");
  EXPECT_EQ(words(Kind::Files, 2, true),
            "IDS_GALLERY_HARDDELETEMULTIPLE_WNDTITLE IDS_GALLERY_HARDDELETEMULTIPLE_WNDCONTENT "
            "IDS_GALLERT_BTN_DELETE");
  EXPECT_EQ(words(Kind::ClearBin, 9, true),
            "IDS_GALLERY_HARDCLREAN_WNDTITLE IDS_GALLERY_HARDCLREAN_WNDCONTENT IDS_GALLERT_Transfer_Clear");
  EXPECT_EQ(words(Kind::Album, 0, false),
            "IDS_GALLERY_DELETEALBUM_WNDTITLE IDS_GALLERY_DELETEALBUM_WNDCONTENT IDS_GALLERT_BTN_DELETE");
  EXPECT_EQ(
      words(Kind::Files, 2, false),
      "IDS_GALLERY_DELETEMULTIPLE_WNDTITLE IDS_GALLERY_DELETEMULTIPLE_WNDCONTENT IDS_GALLERT_BTN_DELETE");
  EXPECT_EQ(words(Kind::Files, 1, false),
            "IDS_GALLERY_DELETEONE_WNDTITLE IDS_GALLERY_DELETEONE_WNDCONTENT IDS_GALLERT_BTN_DELETE");
}

TEST_F(DialogTest, WheelOverAListOfAlbumsMovesTheChoiceByOne) {
  CListAlbumExUI list;
  EXPECT_EQ(list.GetClass(), QStringLiteral("ListAlbumEx"));
  for (int i = 0; i < 3; ++i) {
    auto* row = new CListContainerElementUI;
    row->SetFixedHeight(56);
    list.Add(row);
  }
  const auto turn = [&list](int delta) {
    TEventUI event{.Type = EventType::Wheel, .pSender = &list};
    event.wheelDelta = delta;
    list.DoEvent(event);
    EXPECT_TRUE(event.handled);
    return list.GetCurSel();
  };
  EXPECT_EQ(turn(-120), 0);
  EXPECT_EQ(turn(-240), 1);
  EXPECT_EQ(turn(-120), 2);
  EXPECT_EQ(turn(-120), 2);
  EXPECT_EQ(turn(120), 1);
}

}  // namespace
