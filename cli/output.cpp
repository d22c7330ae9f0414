#include "output.h"

#include <array>
#include <cstdio>
#include <ctime>

#include "common/platform/localtime.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "host/base/hexadecimal.h"
#include "utils/picturemetadata.h"

namespace {

std::string FormatLocal(std::int64_t timeMs, const char* format) {
  const std::tm local = platform::LocalTime(timeMs / 1000).value_or(std::tm{});
  std::array<char, 64> text{};
  std::strftime(text.data(), text.size(), format, &local);
  return text.data();
}

// Characters of a UTF-8 text: its bytes that do not continue one.
std::size_t Columns(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

}  // namespace

void Output::Print(const Json::Value& document, const std::string& text) {
  if (resultsDropped) return;
  EndProgress();
  terminal.Write((json ? CompactJson(document) : text) + '\n');
}

void Output::Say(const std::string& text) {
  if (json || resultsDropped) return;
  EndProgress();
  terminal.Write(text + '\n');
}

void Output::Error(const std::string& text) {
  EndProgress();
  terminal.WriteError("zentaractl: " + text + '\n');
}

void Output::Hint(const std::string& text) {
  if (terminal.ErrorIsTerminal()) Error(text);
}

void Output::Progress(const std::string& text) {
  if (!terminal.ErrorIsTerminal()) return;
  terminal.WriteError('\r' + text + "\x1b[K");
  progressShown = true;
}

void Output::EndProgress() {
  if (std::exchange(progressShown, false)) terminal.WriteError("\r\x1b[K");
}

void PutExact(Json::Value& json, const char* key, const std::string& exact) {
  json[key] = platform::WideToUtf8(platform::Utf8ToWide(exact));
  if (platform::IsUtf8(exact)) return;
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(exact.data());
  json[std::string(key) + "Bytes"] = Hexadecimal::Text({bytes, exact.size()});
}

std::string Shown(const std::string& utf8) { return platform::DisplayText(platform::Utf8ToWide(utf8)); }

std::string SizeText(std::int64_t bytes) {
  constexpr std::array<const char*, 5> kUnits{"B", "kB", "MB", "GB", "TB"};
  double value = static_cast<double>(bytes);
  std::size_t unit = 0;
  while (value >= 1000 && unit + 1 < kUnits.size()) {
    value /= 1000;
    ++unit;
  }
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), unit == 0 || value >= 100 ? "%.0f %s" : "%.1f %s", value,
                kUnits[unit]);
  return text.data();
}

std::string TimeTextShort(std::int64_t timeMs) { return FormatLocal(timeMs, "%Y-%m-%d %H:%M"); }

std::string DayText(std::int64_t timeMs) { return FormatLocal(timeMs, "%Y-%m-%d"); }

std::string Padded(std::string text, std::size_t width) {
  const std::size_t columns = Columns(text);
  if (columns < width) text.append(width - columns, ' ');
  return text;
}
