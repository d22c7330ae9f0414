#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

#include "cloud/httpheaders.h"
#include "common/platform/mutex.h"

// The identity of the logged-in user and of this device, and the common headers
// that are made of it. One instance for the process; the first use also makes it
// the source of the headers of the host's request classes. Safe from any thread.
class CHeader {
 public:
  enum Kind : std::int32_t { AccessToken = 0, RefreshToken = 1, UserId = 2, DeviceUuid = 3, DeviceName = 4 };

  static CHeader& GetInstance();

  // Stores one value. False, logged, for an empty value; false for an unknown
  // kind. The device's id is kept URL-escaped, cut to 250 bytes.
  bool Init(std::int32_t kind, std::wstring_view value);

  // Forgets user and device: nothing of them may go out with the next user's
  // requests.
  void Clear();

  // The map of the host's object, for its other modules; nothing is put into it
  // here. Null before it goes.
  using HeaderMap = std::unordered_map<std::string, std::string>;
  void SetHeaderMap(HeaderMap* map);

  // Percent-encodes the UTF-8 of `value` as a form does: letters, digits and
  // "-_.~" stay, a blank becomes "+". Empty, logged, for an empty value.
  static std::string UrlEncode(std::wstring_view value);

  // Adds the common headers to `headers`. Values of the device are read anew, and
  // the trace id is another one each time. "Authorization" is the legacy value,
  // the base64 of
  //   8:DEVICE:PACKAGE::TOKEN
  // with the form-encoded token and an empty field in front of it. It is kept for
  // 1200 seconds and then made again from the token that is current.
  void Build(HttpHeaders& headers);
  // The same for a JSON object in which each name holds a list of texts, to which
  // the value is appended. "Authorization" is "Bearer " and the access token that
  // was stored, and "x-zt-lock" is there when `lockToken` is not empty.
  void BuildJson(Json::Value& headers, const std::string& lockToken);

  std::string GetUserId() const;
  std::string GetDeviceUuid() const;
  std::string GetDeviceName() const;

 private:
  CHeader();

  std::string LegacyAuthorization() REQUIRES(lock);

  mutable platform::Mutex lock;
  std::string encodedAccessToken GUARDED_BY(lock);
  std::string accessToken GUARDED_BY(lock);
  std::string refreshToken GUARDED_BY(lock);
  std::string userId GUARDED_BY(lock);
  std::string deviceUuid GUARDED_BY(lock);
  std::string deviceName GUARDED_BY(lock);
  std::int64_t authTime GUARDED_BY(lock) = 0;  // seconds; when `authorization` or the token was last set
  std::string authorization GUARDED_BY(lock);
  HeaderMap* headerMap GUARDED_BY(lock) = nullptr;
};

// The escaped id of this device, by which the cloud's changes name their maker.
std::string GlobalDeviceId();
