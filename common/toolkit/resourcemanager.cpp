#include "common/toolkit/resourcemanager.h"

#include <unicode/datefmt.h>
#include <unicode/numberformatter.h>
#include <unicode/plurrule.h>
#include <unicode/unistr.h>

#include <QFile>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <memory>

namespace {

const char kEnglish[] = "en-GB";

QHash<QString, QString> ReadTexts(const QString& tag) {
  QFile file(":/language/" + tag + ".json");
  QHash<QString, QString> texts;
  if (!file.open(QIODevice::ReadOnly)) return texts;
  QJsonParseError error{};
  const QJsonObject read = QJsonDocument::fromJson(file.readAll(), &error).object();
  if (error.error != QJsonParseError::NoError) {
    qWarning("Texts: %s: %s", qUtf8Printable(tag), qUtf8Printable(error.errorString()));
  }
  for (auto text = read.begin(); text != read.end(); ++text)
    texts.insert(text.key(), text.value().toString());
  return texts;
}

QString ToQt(const icu::UnicodeString& text) {
  return QString(reinterpret_cast<const QChar*>(text.getBuffer()), text.length());
}

icu::Locale IcuLocale() { return icu::Locale(CResourceManager::Language().toLatin1().constData()); }

}  // namespace

CResourceManager& CResourceManager::GetInstance() {
  // Windows that go at the end of the program still ask for words.
  static CResourceManager& manager = *new CResourceManager;
  return manager;
}

CResourceManager::CResourceManager() : language(kEnglish) {
  fallback = ReadTexts(kEnglish);
  texts = fallback;
}

QStringList CResourceManager::Languages() {
  return {"en-GB", "zh-CN", "th-TH", "de-DE", "fr-FR", "es-ES", "ru-RU", "ar"};
}

QString CResourceManager::Language() { return GetInstance().language; }

void CResourceManager::SetLanguage(const QString& tag) {
  QString chosen = kEnglish;
  const QStringList known = Languages();
  const QString start = QString(tag).replace('_', '-').section('-', 0, 0).section('.', 0, 0).toLower();
  for (const QString& candidate : known) {
    if (candidate.compare(tag, Qt::CaseInsensitive) == 0) {
      chosen = candidate;
      break;
    }
    if (candidate.section('-', 0, 0) == start) chosen = candidate;
  }
  if (chosen == language) return;
  language = chosen;
  texts = ReadTexts(language);
  QGuiApplication::setLayoutDirection(IsRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
  Q_EMIT languageChanged();
}

bool CResourceManager::IsRightToLeft() { return IcuLocale().isRightToLeft(); }

QString CResourceManager::GetText(const QString& key) {
  const CResourceManager& self = GetInstance();
  const auto own = self.texts.constFind(key);
  return own != self.texts.constEnd() ? *own : self.fallback.value(key, key);
}

QString CResourceManager::PluralSuffix(qint64 count) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::PluralRules> rules(icu::PluralRules::forLocale(IcuLocale(), status));
  if (U_FAILURE(status)) return "_OTHER";
  return '_' + ToQt(rules->select(static_cast<double>(count))).toUpper();
}

QString CResourceManager::GetPluralText(const QString& key, qint64 count) {
  const auto lookUp = [](const QHash<QString, QString>& from, const QStringList& keys) {
    for (const QString& candidate : keys) {
      if (const auto found = from.constFind(candidate); found != from.constEnd()) return *found;
    }
    return QString();
  };
  const CResourceManager& self = GetInstance();
  QString words = lookUp(self.texts, {key + PluralSuffix(count), key + "_OTHER", key});
  // English words follow the English rule.
  if (words.isNull())
    words = lookUp(self.fallback, {key + (count == 1 ? "_ONE" : "_OTHER"), key + "_OTHER", key});
  if (words.isNull()) words = key;
  const QString digits = FormatNumber(count);
  return words.replace("%1$d", digits).replace("%d", digits);
}

QString CResourceManager::FormatNumber(qint64 number) {
  UErrorCode status = U_ZERO_ERROR;
  const auto text =
      icu::number::NumberFormatter::withLocale(IcuLocale()).formatInt(number, status).toString(status);
  return U_FAILURE(status) ? QString::number(number) : ToQt(text);
}

QString CResourceManager::InDigits(const QString& text) {
  QString shown;
  for (const QChar letter : text)
    shown += letter.isDigit() ? FormatNumber(letter.digitValue()) : QString(letter);
  return shown;
}

QString CResourceManager::FormatPercent(int percent) {
  UErrorCode status = U_ZERO_ERROR;
  const auto text = icu::number::NumberFormatter::withLocale(IcuLocale())
                        .unit(icu::NoUnit::percent())
                        .formatInt(percent, status)
                        .toString(status);
  return U_FAILURE(status) ? QString::number(percent) + '%' : ToQt(text);
}

QString CResourceManager::FormatDate(qint64 milliseconds) {
  const std::unique_ptr<icu::DateFormat> format(
      icu::DateFormat::createDateInstance(icu::DateFormat::kMedium, IcuLocale()));
  icu::UnicodeString text;
  if (format) format->format(static_cast<UDate>(milliseconds), text);
  return ToQt(text);
}

QString CResourceManager::FormatDateTime(qint64 milliseconds) {
  const std::unique_ptr<icu::DateFormat> format(
      icu::DateFormat::createDateTimeInstance(icu::DateFormat::kLong, icu::DateFormat::kShort, IcuLocale()));
  icu::UnicodeString text;
  if (format) format->format(static_cast<UDate>(milliseconds), text);
  return ToQt(text);
}

QString CResourceManager::FormatDecimal(double number, int digits) {
  UErrorCode status = U_ZERO_ERROR;
  const auto text = icu::number::NumberFormatter::withLocale(IcuLocale())
                        .precision(icu::number::Precision::maxFraction(digits))
                        .formatDouble(number, status)
                        .toString(status);
  return U_FAILURE(status) ? QString::number(number) : ToQt(text);
}
