// What the small windows say.

#include <QAccessible>

#include "common/toolkit/resourcemanager.h"
#include "pagetest.h"
#include "ui/dialogs/deletepicwnd.h"
#include "ui/dialogs/movepicwnd.h"

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
