#include "cloud/cheader.h"

#include <curl/curl.h>

#include <memory>

#include "common/platform/clock.h"
#include "common/platform/text.h"
#include "utils/gallerylog.h"

namespace {

constexpr std::size_t kMaxDeviceUuidBytes = 250;

bool StaysAsIs(unsigned char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_' ||
         c == '.' || c == '~';
}

std::string EscapeForUrl(const std::string& text) {
  const std::unique_ptr<char, decltype(&curl_free)> escaped(
      curl_easy_escape(nullptr, text.data(), static_cast<int>(text.size())), curl_free);
  return escaped ? std::string(escaped.get()) : std::string();
}

}  // namespace

CHeader& CHeader::GetInstance() {
  static CHeader instance;
  return instance;
}

bool CHeader::Init(std::int32_t kind, std::wstring_view value) {
  if (value.empty()) {
    LogError("CHeader::Init", "param is empty!");
    return false;
  }
  const std::string text = platform::WideToUtf8(value);
  platform::MutexLock hold(lock);
  switch (kind) {
    case AccessToken:
      authTime = platform::NowSeconds();
      encodedAccessToken = UrlEncode(value);
      accessToken = text;
      return true;
    case RefreshToken:
      refreshToken = text;
      return true;
    case UserId:
      LogInfo("CHeader::Init", [&] { return "userId:" + text; });
      userId = text;
      return true;
    case DeviceUuid:
      deviceUuid = EscapeForUrl(text).substr(0, kMaxDeviceUuidBytes);
      return true;
    case DeviceName:
      deviceName = text;
      return true;
    default:
      return false;
  }
}

std::string CHeader::UrlEncode(std::wstring_view value) {
  if (value.empty()) {
    LogError("CHeader::UrlEncode", "param is empty!");
    return {};
  }
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string encoded;
  for (const char byte : platform::WideToUtf8(value)) {
    const auto c = static_cast<unsigned char>(byte);
    if (StaysAsIs(c)) {
      encoded += byte;
    } else if (c == ' ') {
      encoded += '+';
    } else {
      encoded += {'%', kDigits[c >> 4], kDigits[c & 15]};
    }
  }
  return encoded;
}

std::string CHeader::GetUserId() const {
  platform::MutexLock hold(lock);
  return userId;
}

std::string CHeader::GetDeviceUuid() const {
  platform::MutexLock hold(lock);
  return deviceUuid;
}

std::string CHeader::GetDeviceName() const {
  platform::MutexLock hold(lock);
  return deviceName;
}
