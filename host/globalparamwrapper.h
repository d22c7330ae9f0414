#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "common/platform/window.h"

// The logged-in user, as other modules see him: the wide id and the keys under
// which contents travel. Sizes are those of the key exchange: a key and a
// closing zero.
struct st_UserInfo {
  std::wstring userId;
  unsigned char userKey1[17] = {};
  unsigned char userKey3[33] = {};
  wchar_t userKeyId1[33] = {};
  wchar_t userKeyId3[33] = {};
};

// The parameters of the running client. Values come from "settings.json" in the
// configuration folder; a key that is missing there has the default that stands
// beside the operation. Folders come from the platform layer and are made when
// asked for. Safe from any thread.
class GlobalParamWrapper {
 public:
  static GlobalParamWrapper* GetInstance();

  // Reads the settings of the present profile anew; the host calls it at start
  // and after SetProfileRoot. A file that cannot be parsed is logged, kept aside
  // as "settings.json.broken", and defaults hold.
  bool Load();

  // The device. The id is made once at random and kept; the name is the
  // computer's.
  std::wstring GetSystemUUid();
  std::wstring GetDeviceName();

  // Service addresses; default "" (no service set).
  std::wstring GetCloudPhotoUrl();
  std::wstring GetCloudPhotoV2Url();

  // Folders, without a separator at the end.
  std::wstring GetUserCachePath();
  std::wstring GetUserDataBaseFolder();
  std::wstring GetUserDownloadsPath();
  std::wstring GetUserProfilePath();
  std::wstring GetAppDataLocalPath();

  bool GetIsUserLoggedIn();
  st_UserInfo GetUserInfo();

  // ... see the helper's table: every operation of the client's parameter role.
  bool GetDataHidePeriod();               // default false
  bool GetIsHideData();                   // default false
  bool GetEnableShowLostCloudPhoto();     // default true
  bool GetEnableCloudPhotoAssetRefund();  // default true

 private:
  GlobalParamWrapper();
  struct State;
  std::unique_ptr<State> state;
};
