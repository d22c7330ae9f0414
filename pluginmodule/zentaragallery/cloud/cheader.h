#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "common/platform/mutex.h"

// The identity of the logged-in user and of this device, as requests carry it.
// One instance for the process. Safe from any thread.
class CHeader {
 public:
  enum Kind : std::int32_t { AccessToken = 0, RefreshToken = 1, UserId = 2, DeviceUuid = 3, DeviceName = 4 };

  static CHeader& GetInstance();

  // Stores one value. False, logged, for an empty value; false for an unknown
  // kind.
  bool Init(std::int32_t kind, std::wstring_view value);

  // Percent-encodes the UTF-8 of `value` as a form does: letters, digits and
  // "-_.~" stay, a blank becomes "+". Empty, logged, for an empty value.
  static std::string UrlEncode(std::wstring_view value);

  std::string GetUserId() const;
  std::string GetDeviceUuid() const;
  std::string GetDeviceName() const;

 private:
  CHeader() = default;

  mutable platform::Mutex lock;
  std::string encodedAccessToken GUARDED_BY(lock);
  std::string accessToken GUARDED_BY(lock);
  std::string refreshToken GUARDED_BY(lock);
  std::string userId GUARDED_BY(lock);
  std::string deviceUuid GUARDED_BY(lock);
  std::string deviceName GUARDED_BY(lock);
  std::int64_t authTime GUARDED_BY(lock) = 0;
};
