#pragma once

#include <QHash>
#include <QObject>
#include <QString>

// The words of the user interface in the current language, and dates and
// numbers as it writes them.
//
// Texts are JSON files `:/language/TAG.json`, key to words. A key that the
// language lacks is taken from English, and a key without words is shown
// itself. User-interface thread only.
class CResourceManager : public QObject {
  Q_OBJECT
 public:
  static CResourceManager& GetInstance();

  static QString GetText(const QString& key);
  // The text of `key` with the suffix of the plural form of `count` in the
  // language ("_ONE", "_FEW", "_OTHER"...), falling back to "_OTHER" and to the
  // plain key; "%d" and "%1$d" become the count in the digits of the language.
  static QString GetPluralText(const QString& key, qint64 count);
  // "_ZERO", "_ONE", "_TWO", "_FEW", "_MANY" or "_OTHER".
  static QString PluralSuffix(qint64 count);

  // The closest language there is: "de-AT" is "de-DE", an unknown one "en-GB".
  // Everything shown changes at once.
  void SetLanguage(const QString& tag);
  static QString Language();
  static QStringList Languages();
  static bool IsRightToLeft();

  // A day in medium style, without time, in the time zone of the computer.
  static QString FormatDate(qint64 milliseconds);
  // A day in long style, with hour and minute.
  static QString FormatDateTime(qint64 milliseconds);
  static QString FormatNumber(qint64 number);
  // `text` with its digits in those of the language, for what is no number but made of
  // some: a time of a film, the sides of a picture.
  static QString InDigits(const QString& text);
  // With as many digits behind the point as it needs, at most that many.
  static QString FormatDecimal(double number, int digits);
  static QString FormatPercent(int percent);

 Q_SIGNALS:
  void languageChanged();

 private:
  CResourceManager();

  QString language;
  QHash<QString, QString> texts, fallback;
};
