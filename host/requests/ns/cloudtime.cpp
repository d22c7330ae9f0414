#include "host/requests/ns/cloudtime.h"

#include <chrono>
#include <cstdio>

namespace NS::CloudTime {
namespace {

namespace chrono = std::chrono;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Takes `text` apart from its front; a step that does not fit fails all later
// ones.
struct Scanner {
  int Digits(std::size_t count) {
    if (rest.size() < count) return Fail();
    int number = 0;
    for (std::size_t i = 0; i < count; ++i) {
      if (!IsDigit(rest[i])) return Fail();
      number = number * 10 + (rest[i] - '0');
    }
    rest.remove_prefix(count);
    return number;
  }
  void Expect(char c) {
    if (!Take(c)) Fail();
  }
  bool Take(char c) {
    if (rest.empty() || rest.front() != c) return false;
    rest.remove_prefix(1);
    return true;
  }
  int Milliseconds() {
    if (!Take('.')) return 0;
    int number = 0, digits = 0;
    for (; !rest.empty() && IsDigit(rest.front()); rest.remove_prefix(1), ++digits) {
      if (digits < 3) number = number * 10 + (rest.front() - '0');
    }
    if (digits == 0) return Fail();
    for (; digits < 3; ++digits) number *= 10;
    return number;
  }
  // Minutes that the written time is ahead of UTC.
  int Offset() {
    if (rest.empty() || Take('Z') || Take('z')) return 0;
    const bool ahead = Take('+');
    if (!ahead) Expect('-');
    const int hours = Digits(2);
    Expect(':');
    const int minutes = Digits(2);
    if (hours > 23 || minutes > 59) Fail();
    return (ahead ? 1 : -1) * (hours * 60 + minutes);
  }
  int Fail() {
    good = false;
    rest = {};
    return 0;
  }

  std::string_view rest;
  bool good = true;
};

}  // namespace

std::optional<std::int64_t> Parse(std::string_view text) {
  Scanner scan{text};
  const int year = scan.Digits(4);
  scan.Expect('-');
  const int month = scan.Digits(2);
  scan.Expect('-');
  const int day = scan.Digits(2);
  if (!scan.Take('T') && !scan.Take('t')) scan.Expect(' ');
  const int hour = scan.Digits(2);
  scan.Expect(':');
  const int minute = scan.Digits(2);
  scan.Expect(':');
  const int second = scan.Digits(2);
  const int ms = scan.Milliseconds();
  const int offset = scan.Offset();
  const chrono::year_month_day date{chrono::year(year), chrono::month(static_cast<unsigned>(month)),
                                    chrono::day(static_cast<unsigned>(day))};
  if (!scan.good || !scan.rest.empty() || !date.ok()) return std::nullopt;
  if (hour > 23 || minute > 59 || second > 60) return std::nullopt;
  const auto time = chrono::sys_days(date) + chrono::hours(hour) + chrono::minutes(minute - offset) +
                    chrono::seconds(second) + chrono::milliseconds(ms);
  return chrono::duration_cast<chrono::milliseconds>(time.time_since_epoch()).count();
}

std::string Format(std::int64_t ms) {
  constexpr std::int64_t kFirst = -62'167'219'200'000;  // year 0
  constexpr std::int64_t kLast = 253'402'300'799'999;   // end of year 9999
  if (ms < kFirst || ms > kLast) return {};
  const chrono::sys_time<chrono::milliseconds> time{chrono::milliseconds(ms)};
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

}  // namespace NS::CloudTime
