#include "photocloud/base/timetext.h"

#include <chrono>
#include <cstdio>

#include "photocloud/base/text.h"

namespace photocloud {
namespace {

constexpr std::size_t kSecondsLength = sizeof("2024-05-01T10:20:30") - 1;

std::optional<int> Digits(std::string_view text, std::size_t at, std::size_t count) {
  const auto value = ParseNumber(text.substr(at, count));
  if (!value) return std::nullopt;
  return static_cast<int>(*value);
}

// The fraction's milliseconds; nothing unless it is digits only.
std::optional<int> Milliseconds(std::string_view fraction) {
  if (fraction.empty()) return 0;
  if (fraction.front() != '.' || fraction.size() < 2 || fraction.size() > 10) return std::nullopt;
  if (!ParseNumber(fraction.substr(1))) return std::nullopt;
  std::string digits(fraction.substr(1, 3));
  digits.resize(3, '0');
  return Digits(digits, 0, 3);
}

bool HasSeparators(std::string_view text) {
  return text[4] == '-' && text[7] == '-' && text[10] == 'T' && text[13] == ':' && text[16] == ':';
}

}  // namespace

std::optional<std::int64_t> ParseTime(std::string_view text) {
  if (!text.empty() && text.back() == 'Z') text.remove_suffix(1);
  if (text.size() < kSecondsLength || !HasSeparators(text)) return std::nullopt;
  const auto year = Digits(text, 0, 4), month = Digits(text, 5, 2), day = Digits(text, 8, 2);
  const auto hour = Digits(text, 11, 2), minute = Digits(text, 14, 2), second = Digits(text, 17, 2);
  const auto fraction = Milliseconds(text.substr(kSecondsLength));
  if (!year || !month || !day || !hour || !minute || !second || !fraction) return std::nullopt;
  if (*hour > 23 || *minute > 59 || *second > 60) return std::nullopt;
  namespace chrono = std::chrono;
  const chrono::year_month_day date{chrono::year(*year), chrono::month(static_cast<unsigned>(*month)),
                                    chrono::day(static_cast<unsigned>(*day))};
  if (!date.ok()) return std::nullopt;
  const auto time = chrono::sys_days(date) + chrono::hours(*hour) + chrono::minutes(*minute) +
                    chrono::seconds(*second) + chrono::milliseconds(*fraction);
  return chrono::duration_cast<chrono::milliseconds>(time.time_since_epoch()).count();
}

std::string FormatTime(std::int64_t milliseconds) {
  namespace chrono = std::chrono;
  const chrono::sys_time<chrono::milliseconds> time{chrono::milliseconds(milliseconds)};
  const auto day = chrono::floor<chrono::days>(time);
  const chrono::year_month_day date(day);
  const chrono::hh_mm_ss clock(time - day);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()), static_cast<int>(clock.subseconds().count()));
  return text;
}

}  // namespace photocloud
