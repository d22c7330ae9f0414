#include "host/base/credentialmask.h"

#include <array>
#include <cctype>

namespace Logger {
namespace {

constexpr std::string_view kMask = "***";

enum class Separator { Blank, ColonOrEqual };
enum class Extent { Token, Line };

struct Word {
  std::string_view folded;
  Separator separator;
  Extent extent;
};

constexpr std::array<Word, 9> kWords{{
    {"bearer", Separator::Blank, Extent::Token},
    {"authorization", Separator::ColonOrEqual, Extent::Line},
    {"accesstoken", Separator::ColonOrEqual, Extent::Token},
    {"refreshtoken", Separator::ColonOrEqual, Extent::Token},
    {"password", Separator::ColonOrEqual, Extent::Token},
    {"ekey", Separator::ColonOrEqual, Extent::Token},
    {"mk1", Separator::ColonOrEqual, Extent::Token},
    {"mk2", Separator::ColonOrEqual, Extent::Token},
    {"userkey", Separator::ColonOrEqual, Extent::Token},
}};

char Fold(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }
bool IsBlank(char c) { return c == ' ' || c == '\t'; }
bool IsAlphanumeric(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; }
bool EndsToken(char c) { return std::string_view(" \t\r\n,;&\"'()[]{}<>").find(c) != std::string_view::npos; }

bool StartsWith(std::string_view text, std::string_view folded) {
  if (text.size() < folded.size()) return false;
  for (std::size_t i = 0; i < folded.size(); ++i) {
    if (Fold(text[i]) != folded[i]) return false;
  }
  return true;
}

const Word* WordAt(std::string_view text) {
  for (const Word& word : kWords) {
    if (StartsWith(text, word.folded)) return &word;
  }
  return nullptr;
}

template <typename Test>
std::size_t Skip(std::string_view text, std::size_t at, Test test) {
  while (at < text.size() && test(text[at])) ++at;
  return at;
}

// A quote with the backslashes in front of it: JSON within JSON text has some.
std::size_t QuoteLength(std::string_view text, std::size_t at) {
  const std::size_t quote = Skip(text, at, [](char c) { return c == '\\'; });
  const bool isQuote = quote < text.size() && (text[quote] == '"' || text[quote] == '\'');
  return isQuote ? quote + 1 - at : 0;
}

// Where the text ends that was opened by a quote with `backslashes` in front. A
// quote with more of them is part of the text.
std::size_t ClosingQuote(std::string_view text, std::size_t at, char quote, std::size_t backslashes) {
  std::size_t run = 0;
  for (; at < text.size(); ++at) {
    if (text[at] == quote && run <= backslashes) return at - run;
    run = text[at] == '\\' ? run + 1 : 0;
  }
  return text.size();
}

struct Span {
  std::size_t start;
  std::size_t end;
};

Span ValueAt(std::string_view text, std::size_t at, Extent extent) {
  if (const std::size_t quote = QuoteLength(text, at)) {
    return {at + quote, ClosingQuote(text, at + quote, text[at + quote - 1], quote - 1)};
  }
  const auto inValue = [extent](char c) {
    return extent == Extent::Line ? c != '\r' && c != '\n' && c != '"' : !EndsToken(c);
  };
  return {at, Skip(text, at, inValue)};
}

// The value that belongs to `word`, whose text ends at `at`; empty without one.
Span ValueBehind(std::string_view text, std::size_t at, const Word& word) {
  const std::size_t named = Skip(text, at, [](char c) { return IsAlphanumeric(c) || c == '_'; });
  if (word.separator == Separator::Blank) {
    const std::size_t value = Skip(text, named, IsBlank);
    return value > named ? ValueAt(text, value, word.extent) : Span{at, at};
  }
  std::size_t next = named + QuoteLength(text, named);
  next = Skip(text, next, IsBlank);
  if (next == text.size() || (text[next] != ':' && text[next] != '=')) return {at, at};
  return ValueAt(text, Skip(text, next + 1, IsBlank), word.extent);
}

}  // namespace

std::string MaskCredentials(std::string_view text) {
  std::string masked;
  masked.reserve(text.size());
  std::size_t copied = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const Word* word = WordAt(text.substr(at));
    if (!word) continue;
    const Span value = ValueBehind(text, at + word->folded.size(), *word);
    if (value.start >= value.end) continue;
    masked.append(text.substr(copied, value.start - copied)).append(kMask);
    copied = value.end;
    at = value.end - 1;
  }
  return masked.append(text.substr(copied));
}

}  // namespace Logger
