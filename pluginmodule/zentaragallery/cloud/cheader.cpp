#include "cloud/cheader.h"

#include <openssl/evp.h>

#include <random>

#include "common/platform/clock.h"
#include "common/platform/text.h"
#include "host/account/userauthservice.h"
#include "host/base/globalparamwrapper.h"
#include "host/requests/curlppx.h"
#include "host/requests/ns/headbuilder.h"
#include "utils/gallerylog.h"

namespace {

constexpr std::size_t kMaxDeviceUuidBytes = 250;
// From this age on the legacy value is made again.
constexpr std::int64_t kAuthorizationSeconds = 1201;
constexpr char kProduct[] = "Brevane";
constexpr char kVersion[] = "17.0.0.300";
constexpr char kTraceAppId[] = "04101";
constexpr char kTraceChannel[] = "11";
constexpr int kTraceDigits = 8;
// The protocol's number for this kind of client in the legacy value; another one
// than x-zt-device-type.
constexpr char kLegacyClient[] = "8";

bool StaysAsIs(unsigned char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_' ||
         c == '.' || c == '~';
}

// Plain alphabet, padded, no line breaks.
std::string Base64(const std::string& bytes) {
  std::string text(4 * ((bytes.size() + 2) / 3) + 1, '\0');  // The library adds a closing zero.
  const int length =
      EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                      reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
  text.resize(static_cast<std::size_t>(length));
  return text;
}

std::string TraceId() {
  thread_local std::minstd_rand random{std::random_device{}()};
  std::string id = std::string(kTraceAppId).append(1, '_').append(kTraceChannel).append(1, '_');
  id.append(std::to_string(platform::NowSeconds())).append(1, '_');
  for (int i = 0; i < kTraceDigits; ++i) id += static_cast<char>('0' + random() % 10);
  return id;
}

// Requests of the host go to the second generation, which wants the token that is
// current: a session may have been renewed since it was stored here.
void FillHostHeaders(Json::Value& headers, const std::string& lockToken) {
  CHeader::GetInstance().BuildJson(headers, lockToken);
  const std::string token = platform::WideToUtf8(UserAuthService::GetInstance()->GetCurrentAT());
  if (token.empty()) return;
  headers["Authorization"] = Json::Value(Json::arrayValue);
  headers["Authorization"].append("Bearer " + token);
}

}  // namespace

CHeader::CHeader() { NS::HeadBuilder::SetProvider(FillHostHeaders); }

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
      authorization.clear();  // Made of the token before, maybe another user's.
      return true;
    case RefreshToken:
      refreshToken = text;
      return true;
    case UserId:
      LogInfo("CHeader::Init", [&] { return "userId:" + text; });
      userId = text;
      return true;
    case DeviceUuid:
      deviceUuid = curlppx::CurlUrl::Escape(text).substr(0, kMaxDeviceUuidBytes);
      return true;
    case DeviceName:
      deviceName = text;
      return true;
    default:
      return false;
  }
}

void CHeader::Clear() {
  platform::MutexLock hold(lock);
  for (std::string* value : {&encodedAccessToken, &accessToken, &refreshToken, &userId, &deviceUuid,
                             &deviceName, &authorization}) {
    value->clear();
  }
  authTime = 0;
}

void CHeader::SetHeaderMap(HeaderMap* map) {
  platform::MutexLock hold(lock);
  headerMap = map;
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

std::string CHeader::LegacyAuthorization() {
  const std::int64_t now = platform::NowSeconds();
  if (!authorization.empty() && authTime != 0 && now - authTime < kAuthorizationSeconds) return authorization;
  authTime = now;
  encodedAccessToken = UrlEncode(UserAuthService::GetInstance()->GetCurrentAT());
  std::string text = std::string(kLegacyClient).append(1, ':').append(deviceUuid).append(1, ':');
  text.append(platform::WideToUtf8(GlobalParamWrapper::GetInstance()->GetPackageName()));
  text.append("::").append(encodedAccessToken);
  authorization = Base64(text);
  return authorization;
}

void CHeader::Build(HttpHeaders& headers) {
  auto* parameters = GlobalParamWrapper::GetInstance();
  const std::string device = platform::WideToUtf8(parameters->GetSystemUUid());
  headers["User-Agent"] = std::string(kProduct).append(1, '/').append(kVersion);
  headers["x-zt-source-agent"] = kProduct;
  headers["Accept-Language"] = "zh-CN";
  headers["x-zt-device-id"] = device;
  headers["x-zt-deviceUUID"] = device;
  headers["x-zt-device-type"] = "6";
  headers["x-zt-terminal"] = "PC";
  headers["x-zt-device-name"] = platform::WideToUtf8(parameters->GetDeviceName());
  headers["x-zt-auth-version"] = "1";
  headers["x-zt-country-code"] = platform::WideToUtf8(parameters->GetCountryCode());
  headers["x-zt-trace-id"] = TraceId();
  headers["Content-Type"] = "application/json";
  headers["version"] = kVersion;
  headers["x-zt-app-version"] = kVersion;
  headers["AuthType"] = Base64(platform::WideToUtf8(parameters->GetPackageName()));
  platform::MutexLock hold(lock);
  headers["userId"] = userId;
  headers["Authorization"] = LegacyAuthorization();
}

void CHeader::BuildJson(Json::Value& headers, const std::string& lockToken) {
  HttpHeaders common;
  Build(common);
  {
    platform::MutexLock hold(lock);
    common["Authorization"] = "Bearer " + accessToken;
  }
  if (!lockToken.empty()) common["x-zt-lock"] = lockToken;
  for (const auto& [name, value] : common) headers[name].append(value);
}

std::string GlobalDeviceId() { return CHeader::GetInstance().GetDeviceUuid(); }

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
