// Words, plural forms, numbers and dates. The expected forms are those of the
// Unicode plural rules and of the languages' own writing.

#include <gtest/gtest.h>

#include <QDateTime>
#include <QDirIterator>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QRegularExpression>
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

using Texts = QMap<QString, QString>;

Texts TextsOf(const QString& tag) {
  QFile file(":/language/" + tag + ".json");
  EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << tag.toStdString();
  const QJsonObject read = QJsonDocument::fromJson(file.readAll()).object();
  Texts texts;
  for (auto text = read.begin(); text != read.end(); ++text) texts[text.key()] = text.value().toString();
  return texts;
}

// A key as the program names it, without the plural form.
QString NameOf(const QString& key) {
  static const QRegularExpression form("_(ZERO|ONE|TWO|FEW|MANY|OTHER)$");
  return QString(key).remove(form);
}

QSet<QString> NamesOf(const Texts& texts) {
  QSet<QString> names;
  for (const QString& key : texts.keys()) names.insert(NameOf(key));
  return names;
}

QString EnglishOf(const Texts& english, const QString& key) {
  return english.value(key, english.value(NameOf(key) + "_OTHER"));
}

QStringList PlaceholdersOf(const QString& text) {
  static const QRegularExpression placeholder(R"(%(\d+\$)?[a-zA-Z])");
  QStringList found;
  for (const auto& match : placeholder.globalMatch(text)) found += match.captured();
  found.sort();
  return found;
}

std::string Sorted(const QSet<QString>& keys) {
  QStringList sorted = keys.values();
  sorted.sort();
  return sorted.join(' ').toStdString();
}

TEST_F(Language, EveryLanguageHasEveryText) {
  const QMap<QString, QStringList> forms = {{"en-GB", {"_ONE", "_OTHER"}},
                                            {"zh-CN", {"_OTHER"}},
                                            {"th-TH", {"_OTHER"}},
                                            {"de-DE", {"_ONE", "_OTHER"}},
                                            {"fr-FR", {"_ONE", "_MANY", "_OTHER"}},
                                            {"es-ES", {"_ONE", "_MANY", "_OTHER"}},
                                            {"ru-RU", {"_ONE", "_FEW", "_MANY", "_OTHER"}},
                                            {"ar", {"_ZERO", "_ONE", "_TWO", "_FEW", "_MANY", "_OTHER"}}};
  const Texts english = TextsOf("en-GB");
  EXPECT_GT(english.size(), 250);
  for (const QString& tag : CResourceManager::Languages()) {
    QSet<QString> wanted;
    for (const QString& name : NamesOf(english)) {
      if (english.contains(name))
        wanted.insert(name);
      else
        for (const QString& form : forms[tag]) wanted.insert(name + form);
    }
    const QStringList keys = TextsOf(tag).keys();
    const QSet<QString> has(keys.begin(), keys.end());
    EXPECT_EQ(Sorted(QSet<QString>(wanted) - has), "") << "missing in " << tag.toStdString();
    EXPECT_EQ(Sorted(QSet<QString>(has) - wanted), "") << "too many in " << tag.toStdString();
  }
}

TEST_F(Language, PlaceholdersAreThoseOfEnglish) {
  // Forms of a single number, which Arabic says with the noun itself.
  static const QRegularExpression single("_(ZERO|ONE|TWO)$");
  const Texts english = TextsOf("en-GB");
  for (const QString& tag : CResourceManager::Languages()) {
    const Texts texts = TextsOf(tag);
    for (auto text = texts.begin(); text != texts.end(); ++text) {
      EXPECT_FALSE(text->trimmed().isEmpty()) << tag.toStdString() << ' ' << text.key().toStdString();
      QStringList wanted = PlaceholdersOf(EnglishOf(english, text.key())), has = PlaceholdersOf(*text);
      if (tag == "ar" && text.key().contains(single)) {
        for (QStringList* list : {&wanted, &has})
          list->removeIf([](const QString& one) { return one.endsWith('d'); });
      }
      EXPECT_EQ(has.join(' ').toStdString(), wanted.join(' ').toStdString())
          << tag.toStdString() << ' ' << text.key().toStdString();
    }
  }
}

// The keys that the program names, with the file that names them.
QMap<QString, QString> KeysInSources() {
  static const QRegularExpression key("IDS_[A-Za-z0-9_]+");
  QMap<QString, QString> keys;
  for (const char* folder :
       {"/pluginmodule/zentaragallery", "/desktop", "/host", "/cli", "/common/toolkit", "/resources/skin"}) {
    QDirIterator files(QString(SOURCE_ROOT) + folder, {"*.cpp", "*.h", "*.xml"}, QDir::Files,
                       QDirIterator::Subdirectories);
    while (files.hasNext()) {
      QFile file(files.next());
      EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << file.fileName().toStdString();
      for (const auto& match : key.globalMatch(QString::fromUtf8(file.readAll())))
        keys[match.captured()] = file.fileName();
    }
  }
  return keys;
}

TEST_F(Language, EveryKeyOfTheProgramHasWords) {
  // Keys that are put together: the start that stands in the source, and its ends.
  const QMap<QString, QStringList> parts = {
      {"IDS_GALLERY_EMPTY_",
       {"PICTURES", "PICTURES_TITLE", "ALBUM", "ALBUM_TITLE", "FAVORITE", "FAVORITE_TITLE", "BIN",
        "BIN_TITLE"}},
      {"IDS_GALLERY_",
       {"HARDCLREAN_WNDTITLE", "HARDCLREAN_WNDCONTENT", "DELETEALBUM_WNDTITLE", "DELETEALBUM_WNDCONTENT",
        "HARDDELETEONE_WNDTITLE", "HARDDELETEONE_WNDCONTENT", "HARDDELETEMULTIPLE_WNDTITLE",
        "HARDDELETEMULTIPLE_WNDCONTENT", "DELETEONE_WNDTITLE", "DELETEONE_WNDCONTENT",
        "DELETEMULTIPLE_WNDTITLE", "DELETEMULTIPLE_WNDCONTENT"}},
      {"IDS_TRANSFERS_", {"PAUSE_ALL", "RETRY_ALL", "CLEAR_ALL", "RESUME_ALL"}},
      {"IDS_TRANSFER_ERROR_", {"0",  "2",  "3",  "4",  "5",  "6",  "7",  "13", "15", "16",
                               "17", "19", "21", "22", "23", "24", "25", "37", "38", "40"}}};
  const QSet<QString> names = NamesOf(TextsOf("en-GB"));
  const QMap<QString, QString> keys = KeysInSources();
  EXPECT_GT(keys.size(), 150);
  for (auto key = keys.begin(); key != keys.end(); ++key) {
    for (const QString& end : parts.value(key.key(), {QString()})) {
      EXPECT_TRUE(names.contains(key.key() + end))
          << (key.key() + end).toStdString() << " of " << key->toStdString();
    }
  }
}

}  // namespace
