// What the small windows say.

#include <QAccessible>
#include <QTimer>
#include <fstream>

#include "common/toolkit/button.h"
#include "common/toolkit/edit.h"
#include "common/toolkit/label.h"
#include "common/toolkit/resourcemanager.h"
#include "host/base/logger.h"
#include "pagetest.h"
#include "ui/dialogs/deletepicwnd.h"
#include "ui/dialogs/downloadpicwnd.h"
#include "ui/dialogs/inputalbumnamewnd.h"
#include "ui/dialogs/movepicwnd.h"
#include "ui/galleryalbumwnd.h"
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

// What cannot be taken back begins on the button that loses nothing, and Return is for the
// button with the ring.
TEST_F(DialogTest, ReturnDeletesUnlessItsButtonIsTheOneThatCancels) {
  AddDay(0, 1);
  Open();
  const auto answer = [this](bool forGood) {
    Asked<DeletePicWnd> dialog(DeletePicWnd::Kind::Files, 2, forGood);
    QTimer::singleShot(0, dialog.operator->(), [] {
      auto* focus = QApplication::focusWidget();
      EXPECT_EQ(QApplication::focusWidget()->objectName().left(4), QStringLiteral("btn_"));
      QTest::keyClick(focus, Qt::Key_Return);
    });
    return dialog.RunOver(*page);
  };
  EXPECT_EQ(answer(false), IDOK);
  EXPECT_EQ(answer(true), IDCANCEL);
}

TEST_F(DialogTest, TitleFollowsTheLanguageAtOnce) {
  AddDay(0, 1);
  Open();
  const QString before = Find<CLabelUI>("time_text")->GetText();
  CResourceManager::GetInstance().SetLanguage(QStringLiteral("de-DE"));
  EXPECT_EQ(Find<CLabelUI>("time_text")->GetText(), QStringLiteral("Bilder"));
  CResourceManager::GetInstance().SetLanguage(QStringLiteral("en-GB"));
  EXPECT_EQ(Find<CLabelUI>("time_text")->GetText(), before);
}

// Counts the bubbles that the owner is told of.
struct BubbleCounter : IMessageFilterUI {
  LRESULT MessageHandler(UINT uMsg, WPARAM, LPARAM, bool&) override {
    if (uMsg == 3161) ++count;
    return 0;
  }
  int count = 0;
};

TEST_F(DialogTest, OwnerIsToldOfTheBubbleBelowARefusedName) {
  AddDay(0, 1);
  Open();
  BubbleCounter told;
  page->Manager().AddPreMessageFilter(&told);
  InputAlbumNameWnd dialog;
  ASSERT_TRUE(dialog.Create(page.get(), QStringLiteral("InputAlbumNameWnd"), WindowStyle::Child, {}));
  auto* edit = dialog.Find<CEditUI>(QStringLiteral("edit_name"));
  ASSERT_NE(edit, nullptr);
  edit->SetText(QStringLiteral("Harbour"));
  edit->SetText(QStringLiteral("a/b"));
  EXPECT_TRUE(edit->HasError());
  EXPECT_TRUE(Until([&told] { return told.count == 1; }));
  page->Manager().RemovePreMessageFilter(&told);
}

TEST_F(DialogTest, HeightsOfThePanelAndTheAcceptedDeletionAreLogged) {
  AddDay(0, 1);
  Open();
  const TemporaryFolder place;
  auto* log = Logger::CloudLogger::GetInstance();
  ASSERT_TRUE(log->Open(place / "log.txt"));
  (void)platform::SendMessageW(page->Panel()->GetHWND(), WM_GALLERY_ALBUM_RELAYOUT, 0, 0);
  Asked<DeletePicWnd> dialog(DeletePicWnd::Kind::Files, 1, false);
  QTimer::singleShot(0, dialog.operator->(),
                     [] { QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return); });
  EXPECT_EQ(dialog.RunOver(*page), IDOK);
  log->ReportLog();  // Flushes.
  log->Close();
  std::ifstream file(place / "log.txt");
  const std::string text(std::istreambuf_iterator<char>(file), {});
  const int system = page->Panel()->FindControl(QStringLiteral("sys_photo"))->GetPos().height();
  EXPECT_GT(system, 0);
  EXPECT_NE(text.find("Gallery Album owerAlbumHeight: "), std::string::npos) << text;
  EXPECT_NE(text.find(" sysAlbumHeight:" + std::to_string(system)), std::string::npos);
  EXPECT_NE(text.find("DeletePicWnd ok"), std::string::npos);
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

