#include "cloud/logbody.h"

#include <array>

namespace {

constexpr std::size_t kLongest = 4096;
constexpr std::string_view kMask = "***";
constexpr std::array<std::string_view, 14> kMasked = {
    "token",         "accessToken", "refreshToken", "password",          "x-zt-lock",
    "Authorization", "url",         "fileName",     "albumName",         "localPath",
    "sourcePath",    "uploadUrl",   "downloadUrl",  "signedDownloadLink"};

// Where the JSON text that starts at `at`, behind its opening quote, ends.
std::size_t EndOfText(std::string_view body, std::size_t at) {
  while (at < body.size() && body[at] != '"') at += body[at] == '\\' ? 2 : 1;
  return std::min(at, body.size());
}

std::size_t SkipBlanks(std::string_view body, std::size_t at) {
  while (at < body.size() && (body[at] == ' ' || body[at] == '\t' || body[at] == '\n' || body[at] == '\r'))
    ++at;
  return at;
}

bool IsMasked(std::string_view name) {
  return std::find(kMasked.begin(), kMasked.end(), name) != kMasked.end() || name.ends_with("Link");
}

}  // namespace

std::string LogBody(std::string_view body) {
  std::string text;
  bool maskNext = false;
  for (std::size_t at = 0; at < body.size() && text.size() < kLongest; ++at) {
    text += body[at];
    if (body[at] != '"') continue;
    const std::size_t end = EndOfText(body, at + 1);
    const std::string_view inner = body.substr(at + 1, end - at - 1);
    const std::size_t next = SkipBlanks(body, std::min(end + 1, body.size()));
    const bool isName = next < body.size() && body[next] == ':';
    text.append(maskNext && !isName ? kMask : inner).append(end < body.size() ? "\"" : "");
    maskNext = isName && IsMasked(inner);
    at = end;
  }
  if (text.size() > kLongest) text.resize(kLongest);
  return text;
}
