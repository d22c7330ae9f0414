// Words, plural forms, numbers and dates. The expected forms are those of the
// Unicode plural rules and of the languages' own writing.

#include <gtest/gtest.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

#include "common/toolkit/label.h"
#include "common/toolkit/resourcemanager.h"
#include "toolkit/support.h"

namespace {

class Language : public testing::Test {
 protected:
  ~Language() override { CResourceManager::GetInstance().SetLanguage("en-GB"); }
  static void Use(const char* tag) { CResourceManager::GetInstance().SetLanguage(tag); }
};

TEST_F(Language, AKeyWithoutWordsIsShownItself) {
  EXPECT_EQ(CResourceManager::GetText("IDS_TOOLKIT_CANCEL"), "Cancel");
  EXPECT_EQ(CResourceManager::GetText("A literal"), "A literal");
}

TEST_F(Language, PluralFormsFollowTheRuleOfTheLanguage) {
  struct Case {
    const char* tag;
    qint64 count;
    const char* suffix;
  };
  for (const Case& c : std::initializer_list<Case>{{"en-GB", 1, "_ONE"},
                                                   {"en-GB", 0, "_OTHER"},
                                                   {"de-DE", 2, "_OTHER"},
                                                   {"fr-FR", 0, "_ONE"},
                                                   {"ru-RU", 1, "_ONE"},
                                                   {"ru-RU", 3, "_FEW"},
                                                   {"ru-RU", 11, "_MANY"},
                                                   {"ru-RU", 21, "_ONE"},
                                                   {"ru-RU", 25, "_MANY"},
                                                   {"zh-CN", 1, "_OTHER"},
                                                   {"th-TH", 1, "_OTHER"},
                                                   {"ar", 0, "_ZERO"},
                                                   {"ar", 1, "_ONE"},
                                                   {"ar", 2, "_TWO"},
                                                   {"ar", 5, "_FEW"},
                                                   {"ar", 11, "_MANY"},
                                                   {"ar", 100, "_OTHER"}}) {
    Use(c.tag);
    EXPECT_EQ(CResourceManager::PluralSuffix(c.count), c.suffix) << c.tag << ' ' << c.count;
  }
}

TEST_F(Language, TheCountStandsInTheDigitsOfTheLanguage) {
  EXPECT_EQ(CResourceManager::GetPluralText("IDS_TOOLKIT_ITEMS", 1), "1 item");
  EXPECT_EQ(CResourceManager::GetPluralText("IDS_TOOLKIT_ITEMS", 1200), "1,200 items");
  Use("ru-RU");
  EXPECT_EQ(CResourceManager::GetPluralText("IDS_TOOLKIT_ITEMS", 3), "3 объекта");
  EXPECT_EQ(CResourceManager::GetPluralText("IDS_TOOLKIT_ITEMS", 5), "5 объектов");
  Use("ar");
  EXPECT_EQ(CResourceManager::GetPluralText("IDS_TOOLKIT_ITEMS", 5), "٥ عناصر");
}

TEST_F(Language, AMissingFormFallsBackToOtherAndThenToTheKey) {
  Use("zh-CN");
  EXPECT_EQ(CResourceManager::GetPluralText("IDS_TOOLKIT_ITEMS", 1), "1 项");
  EXPECT_EQ(CResourceManager::GetPluralText("IDS_TOOLKIT_OK", 1), "确定");
  EXPECT_EQ(CResourceManager::GetPluralText("nothing %1$d", 7), "nothing 7");
}

TEST_F(Language, TheClosestLanguageIsTaken) {
  for (const auto& [asked, taken] :
       std::initializer_list<std::pair<const char*, const char*>>{{"de-AT", "de-DE"},
                                                                  {"de_DE.UTF-8", "de-DE"},
                                                                  {"ar-EG", "ar"},
                                                                  {"zh-TW", "zh-CN"},
                                                                  {"xx", "en-GB"}}) {
    Use(asked);
    EXPECT_EQ(CResourceManager::Language(), taken) << asked;
  }
}

TEST_F(Language, DatesAreMediumWithoutTime) {
  const qint64 noon = QDateTime(QDate(2026, 11, 14), QTime(12, 0)).toMSecsSinceEpoch();
  EXPECT_EQ(CResourceManager::FormatDate(noon), "14 Nov 2026");
  Use("de-DE");
  EXPECT_EQ(CResourceManager::FormatDate(noon), "14.11.2026");
  Use("zh-CN");
  EXPECT_EQ(CResourceManager::FormatDate(noon), "2026年11月14日");
}

TEST_F(Language, AChangeTurnsWindowsRoundAndChangesTheirWords) {
  SkinWindow window(R"(<HorizontalLayout><Label name="l" text="IDS_TOOLKIT_CLOSE" tooltip="IDS_TOOLKIT_COPY"/>
    <Label name="literal" text="as it is"/></HorizontalLayout>)");
  Use("ar");
  EXPECT_TRUE(CResourceManager::IsRightToLeft());
  EXPECT_TRUE(window.isRightToLeft());
  EXPECT_EQ(window.FindControl("l")->GetText(), "إغلاق");
  EXPECT_EQ(window.FindControl("l")->GetToolTip(), "نسخ");
  EXPECT_EQ(window.FindControl("literal")->GetText(), "as it is");
  Use("de-DE");
  EXPECT_FALSE(window.isRightToLeft());
  EXPECT_EQ(window.FindControl("l")->GetText(), "Schließen");
}

QSet<QString> KeysOf(const QString& tag) {
  QFile file(":/language/" + tag + ".json");
  EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << tag.toStdString();
  const QJsonObject texts = QJsonDocument::fromJson(file.readAll()).object();
  QSet<QString> keys;
  for (const QString& key : texts.keys()) {
    EXPECT_FALSE(texts[key].toString().isEmpty()) << key.toStdString();
    // Plural forms differ by language.
    QString plain = key;
    for (const char* form : {"_ZERO", "_ONE", "_TWO", "_FEW", "_MANY", "_OTHER"}) {
      if (plain.endsWith(form)) plain.chop(static_cast<int>(strlen(form)));
    }
    keys.insert(plain);
  }
  return keys;
}

TEST_F(Language, EveryLanguageHasEveryText) {
  const QSet<QString> english = KeysOf("en-GB");
  EXPECT_GT(english.size(), 5);
  for (const QString& tag : CResourceManager::Languages()) {
    EXPECT_EQ((QSet<QString>(english) - KeysOf(tag)).values().join(' ').toStdString(), "")
        << tag.toStdString();
    EXPECT_EQ((KeysOf(tag) - english).values().join(' ').toStdString(), "") << tag.toStdString();
  }
}

}  // namespace
