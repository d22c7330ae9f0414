// What the small windows say.

#include "common/toolkit/resourcemanager.h"
#include "pagetest.h"
#include "ui/dialogs/deletepicwnd.h"

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

}  // namespace