// What a screen reader is told of the albums to choose from.
class AlbumChoiceTest : public DialogTest {
 protected:
  void MakeAlbums(int count) {
    for (int i = 0; i < count; ++i)
      ASSERT_NE(gallery.CreateAlbum(L"Album" + std::to_wstring(i), false, -1), nullptr);
  }
  static QAccessibleInterface* Told(QWidget& widget) {
    return QAccessible::queryAccessibleInterface(&widget);
  }
  // Names, in order, of the items below `list`.
  static QStringList Items(QAccessibleInterface& list, bool selectedOnly = false) {
    QStringList names;
    for (int i = 0; i < list.childCount(); ++i) {
      QAccessibleInterface& child = *list.child(i);
      const bool counts = !selectedOnly || (child.state().selectable && child.state().selected);
      if (child.role() == QAccessible::ListItem && counts) names << child.text(QAccessible::Name);
      names << Items(child, selectedOnly);
    }
    return names;
  }
};

TEST_F(AlbumChoiceTest, ManyAlbumsAreAListOfItemsWithNamesAndTheChosenOne) {
  AddDay(0, 1);
  MakeAlbums(6);
  Open();
  UpLoadFilesWnd dialog;
  ASSERT_TRUE(dialog.Create(page.get(), QStringLiteral("UpLoadFilesWnd"), WindowStyle::Child, {}));
  auto* list = dialog.Find<CListUI>(QStringLiteral("list_vertical"));
  ASSERT_TRUE(list && Told(*list));
  EXPECT_EQ(Told(*list)->role(), QAccessible::List);
  EXPECT_EQ(Told(*list)->text(QAccessible::Name), dialog.FindControl(QStringLiteral("title"))->GetText());
  const QStringList names = Items(*Told(*list));
  ASSERT_EQ(names.size(), list->GetCount());
  EXPECT_EQ(Items(*Told(*list), true), QStringList());
  auto* third = list->GetItemAt(2)->Widget();
  Told(*third)->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
  EXPECT_EQ(Items(*Told(*list), true), QStringList(names[2]));
  ASSERT_TRUE(dialog.Chosen());
  EXPECT_EQ(Page::AlbumTitle(*dialog.Chosen()), names[2]);
}

TEST_F(AlbumChoiceTest, FewAlbumsAreAListOfItemsBesideAButton) {
  AddDay(0, 1);
  MakeAlbums(2);
  Open();
  MovePicWnd dialog(gallery.GetAlbum("default-album-1"));
  ASSERT_TRUE(dialog.Create(page.get(), QStringLiteral("CMovePicWnd"), WindowStyle::Child, {}));
  auto* tiles = dialog.Find<CContainerUI>(QStringLiteral("list_horizon"));
  ASSERT_TRUE(tiles && tiles->IsVisible());
  EXPECT_EQ(Told(*tiles)->role(), QAccessible::List);
  const QStringList names = Items(*Told(*tiles));
  EXPECT_TRUE(names.contains(QStringLiteral("Album1")));
  EXPECT_EQ(names.size(), tiles->GetCount() - 1);
  EXPECT_EQ(Told(*tiles->GetItemAt(0)->Widget())->role(), QAccessible::Button);
  Told(*tiles->GetItemAt(1)->Widget())
      ->actionInterface()
      ->doAction(QAccessibleActionInterface::pressAction());
  EXPECT_EQ(Items(*Told(*tiles), true), QStringList(names[0]));
}

}  // namespace
